#include "tools/table_fit.hpp"

#include "tools/absorptive_factor.hpp"
#include "tools/minimax_fit.hpp"

#include <cmath>
#include <span>
#include <utility>

namespace orvel {

namespace {

constexpr int elastic_nodes = 27;
constexpr int rows = 6;
constexpr int columns = 10;
constexpr double damping_share = 0.85;

constexpr int elastic_points = 601;
constexpr int B_points = 33;
constexpr int s_points = 101;
constexpr double s_first = 0.01; // 1/A, after s = 0

// The B at which the interpolation is to follow the integral at s: evenly spaced on a logarithmic
// scale, and where the interpolation has its bends, since deviations are largest there.
std::vector<double> fitted_B(const BkTable &grids, double s) {
    std::vector<double> values;
    for (int i = 0; i < B_points; ++i) {
        values.push_back(fit_B_min * std::pow(fit_B_max / fit_B_min, i / (B_points - 1.0)));
    }
    std::vector<double> bends(grids.gm + 1, grids.gm + rows - 1);
    for (int j = 1; s > 0.0 && j < columns - 1; ++j) {
        bends.push_back(grids.gms2[j] / (s * s));
    }
    for (const double B : bends) {
        if (B > fit_B_min && B < fit_B_max) {
            values.push_back(B);
        }
    }
    return values;
}

} // namespace

TableFit::TableFit(const BkTable &grids) {
    std::vector<double> elastic_s(grids.dts, grids.dts + elastic_nodes); // the bends
    for (int k = 0; k < elastic_points; ++k) {
        const double t = k / (elastic_points - 1.0);
        elastic_s.push_back(fit_s_max * t * (0.2 + 0.8 * t));
    }
    for (const double s : elastic_s) {
        ElasticPoint point{s, {}};
        for (std::size_t n = 0; n < elastic_nodes; ++n) {
            double unit[elastic_nodes] = {};
            unit[n] = 1.0;
            point.weights.push_back(cub_int_2(point.s, grids.dts, unit));
        }
        elastic_points_.push_back(std::move(point));
    }

    std::vector<BkTable> units(rows * columns, grids);
    for (std::size_t n = 0; n < units.size(); ++n) {
        units[n].mlt_fct = 10.0;
        units[n].f[n / columns][n % columns] = 1.0;
    }
    for (int k = 0; k < s_points; ++k) {
        // s = 0, then a logarithmic scale like that of B.
        s_values_.push_back(
            k == 0 ? 0.0 : s_first * std::pow(fit_s_max / s_first, (k - 1) / (s_points - 2.0)));
        for (const double B : fitted_B(grids, s_values_.back())) {
            const double x = B * s_values_.back() * s_values_.back();
            if (x > grids.gms2[columns - 1]) {
                continue;
            }
            RatioPoint point{B, s_values_.size() - 1, {}};
            for (const BkTable &unit : units) {
                point.weights.push_back(absorptive_ratio(unit, B, x));
            }
            ratio_points_.push_back(std::move(point));
        }
    }
}

void TableFit::fit_elastic(const ElasticSource &source, BkTable &table) const {
    std::vector<double> exact;
    for (const double s : table.dts) {
        exact.push_back(elastic_factor(source, s));
    }
    // The first value stays: only the others are unknowns.
    std::vector<FitEquation> equations;
    for (const ElasticPoint &point : elastic_points_) {
        const double f = elastic_factor(source, point.s);
        FitEquation e{{}, 1.0 - point.weights[0] * exact[0] / f};
        for (std::size_t n = 1; n < elastic_nodes; ++n) {
            e.row.push_back(point.weights[n] / f);
        }
        equations.push_back(std::move(e));
    }
    const std::vector<double> v = minimax_fit(equations, {exact.begin() + 1, exact.end()});
    table.dt[0] = 1000.0 * exact[0];
    for (std::size_t n = 1; n < elastic_nodes; ++n) {
        table.dt[n] = 1000.0 * v[n - 1];
    }
}

void TableFit::fit_absorptive(const ElasticSource &source, double scale, BkTable &table) const {
    std::vector<PairProducts> pairs;
    for (const double s : s_values_) {
        pairs.push_back(pair_products(source, s));
    }
    std::vector<FitEquation> equations;
    for (const RatioPoint &point : ratio_points_) {
        const double s = s_values_[point.s_index];
        const double damping =
            std::exp(-damping_share * point.B * s * s) / absorptive_factor(pairs[0], point.B);
        const double f = cub_int_2(s, table.dts, table.dt) / 1000.0;
        FitEquation e{{}, damping * absorptive_factor(pairs[point.s_index], point.B)};
        for (const double weight : point.weights) {
            e.row.push_back(damping * f * weight);
        }
        equations.push_back(std::move(e));
    }
    const std::vector<double> v = minimax_fit(equations, std::vector<double>(rows * columns));
    for (std::size_t n = 0; n < v.size(); ++n) {
        table.f[n / columns][n % columns] = 0.1 * scale * v[n];
    }
    table.mlt_fct = scale;
    table.add_fct = 0.0;
}

} // namespace orvel
