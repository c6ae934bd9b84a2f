// Complex arithmetic: the value type of the whole program and the formulas over it.
//
// Values are passed and returned by value. Arithmetic faults (division by zero, overflow) are not
// detected: infinities and NaN propagate. The order of evaluation inside each formula is part of
// its definition, so that results are the same to the last bit everywhere.
#pragma once

#include <cmath>

namespace orvel {

// x + iy. A plain aggregate: arrays of it are arrays of pairs (re, im).
struct complex {
    double re = 0.0; // real part
    double im = 0.0; // imaginary part
};

inline constexpr double pi = 3.141592653589793;
inline constexpr double two_pi = 6.283185307179586;

// The value x + iy.
inline complex c_conv(double x, double y) {
    return {x, y};
}

// (re, -im)
inline complex c_conj(complex z) {
    return {z.re, -z.im};
}

inline complex c_add(complex a, complex b) {
    return {a.re + b.re, a.im + b.im};
}
inline complex c_sub(complex a, complex b) {
    return {a.re - b.re, a.im - b.im};
}

inline complex c_mul(complex a, complex b) {
    return {a.re * b.re - a.im * b.im, a.re * b.im + a.im * b.re};
}

// a / b, scaled by the larger part of b (R. L. Smith, Commun. ACM 5 (1962) 435, algorithm 116).
// b = 0 is not tested.
inline complex c_div(complex a, complex b) {
    if (std::fabs(b.re) >= std::fabs(b.im)) {
        const double r = b.im / b.re;
        const double d = b.re + r * b.im;
        return {(a.re + r * a.im) / d, (a.im - r * a.re) / d};
    }
    const double r = b.re / b.im;
    const double d = b.im + r * b.re;
    return {(r * a.re + a.im) / d, (r * a.im - a.re) / d};
}

// |z|^2, unscaled.
inline double c_norm(complex z) {
    return z.re * z.re + z.im * z.im;
}

// |z|, scaled by the larger part so that no intermediate overflows.
double c_abs(complex z);

// Phase atan2(im, re), in (-pi, pi].
inline double c_arg(complex z) {
    return std::atan2(z.im, z.re);
}

// exp(re) (cos im, sin im)
complex c_exp(complex z);

// (ln(re^2 + im^2)/2, arg z). The sum of squares is formed unscaled, so it overflows from
// |z| = 1e154 on.
complex c_log(complex z);

// exp(b log a); a = 0 is no special case.
complex c_pow(complex a, complex b);

// Each of these computes one real exponential and its reciprocal.
complex c_sin(complex z);
complex c_cos(complex z);
complex c_tan(complex z);
complex c_sinh(complex z);
complex c_cosh(complex z);
complex c_tanh(complex z);

// Principal root: the real part is never negative, the branch cut is the negative real axis and
// -0.0 counts as above it. The root of 0 is (0, NaN); callers never ask for it.
complex c_sqrt(complex z);

// Text "%g%+gi" of z in one static buffer, which the next call overwrites. Not re-entrant.
const char *c_string(complex z);

} // namespace orvel
