// Inverse of a complex matrix from its LU decomposition.
#pragma once

#include "numeric/complex.hpp"
#include "numeric/lb_invmat.hpp"

namespace orvel {

// A <- A^-1, n x n, in place. Returns
//   0      when it is done;
//   30000  for n < 1 or tol <= 0 ("$$ (inv_c_mat) invalid n or epsilon." on the console);
//   k      when the largest modulus of column k (from 0) is below tol
//          ("$$ Anomalous termination in inv_c_mat."); A is partly overwritten. A failure in the
//          first column thus returns 0, as success does.
int inv_c_mat(int n, double tol, complex *const *a, InvmatWork &work);

} // namespace orvel
