// Balancing (cbal) and reduction to Hessenberg form (corth).
#include "numeric/lb_eigmat1.hpp"

#include "app/mb_debug.hpp"

#include <cmath>
#include <utility>

namespace orvel {

namespace {

constexpr double radix = 16.0;
// Sums of a row or column that stay finite under the trial scalings.
constexpr double largest_sum = 1e300;
// Far more passes than the scalings of any finite matrix need.
constexpr int max_balance_passes = 1000;

bool counts_as_zero(const Planes &a, int i, int j) {
    return std::fabs(a.re_row(i)[j]) < eps && std::fabs(a.im_row(i)[j]) < eps;
}

// Is row i (or column i) zero off the diagonal, within first..last?
bool isolated_row(const Planes &a, int i, int first, int last) {
    for (int j = first; j <= last; ++j) {
        if (j != i && !counts_as_zero(a, i, j)) {
            return false;
        }
    }
    return true;
}

bool isolated_column(const Planes &a, int j, int first, int last) {
    for (int i = first; i <= last; ++i) {
        if (i != j && !counts_as_zero(a, i, j)) {
            return false;
        }
    }
    return true;
}

// Pushes rows that isolate an eigenvalue down. False when nothing is left.
bool push_rows_down(int n, const Planes &a, Range &range, double *scale) {
    for (int j = range.high; j >= 0;) {
        if (!isolated_row(a, j, 0, range.high)) {
            --j;
            continue;
        }
        scale[range.high] = j;
        matexchange_rowcol(a, n, j, range.high, 0, range.high);
        if (range.high == 0) {
            return false;
        }
        j = --range.high;
    }
    return true;
}

// Pushes columns that isolate an eigenvalue left.
void push_columns_left(int n, const Planes &a, Range &range, double *scale) {
    for (int j = range.low; j <= range.high;) {
        if (!isolated_column(a, j, range.low, range.high)) {
            ++j;
            continue;
        }
        scale[range.low] = j;
        matexchange_rowcol(a, n, j, range.low, range.low, range.high);
        j = ++range.low;
    }
}

// The power of radix that brings column sum c and row sum r near to each other; c becomes what the
// column sum would be. Published steps of CBAL.
double balancing_factor(double &c, double r) {
    double f = 1.0;
    while (c < r / radix) {
        f *= radix;
        c *= radix * radix;
    }
    while (c >= r * radix) {
        f /= radix;
        c /= radix * radix;
    }
    return f;
}

// Scales row and column i when that makes them smaller by a twentieth.
bool balance_row(int n, const Planes &a, Range range, int i, double *scale) {
    double c = 0.0;
    double r = 0.0;
    for (int j = range.low; j <= range.high; ++j) {
        if (j != i) {
            c += std::fabs(a.re_row(j)[i]) + std::fabs(a.im_row(j)[i]);
            r += std::fabs(a.re_row(i)[j]) + std::fabs(a.im_row(i)[j]);
        }
    }
    if (c == 0.0 || r == 0.0 || !(c < largest_sum && r < largest_sum)) {
        return false;
    }
    const double s = c + r;
    const double f = balancing_factor(c, r);
    if ((c + r) / f >= 0.95 * s) {
        return false;
    }
    scale[i] *= f;
    for (int j = range.low; j < n; ++j) {
        a.re_row(i)[j] *= 1.0 / f;
        a.im_row(i)[j] *= 1.0 / f;
    }
    for (int j = 0; j <= range.high; ++j) {
        a.re_row(j)[i] *= f;
        a.im_row(j)[i] *= f;
    }
    return true;
}

// The Householder vector of column m-1 into ort and work.ur, ui; g is what the subdiagonal element
// is multiplied by, and scale the sum of moduli of the column.
Reflector new_reflection(const Planes &a, Range range, int m, double scale, double &g,
                         EigmatWork &work) {
    double h = 0.0;
    for (int i = range.high; i >= m; --i) {
        work.ur[i] = a.re_row(i)[m - 1] / scale;
        work.ui[i] = a.im_row(i)[m - 1] / scale;
        h += work.ur[i] * work.ur[i] + work.ui[i] * work.ui[i];
    }
    g = std::sqrt(h);
    const double f = pythag(work.ur[m], work.ui[m]);
    if (f == 0.0) {
        work.ur[m] = g;
        a.re_row(m)[m - 1] = scale;
    } else {
        h += f * g;
        g /= f;
        work.ur[m] *= 1.0 + g;
        work.ui[m] *= 1.0 + g;
    }
    return {m, range.high, h, work.ur, work.ui, work.fr, work.fi};
}

} // namespace

void matexchange_rowcol(const Planes &a, int n, int j, int m, int k, int l) {
    if (j == m) {
        return;
    }
    for (int i = 0; i <= l; ++i) {
        std::swap(a.re_row(i)[j], a.re_row(i)[m]);
        std::swap(a.im_row(i)[j], a.im_row(i)[m]);
    }
    for (int i = k; i < n; ++i) {
        std::swap(a.re_row(j)[i], a.re_row(m)[i]);
        std::swap(a.im_row(j)[i], a.im_row(m)[i]);
    }
}

Range cbal(int n, const Planes &a, double *scale) {
    Range range = {0, n - 1};
    if (!push_rows_down(n, a, range, scale)) {
        return range;
    }
    push_columns_left(n, a, range, scale);
    for (int i = range.low; i <= range.high; ++i) {
        scale[i] = 1.0;
    }
    bool scaled = true;
    for (int pass = 0; scaled && pass < max_balance_passes; ++pass) {
        scaled = false;
        for (int i = range.low; i <= range.high; ++i) {
            scaled = balance_row(n, a, range, i, scale) || scaled;
        }
    }
    return range;
}

void corth(int n, const Planes &a, Range range, EigmatWork &work) {
    for (int i = 0; i < round_up_strip(n); ++i) {
        work.ur[i] = work.ui[i] = 0.0;
    }
    for (int m = range.low + 1; m < range.high; ++m) {
        chk_interrupt();
        work.ortr[m] = work.orti[m] = 0.0;
        work.ur[m - 1] = work.ui[m - 1] = 0.0;
        double scale = 0.0;
        for (int i = m; i <= range.high; ++i) {
            scale += std::fabs(a.re_row(i)[m - 1]) + std::fabs(a.im_row(i)[m - 1]);
        }
        if (scale < eps || scale == 0.0) {
            continue;
        }
        double g = 0.0;
        const Reflector r = new_reflection(a, range, m, scale, g, work);
        kernels().reflect_both(a, n, r);
        work.ortr[m] = scale * work.ur[m];
        work.orti[m] = scale * work.ui[m];
        a.set(m, m - 1, {-g * a.re_row(m)[m - 1], -g * a.im_row(m)[m - 1]});
    }
}

} // namespace orvel
