#include "numeric/lb_invmat1.hpp"

#include "app/mb_debug.hpp"
#include "app/mb_mpi.hpp"
#include "numeric/lb_kernels.hpp"
#include "numeric/lb_lu.hpp"

#include <algorithm>
#include <utility>

namespace orvel {

namespace {

constexpr complex one = {1.0, 0.0};

int anomalous_termination(int column) {
    mb_fprintf(stdout, "$$ Anomalous termination in inv_c_mat.\n");
    return column;
}

// The same decomposition for orders 1 and 2, written out.
int invert_small(int n, double tol, complex *const *a) {
    if (n == 1) {
        if (c_abs(a[0][0]) < tol) {
            return anomalous_termination(0);
        }
        a[0][0] = c_div(one, a[0][0]);
        return 0;
    }
    const bool exchanged = c_abs(a[1][0]) > c_abs(a[0][0]);
    const complex *top = a[exchanged ? 1 : 0];
    const complex *bottom = a[exchanged ? 0 : 1];
    if (c_abs(top[0]) < tol) {
        return anomalous_termination(0);
    }
    const complex l = c_div(bottom[0], top[0]);
    const complex last = c_sub(bottom[1], c_mul(l, top[1]));
    if (c_abs(last) < tol) {
        return anomalous_termination(1);
    }
    const complex x11 = c_div(one, last);
    const complex x10 = c_mul({-l.re, -l.im}, x11);
    const complex x01 = c_div(c_mul({-top[1].re, -top[1].im}, x11), top[0]);
    const complex x00 = c_div(c_sub(one, c_mul(top[1], x10)), top[0]);
    a[0][exchanged ? 1 : 0] = x00;
    a[0][exchanged ? 0 : 1] = x01;
    a[1][exchanged ? 1 : 0] = x10;
    a[1][exchanged ? 0 : 1] = x11;
    return 0;
}

void join_planes(int n, const Planes &from, complex *const *a) {
    for (int i = 0; i < n; ++i) {
        for (int j = 0; j < n; ++j) {
            a[i][j] = from.at(i, j);
        }
    }
}

// work.x <- U^-1, block of rows by block of rows from below.
void invert_upper(int n, InvmatWork &work) {
    const Planes &u = work.a;
    const Planes &x = work.x;
    zero_planes(x, n);
    for (int i0 = (n - 1) / lu_block * lu_block; i0 >= 0; i0 -= lu_block) {
        chk_interrupt();
        const int i1 = std::min(i0 + lu_block, n);
        Product p;
        p.rows = i1 - i0;
        p.cols = p.inner = n - i1;
        p.subtract = true;
        p.c = x.from(i0, i1);
        p.ar = u.re_row(i0) + i1;
        p.ai = u.im_row(i0) + i1;
        p.a_row = u.ld;
        p.a_col = 1;
        p.b = x.from(i1, i1);
        if (i1 < n) {
            kernels().multiply(p);
        }
        for (int i = i1 - 1; i >= i0; --i) {
            for (int k = i + 1; k < i1; ++k) {
                kernels().eliminate(x, i, k, k, n, u.at(i, k));
            }
            const complex reciprocal = c_div(one, u.at(i, i));
            for (int j = i + 1; j < n; ++j) {
                x.set(i, j, c_mul(x.at(i, j), reciprocal));
            }
            x.set(i, i, reciprocal);
        }
    }
}

// work.block <- inverse of the diagonal block k0..k1-1 of L, without its unit diagonal.
void invert_diagonal_block(int k0, int k1, InvmatWork &work) {
    const Planes &m = work.block;
    zero_planes(m, lu_block);
    for (int i = k0 + 1; i < k1; ++i) {
        for (int j = k0; j < i; ++j) {
            complex sum = work.a.at(i, j);
            for (int k = j + 1; k < i; ++k) {
                sum = c_add(sum, c_mul(work.a.at(i, k), m.at(k - k0, j - k0)));
            }
            m.set(i - k0, j - k0, {-sum.re, -sum.im});
        }
    }
}

// work.x <- work.x L^-1, block of columns by block of columns from the right.
void divide_by_lower(int n, InvmatWork &work) {
    const Planes &x = work.x;
    for (int k0 = (n - 1) / lu_block * lu_block; k0 >= 0; k0 -= lu_block) {
        chk_interrupt();
        const int k1 = std::min(k0 + lu_block, n);
        Product p;
        p.rows = n;
        p.cols = k1 - k0;
        p.c = x.from(0, k0);
        p.a_row = x.ld;
        p.a_col = 1;
        if (k1 < n) {
            p.inner = p.upper_from = n - k1;
            p.subtract = true;
            p.ar = x.re + k1;
            p.ai = x.im + k1;
            p.b = work.a.from(k1, k0);
            kernels().multiply(p);
        }
        invert_diagonal_block(k0, k1, work);
        // In place: a strip needs itself and columns to the right of it only.
        p.inner = p.upper_from = k1 - k0;
        p.subtract = false;
        p.ar = p.c.re;
        p.ai = p.c.im;
        p.b = work.block;
        kernels().multiply(p);
    }
}

// a <- work.x, the interchanges applied in reverse order to its columns.
void store_inverse(int n, complex *const *a, InvmatWork &work) {
    const int *interchange = work.index.data();
    int *from = work.index.data() + work.n_max;
    for (int j = 0; j < n; ++j) {
        from[j] = j;
    }
    for (int k = n - 1; k >= 0; --k) {
        std::swap(from[k], from[interchange[k]]);
    }
    for (int i = 0; i < n; ++i) {
        for (int j = 0; j < n; ++j) {
            a[i][j] = work.x.at(i, from[j]);
        }
    }
}

} // namespace

int inv_c_mat(int n, double tol, complex *const *a, InvmatWork &work) {
    if (n < 1 || tol <= 0.0) {
        mb_fprintf(stdout, "$$ (inv_c_mat) invalid n or epsilon.\n");
        return 30000;
    }
    if (n <= 2) {
        return invert_small(n, tol, a);
    }
    split_planes(n, a, work.a);
    const int reached = lu_decompose({n, tol, false}, work.a, work.panel, work.index.data());
    if (reached < n) {
        join_planes(n, work.a, a);
        return anomalous_termination(reached);
    }
    invert_upper(n, work);
    divide_by_lower(n, work);
    store_inverse(n, a, work);
    return 0;
}

} // namespace orvel
