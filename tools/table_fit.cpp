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
constexpr double damping_share = 0.7;

constexpr int elastic_points = 601;
constexpr int B_points = 33;
constexpr int s_points = 91;

// beta f' / f, damped by exp(-x) as the table stores it.
double stored_ratio(const ElasticSource &source, double B, double x) {
    const double s = std::sqrt(x / B);
    return std::exp(-x) * absorptive_factor(pair_products(source, s), B) /
           elastic_factor(source, s);
}

} // namespace

TableFit::TableFit(const BkTable &grids) {
    for (int k = 0; k < elastic_points; ++k) {
        const double t = k / (elastic_points - 1.0);
        ElasticPoint point{fit_s_max * t * (0.2 + 0.8 * t), {}};
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
        const double t = k / (s_points - 1.0);
        s_values_.push_back(fit_s_max * t * (0.2 + 0.8 * t));
    }
    for (int i = 0; i < B_points; ++i) {
        const double B = fit_B_min * std::pow(fit_B_max / fit_B_min, i / (B_points - 1.0));
        for (std::size_t k = 0; k < s_values_.size(); ++k) {
            const double x = B * s_values_[k] * s_values_[k];
            if (x > grids.gms2[columns - 1]) {
                continue;
            }
            RatioPoint point{B, k, {}};
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
    std::vector<double> exact;
    for (int n = 0; n < rows * columns; ++n) {
        exact.push_back(stored_ratio(source, table.gm[n / columns], table.gms2[n % columns]));
    }
    std::vector<PairProducts> pairs;
    for (const double s : s_values_) {
        pairs.push_back(pair_products(source, s));
    }
    std::vector<FitEquation> equations;
    double forward = 0.0;
    for (const RatioPoint &point : ratio_points_) {
        // The points of one B begin with s = 0.
        if (point.s_index == 0) {
            forward = absorptive_factor(pairs[0], point.B);
        }
        const double s = s_values_[point.s_index];
        const double damping = std::exp(-damping_share * point.B * s * s) / forward;
        const double f = elastic_factor(source, s);
        FitEquation e{{}, damping * absorptive_factor(pairs[point.s_index], point.B)};
        for (const double weight : point.weights) {
            e.row.push_back(damping * f * weight);
        }
        equations.push_back(std::move(e));
    }
    const std::vector<double> v = minimax_fit(equations, exact);
    for (std::size_t n = 0; n < v.size(); ++n) {
        table.f[n / columns][n % columns] = 0.1 * scale * v[n];
    }
    table.mlt_fct = scale;
    table.add_fct = 0.0;
}

} // namespace orvel
