#include "numeric/lb_chebyshev.hpp"

#include <algorithm>
#include <cmath>

namespace orvel {

namespace {

// Logarithm of the bound of J_k(z), k >= z > 0.
double log_kapteyn(double z, double k) {
    const double x = z / k;
    const double root = std::sqrt((1.0 - x) * (1.0 + x));
    return k * (std::log(x) + root - std::log1p(root));
}

} // namespace

int chebyshev_terms(double z, double tol, int limit) {
    const double size = std::fabs(z);
    if (!(size < limit)) {
        return limit + 1;
    }
    if (size == 0.0) {
        return 1;
    }
    const double log_tol = std::log(tol);
    const int first = std::max(1, static_cast<int>(std::ceil(size)));
    if (log_kapteyn(size, limit) >= log_tol) {
        return limit + 1;
    }
    int low = first - 1; // too few
    int high = limit;    // enough
    while (high - low > 1) {
        const int middle = low + (high - low) / 2;
        (log_kapteyn(size, middle) < log_tol ? high : low) = middle;
    }
    return high;
}

void chebyshev_coefficients(double z, int terms, int count, double *c, std::ptrdiff_t step) {
    for (int k = terms; k < count; ++k) {
        c[k * step] = 0.0;
    }
    if (terms == 1) {
        c[0] = 1.0;
        return;
    }
    // J_{k-1} = (2 k / z) J_k - J_{k+1}, then J_0 + 2 (J_2 + J_4 + ...) = 1.
    const double two_over_z = 2.0 / std::fabs(z);
    double above = 0.0;
    double here = 1e-30;
    double even = 0.0;
    for (int k = terms - 1; k >= 0; --k) {
        c[k * step] = here;
        even += k % 2 == 0 ? here : 0.0;
        const double below = k * two_over_z * here - above;
        above = here;
        here = below;
    }
    const double norm = 2.0 / (2.0 * even - c[0]);
    const double odd_sign = z < 0.0 ? -1.0 : 1.0;
    for (int k = 0; k < terms; ++k) {
        const double sign = (k % 4 < 2 ? 1.0 : -1.0) * (k % 2 == 1 ? odd_sign : 1.0);
        c[k * step] *= sign * norm;
    }
    c[0] *= 0.5;
}

} // namespace orvel
