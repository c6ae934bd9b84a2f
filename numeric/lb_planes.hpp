// Complex matrices as two planes, one of real and one of imaginary parts, which is the shape that
// vector registers want; and the scratch memory that holds them.
#pragma once

#include "numeric/complex.hpp"
#include "numeric/vecmat.hpp"

#include <cstddef>
#include <cstdint>

namespace orvel {

// Columns are worked on in strips of this many; planes are padded and aligned to it.
inline constexpr int strip = 8;

// Element (i, j) is re[i ld + j] + i im[i ld + j]. A view: it owns nothing.
struct Planes {
    double *re = nullptr;
    double *im = nullptr;
    std::ptrdiff_t ld = 0;

    double *re_row(int i) const { return re + i * ld; }
    double *im_row(int i) const { return im + i * ld; }
    complex at(int i, int j) const { return {re_row(i)[j], im_row(i)[j]}; }
    void set(int i, int j, complex z) const {
        re_row(i)[j] = z.re;
        im_row(i)[j] = z.im;
    }
    // The part that starts at element (i, j).
    Planes from(int i, int j) const { return {re_row(i) + j, im_row(i) + j, ld}; }
};

template <class Int> constexpr Int round_up_strip(Int n) {
    return (n + strip - 1) / strip * strip;
}

// Row length of planes for order n: room for half a strip beyond the last column, and an odd number
// of cache lines, so that the rows of one column do not share their place in the cache.
inline constexpr int plane_ld(int n) {
    return round_up_strip(n + strip / 2) | strip;
}

// Doubles that a plane of order n takes.
inline constexpr std::size_t plane_size(int n) {
    return static_cast<std::size_t>(round_up_strip(n)) * static_cast<std::size_t>(plane_ld(n));
}

// Deals out cache-line aligned parts of one block; the block has to have `strip` doubles to spare.
class PlaneDealer {
public:
    explicit PlaneDealer(Vector<double> &block) : next_(block.data()), end_(block.end()) {
        while (reinterpret_cast<std::uintptr_t>(next_) % (strip * sizeof(double)) != 0) {
            ++next_;
        }
    }
    // count doubles, rounded up to whole strips.
    double *vector(std::size_t count) { return take(round_up_strip(count)); }
    // A matrix of order up to n.
    Planes planes(int n) { return planes(round_up_strip(n), n); }
    // One of `rows` rows of up to n columns.
    Planes planes(int rows, int n) {
        double *re = take(static_cast<std::size_t>(rows) * static_cast<std::size_t>(plane_ld(n)));
        double *im = take(static_cast<std::size_t>(rows) * static_cast<std::size_t>(plane_ld(n)));
        return {re, im, plane_ld(n)};
    }

private:
    double *take(std::size_t count) {
        double *part = next_;
        next_ += count;
        assert(next_ <= end_);
        return part;
    }
    double *next_;
    const double *end_;
};

// The leading rows x rows part, padding included, becomes zero.
inline void zero_planes(const Planes &m, int rows) {
    const auto count =
        static_cast<std::size_t>(round_up_strip(rows)) * static_cast<std::size_t>(m.ld);
    zero_elements(m.re, count);
    zero_elements(m.im, count);
}

// Columns from..to-1 of a row become zero.
inline void zero_columns(const Planes &m, int row, std::ptrdiff_t from, std::ptrdiff_t to) {
    zero_elements(m.re_row(row) + from, static_cast<std::size_t>(to - from));
    zero_elements(m.im_row(row) + from, static_cast<std::size_t>(to - from));
}

// The padding of the leading n x n part becomes zero.
inline void zero_padding(const Planes &m, int n) {
    for (int i = 0; i < round_up_strip(n); ++i) {
        zero_columns(m, i, i < n ? n : 0, m.ld);
    }
}

// dst <- a, n x n, the padding being zero.
inline void split_planes(int n, const complex *const *a, const Planes &dst) {
    zero_padding(dst, n);
    for (int i = 0; i < n; ++i) {
        double *re = dst.re_row(i);
        double *im = dst.im_row(i);
        for (int j = 0; j < n; ++j) {
            re[j] = a[i][j].re;
            im[j] = a[i][j].im;
        }
    }
}

} // namespace orvel
