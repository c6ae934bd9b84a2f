// Elastic electron scattering factor from the X-ray one by the Mott formula.
#pragma once

#include "crystal/atom_tables.hpp"

namespace orvel {

// f(s^2) in A: (Z - f_x(s^2)) 0.02393367 / s^2 above epsilon.general_eps, and the limit
// 0.023934 sum a_i b_i below; the two constants differ on purpose. A negative s^2 ends the run
// through error_exit with "atomsf_dtxn (sq_s=%g)".
double atomsf_xdt(double sq_s, const XrayFactors &x);

} // namespace orvel
