#include "numeric/cmatutil.hpp"

#include "numeric/vecmat.hpp"

#include <cmath>
#include <cstdio>

namespace orvel {

complex c_innerproduct(int n, const complex *a, const complex *b) {
    complex sum;
    for (int i = 0; i < n; ++i) {
        sum = c_add(sum, c_mul(a[i], b[i]));
    }
    return sum;
}

// The format is the caller's by contract.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
void c_vecprint(int n, int per_line, const char *format, const complex *v) {
    int on_line = 0;
    for (int i = 0; i < n; ++i) {
        std::printf(format, v[i].re, v[i].im);
        if (++on_line == per_line) {
            std::putchar('\n');
            on_line = 0;
        }
    }
    if (on_line > 0) {
        std::putchar('\n');
    }
}
#pragma GCC diagnostic pop

void c_matcopy2(int n, const complex *const *src, complex *const *dst) {
    for (int i = 0; i < n; ++i) {
        for (int j = 0; j < n; ++j) {
            dst[i][j] = src[i][j];
        }
    }
}

void c_matmult(int n, int m, int l, complex *const *c, const complex *const *a,
               const complex *const *b) {
    for (int i = 0; i < n; ++i) {
        complex *row = c[i];
        zero_elements(row, static_cast<std::size_t>(m));
        // k outside j keeps the order of each sum and runs along the rows of B.
        for (int k = 0; k < l; ++k) {
            const double re = a[i][k].re;
            const double im = a[i][k].im;
            const complex *b_row = b[k];
            for (int j = 0; j < m; ++j) {
                row[j].re += re * b_row[j].re - im * b_row[j].im;
                row[j].im += re * b_row[j].im + im * b_row[j].re;
            }
        }
    }
}

void c_matmult2(int n, complex *const *a, const complex *const *b) {
    Vector<complex> row(n > 0 ? static_cast<std::size_t>(n) : 0);
    for (int i = 0; i < n; ++i) {
        for (int j = 0; j < n; ++j) {
            row[static_cast<std::size_t>(j)] = a[i][j];
        }
        const complex *left = row.data();
        c_matmult(1, n, n, a + i, &left, b);
    }
}

void c_matadd2(int n, complex *const *a, const complex *const *b) {
    for (int i = 0; i < n; ++i) {
        for (int j = 0; j < n; ++j) {
            a[i][j] = c_add(a[i][j], b[i][j]);
        }
    }
}

void c_matsub2(int n, complex *const *a, const complex *const *b) {
    for (int i = 0; i < n; ++i) {
        for (int j = 0; j < n; ++j) {
            a[i][j] = c_sub(a[i][j], b[i][j]);
        }
    }
}

bool c_matfinite(int n, const complex *const *a) {
    for (int i = 0; i < n; ++i) {
        for (int j = 0; j < n; ++j) {
            if (!std::isfinite(a[i][j].re) || !std::isfinite(a[i][j].im)) {
                return false;
            }
        }
    }
    return true;
}

void c_matunit(int n, complex *const *a) {
    for (int i = 0; i < n; ++i) {
        for (int j = 0; j < n; ++j) {
            a[i][j] = {1.0, 0.0};
        }
    }
}

} // namespace orvel
