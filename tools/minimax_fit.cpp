#include "tools/minimax_fit.hpp"

#include <algorithm>
#include <cmath>
#include <stdexcept>

namespace orvel {

namespace {

using Rows = std::vector<std::vector<double>>;

constexpr int reweightings = 8;
constexpr double pull_to_start = 1e-4;

// Solves A x = b for a symmetric positive definite A, of which the lower triangle is given and
// overwritten by its Cholesky factor.
std::vector<double> solve(Rows &A, std::vector<double> b) {
    const std::size_t n = b.size();
    for (std::size_t j = 0; j < n; ++j) {
        for (std::size_t i = j; i < n; ++i) {
            double sum = A[i][j];
            for (std::size_t k = 0; k < j; ++k) {
                sum -= A[i][k] * A[j][k];
            }
            if (i == j && sum <= 0.0) {
                throw std::runtime_error("the fit of table values is singular");
            }
            A[i][j] = i == j ? std::sqrt(sum) : sum / A[j][j];
        }
    }
    for (std::size_t i = 0; i < n; ++i) {
        for (std::size_t k = 0; k < i; ++k) {
            b[i] -= A[i][k] * b[k];
        }
        b[i] /= A[i][i];
    }
    for (std::size_t i = n; i-- > 0;) {
        for (std::size_t k = i + 1; k < n; ++k) {
            b[i] -= A[k][i] * b[k];
        }
        b[i] /= A[i][i];
    }
    return b;
}

// Weighted normal equations, with the pull of each unknown relative to its largest coefficient.
std::vector<double> least_squares(const std::vector<FitEquation> &equations,
                                  const std::vector<double> &weight,
                                  const std::vector<double> &start) {
    const std::size_t n = start.size();
    Rows A(n, std::vector<double>(n));
    std::vector<double> b(n);
    std::vector<double> largest(n);
    for (std::size_t k = 0; k < equations.size(); ++k) {
        const FitEquation &e = equations[k];
        for (std::size_t i = 0; i < n; ++i) {
            largest[i] = std::max(largest[i], std::fabs(e.row[i]));
            const double wi = weight[k] * e.row[i];
            if (wi == 0.0) {
                continue;
            }
            b[i] += wi * e.target;
            for (std::size_t j = 0; j <= i; ++j) {
                A[i][j] += wi * e.row[j];
            }
        }
    }
    for (std::size_t i = 0; i < n; ++i) {
        const double pull = largest[i] > 0.0 ? pull_to_start * largest[i] * largest[i] : 1.0;
        A[i][i] += pull;
        b[i] += pull * start[i];
    }
    return solve(A, b);
}

double deviation(const FitEquation &e, const std::vector<double> &v) {
    double sum = -e.target;
    for (std::size_t n = 0; n < v.size(); ++n) {
        sum += e.row[n] * v[n];
    }
    return std::fabs(sum);
}

} // namespace

std::vector<double> minimax_fit(const std::vector<FitEquation> &equations,
                                const std::vector<double> &start) {
    // Weights far below 1 would hand the fit over to the pull; none falls below this fraction.
    constexpr double least_weight = 0.02;
    std::vector<double> weight(equations.size(), 1.0);
    std::vector<double> best = start;
    double best_largest = HUGE_VAL;
    for (int round = 0; round <= reweightings; ++round) {
        const std::vector<double> v = least_squares(equations, weight, start);
        std::vector<double> size;
        for (const FitEquation &e : equations) {
            size.push_back(deviation(e, v));
        }
        const double largest = *std::max_element(size.begin(), size.end());
        if (largest < best_largest) {
            best_largest = largest;
            best = v;
        }
        double heaviest = 0.0;
        for (std::size_t k = 0; k < size.size(); ++k) {
            weight[k] *= size[k] / largest + least_weight;
            heaviest = std::max(heaviest, weight[k]);
        }
        for (double &w : weight) {
            w = std::max(w / heaviest, 1e-3);
        }
    }
    return best;
}

} // namespace orvel
