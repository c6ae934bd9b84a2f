#include "crystal/potential_coef.hpp"

namespace orvel {

namespace {

// F / (Omega V) = 2 pi m0 e / h^2, 1/(V A^2).
constexpr double f_per_volt = 0.020886563;

complex scaled(complex z, double factor) {
    return {z.re * factor, z.im * factor};
}
complex divided(complex z, double divisor) {
    return {z.re / divisor, z.im / divisor};
}

double xi_of_modulus(double abs_U, double lambda) {
    return abs_U < 1e-12 ? 1e10 : 1.0 / (lambda * abs_U);
}

} // namespace

complex fg_to_vg(complex F, const Metric &metric) {
    return divided(F, f_per_volt * metric.volume);
}

complex vg_to_fg(complex V, const Metric &metric) {
    return scaled(V, f_per_volt * metric.volume);
}

complex fg_to_ug(complex F, double kvolts, const Metric &metric) {
    return divided(F, pi * metric.volume / relativ_corr(kvolts));
}

complex ug_to_fg(complex U, double kvolts, const Metric &metric) {
    return scaled(U, pi * metric.volume / relativ_corr(kvolts));
}

complex vg_to_ug(complex V, double gamma) {
    return scaled(V, f_per_volt * gamma / pi);
}

complex ug_to_vg(complex U, double gamma) {
    return scaled(U, pi / (f_per_volt * gamma));
}

double fg_to_xig(complex F, double kvolts, const Metric &metric) {
    return xi_of_modulus(c_abs(fg_to_ug(F, kvolts, metric)), wavelength(kvolts));
}

double fg_to_xig2(complex F, double gamma, double lambda, const Metric &metric) {
    return xi_of_modulus(c_abs(scaled(F, gamma / (pi * metric.volume))), lambda);
}

double vg_to_xig(complex V, double gamma, double lambda) {
    return xi_of_modulus(c_abs(scaled(V, gamma / 150.41214074282078)), lambda);
}

} // namespace orvel
