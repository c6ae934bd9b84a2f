#include "dynamics/mbfunc_matrix.hpp"

#include "app/run_settings.hpp"
#include "crystal/lattice.hpp"
#include "crystal/potential_coef.hpp"
#include "numeric/cmatutil.hpp"

#include <algorithm>
#include <cmath>

namespace orvel {

namespace {

// Last code of the beam search that folds by the generalized form.
constexpr int last_generalized_code = 9;

complex divided(complex z, double divisor) {
    return {z.re / divisor, z.im / divisor};
}

// In place.
void square_roots(double *x, int n) {
    for (int i = 0; i < n; ++i) {
        x[i] = std::sqrt(x[i]);
    }
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

MatrixUnits matrix_units(double voltage, complex V0) {
    const double k0 = 1.0 / wavelength(voltage);
    const double gamma = relativ_corr(voltage);
    const complex U0 = vg_to_ug(V0, gamma);
    return {std::sqrt(k0 * k0 + U0.re), U0, vg_to_ug({1.0, 0.0}, gamma).re};
}

void construct_ug_mat_slct(double voltage, const complex *const *V, WorkCalInt &work,
                           complex *const *A) {
    const int n = work.n_exact + work.n_bethe;
    const auto [K, U0, U_per_V] = matrix_units(voltage, V[0][0]);
    const int *list = work.index_list.data();
    double *roots = work.roots.data();
    for (int i = 0; i < n; ++i) {
        const double beta = work.beta[list[i]];
        // Beams of one Laue zone share beta where the normal is the zone axis.
        if (i == 0 || beta != work.beta[list[i - 1]]) {
            for (int j = 0; j < n; ++j) {
                roots[j] = beta * work.beta[list[j]];
            }
            square_roots(roots, n);
        }
        const complex *row = V[list[i]];
        for (int j = 0; j < n; ++j) {
            const complex &v = row[list[j]];
            A[i][j] = {v.re * U_per_V / roots[j], v.im * U_per_V / roots[j]};
        }
        A[i][i] = divided({2.0 * K * work.s[list[i]], U0.im}, beta);
    }
}

bool may_trade_places(double voltage, const complex *const *V, std::span<const int> exact) {
    constexpr double room = 4.0;
    if (epsilon.eigmat_func != 0 || exact.size() < 2) {
        return false;
    }
    const double least = room * epsilon.eigen_eps / matrix_units(voltage, V[0][0]).U_per_V;
    const auto couples = [&](complex v) {
        return !(std::fabs(v.re) < least && std::fabs(v.im) < least);
    };
    const auto is_alone = [&](int g) {
        return std::none_of(exact.begin(), exact.end(),
                            [&](int h) { return h != g && couples(V[g][h]); }) ||
               std::none_of(exact.begin(), exact.end(),
                            [&](int h) { return h != g && couples(V[h][g]); });
    };
    return std::any_of(exact.begin(), exact.end(), is_alone);
}

void fold_bethe_beams(int flag_bs, int n_exact, int n_bethe, const complex *const *A,
                      complex *const *B, WorkCalInt &work) {
    work.bethe.is_singular = false;
    if (flag_bs <= last_generalized_code) {
        g_bethe(n_exact, n_bethe, A, B, work.bethe, work.invmat);
    } else {
        simple_bethe(n_exact, n_bethe, A, B, work.bethe, work.invmat);
    }
}

void g_bethe(int n_exact, int n_bethe, const complex *const *A, complex *const *B, BetheWork &bethe,
             InvmatWork &invmat_work) {
    if (n_bethe == 0) {
        c_matcopy2(n_exact, A, B);
        return;
    }
    if (schur_complement(n_exact, n_bethe, A, B, invmat_work)) {
        return;
    }
    bethe.is_singular = true;
    c_matcopy2(n_exact, A, B);
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

void simple_bethe(int n_exact, int n_bethe, const complex *const *A, complex *const *B,
                  BetheWork &bethe, InvmatWork &invmat_work) {
    if (n_bethe == 0) {
        c_matcopy2(n_exact, A, B);
        return;
    }
    bethe.is_singular = !schur_complement_diagonal(n_exact, n_bethe, A, B, invmat_work);
}

void pvg_to_vg(int p, int n, const complex *const *const *stack, complex *const *matrix) {
    c_matcopy2(n, stack[p], matrix);
}

void vg_to_pvg(int p, int n, const complex *const *matrix, complex *const *const *stack) {
    c_matcopy2(n, matrix, stack[p]);
}

} // namespace orvel
