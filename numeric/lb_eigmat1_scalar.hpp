// Scalar helpers of the eigen-solver by balancing, reflections and QR (lb_eigmat1).
#pragma once

#include "numeric/complex.hpp"

namespace orvel {

// Maximum and minimum; the second where either is NaN.
inline double dmax1(double a, double b) {
    return a > b ? a : b;
}
inline double dmin1(double a, double b) {
    return a < b ? a : b;
}
inline int min0(int a, int b) {
    return a < b ? a : b;
}

// sqrt(a^2 + b^2) without squaring (C. Moler, D. Morrison, IBM J. Res. Dev. 27 (1983) 577);
// 0 when both are 0.
double pythag(double a, double b);

// a / b, scaled by |re b| + |im b| (EISPACK CDIV).
complex cdiv_cg(complex a, complex b);

// Principal square root (EISPACK CSROOT): the real part is never negative.
complex csroot(complex z);

} // namespace orvel
