// Values of the tables of one element, chosen for the best interpolation.
//
// The points of orvel's grids are too few to carry the factors with their exact values alone: the
// interpolated f' would be off by a fifth of f'(0) and f by 0.27 %. What orvel interpolates is
// linear in the table values, so these are fitted, over a dense set of s and of (B, s) that
// includes the bends of the interpolation, such that the largest deviation is least.
#pragma once

#include "crystal/atom_bk.hpp"
#include "tools/elastic_factor.hpp"

#include <cstddef>
#include <vector>

namespace orvel {

// The range the fit serves.
constexpr double fit_B_min = 0.05; // A^2
constexpr double fit_B_max = 4.0;  // A^2
constexpr double fit_s_max = 6.0;  // 1/A

// The points of the fits and how the interpolation weighs the table values at each. One for all
// elements, since they share the grids.
class TableFit {
public:
    // `grids` gives dts, gm and gms2.
    explicit TableFit(const BkTable &grids);

    // dt of the element. A deviation counts in units of f(s); f(0) is exact.
    void fit_elastic(const ElasticSource &source, BkTable &table) const;

    // f of the element, with mlt_fct = `scale` and add_fct = 0, for the dt that `table` has, since
    // orvel multiplies the ratio by the interpolated f. A deviation counts as one of
    // f'(s, B) exp(-0.85 B s^2) / f'(0, B): the pattern sees f' exp(-B s^2), and the rest of the
    // exponent keeps a fair relative error where that is small.
    void fit_absorptive(const ElasticSource &source, double scale, BkTable &table) const;

private:
    struct ElasticPoint {
        double s;
        std::vector<double> weights; // of dt
    };
    struct RatioPoint {
        double B;
        std::size_t s_index;
        std::vector<double> weights; // of the 60 values 10 f / mlt_fct, row by row
    };
    std::vector<double> s_values_;
    std::vector<ElasticPoint> elastic_points_;
    std::vector<RatioPoint> ratio_points_;
};

} // namespace orvel
