// The boundary condition at the entrance surface: one column of an inverse.
#pragma once

#include "numeric/complex.hpp"
#include "numeric/lb_invmat.hpp"

namespace orvel {

// alpha <- first column of M^-1, the solution of M alpha = (1, 0, ..., 0), without the inverse.
// The column with the largest modulus in row 0 is exchanged with the last one, row 0 with the last
// row; elimination with row interchanges leaves the right-hand side alone, since it keeps the last
// row in its place (unless nothing else in a column differs from zero).
// status: 0, or 30000 when the last pivot is not larger than tol.
void inverse(int n, complex *const *m, complex *alpha, double tol, int &status, InvmatWork &work);

} // namespace orvel
