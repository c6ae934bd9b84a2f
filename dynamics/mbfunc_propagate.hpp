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

#include "dynamics/mbfunc_expansion.hpp"
#include "dynamics/mbfunc_intensity.hpp"
#include "numeric/lb_kernels.hpp"

#include <span>
#include <vector>

namespace orvel {

// A tilt on its way through a block.
struct PropagatedTilt {
    int tilt = 0; // position in the block
    Expansion expansion;
};

// Everything that propagating a block of tilts writes. Orders: N beams of the global list.
struct PropagationWork {
    // For at most `width` tilts a block; whole strips of them cost least.
    PropagationWork(const TiltProblem &problem, int width);

    std::vector<char> served; // [tilt] of the last block: whether its table is filled

    // Scratch.
    int max_terms = 0;
    double absorption = 0.0;           // middle of the absorption of all states, 1/A^2
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
    double *packed = nullptr;          // the matrix as the kernels take it
    double *modulus = nullptr;         // of its Hermitian part, for the bounds; N x N
    double *middle = nullptr;          // N each
    double *factor = nullptr;
    double *weight = nullptr;
    double *product = nullptr;
    StripVectors x; // the terms: N x strip
    StripVectors y;
    double *scale = nullptr; // N x strip each
    double *diag_re = nullptr;
    double *diag_im = nullptr;

    SpectrumTask spectrum_task(int n) const {
        return {n, modulus, middle, factor, weight, product};
    }
};

// Bytes that such a record takes.
double propagation_bytes(const Sd &sd, int width);

// Amplitudes of the output beams at all thicknesses for a block of incidences:
// tables[i][output beam][thickness], as calc_amplitudes gives them for a solved tilt with all
// branches kept. tilt: the record for the selection and, with Bethe beams, the folded matrix of one
// tilt at a time.
//
// work.served[i] is 0, and table i is left as it is, where incidence i has to take the eigen road:
// its matrix is not finite, its spectrum too long for the thickness, or absorption (or its
// opposite) would cost digits. Amplitudes are accurate to about 1e-12 and do not depend, to the
// last bit, on the other incidences of the block.
void propagate_tilts(const TiltProblem &problem, std::span<const RealHkl> K_t, WorkCalInt &tilt,
                     PropagationWork &work, std::span<complex *const *const> tables);

// The same for the tilt with Bethe beams that is selected in the record; returns whether it was
// served.
bool propagate_folded(const TiltProblem &problem, WorkCalInt &tilt, PropagationWork &work,
                      complex *const *table);

} // namespace orvel
