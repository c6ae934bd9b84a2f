// What the two CBED jobs do before their tilt loops.
#pragma once

#include "crystal/csd.hpp"
#include "dynamics/mbfunc_intensity.hpp"
#include "dynamics/mbfunc_potential.hpp"
#include "dynamics/sim_condition.hpp"

#include <cstdio>

namespace orvel {

// The potential matrix of the beam list, announced on the console, with its debug dumps. A
// scattering-factor table that was left is told, and the run goes on.
PotentialMatrix build_sim_potential(Csd &csd, const Sd &sd, std::FILE *log);

// The tilt grid, announced on the console, and the problem that its points share. A rank other than
// 0 has the base vectors of the grid but not its points.
TiltProblem prepare_tilts(Csd &csd, Sd &sd, const complex *const *V, std::FILE *log);

// Check mode: the beam selection of every point that would be calculated goes to "%s.dbg".
void check_selections(const TiltProblem &problem);

} // namespace orvel
