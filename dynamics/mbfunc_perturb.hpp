// Intensities of a tilt for slightly different potentials, from its one eigen-solution.
#pragma once

#include "dynamics/mbfunc_intensity.hpp"

namespace orvel {

// For every perturbed set: its folded matrix, the first-order change of the eigen-solution of work,
// the boundary condition, and the intensities over the branches kept for the unperturbed potential.
// Fills perturbed.table. The eigen-solution of work is left as it was.
void calc_perturb_ug(const TiltProblem &problem, const PerturbedSets &perturbed, WorkCalInt &work);

} // namespace orvel
