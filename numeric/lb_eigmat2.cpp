#include "numeric/lb_eigmat2.hpp"

#include "app/mb_debug.hpp"
#include "app/mb_mpi.hpp"
#include "numeric/lb_schur.hpp"

#include <cmath>
#include <utility>

namespace orvel {

namespace {

constexpr double smallest_tolerance = 1e-13;
constexpr int max_iterations = 31;

// Largest column sum of moduli.
double column_norm(int n, const complex *const *a, double *sums) {
    zero_elements(sums, static_cast<std::size_t>(n));
    for (int i = 0; i < n; ++i) {
        for (int j = 0; j < n; ++j) {
            sums[j] += c_abs(a[i][j]);
        }
    }
    double norm = 0.0;
    for (int j = 0; j < n && !std::isnan(norm); ++j) {
        norm = sums[j] <= norm ? norm : sums[j];
    }
    return norm;
}

void store_diagonal(int n, const complex *const *a, complex *eigval, complex *const *eigvec) {
    for (int i = 0; i < n; ++i) {
        eigval[i] = a[i][i];
        zero_elements(eigvec[i], static_cast<std::size_t>(n));
        eigvec[i][i] = {1.0, 0.0};
    }
}

// Row of the entry of largest modulus of column m-1, on or below the subdiagonal.
int pivot_row(int n, const Planes &h, int m) {
    int pivot = m;
    double largest = 0.0;
    for (int i = m; i < n; ++i) {
        const double size = c_abs(h.at(i, m - 1));
        if (size > largest) {
            largest = size;
            pivot = i;
        }
    }
    return pivot;
}

// Exchanges rows and columns p and m, leaving out the factors in the columns before m-1.
void exchange(int n, const Planes &h, int p, int m) {
    for (int j = m - 1; j < n; ++j) {
        std::swap(h.re_row(p)[j], h.re_row(m)[j]);
        std::swap(h.im_row(p)[j], h.im_row(m)[j]);
    }
    for (int i = 0; i < n; ++i) {
        std::swap(h.re_row(i)[p], h.re_row(i)[m]);
        std::swap(h.im_row(i)[p], h.im_row(i)[m]);
    }
}

// Clears column m-1 below the subdiagonal, where the factors are kept.
void eliminate_column(int n, int m, EigmatWork &work) {
    const Planes &h = work.a;
    const complex pivot = h.at(m, m - 1);
    for (int i = m + 1; i < n; ++i) {
        const complex factor = c_div(h.at(i, m - 1), pivot);
        h.set(i, m - 1, factor);
        work.ur[i] = factor.re;
        work.ui[i] = factor.im;
    }
    // Row m last: its old elements are what the rows below it need.
    for (int i = n - 1; i >= 0; --i) {
        if (i > m) {
            kernels().eliminate(h, i, m, m, n, h.at(i, m - 1));
        }
        const complex sum = kernels().row_sum(h, i, m + 1, n, work.ur, work.ui);
        h.set(i, m, c_add(h.at(i, m), sum));
    }
}

// work.a becomes Hessenberg; work.index[m] is the row that row m was exchanged with.
void reduce(int n, EigmatWork &work) {
    zero_elements(work.ur, static_cast<std::size_t>(round_up_strip(n)));
    zero_elements(work.ui, static_cast<std::size_t>(round_up_strip(n)));
    for (int m = 1; m + 1 < n; ++m) {
        chk_interrupt();
        const int p = pivot_row(n, work.a, m);
        work.index[static_cast<std::size_t>(m)] = p;
        if (p != m) {
            exchange(n, work.a, p, m);
        }
        // Whatever becomes of this column, row_sum adds whole strips: no factor of an earlier one
        // may stay.
        work.ur[m] = work.ui[m] = 0.0;
        const complex pivot = work.a.at(m, m - 1);
        if (pivot.re != 0.0 || pivot.im != 0.0) {
            eliminate_column(n, m, work);
        }
    }
}

// work.zt <- the product of the elementary transformations.
void form_transformations(int n, EigmatWork &work) {
    unit_transformations(n, work);
    const Planes &zt = work.zt;
    for (int m = n - 2; m > 0; --m) {
        for (int k = m + 1; k < n; ++k) {
            zt.set(m, k, work.a.at(k, m - 1));
        }
        const int p = work.index[static_cast<std::size_t>(m)];
        if (p == m) {
            continue;
        }
        for (int k = m; k < n; ++k) {
            zt.set(k, m, zt.at(k, p));
            zt.set(k, p, {});
        }
        zt.set(m, p, {1.0, 0.0});
    }
}

// First row of the block that ends in row en.
int block_start(int en, double threshold, const EigmatWork &work) {
    int l = en;
    while (l > 0 && !(std::fabs(work.sub[l]) <= threshold)) {
        --l;
    }
    return l;
}

// The usual shift; after 10 and 20 iterations one that breaks a cycle.
complex next_shift(int en, int iteration, const EigmatWork &work) {
    if (iteration == 10 || iteration == 20) {
        const double above = en > 1 ? std::fabs(work.sub[en - 1]) : 0.0;
        return c_add(work.a.at(en, en), {std::fabs(work.sub[en]) + above, 0.0});
    }
    return trailing_shift(en, c_sqrt, work);
}

// All eigenvalues; false when one does not converge.
bool find_eigenvalues(int n, double threshold, complex *eigval, EigmatWork &work) {
    complex total; // the shifts so far
    for (int en = n - 1; en >= 0; --en) {
        int iterations = 0;
        for (int l; (l = block_start(en, threshold, work)) != en; ++iterations) {
            if (iterations == max_iterations) {
                return false;
            }
            const complex shift = next_shift(en, iterations, work);
            total = c_add(total, shift);
            qr_step(n, 0, l, en, shift, work);
        }
        eigval[en] = c_add(work.a.at(en, en), total);
        work.a.set(en, en, eigval[en]);
        work.wr[en] = eigval[en].re;
        work.wi[en] = eigval[en].im;
    }
    return true;
}

} // namespace

int eigen_c_mat(int n, double tol, int order, const complex *const *a, complex *eigval,
                complex *const *eigvec, EigmatWork &work) {
    if (n < 1 || tol <= 0.0) {
        mb_fprintf(stderr, "$$ (eigen_c_mat) invalid n or epsilon.\n");
        return 3;
    }
    const double norm = column_norm(n, a, work.fr);
    if (n == 1 || norm < tol) {
        store_diagonal(n, a, eigval, eigvec);
        return 1;
    }
    const double threshold = (tol > smallest_tolerance ? tol : smallest_tolerance) * norm;
    split_planes(n, a, work.a);
    reduce(n, work);
    form_transformations(n, work);
    const Range all = {0, n - 1};
    make_subdiagonal_real(n, all, 0.0, work);
    if (!find_eigenvalues(n, threshold, eigval, work)) {
        return 30000;
    }
    schur_vectors(n, all, 0.0, Coinciding::rounded, eigvec, work);
    if (order == 1 || order == -1) {
        re_part_csort(n, eigval, eigvec, order);
    } else {
        norm_csort(n, eigval, eigvec, order);
    }
    return 0;
}

} // namespace orvel
