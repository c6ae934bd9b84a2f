// The dynamical matrix of one tilt and the folding of its Bethe beams.
//
// A_ij = U(g_i - g_j) / sqrt(beta_i beta_j) off the diagonal, (2 K s_i + i U(0)'') / beta_i on it,
// with K = sqrt(k0^2 + U(0)'): the mean potential acts through K alone, the mean absorption stands
// on every diagonal element. 1/A^2.
#pragma once

#include "dynamics/work_cal_int.hpp"

#include <cmath>
#include <span>

namespace orvel {

// What turns potentials and excitation errors into elements of the matrix.
struct MatrixUnits {
    double K = 0.0;       // 1/A
    complex U0;           // of the mean potential, 1/A^2
    double U_per_V = 0.0; // 1/(V A^2)
};
MatrixUnits matrix_units(double voltage, complex V0);

// Fills work.A over the selected beams (work.index_list, n_exact + n_bethe) from the potential
// matrix V (volts, global list), work.s and work.beta. Negative products of beta give NaN.
void construct_ug_mat_slct(double voltage, const complex *const *V, WorkCalInt &work,
                           complex *const *A);

// True where the eigen-solver may give a beam the place of another: eigmat_func 0 balances by
// permutations, which are not undone, and moves a beam whose couplings are all below eigen_eps.
// Asks the potential whether one of the exact beams couples to no other, or no other to it, with
// room for the surface factors.
bool may_trade_places(double voltage, const complex *const *V, std::span<const int> exact);

// |re| + |im|
inline double element_size(complex z) {
    return std::fabs(z.re) + std::fabs(z.im);
}

// True where eigmat_func 0 may scale a row and a column of a matrix of order n, whose elements have
// the sizes size(i, j): it balances by powers of 16 as well, which are not undone either, where
// the sums of a row and of its column, without the diagonal, differ by so much. Asks with room.
template <class Size> bool may_be_scaled(int n, Size size) {
    constexpr double most = 12.0; // of the 16
    for (int i = 0; i < n; ++i) {
        double row = 0.0;
        double column = 0.0;
        for (int j = 0; j < n; ++j) {
            row += j != i ? size(i, j) : 0.0;
            column += j != i ? size(j, i) : 0.0;
        }
        if (row > most * column || column > most * row) {
            return true;
        }
    }
    return false;
}

// Codes of the beam search up to 9 fold by the generalized form, from 10 on by the simple one.
void fold_bethe_beams(int flag_bs, int n_exact, int n_bethe, const complex *const *A,
                      complex *const *B, WorkCalInt &work);

// B = A_ee - A_eb A_bb^-1 A_be: the partitioned form of Bethe's approximation, taken at eigenvalue
// zero, with the coupling of the Bethe beams among themselves. A singular block is marked, told by
// the inversion and folded with what that left.
void g_bethe(int n_exact, int n_bethe, const complex *const *A, complex *const *B, BetheWork &bethe,
             InvmatWork &invmat_work);

// B_ij = A_ij - sum_b A_ib A_bj / A_bb: each Bethe beam through its own diagonal element (H. Bethe,
// Ann. Phys. 87 (1928) 55). A zero diagonal gives non-finite values; one that inv_eps takes for
// zero is marked.
void simple_bethe(int n_exact, int n_bethe, const complex *const *A, complex *const *B,
                  BetheWork &bethe, InvmatWork &invmat_work);

// The p-th n x n matrix of a stack, to a matrix and back.
void pvg_to_vg(int p, int n, const complex *const *const *stack, complex *const *matrix);
void vg_to_pvg(int p, int n, const complex *const *matrix, complex *const *const *stack);

} // namespace orvel
