#include "bench/bench_support.hpp"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <limits>

namespace orvel::bench {

namespace {

constexpr double machine_epsilon = std::numeric_limits<double>::epsilon();

double frobenius(int n, const Matrix<complex> &a) {
    double sum = 0.0;
    for (std::size_t i = 0; i < static_cast<std::size_t>(n); ++i) {
        for (int j = 0; j < n; ++j) {
            sum += c_norm(a[i][j]);
        }
    }
    return std::sqrt(sum);
}

complex row_times_column(int n, const complex *row, const Matrix<complex> &b, int j) {
    complex sum;
    for (int k = 0; k < n; ++k) {
        sum = c_add(sum, c_mul(row[k], b[static_cast<std::size_t>(k)][j]));
    }
    return sum;
}

// Net vectors in the order of their length.
std::vector<std::pair<int, int>> net_vectors(int n) {
    std::vector<std::pair<int, int>> net;
    const int reach = static_cast<int>(std::sqrt(n)) + 2;
    for (int h = -reach; h <= reach; ++h) {
        for (int k = -reach; k <= reach; ++k) {
            net.emplace_back(h, k);
        }
    }
    std::stable_sort(net.begin(), net.end(), [](auto a, auto b) {
        return a.first * a.first + a.second * a.second < b.first * b.first + b.second * b.second;
    });
    net.resize(static_cast<std::size_t>(n));
    return net;
}

// U of a net vector: two atoms of different kind a cell, U(-g) differs from conj(U(g)).
complex coefficient(int h, int k) {
    const double square = h * h + k * k;
    const double size = 0.0005 + 0.0495 * std::exp(-0.12 * square);
    const double angle = two_pi * (0.25 * h + 0.31 * k);
    const complex structure = c_add({0.6, 0.0}, c_exp({std::log(0.4), angle}));
    return c_mul({size, 0.1 * size * std::exp(-0.02 * square)}, structure);
}

} // namespace

std::vector<double> median_seconds(const std::vector<Contender> &contenders, int turns) {
    using clock = std::chrono::steady_clock;
    std::vector<std::vector<double>> times(contenders.size());
    for (int turn = 0; turn < turns; ++turn) {
        for (std::size_t i = 0; i < contenders.size(); ++i) {
            contenders[i].prepare();
            const auto start = clock::now();
            contenders[i].run();
            times[i].push_back(std::chrono::duration<double>(clock::now() - start).count());
        }
    }
    std::vector<double> medians;
    for (std::vector<double> &t : times) {
        const auto middle = t.begin() + static_cast<std::ptrdiff_t>(t.size() / 2);
        std::nth_element(t.begin(), middle, t.end());
        medians.push_back(*middle);
    }
    return medians;
}

Matrix<complex> bloch_matrix(int n) {
    constexpr double wave_number = 45.0; // 1/A
    constexpr double spacing = 0.2;      // 1/A
    const auto count = static_cast<std::size_t>(n);
    const auto net = net_vectors(n);
    Matrix<complex> a(count, count);
    for (std::size_t i = 0; i < count; ++i) {
        for (std::size_t j = 0; j < count; ++j) {
            const auto [h, k] = net[i];
            a[i][j] = coefficient(h - net[j].first, k - net[j].second);
            if (i == j) {
                const double square = spacing * spacing * (h * h + k * k);
                const double tilt = spacing * (0.013 * h - 0.021 * k);
                const double s_g = std::max(-0.05, -square / (2.0 * wave_number)) + tilt;
                a[i][j] = {2.0 * wave_number * s_g, 0.01};
            }
        }
    }
    return a;
}

double eigen_residual(int n, const Matrix<complex> &a, const complex *eigval,
                      const Matrix<complex> &eigvec) {
    double sum = 0.0;
    for (std::size_t i = 0; i < static_cast<std::size_t>(n); ++i) {
        for (int j = 0; j < n; ++j) {
            const complex left = row_times_column(n, a[i], eigvec, j);
            sum += c_norm(c_sub(left, c_mul(eigvec[i][j], eigval[j])));
        }
    }
    return std::sqrt(sum) / (n * machine_epsilon * frobenius(n, a));
}

double inverse_residual(int n, const Matrix<complex> &a, const Matrix<complex> &b) {
    double sum = 0.0;
    for (int i = 0; i < n; ++i) {
        for (int j = 0; j < n; ++j) {
            const complex one = {i == j ? 1.0 : 0.0, 0.0};
            sum += c_norm(c_sub(row_times_column(n, a[static_cast<std::size_t>(i)], b, j), one));
        }
    }
    return std::sqrt(sum) / (n * machine_epsilon * frobenius(n, a) * frobenius(n, b));
}

namespace {

std::FILE *table = stdout;

} // namespace

void set_table_stream(std::FILE *stream) {
    table = stream;
}

void print_header(const char *title) {
    std::fprintf(table, "%s\n", title);
    std::fprintf(table, "%-28s %5s %11s %11s %7s %12s %12s\n", "", "n", "orvel [ms]", "ref. [ms]",
                 "ratio", "residual", "ref. resid.");
}

void print_row(const char *name, int n, double seconds, double reference, double residual,
               double reference_residual) {
    std::fprintf(table, "%-28s %5d %11.3f %11.3f %7.2f %12.3g %12.3g\n", name, n, 1e3 * seconds,
                 1e3 * reference, seconds / reference, residual, reference_residual);
    std::fflush(table);
}

} // namespace orvel::bench
