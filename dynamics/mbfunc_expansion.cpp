#include "dynamics/mbfunc_expansion.hpp"

#include "numeric/lb_chebyshev.hpp"

#include <algorithm>
#include <cmath>
#include <limits>

namespace orvel {

namespace {

// Terms stop where what is left out is below this.
constexpr double series_tol = 1e-15;
// Of the bound of the error, which what is met stays below by an order of magnitude or two.
constexpr double largest_error = 3e-11;
constexpr double smallest_radius = 1e-6; // 1/A^2
constexpr int refinements = 2;           // of the bounds

// product <- diag(factor) M weight
void weighted_row_sums(const SpectrumTask &task) {
    const int n = task.n;
    std::fill_n(task.product, n, 0.0);
    for (int j = 0; j < n; ++j) {
        const double *row = task.modulus + j * std::ptrdiff_t{n};
        const double w = task.weight[j];
        for (int i = 0; i < n; ++i) {
            task.product[i] += row[i] * w;
        }
    }
    for (int i = 0; i < n; ++i) {
        task.product[i] *= task.factor[i];
    }
}

// Largest of sign middle_i + product_i / weight_i.
double largest_quotient(const SpectrumTask &task, double sign) {
    double largest = -std::numeric_limits<double>::infinity();
    for (int i = 0; i < task.n; ++i) {
        if (task.factor[i] > 0.0) {
            largest = std::max(largest, sign * task.middle[i] + task.product[i] / task.weight[i]);
        }
    }
    return largest;
}

// Weights nearer to the leading vector of sign diag(middle) + diag(factor) M, which is below bound.
void improve_weights(const SpectrumTask &task, double sign, double bound) {
    constexpr double smallest_weight = 1e-4;
    double longest = std::numeric_limits<double>::min();
    for (int i = 0; i < task.n; ++i) {
        const double distance = std::max(bound - sign * task.middle[i], smallest_radius);
        task.weight[i] = task.product[i] / distance;
        longest = std::max(longest, task.weight[i]);
    }
    for (int i = 0; i < task.n; ++i) {
        const double w = std::max(task.weight[i] / longest, smallest_weight);
        task.weight[i] = task.factor[i] > 0.0 ? w : 0.0;
    }
}

// The quotients bound the spectrum for any positive weights (L. Collatz, Math. Z. 48 (1942) 221);
// with equal ones the bound is Gershgorin's.
double upper_bound(const SpectrumTask &task, double sign) {
    for (int i = 0; i < task.n; ++i) {
        task.weight[i] = task.factor[i] > 0.0 ? 1.0 : 0.0;
    }
    weighted_row_sums(task);
    double bound = largest_quotient(task, sign);
    for (int turn = 0; turn < refinements; ++turn) {
        improve_weights(task, sign, bound);
        weighted_row_sums(task);
        bound = std::min(bound, largest_quotient(task, sign));
    }
    return bound;
}

double tau(double t, double K_n) {
    return pi * t / K_n;
}

double largest_tau(std::span<const double> thicknesses, double K_n) {
    double thickest = 0.0;
    for (const double t : thicknesses) {
        thickest = std::max(thickest, std::fabs(t));
    }
    return std::fabs(tau(thickest, K_n));
}

// T_k grows like (a + b)^k on the ellipse of semi-axes a, b about the interval. States whose
// absorption is off the centre by as much as it stands off zero lie on such ellipses, and what they
// grow beyond their damping is cancelled between the terms, digit for digit. It is worst at the
// ends of the interval: a longer one takes more terms, but lets the ends grow less. Hardly any
// state there is that far off: half the logarithm of what would be lost is counted.
double roomy_radius(double half_length, double absorption, double tau_max, int limit) {
    constexpr double largest_loss = 4.5;    // natural logarithm
    constexpr double largest_share = 0.125; // of absorption in the radius
    constexpr double step = 1.02;
    const double least = std::max(std::fabs(absorption) / largest_share, smallest_radius);
    for (double radius = std::max(half_length, least);; radius *= step) {
        const double x = half_length / radius;
        const double y = absorption / radius;
        const double a = 0.5 * (std::hypot(x + 1.0, y) + std::hypot(x - 1.0, y));
        const double z = tau_max * radius;
        const double terms = z + 10.0 * std::cbrt(z) + 8.0; // about
        const double loss =
            0.5 * (terms * std::acosh(std::max(a, 1.0)) - tau_max * std::fabs(absorption));
        if (!(loss > largest_loss && z < limit)) {
            return radius;
        }
    }
}

} // namespace

Interval spectrum_bounds(const SpectrumTask &task) {
    return {-upper_bound(task, -1.0), upper_bound(task, 1.0)};
}

Expansion settle_expansion(Interval bounds, double absorption, double K_n,
                           std::span<const double> thicknesses, int limit) {
    Expansion e;
    e.K_n = K_n;
    e.centre = {0.5 * (bounds.low + bounds.high), absorption};
    const double tau_max = largest_tau(thicknesses, K_n);
    e.radius = roomy_radius(0.5 * (bounds.high - bounds.low), absorption, tau_max, limit);
    e.terms = chebyshev_terms(tau_max * e.radius, series_tol, limit);
    return e;
}

void fill_coefficients(const Expansion &e, std::span<const double> thicknesses, int count,
                       double *c, std::ptrdiff_t step) {
    const auto n_thick = static_cast<std::ptrdiff_t>(thicknesses.size());
    for (const double t : thicknesses) {
        const double z = tau(t, e.K_n) * e.radius;
        chebyshev_coefficients(z, chebyshev_terms(z, series_tol, e.terms), count, c,
                               n_thick * step);
        c += step;
    }
}

complex joined(const Expansion &e, double t, complex even, complex odd) {
    const complex factor = c_exp(c_mul({0.0, -tau(t, e.K_n)}, e.centre));
    return c_mul({even.re + odd.im, even.im - odd.re}, factor);
}

bool is_accurate(const Expansion &e, std::span<const double> thicknesses, const double *c,
                 std::ptrdiff_t step, const double *square, std::ptrdiff_t square_step) {
    const auto n_thick = static_cast<std::ptrdiff_t>(thicknesses.size());
    for (const double t : thicknesses) {
        double rounding = 0.0;
        double last = 0.0;
        for (int k = 0; k < e.terms; ++k) {
            const double weight = std::fabs(c[k * n_thick * step]);
            if (weight > 0.0) {
                last = std::sqrt(square[k * square_step]);
                rounding += weight * last;
            }
        }
        rounding *= std::numeric_limits<double>::epsilon();
        const double error = (rounding + series_tol * last) * std::exp(tau(t, e.K_n) * e.centre.im);
        if (!(error < largest_error)) {
            return false;
        }
        c += step;
    }
    return true;
}

} // namespace orvel
