// The part of a pattern that rank 0 gives another rank to solve.
#pragma once

#include "crystal/lattice.hpp"
#include "jobs/tilt_symmetry.hpp"
#include "numeric/complex.hpp"

#include <cstddef>
#include <span>
#include <vector>

namespace orvel {

// All that a rank has to know of the grid: tilts are numbered anew, in the order of its orbits.
struct TiltShare {
    std::size_t block_size = 1;    // orbits that are solved together
    std::vector<TiltOrbit> orbits; // of numbers of this share
    std::vector<int> points;       // grid point of each tilt
    std::vector<RealHkl> K_t;      // of each tilt
    std::vector<complex> phase;    // of the probe at each tilt; empty when there is none
};

// Appends an orbit of the grid with its incidences K_t[grid point] and, unless null,
// phase[grid point].
void add_orbit(TiltShare &share, const TiltOrbit &orbit, std::span<const RealHkl> K_t,
               const complex *phase);

// As a message, and back. Every number comes over as it is.
std::vector<double> pack_share(const TiltShare &share);
TiltShare unpack_share(std::span<const double> message);

} // namespace orvel
