// Amplitudes of many tilts at once without an eigen-solution.
//
// With all branches kept, psi(t) = D^-1/2 exp(-i pi t B / K_n) D^1/2 e_0, D the surface factors of
// the exact beams and B the folded structure matrix. The exponential is a sum of Chebyshev
// polynomials of B (dynamics/mbfunc_expansion.hpp): a product of B with a vector a term, which
// serves all thicknesses. For the amplitudes themselves the matrix is D^-1 (U + diag(m)), whose
// off-diagonal part U belongs to the potential alone: tilts without Bethe beams go side by side as
// columns under one matrix, a beam that is not exact at one of them being zero in its column. A
// tilt with Bethe beams goes by itself under its own folded matrix.
#pragma once

#include "dynamics/mbfunc_intensity.hpp"
#include "dynamics/work_propagate.hpp"

#include <span>

namespace orvel {

// Amplitudes of the output beams at all thicknesses for a block of incidences:
// tables[i][output beam][thickness], as calc_amplitudes gives them for a solved tilt with all
// branches kept. tilt: the record for the selection and, with Bethe beams, the folded matrix of one
// tilt at a time.
//
// work.served[i] is 0, and table i is left as it is, where incidence i has to take the eigen road:
// its matrix is not finite, its spectrum too long for the thickness, absorption (or its opposite)
// would cost digits, or the eigen road may give a beam the place of another (may_trade_places) or
// another scale (may_be_scaled).
// Amplitudes are accurate to about 1e-12 and do not depend, to the last bit, on the other
// incidences of the block.
void propagate_tilts(const TiltProblem &problem, std::span<const RealHkl> K_t, WorkCalInt &tilt,
                     PropagationWork &work, std::span<complex *const *const> tables);

// The same for the tilt with Bethe beams that is selected in the record; returns whether it was
// served.
bool propagate_folded(const TiltProblem &problem, WorkCalInt &tilt, PropagationWork &work,
                      complex *const *table);

} // namespace orvel
