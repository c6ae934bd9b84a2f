#include "dynamics/mbfunc_bcond.hpp"

#include "app/mb_mpi.hpp"
#include "app/run_settings.hpp"
#include "input/heap_sort.hpp"

#include <algorithm>
#include <cmath>

namespace orvel {

namespace {

// Tells of excitation coefficients above 1, which a unit incident beam should not have.
int check_excitation(int n, const complex *const *eigvec, const complex *alpha) {
    int found = 0;
    if (dbg.bc_chk_flag != 1 && dbg.bc_chk_flag != 2) {
        return found;
    }
    for (int j = 0; j < n; ++j) {
        if (!(c_abs(alpha[j]) > 1.0)) {
            continue;
        }
        found = 1;
        mb_fprintf(stdout, "$$ bc[%d] = %g, %g (c_abs = %g)\n", j, alpha[j].re, alpha[j].im,
                   c_abs(alpha[j]));
        if (dbg.bc_chk_flag == 2) {
            double norm = 0.0;
            for (int i = 0; i < n; ++i) {
                mb_fprintf(stdout, "$$ vec[%d][%d]=%g %g\n", i, j, eigvec[i][j].re,
                           eigvec[i][j].im);
                norm += c_norm(eigvec[i][j]);
            }
            mb_fprintf(stdout, "$$ norm^2 = %g\n", norm);
        }
    }
    return found;
}

} // namespace

int upper_b_cond(int n, const double *beta_selected, const complex *const *eigvec, complex *alpha,
                 complex *const *boundary, InvmatWork &invmat_work) {
    for (int i = 0; i < n; ++i) {
        const double root = std::sqrt(beta_selected[i]);
        for (int j = 0; j < n; ++j) {
            boundary[i][j] = {eigvec[i][j].re / root, eigvec[i][j].im / root};
        }
    }
    invmat_work.is_singular = bc_invmat(n, boundary, alpha, invmat_work) != 0;
    return check_excitation(n, eigvec, alpha);
}

int upper_b_cond_coherent(int n, const complex *weights, const double *beta_selected,
                          const complex *const *eigvec, complex *alpha, complex *const *boundary,
                          InvmatWork &invmat_work) {
    const int found = upper_b_cond(n, beta_selected, eigvec, alpha, boundary, invmat_work);
    for (int j = 0; j < n; ++j) {
        alpha[j] = c_mul(alpha[j], weights[j]);
    }
    return found;
}

void limited_branch(double bc_accuracy, int n, const complex *alpha, int &n_kept, int *branch_list,
                    double *weights, int *order) {
    for (int j = 0; j < n; ++j) {
        branch_list[j] = j;
    }
    if (bc_accuracy == 1.0) {
        n_kept = n;
        return;
    }
    double total = 0.0;
    for (int j = 0; j < n; ++j) {
        weights[j] = c_norm(alpha[j]);
        total += weights[j];
    }
    d_heapsort(n, weights, order);
    std::copy_n(order, n, branch_list);
    double cumulative = 0.0;
    for (int k = 0; k < n; ++k) {
        cumulative += weights[k];
        if (cumulative / total >= bc_accuracy) {
            n_kept = k + 1;
            return;
        }
    }
}

} // namespace orvel
