#include "tools/absorptive_factor.hpp"

#include <array>
#include <cmath>
#include <numbers>

namespace orvel {

namespace {

constexpr double compton_wavelength = 0.02426310238; // h / m0 c in A (CODATA 2018)
constexpr double cutoff = 5000.0;                    // 1/A

// Gauss-Legendre rule of 8 points on [-1, 1], positive half.
constexpr std::array<double, 4> gauss_x = {0.1834346424956498, 0.5255324099163290,
                                           0.7966664774136267, 0.9602898564975363};
constexpr std::array<double, 4> gauss_w = {0.3626837833783620, 0.3137066458778873,
                                           0.2223810344533745, 0.1012285362903763};

// Calls visit(x, weight) for the nodes of `panels` equal panels of [from, to].
template <class Visit> void gauss_panels(double from, double to, int panels, const Visit &visit) {
    const double half = 0.5 * (to - from) / panels;
    for (int panel = 0; panel < panels; ++panel) {
        const double centre = from + (2 * panel + 1) * half;
        for (std::size_t i = 0; i < gauss_x.size(); ++i) {
            visit(centre - half * gauss_x[i], half * gauss_w[i]);
            visit(centre + half * gauss_x[i], half * gauss_w[i]);
        }
    }
}

PairProducts forward_products(const ElasticSource &source) {
    PairProducts pairs;
    // r = sinh(t)/20: dense below 0.05 1/A, where f bends most, and logarithmic far out.
    constexpr double dense_below = 0.05;
    gauss_panels(0.0, std::asinh(cutoff / dense_below), 48, [&](double t, double weight) {
        const double r = dense_below * std::sinh(t);
        const double f = elastic_factor(source, r);
        const double area = 2.0 * std::numbers::pi * r * dense_below * std::cosh(t) * weight;
        pairs.weight.push_back(2.0 * compton_wavelength * f * f * area);
        pairs.excess.push_back(r * r);
    });
    return pairs;
}

} // namespace

PairProducts pair_products(const ElasticSource &source, double s) {
    if (s == 0.0) {
        return forward_products(source);
    }
    const double a = 0.5 * s;
    const double mu_max = std::acosh(cutoff / a);
    const int panels = 24 + static_cast<int>(4.0 * mu_max);
    constexpr int nu_steps = 48; // over a quarter of the period, the rest being its mirror images
    PairProducts pairs;
    gauss_panels(0.0, mu_max, panels, [&](double mu, double weight) {
        const double ch = std::cosh(mu);
        const double sh = std::sinh(mu);
        for (int k = 0; k <= nu_steps; ++k) {
            const double nu = 0.5 * std::numbers::pi * k / nu_steps;
            const double cos_nu = std::cos(nu);
            const double sin_nu = std::sin(nu);
            const double end = k == 0 || k == nu_steps ? 0.5 : 1.0;
            const double area = a * a * (sh * sh + sin_nu * sin_nu) * weight * end * 2.0 *
                                std::numbers::pi / nu_steps;
            const double f1 = elastic_factor(source, a * (ch + cos_nu));
            const double f2 = elastic_factor(source, a * (ch - cos_nu));
            pairs.weight.push_back(2.0 * compton_wavelength * f1 * f2 * area);
            pairs.excess.push_back(a * a * (sh * sh - sin_nu * sin_nu));
        }
    });
    return pairs;
}

double absorptive_factor(const PairProducts &pairs, double B) {
    double sum = 0.0;
    for (std::size_t k = 0; k < pairs.weight.size(); ++k) {
        sum -= pairs.weight[k] * std::expm1(-2.0 * B * pairs.excess[k]);
    }
    return sum;
}

} // namespace orvel
