// Pattern symmetry: which tilts of a grid are solved, and how the others follow from them.
//
// Only tilts that fall on each other count: a grid of squares has no use for a threefold axis, and
// one off the zone axis for few operations.
#pragma once

#include "jobs/tilt_operations.hpp"

#include <cstdio>
#include <span>
#include <vector>

namespace orvel {

// A point of the grid and the operation that leads to it from the first point of its orbit.
struct ImageTilt {
    int point = 0;
    int operation = 0;
};

// Points whose results follow from those of the first.
struct TiltOrbit {
    int first = 0;
    std::vector<ImageTilt> others;
};

// Where the value of an output reflection comes from at an image tilt.
struct ReflectionSource {
    int solved = 0;             // index into solved_reflections
    complex phase = {1.0, 0.0}; // psi = phase psi of the source
};

struct TiltSymmetry {
    std::vector<TiltOperation> operations; // identity first; none where none are looked for
    // Positions in the beam list whose amplitudes the first points have to give: the output
    // reflections, in their order, then what the other points read from them.
    std::vector<int> solved_reflections;
    // [operation][output reflection]; nothing for an operation that no orbit uses.
    std::vector<std::vector<ReflectionSource>> sources;
    std::vector<TiltOrbit> orbits; // in the order of their first points, each calculated point once
    int num_used = 0;              // operations that lead from one point to another
};

// Sorts the calculated points of the grid of the problem into orbits of tilt_operations. A point is
// an image where its coordinates lie within 1e-9 of the grid's spacing; points that stand at one
// and the same tilt follow from one another by the identity. Without symmetry, an orbit a point.
// The operations cost (beams)^2 each, the orbits one look-up for each point and operation.
TiltSymmetry find_tilt_symmetry(const TiltProblem &problem, std::span<const SymOp> ops);

// What has to be solved so that the orbits give the output reflections (positions in the beam
// list). The orbits of a part of the grid may need fewer than all of them.
TiltSymmetry trace_reflections(std::vector<TiltOperation> operations, std::vector<TiltOrbit> orbits,
                               const std::vector<int> &reflections);

// To log and console: points that are solved, and operations; whether there may be more.
void report_tilt_symmetry(const TiltSymmetry &symmetry, std::FILE *log);

// Exact and Bethe beams of a tilt, positions in the beam list, each ascending.
struct BeamSelection {
    std::span<const int> exact;
    std::span<const int> bethe;
};
BeamSelection selection_of(const WorkCalInt &work);

// True when the selection at the image tilt is the image of the selection at the first. A beam on
// the border of a class may go either way; such a point has to be solved itself.
bool same_selection(const TiltOperation &operation, const BeamSelection &first,
                    const BeamSelection &image);

// True when the kept branches of a solved and excited tilt are those of every image: all are kept,
// or the share they carry is reached by more than 1e-9 and would be missed by more without the last
// of them, no branch left out weighs the same to 1e-9, and no two eigenvalues are so close that
// rounding chooses their eigenvectors. Otherwise the images have to be solved themselves.
bool kept_branches_settled(const WorkCalInt &work);

// Values of the output reflections at an image tilt, table[output reflection][thickness], from
// those of the solved ones at the first tilt, solved[solved reflection][thickness].
void copy_tilt(std::span<const ReflectionSource> sources, std::size_t n_thick,
               const double *const *solved, double *const *table);
void copy_tilt(std::span<const ReflectionSource> sources, std::size_t n_thick,
               const complex *const *solved, complex *const *table);

} // namespace orvel
