// What both eigen-solvers share from the Hessenberg matrix on: QR sweeps with explicit shifts, the
// vectors of the triangular matrix and their way back.
//
// The matrix is work.a, its real subdiagonal work.sub, the transformations so far work.zt
// (transposed). Rotations reach the transformations many sweeps at a time.
#pragma once

#include "numeric/complex.hpp"
#include "numeric/lb_eigmat.hpp"

namespace orvel {

// First and last row of what is left to solve; rows outside are triangular already.
struct Range {
    int low = 0;
    int high = 0;
};

// work.zt <- 1
void unit_transformations(int n, EigmatWork &work);

// Makes the subdiagonal elements of the range real by a diagonal similarity where their imaginary
// part is at least `smallest`, or not 0 for smallest = 0; moves their real parts to work.sub and
// clears everything below the diagonal.
void make_subdiagonal_real(int n, Range range, double smallest, EigmatWork &work);

// The shift of COMQR2: the eigenvalue of the 2 x 2 block that ends in row en which is nearer to its
// last element. root: the square root to use; called with non-zero arguments only.
complex trailing_shift(int en, complex (*root)(complex), const EigmatWork &work);

// One QR step on rows l..en after `shift` is subtracted from the diagonal of rows low..en.
void qr_step(int n, int low, int l, int en, complex shift, EigmatWork &work);

// The rotations of all steps so far reach work.zt.
void flush_rotations(int n, EigmatWork &work);

// Which eigenvalues the back-substitution takes as one, so as not to divide by their difference:
// those that are equal in every bit, as COMQR2 does, or those that differ by less than is lost
// beside the norm, whose vectors would else be one as well.
enum class Coinciding { exact, rounded };

// eigvec <- eigenvectors of the matrix before its reduction, from the triangular matrix in work.a
// and the eigenvalues work.wr, wi. Columns of squared length of at least `shortest` are normalised.
void schur_vectors(int n, Range range, double shortest, Coinciding rule, complex *const *eigvec,
                   EigmatWork &work);

} // namespace orvel
