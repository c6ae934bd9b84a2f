// Eigenvalues and eigenvectors by elementary transformations to Hessenberg form and QR iteration
// with plane rotations.
#pragma once

#include "numeric/complex.hpp"
#include "numeric/lb_eigmat.hpp"

namespace orvel {

// Eigenpairs of A (n x n, unchanged), the eigenvectors (columns of eigvec) of unit length. A
// subdiagonal element of modulus up to max(tol, 1e-13) times the 1-norm of A counts as zero.
// order: +1 or -1 sorts by re_part_csort in this direction, else by norm_csort.
// Returns 0; 1 for n = 1 or a 1-norm below tol (the diagonal and unit vectors, not sorted); 3 for
// n < 1 or tol <= 0 ("$$ (eigen_c_mat) invalid n or epsilon.\n" on standard error); 30000 when an
// eigenvalue has not converged after 31 iterations (those found so far are stored, the other
// outputs are as they were).
// After COMHES and COMLR2 (R. S. Martin, J. H. Wilkinson, Numer. Math. 12 (1968) 349; G. Peters,
// J. H. Wilkinson, Numer. Math. 16 (1970) 181), with unitary rotations in place of elementary ones
// in the iteration.
int eigen_c_mat(int n, double tol, int order, const complex *const *a, complex *eigval,
                complex *const *eigvec, EigmatWork &work);

} // namespace orvel
