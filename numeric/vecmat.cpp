#include "numeric/vecmat.hpp"

#include "app/mb_mpi.hpp"
#include "numeric/memory_limits.hpp"

#include <algorithm>
#include <cstdint>
#include <limits>

namespace orvel {

namespace {

// malloc of count * size bytes, null when the product overflows. Never less than a pointer, so that
// an empty array still has a first row pointer to free its block by.
void *allocate(std::size_t count, std::size_t size) {
    std::size_t bytes = 0;
    if (__builtin_mul_overflow(count, size, &bytes) || bytes > PTRDIFF_MAX) {
        return nullptr;
    }
    return std::malloc(bytes > sizeof(void *) ? bytes : sizeof(void *));
}

// Points level[i] at block + i * stride bytes.
template <class Inner>
void link_rows(Inner **level, std::size_t count, void *block, std::size_t stride) {
    for (std::size_t i = 0; i < count; ++i) {
        level[i] = reinterpret_cast<Inner *>(static_cast<char *>(block) + i * stride);
    }
}

void end_out_of_memory(const char *kind) {
    mb_fprintf(stderr, "Not enough memory for %s.\n", kind);
    end_run(1);
}

double memory_bound = std::numeric_limits<double>::infinity();

} // namespace

void **mmalloc(std::size_t rows, std::size_t row_bytes) {
    void **level = static_cast<void **>(allocate(rows, sizeof(void *)));
    void *block = allocate(rows, row_bytes);
    if (level == nullptr || block == nullptr) {
        std::free(level);
        std::free(block);
        return nullptr;
    }
    level[0] = block;
    link_rows(level, rows, block, row_bytes);
    return level;
}

void ***mmmalloc(std::size_t k, std::size_t m, std::size_t row_bytes) {
    std::size_t rows = 0;
    if (__builtin_mul_overflow(k, m, &rows)) {
        return nullptr;
    }
    void ***level = static_cast<void ***>(allocate(k, sizeof(void **)));
    void **inner = mmalloc(rows, row_bytes);
    if (level == nullptr || inner == nullptr) {
        std::free(level);
        free_matrix(inner);
        return nullptr;
    }
    level[0] = inner;
    link_rows(level, k, inner, m * sizeof(void *));
    return level;
}

void ****mmmmalloc(std::size_t k, std::size_t m, std::size_t l, std::size_t row_bytes) {
    std::size_t rows = 0;
    if (__builtin_mul_overflow(k, m, &rows)) {
        return nullptr;
    }
    void ****level = static_cast<void ****>(allocate(k, sizeof(void ***)));
    void ***inner = mmmalloc(rows, l, row_bytes);
    if (level == nullptr || inner == nullptr) {
        std::free(level);
        free_tensor(inner);
        return nullptr;
    }
    level[0] = inner;
    link_rows(level, k, inner, m * sizeof(void **));
    return level;
}

void free_matrix(void *p) {
    if (p != nullptr) {
        std::free(*static_cast<void **>(p));
        std::free(p);
    }
}

void free_tensor(void *p) {
    if (p != nullptr) {
        free_matrix(*static_cast<void **>(p));
        std::free(p);
    }
}

void free_tensor4(void *p) {
    if (p != nullptr) {
        free_tensor(*static_cast<void **>(p));
        std::free(p);
    }
}

void chk_vector(const void *p) {
    if (p == nullptr) {
        end_out_of_memory("vector");
    }
}

void chk_matrix(const void *p) {
    if (p == nullptr) {
        end_out_of_memory("matrix");
    }
}

void chk_tensor(const void *p) {
    if (p == nullptr) {
        end_out_of_memory("tensor");
    }
}

void chk_tensor4(const void *p) {
    if (p == nullptr) {
        end_out_of_memory("tensor4");
    }
}

void require_memory(double bytes, const char *what) {
    // Not worth asking the system for.
    constexpr double little = 1 << 20;
    if (bytes <= std::min(little, memory_bound)) {
        return;
    }
    const double available = std::min(available_memory(), memory_bound);
    if (!(bytes <= available)) {
        input_exit("$$ Not enough memory for %s: %.3g GiB needed, %.3g GiB free. Abort.", what,
                   bytes / 1073741824.0, available / 1073741824.0);
    }
}

void set_memory_bound(double bytes) {
    memory_bound = bytes;
}

} // namespace orvel
