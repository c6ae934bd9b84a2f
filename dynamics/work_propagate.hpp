// The work record of block propagation: everything that propagating a block of tilts writes,
// allocated once for a job and reused for every block.
#pragma once

#include "dynamics/mbfunc_expansion.hpp"
#include "dynamics/mbfunc_intensity.hpp"
#include "numeric/lb_kernels.hpp"

#include <vector>

namespace orvel {

// Chebyshev terms of a tilt of n exact beams beyond which its eigen-solution is the faster road.
inline constexpr int most_terms(int n) {
    return 12 * n + 64;
}

// A tilt on its way through a block.
struct PropagatedTilt {
    int tilt = 0;    // position in the block
    int n_exact = 0; // beams
    Expansion expansion;
};

// Everything that propagating a block of tilts writes. Orders: N beams of the global list.
struct PropagationWork {
    // For at most `width` tilts a block; whole strips of them cost least.
    PropagationWork(const TiltProblem &problem, int width);

    std::vector<char> served; // [tilt] of the last block: whether its table is filled

    // Of the problem.
    double absorption = 0.0; // middle of the absorption of all states, 1/A^2
    // [global beam] by how much its couplings to others pass `lopsided` times those of the others
    // to it, or the other way round, in volts; 0 for all where the eigen-solver scales nothing.
    Vector<double> excess;
    static constexpr double lopsided = 8.0;

    // Scratch.
    std::vector<PropagatedTilt> tilts; // those that go side by side
    Matrix<double> two_K_s;            // [tilt][global beam] 1/A^2
    Matrix<double> beta;               // [tilt][global beam], 0 for one that is not exact
    std::vector<int> beams;            // global positions of all beams of the block, ascending
    std::vector<int> rows;             // rows of the output beams that are among them
    std::vector<int> outputs;          // their positions in the output list
    Vector<double> coefficients;       // [term][thickness][column]
    Vector<double> squares;            // [term][column] squared lengths of the terms
    Vector<double> sums;               // [parity][output beam][thickness][re, im][column]
    Vector<double> reals;              // what the pointers below point into
    SpectrumTask bounds;               // of one tilt
    BlockTerm step;                    // of one strip; x and y also hold the terms of a single tilt
};

// Bytes that such a record takes.
double propagation_bytes(const Sd &sd, int width);

} // namespace orvel
