// The pattern of the two CBED jobs: every tilt of the grid solved, its values in their place.
#pragma once

#include "dynamics/mbfunc_intensity.hpp"
#include "numeric/vecmat.hpp"

#include <cstdio>
#include <functional>

namespace orvel {

// What a pattern holds of each output reflection, thickness and tilt.
struct PatternKind {
    const complex *phase = nullptr; // of the probe at each tilt; null: intensities are wanted

    // Values of one reflection, thickness and tilt: the intensity times intensity_scaling, or real
    // and imaginary part of the amplitude.
    int components() const { return phase == nullptr ? 1 : 2; }
};

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
//
// With checkpoint_seconds the tilts are kept in "%s_checkpoint" until all is written; those of an
// earlier run are taken from it. In a rank other than 0 write() is not called.
void calc_pattern(const TiltProblem &problem, PatternKind kind, Tensor<double> &values,
                  std::FILE *log, const std::function<void()> &write);

} // namespace orvel
