#include "numeric/lb_invmat.hpp"

#include "app/mb_debug.hpp"
#include "app/mb_mpi.hpp"
#include "app/run_settings.hpp"
#include "numeric/lb_invmat1.hpp"
#include "numeric/lb_invmat2.hpp"
#include "numeric/lb_kernels.hpp"
#include "numeric/lb_lu.hpp"

namespace orvel {

namespace {

// work.a <- A with its trailing block of order m first, as a block with a border of order n.
void split_bordered(int n, int m, const complex *const *a, InvmatWork &work) {
    const Planes &p = work.a;
    zero_padding(p, n + m);
    const int border = border_column(m);
    for (int i = 0; i < n + m; ++i) {
        const complex *row = a[i < m ? n + i : i - m];
        double *re = p.re_row(i);
        double *im = p.im_row(i);
        for (int j = 0; j < m; ++j) {
            re[j] = row[n + j].re;
            im[j] = row[n + j].im;
        }
        for (int j = 0; j < n; ++j) {
            re[border + j] = row[j].re;
            im[border + j] = row[j].im;
        }
        zero_columns(p, i, m, border);
    }
}

// b <- what the elimination left of the border.
void join_border(int n, int m, complex *const *b, const InvmatWork &work) {
    for (int i = 0; i < n; ++i) {
        for (int j = 0; j < n; ++j) {
            b[i][j] = work.a.at(m + i, border_column(m) + j);
        }
    }
}

} // namespace

InvmatWork::InvmatWork(int n)
    : n_max(n),
      reals(2 * plane_size(n + strip) + 2 * plane_size(n) + 2 * plane_size(lu_block) +
            2 * static_cast<std::size_t>(lu_block) * static_cast<std::size_t>(plane_ld(n)) +
            2 * static_cast<std::size_t>(round_up_strip(n)) + strip),
      index(2 * static_cast<std::size_t>(n)) {
    PlaneDealer deal(reals);
    a = deal.planes(n + strip); // a border may begin up to a strip later than its rows
    x = deal.planes(n);
    block = deal.planes(lu_block);
    panel = deal.planes(lu_block, n);
    xr = deal.vector(n);
    xi = deal.vector(n);
}

int invmat(int n, complex *const *a, InvmatWork &work) {
    assert(n <= work.n_max);
    if (epsilon.invmat_func != 0) {
        mb_fprintf(stdout, "$$ Invalid epsilon.invmat_func=%d. Abort.\n", epsilon.invmat_func);
        end_run(1);
    }
    dbg_mon("$$ invmat: Numpack inv_c_mat()\n");
    const int status = inv_c_mat(n, epsilon.inv_eps, a, work);
    if (status != 0) {
        mb_fprintf(stdout, "$$ (invmat): inv_c_mat = %d\n", status);
    }
    return 0;
}

bool schur_complement(int n, int m, const complex *const *a, complex *const *b, InvmatWork &work) {
    assert(n + m <= work.n_max);
    if (epsilon.invmat_func != 0 || epsilon.inv_eps <= 0.0) {
        return false;
    }
    split_bordered(n, m, a, work);
    LuTask task;
    task.n = m;
    task.tol = epsilon.inv_eps;
    task.border = n;
    if (lu_decompose(task, work.a, work.panel, work.index.data()) < m) {
        return false;
    }
    dbg_mon("$$ invmat: Numpack inv_c_mat()\n");
    join_border(n, m, b, work);
    return true;
}

bool schur_complement_diagonal(int n, int m, const complex *const *a, complex *const *b,
                               InvmatWork &work) {
    assert(n + m <= work.n_max);
    split_bordered(n, m, a, work);
    const Planes right = work.a.from(0, border_column(m));
    bool is_regular = true;
    for (int k = 0; k < m; ++k) {
        const complex diagonal = a[n + k][n + k];
        is_regular = is_regular && c_abs(diagonal) > epsilon.inv_eps;
        for (int j = 0; j < n; ++j) {
            right.set(k, j, c_div(right.at(k, j), diagonal));
        }
    }
    Product p;
    p.rows = p.cols = n;
    p.inner = p.upper_from = m;
    p.subtract = true;
    p.c = work.a.from(m, border_column(m));
    p.ar = work.a.re_row(m);
    p.ai = work.a.im_row(m);
    p.a_row = work.a.ld;
    p.a_col = 1;
    p.b = right;
    multiply_in_steps(p);
    join_border(n, m, b, work);
    return is_regular;
}

int bc_invmat(int n, complex *const *m, complex *alpha, InvmatWork &work) {
    assert(n <= work.n_max);
    if (epsilon.bc_invmat_func != 0) {
        mb_fprintf(stdout, "$$ Invalid epsilon.bc_invmat_func=%d. Abort.\n",
                   epsilon.bc_invmat_func);
        end_run(1);
    }
    int status = 0;
    inverse(n, m, alpha, epsilon.inv_eps, status, work);
    return status;
}

} // namespace orvel
