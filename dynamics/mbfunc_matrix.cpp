#include "dynamics/mbfunc_matrix.hpp"

#include "crystal/lattice.hpp"
#include "crystal/potential_coef.hpp"
#include "numeric/cmatutil.hpp"

#include <cmath>

namespace orvel {

namespace {

// Last code of the beam search that folds by the generalized form.
constexpr int last_generalized_code = 9;

complex divided(complex z, double divisor) {
    return {z.re / divisor, z.im / divisor};
}

// Rows and columns from the given ones on, as a matrix of its own.
void copy_block(int rows, int cols, const complex *const *src, int first_row, int first_col,
                complex *const *dst) {
    for (int i = 0; i < rows; ++i) {
        for (int j = 0; j < cols; ++j) {
            dst[i][j] = src[first_row + i][first_col + j];
        }
    }
}

} // namespace

void construct_ug_mat_slct(double voltage, const complex *const *V, const WorkCalInt &work,
                           complex *const *A) {
    const int n = work.n_exact + work.n_bethe;
    const double k0 = 1.0 / wavelength(voltage);
    const double gamma = relativ_corr(voltage);
    const complex U0 = vg_to_ug(V[0][0], gamma);
    const double K = std::sqrt(k0 * k0 + U0.re);
    for (int i = 0; i < n; ++i) {
        const int a = work.index_list[i];
        for (int j = 0; j < n; ++j) {
            const int b = work.index_list[j];
            A[i][j] = divided(vg_to_ug(V[a][b], gamma), std::sqrt(work.beta[a] * work.beta[b]));
        }
        A[i][i] = divided({2.0 * K * work.s[a], U0.im}, work.beta[a]);
    }
}

void fold_bethe_beams(int flag_bs, int n_exact, int n_bethe, const complex *const *A,
                      complex *const *B, WorkCalInt &work) {
    if (flag_bs <= last_generalized_code) {
        g_bethe(n_exact, n_bethe, A, B, work.bethe, work.invmat);
    } else {
        simple_bethe(n_exact, n_bethe, A, B);
    }
}

void g_bethe(int n_exact, int n_bethe, const complex *const *A, complex *const *B, BetheWork &bethe,
             InvmatWork &invmat_work) {
    c_matcopy2(n_exact, A, B);
    if (n_bethe == 0) {
        return;
    }
    complex *const *bb = bethe.bb.get();
    copy_block(n_bethe, n_bethe, A, n_exact, n_exact, bb);
    invmat(n_bethe, bb, invmat_work);
    // S = A_bb^-1 A_be takes the first n_exact columns of the Bethe rows of A.
    complex *const *s = bethe.s.get();
    c_matmult(n_bethe, n_exact, n_bethe, s, bb, A + n_exact);
    for (int i = 0; i < n_exact; ++i) {
        const complex *eb_row = A[i] + n_exact;
        c_matmult(1, n_exact, n_bethe, bethe.t.get() + i, &eb_row, s);
    }
    c_matsub2(n_exact, B, bethe.t.get());
}

void simple_bethe(int n_exact, int n_bethe, const complex *const *A, complex *const *B) {
    c_matcopy2(n_exact, A, B);
    if (n_bethe == 0) {
        return;
    }
    for (int i = 0; i < n_exact; ++i) {
        for (int j = 0; j < n_exact; ++j) {
            complex sum;
            for (int b = n_exact; b < n_exact + n_bethe; ++b) {
                sum = c_add(sum, c_div(c_mul(A[i][b], A[b][j]), A[b][b]));
            }
            B[i][j] = c_sub(A[i][j], sum);
        }
    }
}

void pvg_to_vg(int p, int n, const complex *const *const *stack, complex *const *matrix) {
    c_matcopy2(n, stack[p], matrix);
}

void vg_to_pvg(int p, int n, const complex *const *matrix, complex *const *const *stack) {
    c_matcopy2(n, matrix, stack[p]);
}

} // namespace orvel
