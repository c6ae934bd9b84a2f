#include "tools/minimax_fit.hpp"

#include <algorithm>
#include <cmath>
#include <stdexcept>

namespace orvel {

namespace {

using Rows = std::vector<std::vector<double>>;

constexpr double pull = 1e-3;        // to the start, where a deviation like the first counts 1
constexpr double gap = 0.01;         // of the largest deviation, at the end
constexpr double sharpen = 5.0;      // of the barrier, from one centre to the next
constexpr double centred = 1e-3;     // of half the squared Newton decrement
constexpr int newton_steps = 40;     // for one centre
constexpr double least_share = 1e-9; // of a Newton step

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
            if (i == j && !(sum > 0.0)) {
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

// The barrier function phi(v, t) = sharpness t - sum log(t^2 - deviation^2) + pull.
class Barrier {
public:
    Barrier(const std::vector<FitEquation> &equations, const std::vector<double> &start)
        : equations_(equations), start_(start), pull_(start.size()) {
        for (const FitEquation &e : equations_) {
            for (std::size_t n = 0; n < pull_.size(); ++n) {
                pull_[n] = std::max(pull_[n], e.row[n] * e.row[n]);
            }
        }
    }

    std::vector<double> deviations(const std::vector<double> &v) const {
        std::vector<double> r;
        for (const FitEquation &e : equations_) {
            double sum = -e.target;
            for (std::size_t n = 0; n < v.size(); ++n) {
                sum += e.row[n] * v[n];
            }
            r.push_back(sum);
        }
        return r;
    }

    // From here on deviations as large as this matter.
    void set_scale(double largest) {
        for (double &p : pull_) {
            p = p > 0.0 ? pull * p / (largest * largest) : 1.0;
        }
    }

    // HUGE_VAL outside the region where phi exists.
    double value(const std::vector<double> &z, double sharpness) const {
        const double t = z.back();
        const std::vector<double> v(z.begin(), z.end() - 1);
        double sum = sharpness * t;
        for (const double r : deviations(v)) {
            if (!(std::fabs(r) < t)) {
                return HUGE_VAL;
            }
            sum -= std::log((t - r) * (t + r));
        }
        for (std::size_t n = 0; n < v.size(); ++n) {
            sum += 0.5 * pull_[n] * (v[n] - start_[n]) * (v[n] - start_[n]);
        }
        return sum;
    }

    // The Newton step; `decrement` becomes minus the slope of phi along it.
    std::vector<double> step(const std::vector<double> &z, double sharpness,
                             double &decrement) const {
        const std::size_t n = start_.size();
        const double t = z.back();
        Rows H(n + 1, std::vector<double>(n + 1));
        std::vector<double> downhill(n + 1);
        downhill[n] = -sharpness;
        const std::vector<double> r = deviations({z.begin(), z.end() - 1});
        for (std::size_t k = 0; k < equations_.size(); ++k) {
            const double above = 1.0 / (t - r[k]);
            const double below = 1.0 / (t + r[k]);
            const double curvature = above * above + below * below;
            const double cross = below * below - above * above;
            const std::vector<double> &row = equations_[k].row;
            for (std::size_t i = 0; i < n; ++i) {
                if (row[i] == 0.0) {
                    continue;
                }
                downhill[i] += row[i] * (below - above);
                H[n][i] += row[i] * cross;
                const double ci = row[i] * curvature;
                for (std::size_t j = 0; j <= i; ++j) {
                    H[i][j] += ci * row[j];
                }
            }
            downhill[n] += above + below;
            H[n][n] += curvature;
        }
        for (std::size_t i = 0; i < n; ++i) {
            H[i][i] += pull_[i];
            downhill[i] -= pull_[i] * (z[i] - start_[i]);
        }
        std::vector<double> dz = solve(H, downhill);
        decrement = 0.0;
        for (std::size_t i = 0; i <= n; ++i) {
            decrement += dz[i] * downhill[i];
        }
        return dz;
    }

private:
    const std::vector<FitEquation> &equations_;
    const std::vector<double> &start_;
    std::vector<double> pull_;
};

// Damped Newton steps until phi is least.
void centre(const Barrier &barrier, double sharpness, std::vector<double> &z) {
    for (int step = 0; step < newton_steps; ++step) {
        double decrement = 0.0;
        const std::vector<double> dz = barrier.step(z, sharpness, decrement);
        if (decrement < 2.0 * centred) {
            return;
        }
        const double before = barrier.value(z, sharpness);
        double share = 1.0;
        std::vector<double> trial;
        do {
            if (share < least_share) {
                return;
            }
            trial = z;
            for (std::size_t i = 0; i < z.size(); ++i) {
                trial[i] += share * dz[i];
            }
            share *= 0.5;
        } while (!(barrier.value(trial, sharpness) < before));
        z = trial;
    }
}

} // namespace

std::vector<double> minimax_fit(const std::vector<FitEquation> &equations,
                                const std::vector<double> &start) {
    Barrier barrier(equations, start);
    double largest = 0.0;
    for (const double r : barrier.deviations(start)) {
        largest = std::max(largest, std::fabs(r));
    }
    barrier.set_scale(largest);
    std::vector<double> z = start;
    z.push_back(2.0 * largest);
    // At a centre the largest deviation is above the least possible one by 2 N / sharpness.
    const double N2 = 2.0 * static_cast<double>(equations.size());
    for (double sharpness = N2 / z.back();; sharpness *= sharpen) {
        centre(barrier, sharpness, z);
        if (N2 / sharpness < gap * z.back()) {
            break;
        }
    }
    z.pop_back();
    return z;
}

} // namespace orvel
