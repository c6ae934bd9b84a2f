#include "viewer/layout.hpp"

#include "app/mb_mpi.hpp"

#include <algorithm>
#include <cmath>
#include <limits>

namespace orvel {

namespace {

// No picture needs more samples: 30 x 30 discs of 200 x 200.
constexpr double most_samples = 4e7;

} // namespace

DiscLayout lay_out_discs(const CbedRun &run) {
    const CbedPattern &pattern = run.pattern;
    const double n = pattern.grid.side;
    DiscLayout layout;
    const double g1 = std::sqrt(sq_abs(pattern.base_g1, bravai(pattern.cell)));
    constexpr double infinity = std::numeric_limits<double>::infinity();
    layout.low = {infinity, infinity};
    layout.high = {-infinity, -infinity};
    layout.sample_per_A = 0.5 * g1 * 2.0 * pattern.grid.half_width / (n - 1.0);
    const double half_x = 0.5 * n;
    const double half_y = pattern.grid.shape == TiltShape::line ? 0.5 : half_x;
    for (const OutputReflection &r : pattern.reflections) {
        const Place centre = {r.x * (n - 1.0) / n, r.y * (n - 1.0) / n};
        layout.centres.push_back(centre);
        layout.low.x = std::min(layout.low.x, centre.x - half_x);
        layout.low.y = std::min(layout.low.y, centre.y - half_y);
        layout.high.x = std::max(layout.high.x, centre.x + half_x);
        layout.high.y = std::max(layout.high.y, centre.y + half_y);
        if (!((layout.high.x - layout.low.x) * (layout.high.y - layout.low.y) < most_samples) ||
            !std::isfinite(centre.x) || !std::isfinite(centre.y)) {
            input_exit("$$ %s: reflection %d %d %d stands at %g %g samples, too far off for "
                       "one picture. Abort.",
                       run.images.front().file.c_str(), r.hkl.h, r.hkl.k, r.hkl.l, r.x, r.y);
        }
    }
    return layout;
}

OverlapSum sum_overlap(const CbedRun &run, const CbedImage &image, const DiscLayout &layout) {
    const TiltGrid &grid = run.pattern.grid;
    const int side = grid.side;
    OverlapSum sum;
    int low_x = std::numeric_limits<int>::max();
    int low_y = low_x;
    std::vector<int> left;
    std::vector<int> bottom;
    for (const Place &centre : layout.centres) {
        left.push_back(static_cast<int>(std::lround(centre.x)));
        bottom.push_back(static_cast<int>(std::lround(centre.y)));
        sum.rounding = std::max(
            {sum.rounding, std::abs(centre.x - left.back()), std::abs(centre.y - bottom.back())});
        low_x = std::min(low_x, left.back());
        low_y = std::min(low_y, bottom.back());
    }
    sum.width = *std::max_element(left.begin(), left.end()) - low_x + side;
    sum.height = *std::max_element(bottom.begin(), bottom.end()) - low_y + side;
    const std::size_t cells =
        static_cast<std::size_t>(sum.width) * static_cast<std::size_t>(sum.height);
    std::vector<float> re(cells, 0.0F);
    std::vector<float> im(run.pattern.coherent ? cells : 0, 0.0F);
    sum.discs.assign(cells, 0);
    const std::size_t points = grid.points.size();
    for (std::size_t g = 0; g < left.size(); ++g) {
        for (std::size_t p = 0; p < points; ++p) {
            const TiltPoint &point = grid.points[p];
            if (!point.inside) {
                continue;
            }
            const auto cell = static_cast<std::size_t>(bottom[g] - low_y + point.row) *
                                  static_cast<std::size_t>(sum.width) +
                              static_cast<std::size_t>(left[g] - low_x + point.column);
            re[cell] += image.values[g * points + p];
            if (run.pattern.coherent) {
                im[cell] += image.imaginary[g * points + p];
            }
            ++sum.discs[cell];
        }
    }
    for (std::size_t i = 0; i < im.size(); ++i) {
        re[i] = re[i] * re[i] + im[i] * im[i];
    }
    sum.intensity = std::move(re);
    // From the corner to the centre of a disc are (side - 1) / 2 samples.
    sum.low = {low_x - 0.5 * (side - 1), low_y - 0.5 * (side - 1)};
    return sum;
}

double round_length(double longest) {
    const double decade = std::pow(10.0, std::floor(std::log10(longest)));
    for (const double step : {5.0, 2.0}) {
        if (step * decade <= longest) {
            return step * decade;
        }
    }
    return decade;
}

} // namespace orvel
