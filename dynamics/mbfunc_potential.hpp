// Tables of potential coefficients of a list of beams.
#pragma once

#include "crystal/csd.hpp"
#include "input/mb_input_beams.hpp"
#include "numeric/vecmat.hpp"

namespace orvel {

// Each builder first resolves the crystal's constraints again and loads the given low-order
// structure factors; every distinct reflection is then computed once and shared by its equivalents.

// V(g_i - g_j) in volts over all beams, exact and Bethe.
struct PotentialMatrix {
    Matrix<complex> V; // [beam][beam]
    int status = 0;    // 1 when the last element of any row left a scattering-factor table
};
PotentialMatrix potential_matrix_csd(const BeamList &beams, Csd &csd, double voltage);

// V(g) in volts of every beam. Tells of a table that was left by the last computed reflection.
Vector<complex> vgv_reim_csd(const BeamList &beams, Csd &csd, double voltage);

// Elastic V(g) in volts and X-ray structure factor of every beam, the latter by the inverse Mott
// relation F_x = F_Z - (131.2625/pi) s^2 F. Given low-order values stand as they are, with their
// absorptive part where they have one.
struct PotentialAndDensity {
    Vector<complex> V;
    Vector<complex> F_x;
};
PotentialAndDensity vgv_fxgv_csd(const BeamList &beams, Csd &csd, double voltage);

// When vg_dump_flag is 1: the potential matrix of order n to "%s_vg.txt", told on standard error.
void debug_vg_dump(const complex *const *V, int n);

} // namespace orvel
