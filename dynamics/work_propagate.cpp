#include "dynamics/work_propagate.hpp"

#include "app/run_settings.hpp"
#include "dynamics/mbfunc_matrix.hpp"

#include <algorithm>
#include <cmath>
#include <cstddef>

namespace orvel {

namespace {

int padded_order(int n_max) {
    return round_up_strip(n_max);
}

std::size_t count_of(double product) {
    return static_cast<std::size_t>(product);
}

// Doubles of the packed matrix, the moduli, four vectors and nine strips, with room for alignment.
double count_reals(int n_max) {
    const double n = padded_order(n_max);
    return 4.0 * n * n + 4.0 * n + 9.0 * strip * n + strip * strip;
}

double count_coefficients(int n_max, int n_thick) {
    return double{strip} * most_terms(n_max) * n_thick;
}

double count_squares(int n_max) {
    return double{strip} * most_terms(n_max);
}

double count_sums(int n_out, int n_thick) {
    return 4.0 * strip * n_out * n_thick;
}

// y <- (V - V^H) x / 2i: the absorptive part of the potential, volts.
void absorptive_product(int n, const complex *const *V, const Vector<complex> &x,
                        Vector<complex> &y) {
    std::fill(y.begin(), y.end(), complex{});
    for (std::size_t i = 0; i < static_cast<std::size_t>(n); ++i) {
        complex row;
        for (std::size_t j = 0; j < static_cast<std::size_t>(n); ++j) {
            const complex v = V[i][j];
            row = c_add(row, c_mul(v, x[j]));
            y[j] = c_sub(y[j], c_mul(c_conj(v), x[i]));
        }
        y[i] = c_add(y[i], row);
    }
    for (complex &z : y) {
        z = {0.5 * z.im, -0.5 * z.re};
    }
}

// States in a crystal are damped by nothing at least and by the largest eigenvalue of the
// absorptive part at most (in one that feeds them the other way round): half of it, 1/A^2, by
// powers of the matrix on the incident beam. 0 where that is no number.
double middle_absorption(const TiltProblem &problem) {
    constexpr int turns = 10;
    const int n = problem.sd.beams.size();
    if (n == 0) {
        return 0.0;
    }
    Vector<complex> x(n), y(n);
    x[0] = {1.0, 0.0};
    double quotient = 0.0;
    for (int turn = 0; turn < turns; ++turn) {
        absorptive_product(n, problem.V, x, y);
        complex product;
        double square = 0.0;
        for (std::size_t i = 0; i < x.size(); ++i) {
            product = c_add(product, c_mul(c_conj(x[i]), y[i]));
            square += c_norm(y[i]);
        }
        quotient = product.re;
        if (!(square > 0.0)) {
            break;
        }
        const double length = std::sqrt(square);
        for (std::size_t i = 0; i < x.size(); ++i) {
            x[i] = {y[i].re / length, y[i].im / length};
        }
    }
    const double U_per_V = matrix_units(problem.sd.beam.acc_voltage, problem.V[0][0]).U_per_V;
    return std::isfinite(quotient) ? 0.5 * U_per_V * quotient : 0.0;
}

// PropagationWork::excess
Vector<double> coupling_excess(const TiltProblem &problem) {
    const int n = problem.sd.beams.size();
    Vector<double> excess(n);
    if (epsilon.eigmat_func != 0) {
        return excess;
    }
    for (int g = 0; g < n; ++g) {
        double from = 0.0;
        double to = 0.0;
        for (int h = 0; h < n; ++h) {
            const double a = element_size(problem.V[g][h]);
            const double b = element_size(problem.V[h][g]);
            from += std::max(0.0, a - PropagationWork::lopsided * b);
            to += std::max(0.0, b - PropagationWork::lopsided * a);
        }
        excess[static_cast<std::size_t>(g)] = std::max(from, to);
    }
    return excess;
}

} // namespace

PropagationWork::PropagationWork(const TiltProblem &problem, int width)
    : absorption(middle_absorption(problem)), excess(coupling_excess(problem)),
      two_K_s(width, problem.sd.beams.size()), beta(width, problem.sd.beams.size()),
      squares(count_of(count_squares(problem.sd.beams.size()))) {
    const int n_max = problem.sd.beams.size();
    const auto n_out = static_cast<int>(problem.sd.reflections.size());
    const auto n_thick = static_cast<int>(problem.sd.thicknesses.size());
    coefficients = Vector<double>(count_of(count_coefficients(n_max, n_thick)));
    sums = Vector<double>(count_of(count_sums(n_out, n_thick)));
    reals = Vector<double>(count_of(count_reals(n_max)));
    const auto n_tilts = static_cast<std::size_t>(width);
    served.reserve(n_tilts);
    tilts.reserve(n_tilts);
    beams.reserve(static_cast<std::size_t>(n_max));
    rows.reserve(static_cast<std::size_t>(n_out));
    outputs.reserve(static_cast<std::size_t>(n_out));
    PlaneDealer dealer(reals);
    const std::size_t n = padded_order(n_max);
    step.packed = dealer.vector(3 * n * n);
    bounds.modulus = dealer.vector(n * n);
    for (double **part : {&bounds.middle, &bounds.factor, &bounds.weight, &bounds.product}) {
        *part = dealer.vector(n);
    }
    for (double **part : {&step.x.re, &step.x.im, &step.x.sum, &step.y.re, &step.y.im, &step.y.sum,
                          &step.scale, &step.diag_re, &step.diag_im}) {
        *part = dealer.vector(n * strip);
    }
}

double propagation_bytes(const Sd &sd, int width) {
    const int n_max = sd.beams.size();
    const auto n_out = static_cast<int>(sd.reflections.size());
    const auto n_thick = static_cast<int>(sd.thicknesses.size());
    const double per_tilt = sizeof(PropagatedTilt) + 2.0 * sizeof(double) * n_max;
    const double lists = sizeof(int) * (1.0 * n_max + 2.0 * n_out);
    return width * per_tilt + lists +
           sizeof(double) * (n_max + count_reals(n_max) + count_squares(n_max) +
                             count_coefficients(n_max, n_thick) + count_sums(n_out, n_thick));
}

} // namespace orvel
