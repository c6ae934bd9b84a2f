// First-order perturbation of an eigen-solution.
#pragma once

#include "dynamics/work_cal_int.hpp"

namespace orvel {

// Eigenvalues and right eigenvectors (columns, n x n) of a matrix, and the inverse C^-1.
struct EigenSolution {
    const complex *eigval;
    const complex *const *eigvec;
    const complex *const *eigvec_inv;
};

// With b = C^-1 (B1 - B0) C: eigval'_i = eigval_i + b_ii; column j of eigvec gains
// sum_(i != j) C_i b_ij / (eigval_j - eigval_i), pairs whose real parts differ by less than
// degeneracy_eps excepted. Not renormalised. Uses work.difference and work.product.
void perturbation2(const EigenSolution &unperturbed, int n, const complex *const *B0,
                   const complex *const *B1, double degeneracy_eps, complex *eigval,
                   complex *const *eigvec, PerturbWork &work);

} // namespace orvel
