// The pattern of the two CBED jobs: every tilt of the grid solved, its values in their place.
#pragma once

#include "crystal/csd.hpp"
#include "jobs/pattern_solver.hpp"
#include "jobs/tilt_checkpoint.hpp"

#include <cstdio>
#include <functional>

namespace orvel {

// Ranks that did not read the same input cannot share a pattern: the run ends where the fingerprint
// is not that of rank 0. Every rank calls it at the same step.
void chk_same_input(const Fingerprint &own);

// Values of a pattern, [output reflection][thickness, component fastest][tilt point], zero. A rank
// other than 0 holds none.
Tensor<double> alloc_pattern(const Sd &sd, PatternKind kind);

// Solves the tilts of the grid; points outside the disk keep their zeros. Tells of values that are
// not finite after write() has written them all. In the check mode of the beam selection nothing is
// solved or written.
//
// Every value is the same to the last bit for any number of threads and ranks: a tilt depends on
// its own incidence only, except for a kept-branch count that stands from the tilt before
// (limited_branch). A tilt that would take one over is solved again, in grid order, when all others
// are done.
// Tilts that follow from others by symmetry are equal to theirs to rounding; propagated ones are
// exact to better than 1e-10 of the incident beam.
//
// With checkpoint_seconds the tilts are kept in "%s_checkpoint" until all is written; those of an
// earlier run are taken from it. A rank other than 0 needs no grid: rank 0 gives it tilts to solve;
// write() is not called there.
void calc_pattern(const TiltProblem &problem, std::span<const SymOp> ops, PatternKind kind,
                  Tensor<double> &values, std::FILE *log, const std::function<void()> &write);

} // namespace orvel
