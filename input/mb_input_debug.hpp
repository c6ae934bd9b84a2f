// Reflection lists from a file beside the parameter file: aids for checking a calculation against
// a list, or coefficients, from elsewhere. No job calls them.
//
// The file "%s.ggi" (base name) has an element with the numbers of exact and Bethe beams, then one
// element for each, exact beams first: h k l and, where coefficients are wanted, the real and the
// imaginary part of V_g in volts. The keyword RFE ends it.
#pragma once

#include "input/mb_input_beams.hpp"
#include "numeric/complex.hpp"

#include <string>
#include <vector>

namespace orvel {

// Reads the beam list, announced by "$$ g read from %s.ggi\n". Each of the two counts may be at
// most nglim: else "$$ Error: Num. of reflections in GFILE is greater than nglim. Abort.\n" and
// "$$ Input bigger nglim.\n". No reflection at all:
// "$$ Error: Num. of reflections in GFILE is 0. Abort.\n". All with status 1.
BeamList dbg_g_filein(const std::string &base_name, int nglim);

// A beam list with its coefficients, in the same order, in V.
struct BeamsWithVg {
    BeamList beams;
    std::vector<complex> vg;
};

// As dbg_g_filein, with the coefficients.
BeamsWithVg dbg_vg_filein(const std::string &base_name, int nglim);

} // namespace orvel
