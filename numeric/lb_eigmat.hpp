// Eigenvalues and eigenvectors of a general complex matrix: the choice of routine and the sorts.
//
// Eigenvectors are the columns of an n x n matrix: column j belongs to eigenvalue j.
#pragma once

#include "numeric/complex.hpp"
#include "numeric/lb_kernels.hpp"
#include "numeric/vecmat.hpp"

namespace orvel {

// Scratch of the eigen-solvers for orders up to n_max, allocated once per job so that solving a
// tilt allocates nothing. Its layout is the solvers' own matter.
struct EigmatWork {
    explicit EigmatWork(int n_max);
    int n_max = 0;
    Vector<double> reals; // what all the pointers below point into
    Vector<complex> vec;  // eigenvalues, and one row at a time, on their way through the sort
    Vector<int> index;    // permutations and interchanges

    Planes a;  // the copy that a solver destroys: Hessenberg, triangular, vectors of the triangle
    Planes zt; // transformations, transposed
    Planes v;  // their product
    double *sub = nullptr;                   // subdiagonal of the Hessenberg matrix
    double *wr = nullptr, *wi = nullptr;     // eigenvalues
    double *ortr = nullptr, *orti = nullptr; // what a reduction keeps for the vectors
    double *scale = nullptr;                 // of the balancing
    bool is_balanced = false;                // it moved or scaled rows of the eigenvectors
    double *ur = nullptr, *ui = nullptr;     // rows of scratch
    double *fr = nullptr, *fi = nullptr;

    // Sweeps whose rotations have not reached the transformations yet.
    static constexpr int sweeps_max = 16;
    QrSweep sweeps[sweeps_max];
    int num_sweeps = 0;
};

// All eigenvalues and eigenvectors of A (n x n, unchanged), by epsilon.eigmat_func:
//   0  eispack_cg;
//   1  eigen_c_mat, sorted by decreasing real part; a status other than 0 is told on the console
//      ("$$ (eigmat): eigen_c_mat = %d\n") and the run goes on with what is left in the outputs;
//   else "$$ Invalid epsilon.eigmat_func=%d. Abort.\n" on the console; despite the wording, the
//      outputs are left as they are and the run goes on.
// eigval: n; eigvec: n x n, columns of unit length. Dumped when eigval_dump_flag and
// eigvec_dump_flag are set. Returns 0 in every case.
int eigmat(int n, const complex *const *a, complex *eigval, complex *const *eigvec,
           EigmatWork &work);

// Stable sort by decreasing real part, the columns of eigvec moving along: an element goes before
// the first earlier one whose real part is smaller, equal ones keep their order.
void sort_eigval_eigvec(int n, complex *eigval, complex *const *eigvec, EigmatWork &work);

// Sort by decreasing f Re(lambda), f = -1 for a negative direction, else +1.
void re_part_csort(int n, complex *eigval, complex *const *eigvec, int direction);
// The same by f |lambda|^2.
void norm_csort(int n, complex *eigval, complex *const *eigvec, int direction);

} // namespace orvel
