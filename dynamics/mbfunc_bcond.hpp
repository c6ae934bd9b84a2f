// The entrance boundary condition and the branches that are kept.
#pragma once

#include "dynamics/work_cal_int.hpp"

namespace orvel {

// alpha = first column of (C_ij / sqrt(beta_i))^-1: at the entrance surface the Bloch waves sum up
// to the unit incident beam in row 0 and to nothing in every other beam. The status of the solver
// is not examined. With bc_chk_flag 1 every |alpha_j| > 1 is told on the console, with 2 its
// eigenvector too; returns 1 when one was told, else 0. boundary: n x n scratch.
int upper_b_cond(int n, const double *beta_selected, const complex *const *eigvec, complex *alpha,
                 complex *const *boundary, InvmatWork &invmat_work);

// The same, after which each alpha_j is multiplied by weights[j].
int upper_b_cond_coherent(int n, const complex *weights, const double *beta_selected,
                          const complex *const *eigvec, complex *alpha, complex *const *boundary,
                          InvmatWork &invmat_work);

// Keeps the fewest branches of largest |alpha|^2 whose share of the total reaches bc_accuracy, in
// that order; all of them, in index order, when bc_accuracy is exactly 1. Where the share never
// reaches it, n_kept is left as it is. weights, order: scratch of n.
void limited_branch(double bc_accuracy, int n, const complex *alpha, int &n_kept, int *branch_list,
                    double *weights, int *order);

} // namespace orvel
