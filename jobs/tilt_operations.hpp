// The operations of a crystal that map the diffraction of one tilt onto that of another.
//
// Row vectors: an operation (R, t) takes a reflection g to g R and a tangential wave vector K_t to
// K_t R. With V(gR) = V(g) exp(2 pi i g.t) the amplitudes obey
// psi_gR(K_t R) = exp(2 pi i g.t) psi_g(K_t) as long as lengths, the components along the beam and
// along the surface normal, and the list of beams stay the same (B. F. Buxton, J. A. Eades,
// J. W. Steeds, G. M. Rackham, Phil. Trans. R. Soc. A 281 (1976) 171). Their relations by
// reciprocity are left out: they tie tilts of different reflections together, not whole tilts.
#pragma once

#include "crystal/spgroup.hpp"
#include "dynamics/mbfunc_intensity.hpp"

#include <array>
#include <span>
#include <vector>

namespace orvel {

// How one tilt follows from another.
struct TiltOperation {
    std::vector<int> beam;           // [position in the beam list] position of its image
    std::vector<complex> phase;      // psi of the image at the image tilt = phase psi
    std::array<double, 4> tilt = {}; // image of (h, g): (tilt0 h + tilt1 g, tilt2 h + tilt3 g)
};

// The identity, then one operation for each different mapping of tilts that keeps
//   the lengths of reflections,
//   the beam list, with g_z, g_n and the incident beam (the first of the list), and with the
//   global classes where these stand at every tilt (epsilon.vg_select_flag 0),
//   the plane of tilts, with K_n,
//   the potential matrix, to 1e-12 of its largest element.
// Each is tested against the list and the matrix at hand, whatever the space group promises. In a
// list of ZOLZ beams operations that reverse the beam count too, by what they do in projection.
std::vector<TiltOperation> tilt_operations(const TiltProblem &problem, std::span<const SymOp> ops);

} // namespace orvel
