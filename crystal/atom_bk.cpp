#include "crystal/atom_bk.hpp"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <utility>

namespace orvel {

namespace {

constexpr int rows = 6;
constexpr int columns = 10;

double grid_value(const BkTable &t, int i, int j) {
    return (t.f[i][j] * 10.0 / t.mlt_fct - 1e-6 * t.add_fct) * std::exp(t.gms2[j]);
}

// The first of `first` .. `last` whose abscissa is above x, else last + 1.
int cell(const double *xs, double x, int first, int last) {
    int k = first;
    while (k <= last && x >= xs[k]) {
        ++k;
    }
    return k;
}

// Rows and columns are anchored at their last point; a row past the grid is the last one.
double mean_of_stencils(const BkTable &t, double B, double x, std::pair<int, int> p_range,
                        std::pair<int, int> q_range) {
    double sum = 0.0;
    int count = 0;
    for (int p = p_range.first; p <= p_range.second; ++p) {
        for (int q = q_range.first; q <= q_range.second; ++q) {
            sum += fabs_bi_quad_int(t, B, x, std::min(p, rows - 1), q);
            ++count;
        }
    }
    return sum / count;
}

// Where cells meet, several 3 x 3 stencils hold the point; their mean is smoother than any of them.
double ratio_near_axis(const BkTable &t, double B, double x) {
    const int i = cell(t.gm, B, 1, rows - 2);
    const int j = cell(t.gms2, x, 1, columns - 2);
    if (i == 1 && j == 1) {
        return mean_of_stencils(t, B, x, {2, 3}, {2, 3});
    }
    if (j == 1) {
        return mean_of_stencils(t, B, x, {i, i + 1}, {2, 2});
    }
    const int i2 = std::max(i, 2);
    return mean_of_stencils(t, B, x, {i2, std::min(i2 + 1, rows - 1)},
                            {j, std::min(j + 1, columns - 1)});
}

} // namespace

double quad_int(std::span<const double, 3> xs, double x, std::span<const double, 3> ys) {
    const double d0 = x - xs[0];
    const double d1 = x - xs[1];
    const double d2 = x - xs[2];
    return d1 * d2 / ((xs[0] - xs[1]) * (xs[0] - xs[2])) * ys[0] +
           d0 * d2 / ((xs[1] - xs[0]) * (xs[1] - xs[2])) * ys[1] +
           d0 * d1 / ((xs[2] - xs[0]) * (xs[2] - xs[1])) * ys[2];
}

double cub_int(std::span<const double, 4> xs, double x, std::span<const double, 4> ys) {
    const double d0 = x - xs[0];
    const double d1 = x - xs[1];
    const double d2 = x - xs[2];
    const double d3 = x - xs[3];
    return d1 * d2 * d3 / ((xs[0] - xs[1]) * (xs[0] - xs[2]) * (xs[0] - xs[3])) * ys[0] +
           d0 * d2 * d3 / ((xs[1] - xs[0]) * (xs[1] - xs[2]) * (xs[1] - xs[3])) * ys[1] +
           d0 * d1 * d3 / ((xs[2] - xs[0]) * (xs[2] - xs[1]) * (xs[2] - xs[3])) * ys[2] +
           d0 * d1 * d2 / ((xs[3] - xs[0]) * (xs[3] - xs[1]) * (xs[3] - xs[2])) * ys[3];
}

double cub_int_2(double x, std::span<const double> xs, std::span<const double> ys) {
    const int n = static_cast<int>(xs.size());
    const int k = cell(xs.data(), x, 2, n - 3);
    const auto first = static_cast<std::size_t>(k - 2);
    return cub_int(xs.subspan(first).first<4>(), x, ys.subspan(first).first<4>());
}

double fabs_bi_quad_int(const BkTable &table, double B, double x, int p, int q) {
    const std::span<const double, 3> gm(table.gm + p - 2, 3);
    std::array<double, 3> at_B;
    for (int j = 0; j < 3; ++j) {
        std::array<double, 3> column;
        for (int i = 0; i < 3; ++i) {
            column[static_cast<std::size_t>(i)] = grid_value(table, p - 2 + i, q - 2 + j);
        }
        at_B[static_cast<std::size_t>(j)] = quad_int(gm, B, column);
    }
    return quad_int(std::span<const double, 3>(table.gms2 + q - 2, 3), x, at_B);
}

double fabs_bi_cub_int(const BkTable &table, double B, double x) {
    const int r = cell(table.gm, B, 2, rows - 3) - 2;
    const int c = cell(table.gms2, x, 2, columns - 3) - 2;
    const std::span<const double, 4> gm(table.gm + r, 4);
    std::array<double, 4> at_B;
    for (int j = 0; j < 4; ++j) {
        std::array<double, 4> column;
        for (int i = 0; i < 4; ++i) {
            column[static_cast<std::size_t>(i)] = grid_value(table, r + i, c + j);
        }
        at_B[static_cast<std::size_t>(j)] = cub_int(gm, B, column);
    }
    return cub_int(std::span<const double, 4>(table.gms2 + c, 4), x, at_B);
}

double absorptive_ratio(const BkTable &table, double B, double x) {
    return x >= 2.0 ? fabs_bi_cub_int(table, B, x) : ratio_near_axis(table, B, x);
}

int atom_bk(const BkTable &table, double s, double B, ScatteringFactors &out, double E) {
    out = {};
    if (s > table.dts[26]) {
        return 1;
    }
    if (s < 0.0) {
        return 3;
    }
    if (E <= 0.0 || E > 10000.0) {
        return 4;
    }
    const double B_grid = std::min(std::max(B, 0.0), table.gm[rows - 1]);
    const int status = B_grid == B ? 0 : 2;
    // Twice the rest energy of the electron is 1022 keV, and its square 261127 keV^2.
    const double beta = std::sqrt(1.0 - 261127.0 / ((1022.0 + E) * E + 261127.0));
    out.f = cub_int_2(s, table.dts, table.dt) / 1000.0;
    const double x = s * s * B;
    if (B_grid < table.gm[0] || x > table.gms2[columns - 1]) {
        return status;
    }
    out.f_abs = out.f / beta * absorptive_ratio(table, B_grid, x);
    return status;
}

} // namespace orvel
