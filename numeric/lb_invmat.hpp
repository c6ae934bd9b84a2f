// Inverse of a complex matrix and the solution of the entrance boundary condition: the choice of
// routine by the run settings.
#pragma once

#include "numeric/complex.hpp"
#include "numeric/lb_planes.hpp"
#include "numeric/vecmat.hpp"

namespace orvel {

// Scratch of the inversions for orders up to n_max, allocated once per job. Its layout is the
// routines' own matter.
struct InvmatWork {
    explicit InvmatWork(int n_max);
    int n_max = 0;
    Vector<double> reals; // what the pointers below point into
    Vector<int> index;    // row interchanges, and where the columns of the inverse go

    Planes a;                            // the copy that is factorized
    Planes x;                            // the inverse
    Planes block;                        // inverse of one diagonal block
    Planes panel;                        // columns of a panel, each as a row
    double *xr = nullptr, *xi = nullptr; // solution of the boundary condition
    bool is_singular = false;            // the last boundary condition was not solved
};

// A <- A^-1 in place by inv_c_mat with the tolerance inv_eps. Any invmat_func but 0 ends the run
// ("$$ Invalid epsilon.invmat_func=%d. Abort.\n", status 1). A non-zero status of the routine is
// told on the console ("$$ (invmat): inv_c_mat = %d\n") and the run goes on. Returns 0.
int invmat(int n, complex *const *a, InvmatWork &work);

// B (n x n) = A_11 - A_12 A_22^-1 A_21, where A_22 is the trailing block of order m of A: what
// invmat and two products give, to rounding, by eliminating the block. False, B being left as it
// is, where inv_c_mat would find the block singular, or for any invmat_func but 0: then invmat has
// to tell.
bool schur_complement(int n, int m, const complex *const *a, complex *const *b, InvmatWork &work);

// B (n x n) = A_11 - A_12 D^-1 A_21, D the diagonal of the trailing block of order m of A. False
// where an element of D is not above inv_eps: rounding alone has left it.
bool schur_complement_diagonal(int n, int m, const complex *const *a, complex *const *b,
                               InvmatWork &work);

// alpha = first column of M^-1 by inverse(); the contents of M are given up. Any bc_invmat_func but
// 0 ends the run
// ("$$ Invalid epsilon.bc_invmat_func=%d. Abort.\n", status 1). Returns the status of the routine:
// 0 success, 30000 failure.
int bc_invmat(int n, complex *const *m, complex *alpha, InvmatWork &work);

} // namespace orvel
