#include "numeric/lb_fft.hpp"

#include "app/mb_mpi.hpp"
#include "numeric/complex.hpp"

#include <bit>
#include <cmath>
#include <cstdlib>
#include <new>
#include <utility>
#include <vector>

namespace orvel {

namespace {

using std::size_t;

// What a transform of n values needs. The sine runs a quarter beyond the period, so that the cosine
// of an index stands n/4 behind its sine.
struct FftTables {
    size_t n = 0;
    std::vector<float> sine;    // sin(2 pi i/n), i = 0 .. n + n/4 - 1
    std::vector<size_t> bitrev; // i with its bits in reversed order
};

void make_sine(size_t n, std::vector<float> &sine) {
    sine.assign(n + n / 4, 0.0F);
    const size_t quarter = n / 4;
    const size_t eighth = n / 8;
    // (c, s) is turned by 2 pi/n a step, with 1 - cos and sin of the step, which keeps the error of
    // n steps near that of one
    const double sin_half = std::sin(pi / static_cast<double>(n));
    const double t = 2.0 * sin_half * sin_half;
    const double u = std::sqrt(t * (2.0 - t));
    double c = 1.0;
    double s = 0.0;
    for (size_t i = 0; i < eighth; ++i) {
        sine[i] = static_cast<float>(s);
        sine[quarter - i] = static_cast<float>(c);
        const double turned_c = c - (t * c + u * s);
        s += u * c - t * s;
        c = turned_c;
    }
    if (eighth > 0) {
        sine[eighth] = 0.70710677F;
    } else if (quarter > 0) {
        sine[quarter] = 1.0F;
    }
    for (size_t i = 0; i < quarter; ++i) {
        sine[n / 2 - i] = sine[i];
    }
    for (size_t i = n / 2; i < sine.size(); ++i) {
        sine[i] = -sine[i - n / 2];
    }
}

void make_bitrev(size_t n, std::vector<size_t> &bitrev) {
    bitrev.assign(n, 0);
    size_t reversed = 0;
    for (size_t i = 1; i < n; ++i) {
        // adds 1 at the reversed end: the carry runs from the highest bit down
        size_t bit = n / 2;
        while ((reversed & bit) != 0) {
            reversed ^= bit;
            bit /= 2;
        }
        reversed |= bit;
        bitrev[i] = reversed;
    }
}

// False when there is no memory for the tables of n values.
bool make_tables(size_t n, FftTables &tables) {
    if (tables.n == n) {
        return true;
    }
    tables = {};
    try {
        make_sine(n, tables.sine);
        make_bitrev(n, tables.bitrev);
    } catch (const std::bad_alloc &) {
        tables = {};
        return false;
    }
    tables.n = n;
    return true;
}

void butterflies(const FftTables &tables, bool inverse, float *re, float *im) {
    const size_t n = tables.n;
    const size_t quarter = n / 4;
    for (size_t half = 1; half < n; half *= 2) {
        const size_t step = n / (2 * half);
        for (size_t j = 0; j < half; ++j) {
            // of the first factor, 1, n = 2 has no cosine in its table
            const float c = j == 0 ? 1.0F : tables.sine[j * step + quarter];
            const float s = inverse ? -tables.sine[j * step] : tables.sine[j * step];
            for (size_t a = j; a < n; a += 2 * half) {
                const size_t b = a + half;
                const float turned_re = c * re[b] + s * im[b];
                const float turned_im = c * im[b] - s * re[b];
                re[b] = re[a] - turned_re;
                im[b] = im[a] - turned_im;
                re[a] += turned_re;
                im[a] += turned_im;
            }
        }
    }
}

void chk_fft1d(int code) {
    if (code != 0) {
        mb_fprintf(stdout, "$$ error in fft1d\n");
        end_run(1);
    }
}

// Transforms a line whose values stand in different rows: at(array, i) is value i.
template <class At>
void transform_line(int direction, Vector<float> &re, Vector<float> &im, At at) {
    const size_t n = re.size();
    for (size_t i = 0; i < n; ++i) {
        re[i] = *at(0, i);
        im[i] = *at(1, i);
    }
    chk_fft1d(fft1d(direction, static_cast<int>(n), re.data(), im.data()));
    for (size_t i = 0; i < n; ++i) {
        *at(0, i) = re[i];
        *at(1, i) = im[i];
    }
}

} // namespace

bool is_power_of_two(int n) {
    return n > 0 && std::has_single_bit(static_cast<unsigned>(n));
}

int fft1d(int direction, int n, float *re, float *im) {
    thread_local FftTables tables;
    const size_t size = static_cast<size_t>(std::llabs(n));
    if (size == 0) {
        tables = {};
        return 0;
    }
    if (!std::has_single_bit(size)) {
        mb_fprintf(stderr, "$$ fft1d: %d values, where a power of two is needed.\n", n);
        return 1;
    }
    if (!make_tables(size, tables)) {
        mb_fprintf(stderr, "$$ Not enough memory for sintbl or bitrev \n");
        return 1;
    }
    for (size_t i = 0; i < size; ++i) {
        const size_t j = tables.bitrev[i];
        if (i < j) {
            std::swap(re[i], re[j]);
            std::swap(im[i], im[j]);
        }
    }
    const bool inverse = direction == fft_inverse || direction < 0;
    butterflies(tables, inverse, re, im);
    if (!inverse) {
        for (size_t i = 0; i < size; ++i) {
            re[i] /= static_cast<float>(size);
            im[i] /= static_cast<float>(size);
        }
    }
    return 0;
}

void fft2d_nxny(int direction, int ny, int nz, float *const *re, float *const *im) {
    const auto rows = static_cast<size_t>(ny);
    for (size_t j = 0; j < rows; ++j) {
        chk_fft1d(fft1d(direction, nz, re[j], im[j]));
    }
    Vector<float> line_re(rows);
    Vector<float> line_im(rows);
    for (size_t k = 0; k < static_cast<size_t>(nz); ++k) {
        transform_line(direction, line_re, line_im,
                       [&](int part, size_t j) { return &(part == 0 ? re : im)[j][k]; });
    }
}

void fft3d_nxnynz(int direction, int nx, int ny, int nz, Tensor<float> &re, Tensor<float> &im) {
    const auto planes = static_cast<size_t>(nx);
    for (size_t i = 0; i < planes; ++i) {
        fft2d_nxny(direction, ny, nz, re[i], im[i]);
    }
    Vector<float> line_re(planes);
    Vector<float> line_im(planes);
    for (size_t j = 0; j < static_cast<size_t>(ny); ++j) {
        for (size_t k = 0; k < static_cast<size_t>(nz); ++k) {
            transform_line(direction, line_re, line_im,
                           [&](int part, size_t i) { return &(part == 0 ? re : im)[i][j][k]; });
        }
    }
}

} // namespace orvel
