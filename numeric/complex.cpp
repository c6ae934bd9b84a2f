#include "numeric/complex.hpp"

#include <cstdio>

namespace orvel {

double c_abs(complex z) {
    const double a = std::fabs(z.re);
    const double b = std::fabs(z.im);
    if (a == 0.0) {
        return b;
    }
    if (b == 0.0) {
        return a;
    }
    if (b > a) {
        const double r = z.re / z.im;
        return b * std::sqrt(1.0 + r * r);
    }
    const double r = z.im / z.re;
    return a * std::sqrt(1.0 + r * r);
}

complex c_exp(complex z) {
    const double e = std::exp(z.re);
    return {e * std::cos(z.im), e * std::sin(z.im)};
}

complex c_log(complex z) {
    return {0.5 * std::log(z.re * z.re + z.im * z.im), std::atan2(z.im, z.re)};
}

complex c_pow(complex a, complex b) {
    return c_exp(c_mul(b, c_log(a)));
}

complex c_sin(complex z) {
    const double e = std::exp(z.im);
    return {std::sin(z.re) * (e + 1.0 / e) / 2.0, std::cos(z.re) * (e - 1.0 / e) / 2.0};
}

complex c_cos(complex z) {
    const double e = std::exp(z.im);
    return {std::cos(z.re) * (1.0 / e + e) / 2.0, std::sin(z.re) * (1.0 / e - e) / 2.0};
}

complex c_tan(complex z) {
    const double e = std::exp(2.0 * z.im);
    const double d = std::cos(2.0 * z.re) + (e + 1.0 / e) / 2.0;
    return {std::sin(2.0 * z.re) / d, ((e - 1.0 / e) / 2.0) / d};
}

complex c_sinh(complex z) {
    const double e = std::exp(z.re);
    return {(e - 1.0 / e) / 2.0 * std::cos(z.im), (e + 1.0 / e) / 2.0 * std::sin(z.im)};
}

complex c_cosh(complex z) {
    const double e = std::exp(z.re);
    return {(e + 1.0 / e) / 2.0 * std::cos(z.im), (e - 1.0 / e) / 2.0 * std::sin(z.im)};
}

complex c_tanh(complex z) {
    const double e = std::exp(2.0 * z.re);
    const double d = (e + 1.0 / e) / 2.0 + std::cos(2.0 * z.im);
    return {((e - 1.0 / e) / 2.0) / d, std::sin(2.0 * z.im) / d};
}

complex c_sqrt(complex z) {
    constexpr double inv_sqrt2 = 0.7071067811865476;
    const double t = std::sqrt(std::fabs(z.re) + c_abs(z));
    if (z.re >= 0.0) {
        return {inv_sqrt2 * t, inv_sqrt2 * z.im / t};
    }
    const double sign = z.im >= 0.0 ? 1.0 : -1.0;
    return {inv_sqrt2 * std::fabs(z.im) / t, sign * inv_sqrt2 * t};
}

const char *c_string(complex z) {
    static char text[64];
    std::snprintf(text, sizeof text, "%g%+gi", z.re, z.im);
    return text;
}

} // namespace orvel
