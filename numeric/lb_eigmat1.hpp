// Eigenvalues and eigenvectors by balancing, Householder reduction and the complex QR method.
//
// The routines follow CBAL, CORTH and COMQR2 of EISPACK (B. T. Smith et al., Matrix Eigensystem
// Routines - EISPACK Guide, 2nd ed., Springer 1976; G. Peters, J. H. Wilkinson, Numer. Math. 16
// (1970) 181) with absolute tests by `eps` in place of the tests for zero and for negligible
// subdiagonal elements, and without undoing the balancing. They work on planes (lb_planes), indices
// from 0; the matrix of eigenvectors is held transposed, so that every rotation runs along rows.
#pragma once

#include "numeric/complex.hpp"
#include "numeric/lb_eigmat.hpp"
#include "numeric/lb_eigmat1_scalar.hpp"
#include "numeric/lb_schur.hpp"

namespace orvel {

// Tolerance of this path, absolute, in the unit of the matrix; set by eispack_cg.
extern thread_local double eps;

// Exchanges rows j and m (columns k..n-1) and columns j and m (rows 0..l).
void matexchange_rowcol(const Planes &a, int n, int j, int m, int k, int l);

// Balances in place by permutations and by powers of 16. scale[i]: the scale of row i in low..high,
// else the row that was exchanged with it. Elements below eps count as zero. Rows with elements
// too large to be scaled without overflow, or not finite, are left as they are.
Range cbal(int n, const Planes &a, double *scale);

// Upper Hessenberg form by reflections of rows and columns low..high. A column whose sum of moduli
// is below eps is left as it is. What comqr2 needs of the reflections stays below the diagonal of A
// and in ortr, orti (n each).
void corth(int n, const Planes &a, Range range, EigmatWork &work);

// Eigenvalues and unit eigenvectors of what corth has left. When the 30 n iterations are used up,
// it returns without a word: the eigenvalues found so far are stored, the other outputs are as they
// were. An exceptional shift that is due for the last two rows ends the run
// ("$$ en=%d, abort.\n" on the console, status 1).
void comqr2(int n, Range range, complex *eigval, complex *const *eigvec, EigmatWork &work);

// The whole path: eigenpairs of A (n x n, unchanged) by decreasing real part, with the tolerance
// tol. The eigenvectors are those of the balanced matrix; work.is_balanced tells whether that is
// another one.
void eispack_cg(int n, double tol, const complex *const *a, complex *eigval, complex *const *eigvec,
                EigmatWork &work);

} // namespace orvel
