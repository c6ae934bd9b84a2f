// Space groups: operations from "orvelspg.dat" completed with centring and inversion, generated
// positions and their equality.
#pragma once

#include "crystal/lattice.hpp"

#include <array>
#include <span>
#include <string>
#include <vector>

namespace orvel {

// A symmetry operation p -> R p + t. The first nine numbers hold R column by column (coefficients
// of x in the new x, y, z, then those of y, then those of z), the last three t.
using SymOp = std::array<double, 12>;

// All operations of a space group, and what the extinction rule needs.
struct SpaceGroup {
    int number = 0;
    std::vector<SymOp> ops;
    int centrosymmetric = 0;   // 1: the inverse of every operation was added
    std::string lattice_type;  // token of the table; its first letter counts
    int rhombohedral_flag = 0; // 1: rhombohedral centring was applied
};

// Fails with "Cannot open %s.\n", "$$ Space group no. = %d is not found in the table.\n" or
// "Invalid lattice type in space-group table.\n" (standard error), status 1.
SpaceGroup read_sp_group_tbl(int number);

// The lattice-type symbol alone; prints "Not found." when the number is absent.
std::string read_latt_type(int number);

// One operator line ("-X,Y+1/2,-Z"). Only the first minus sign of a component is examined and the
// sign of a fraction is not read, which is told; the table is written accordingly. Ends the run
// where the text does not decode to an operation: three components of letters, signs and at most
// one fraction of two digits, a rotation of determinant +1 or -1.
SymOp decode_sym_op(const std::string &text);
// The inverse operation as the centrosymmetry flag adds it: R and t negated, t not reduced.
SymOp inv_sym_op(const SymOp &op);

// Fractional coordinates.
using Position = std::array<double, 3>;

// R p + t.
Position gen_pos(const Position &p, const SymOp &op);

// Whether the product of any two operations is one of them, up to lattice translations, and each
// stands once.
bool is_group(std::span<const SymOp> ops);

// The indices of an equivalent reflection, h'_j = sum_i h_i R_ij, each matrix entry truncated to an
// integer: F(h') = F(h) exp(+2 pi i h.t).
Hkl gen_reflex(const Hkl &hkl, const SymOp &op);

// x reduced to [0, 1).
double fractional(double x);
// 1 when two positions coincide modulo lattice translations, to 0.0001 in each coordinate.
int judge_two_atom(const Position &p, const Position &q);
// Keeps, in order and as they stand, the positions that coincide with none before; returns their
// number.
int special_pos_check(std::vector<Position> &positions);

// Index of an anisotropic coefficient: 11, 22, 33, 12, 23, 13 -> 0 .. 5. Any other:
// "$$ Invalid ij. Abort.", status 1.
int ij_to_i(int ij);

} // namespace orvel
