#include "viewer/value_range.hpp"

#include <algorithm>
#include <cmath>
#include <limits>

namespace orvel {

std::array<double, 2> finite_range(const std::vector<double> &values) {
    double low = std::numeric_limits<double>::infinity();
    double high = -low;
    for (const double value : values) {
        if (std::isfinite(value)) {
            low = std::min(low, value);
            high = std::max(high, value);
        }
    }
    if (low > high) {
        return {0.0, 1.0};
    }
    const double half = 0.5 * unit_range(low);
    return low < high ? std::array{low, high} : std::array{low - half, low + half};
}

double unit_range(double value) {
    return std::max(1.0, 1e-6 * std::fabs(value));
}

} // namespace orvel
