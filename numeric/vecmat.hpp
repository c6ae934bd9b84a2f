// Array storage: row-pointer arrays over one contiguous block, the checks that end a run when
// memory is out, and move-only owners over both.
//
// A matrix is an array of row pointers laid over one block, so that element (i, j) is m[i][j] and
// the whole matrix is also one flat row-major block that starts at m[0]. Higher ranks nest the same
// way, one allocation a level. Kernels take the row pointers (T *const *) or spans; they never own.
#pragma once

#include <cassert>
#include <cstddef>
#include <cstdlib>
#include <span>
#include <type_traits>
#include <utility>

namespace orvel {

// --- Plain allocators --------------------------------------------------------------------------
// The last argument is the size in bytes of the innermost row. Each returns null when any of its
// allocations fails or the size overflows (what was already allocated is freed); none reports.
// Sizes of 0 give a valid, empty array. The contents are unset.

// rows pointers, row i = block + i row_bytes.
void **mmalloc(std::size_t rows, std::size_t row_bytes);
// p[i][j] = block + (i m + j) row_bytes.
void ***mmmalloc(std::size_t k, std::size_t m, std::size_t row_bytes);
// p[i][j][q] = block + ((i m + j) l + q) row_bytes.
void ****mmmmalloc(std::size_t k, std::size_t m, std::size_t l, std::size_t row_bytes);

// Null does nothing; else the block is freed first and the outermost pointers last.
void free_matrix(void *p);
void free_tensor(void *p);
void free_tensor4(void *p);

// A null pointer ends the run: "Not enough memory for vector.\n" (matrix, tensor, tensor4) on
// standard error, status 1.
void chk_vector(const void *p);
void chk_matrix(const void *p);
void chk_tensor(const void *p);
void chk_tensor4(const void *p);

// Ends the run with a "$$" line on the console, status 1, when `bytes` (a double, so that a product
// of counts cannot overflow) is more than available_memory(); `what` names what they are for.
// Where the machine does not tell how much it has, nothing is refused. Asked before the large
// allocations whose sizes come from a file: systems that lend more memory than they have would
// end the run later, without a word.
void require_memory(double bytes, const char *what);

// Refuses more than `bytes` at a time, whatever the machine has free.
void set_memory_bound(double bytes);

// --- Owners --------------------------------------------------------------------------------------
// Move-only; elements are zero after construction; a failed allocation ends the run. Copying has to
// be asked for element by element.

template <class T> class Vector {
    static_assert(std::is_trivially_copyable_v<T>);

public:
    Vector() = default;
    explicit Vector(std::size_t n)
        : data_(static_cast<T *>(std::calloc(n > 0 ? n : 1, sizeof(T)))), size_(n) {
        chk_vector(data_);
    }
    ~Vector() { std::free(data_); }
    Vector(Vector &&o) noexcept
        : data_(std::exchange(o.data_, nullptr)), size_(std::exchange(o.size_, 0)) {}
    Vector &operator=(Vector &&o) noexcept {
        std::swap(data_, o.data_);
        std::swap(size_, o.size_);
        return *this;
    }
    Vector(const Vector &) = delete;
    Vector &operator=(const Vector &) = delete;

    std::size_t size() const { return size_; }
    bool empty() const { return size_ == 0; }
    T *data() { return data_; }
    const T *data() const { return data_; }
    T *begin() { return data_; }
    T *end() { return data_ + size_; }
    const T *begin() const { return data_; }
    const T *end() const { return data_ + size_; }
    T &operator[](std::size_t i) {
        assert(i < size_);
        return data_[i];
    }
    const T &operator[](std::size_t i) const {
        assert(i < size_);
        return data_[i];
    }

private:
    T *data_ = nullptr;
    std::size_t size_ = 0;
};

template <class T> class Matrix {
    static_assert(std::is_trivially_copyable_v<T>);

public:
    Matrix() = default;
    Matrix(std::size_t rows, std::size_t cols);
    ~Matrix() { free_matrix(rows_); }
    Matrix(Matrix &&o) noexcept
        : rows_(std::exchange(o.rows_, nullptr)), num_rows_(std::exchange(o.num_rows_, 0)),
          num_cols_(std::exchange(o.num_cols_, 0)) {}
    Matrix &operator=(Matrix &&o) noexcept {
        std::swap(rows_, o.rows_);
        std::swap(num_rows_, o.num_rows_);
        std::swap(num_cols_, o.num_cols_);
        return *this;
    }
    Matrix(const Matrix &) = delete;
    Matrix &operator=(const Matrix &) = delete;

    std::size_t rows() const { return num_rows_; }
    std::size_t cols() const { return num_cols_; }
    // Row pointers, as the kernels take them.
    T *const *get() { return rows_; }
    const T *const *get() const { return rows_; }
    // Row i.
    T *operator[](std::size_t i) {
        assert(i < num_rows_);
        return rows_[i];
    }
    const T *operator[](std::size_t i) const {
        assert(i < num_rows_);
        return rows_[i];
    }

private:
    T **rows_ = nullptr;
    std::size_t num_rows_ = 0;
    std::size_t num_cols_ = 0;
};

template <class T> class Tensor {
    static_assert(std::is_trivially_copyable_v<T>);

public:
    Tensor() = default;
    Tensor(std::size_t k, std::size_t m, std::size_t n);
    ~Tensor() { free_tensor(p_); }
    Tensor(Tensor &&o) noexcept
        : p_(std::exchange(o.p_, nullptr)), k_(std::exchange(o.k_, 0)), m_(std::exchange(o.m_, 0)),
          n_(std::exchange(o.n_, 0)) {}
    Tensor &operator=(Tensor &&o) noexcept {
        std::swap(p_, o.p_);
        std::swap(k_, o.k_);
        std::swap(m_, o.m_);
        std::swap(n_, o.n_);
        return *this;
    }
    Tensor(const Tensor &) = delete;
    Tensor &operator=(const Tensor &) = delete;

    // Extents of the three indices, outermost first.
    std::size_t extent(int axis) const { return axis == 0 ? k_ : axis == 1 ? m_ : n_; }
    // Matrix i: row pointers, so that t[i][j][q] is an element.
    T *const *operator[](std::size_t i) {
        assert(i < k_);
        return p_[i];
    }
    const T *const *operator[](std::size_t i) const {
        assert(i < k_);
        return p_[i];
    }

private:
    T ***p_ = nullptr;
    std::size_t k_ = 0;
    std::size_t m_ = 0;
    std::size_t n_ = 0;
};

// Sets `count` elements from `first` on to zero bytes; count 0 does nothing.
template <class T> void zero_elements(T *first, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i) {
        first[i] = T{};
    }
}

template <class T>
Matrix<T>::Matrix(std::size_t rows, std::size_t cols)
    : rows_(reinterpret_cast<T **>(mmalloc(rows, cols * sizeof(T)))), num_rows_(rows),
      num_cols_(cols) {
    chk_matrix(rows_);
    if (rows > 0) {
        zero_elements(rows_[0], rows * cols);
    }
}

template <class T>
Tensor<T>::Tensor(std::size_t k, std::size_t m, std::size_t n)
    : p_(reinterpret_cast<T ***>(mmmalloc(k, m, n * sizeof(T)))), k_(k), m_(m), n_(n) {
    chk_tensor(p_);
    if (k > 0 && m > 0) {
        zero_elements(p_[0][0], k * m * n);
    }
}

} // namespace orvel
