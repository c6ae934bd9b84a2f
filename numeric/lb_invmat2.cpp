#include "numeric/lb_invmat2.hpp"

#include "numeric/lb_kernels.hpp"
#include "numeric/lb_lu.hpp"

#include <algorithm>
#include <utility>

namespace orvel {

namespace {

int largest_of_row(int n, const complex *row) {
    int column = 0;
    double largest = 0.0;
    for (int j = 0; j < n; ++j) {
        const double size = c_abs(row[j]);
        if (size > largest) {
            largest = size;
            column = j;
        }
    }
    return column;
}

// Where the unit of the right-hand side is after the interchanges.
int unit_row(int n, const int *interchange) {
    int row = n - 1;
    for (int k = 0; k < n; ++k) {
        if (interchange[k] == row) {
            row = k;
        } else if (k == row) {
            row = interchange[k];
        }
    }
    return row;
}

// Unknowns start as zeros, so that whole strips of a row can be summed.
void clear_unknowns(int n, InvmatWork &work) {
    zero_elements(work.xr, static_cast<std::size_t>(round_up_strip(n)));
    zero_elements(work.xi, static_cast<std::size_t>(round_up_strip(n)));
}

void set_unknown(int i, complex x, complex *alpha, InvmatWork &work) {
    work.xr[i] = x.re;
    work.xi[i] = x.im;
    alpha[i] = x;
}

// alpha <- L^-1 times the unit vector of `first`
void substitute_forward(int n, int first, complex *alpha, InvmatWork &work) {
    clear_unknowns(n, work);
    zero_elements(alpha, static_cast<std::size_t>(n));
    set_unknown(first, {1.0, 0.0}, alpha, work);
    for (int i = first + 1; i < n; ++i) {
        const complex sum = kernels().row_sum(work.a, i, first, i, work.xr, work.xi);
        set_unknown(i, {-sum.re, -sum.im}, alpha, work);
    }
}

// alpha <- U^-1 alpha
void substitute_back(int n, complex *alpha, InvmatWork &work) {
    clear_unknowns(n, work);
    for (int i = n - 1; i >= 0; --i) {
        const complex sum = kernels().row_sum(work.a, i, i + 1, n, work.xr, work.xi);
        set_unknown(i, c_div(c_sub(alpha[i], sum), work.a.at(i, i)), alpha, work);
    }
}

} // namespace

void inverse(int n, complex *const *m, complex *alpha, double tol, int &status, InvmatWork &work) {
    if (n < 1) {
        status = 30000;
        return;
    }
    status = 0;
    const int column = largest_of_row(n, m[0]);
    for (int i = 0; i < n; ++i) {
        std::swap(m[i][column], m[i][n - 1]);
    }
    if (n > 1) {
        std::swap_ranges(m[0], m[0] + n, m[n - 1]);
    }
    split_planes(n, m, work.a);
    lu_decompose({n, 0.0, true}, work.a, work.panel, work.index.data());
    substitute_forward(n, unit_row(n, work.index.data()), alpha, work);
    substitute_back(n, alpha, work);
    std::swap(alpha[column], alpha[n - 1]);
    if (!(c_abs(work.a.at(n - 1, n - 1)) > tol)) {
        status = 30000;
    }
}

} // namespace orvel
