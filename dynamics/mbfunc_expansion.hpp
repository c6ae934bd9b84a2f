// The Chebyshev expansion of one tilt: where the spectrum of its matrix lies, how many terms its
// thicknesses take, and their coefficients.
//
// exp(-i tau B) = exp(-i tau c) sum_k (2 - delta_k0) (-i)^k J_k(tau r) T_k((B - c) / r),
// tau = pi t / K_n, with the spectrum of the Hermitian part of B inside c' - r .. c' + r and c''
// the mean absorption.
#pragma once

#include "numeric/complex.hpp"

#include <cstddef>
#include <span>

namespace orvel {

// Ends of a spectrum on the real axis, 1/A^2.
struct Interval {
    double low = 0.0;
    double high = 0.0;
};

// The matrix diag(middle) + diag(factor) M of order n, similar to a Hermitian one, by the moduli of
// M off the diagonal. A row of factor 0 takes no part. weight, product: scratch.
struct SpectrumTask {
    int n = 0;
    double *modulus = nullptr; // n x n, symmetric, zero diagonal
    double *middle = nullptr;
    double *factor = nullptr;
    double *weight = nullptr;
    double *product = nullptr;
};

// Rigorous bounds of all eigenvalues.
Interval spectrum_bounds(const SpectrumTask &task);

struct Expansion {
    double K_n = 0.0;    // 1/A
    complex centre;      // c, 1/A^2
    double radius = 0.0; // r, 1/A^2
    int terms = 0;       // of the largest thickness
};

// The expansion about a spectrum, with a margin. More than `limit` terms are told as limit + 1.
Expansion settle_expansion(Interval bounds, double absorption, double K_n,
                           std::span<const double> thicknesses, int limit);

// c[(k n_thick + thickness) step] for terms k = 0..count-1 (at least e.terms): the sum over even k
// of c_k T_k minus i times that over odd k is the exponential but for its common factor.
void fill_coefficients(const Expansion &e, std::span<const double> thicknesses, int count,
                       double *c, std::ptrdiff_t step);

// exp(-i tau c) (even - i odd)
complex joined(const Expansion &e, double t, complex even, complex odd);

// Whether the digits that are promised are left in the sum: square[k square_step] are the squared
// lengths of its terms. Those of a Hermitian matrix with its spectrum inside the interval do not
// exceed 1; absorption lets them grow, and rounding and what is left out of the series grow with
// them.
bool is_accurate(const Expansion &e, std::span<const double> thicknesses, const double *c,
                 std::ptrdiff_t step, const double *square, std::ptrdiff_t square_step);

} // namespace orvel
