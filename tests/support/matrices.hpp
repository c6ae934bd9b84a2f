// Matrices that the solvers are tested with, and residuals in units of n eps.
#pragma once

#include "numeric/vecmat.hpp"

#include "numeric/complex.hpp"

#include <algorithm>
#include <cmath>
#include <limits>
#include <random>

namespace orvel::test {

inline std::size_t index_of(int i) {
    return static_cast<std::size_t>(i);
}

template <class Element> Matrix<complex> matrix_of(int n, const Element &element) {
    Matrix<complex> a(index_of(n), index_of(n));
    for (int i = 0; i < n; ++i) {
        for (int j = 0; j < n; ++j) {
            a[index_of(i)][j] = element(i, j);
        }
    }
    return a;
}

inline Matrix<complex> random_matrix(int n, unsigned seed) {
    std::mt19937 generator(seed);
    std::normal_distribution<double> normal;
    return matrix_of(n, [&](int, int) { return complex{normal(generator), normal(generator)}; });
}

// Excitation errors on the diagonal, a potential that falls off with the distance of the beams and
// absorbs a tenth.
inline Matrix<complex> bloch_like(int n) {
    return matrix_of(n, [](int i, int j) {
        const double u = 0.0005 + 0.05 * std::exp(-0.3 * std::abs(i - j));
        const double angle = 0.7 * (i - j);
        return i == j ? complex{-0.09 * i + 0.001 * i * i * (i % 3), 0.01}
                      : complex{u * std::cos(angle) - 0.1 * u * std::sin(angle),
                                u * std::sin(angle) + 0.1 * u * std::cos(angle)};
    });
}

inline double frobenius(int n, const Matrix<complex> &a) {
    double sum = 0.0;
    for (int i = 0; i < n; ++i) {
        for (int j = 0; j < n; ++j) {
            sum += c_norm(a[index_of(i)][j]);
        }
    }
    return std::sqrt(sum);
}

inline Matrix<complex> product(int n, const Matrix<complex> &a, const Matrix<complex> &b) {
    return matrix_of(n, [&](int i, int j) {
        complex sum;
        for (int k = 0; k < n; ++k) {
            sum = c_add(sum, c_mul(a[index_of(i)][k], b[index_of(k)][j]));
        }
        return sum;
    });
}

inline double n_eps(int n) {
    return n * std::numeric_limits<double>::epsilon();
}

} // namespace orvel::test
