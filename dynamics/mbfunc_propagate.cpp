#include "dynamics/mbfunc_propagate.hpp"

#include "app/mb_debug.hpp"
#include "app/run_settings.hpp"
#include "dynamics/mbfunc_matrix.hpp"

#include <algorithm>
#include <cassert>
#include <cmath>
#include <cstddef>
#include <limits>

namespace orvel {

namespace {

// Whether the eigen-solver may scale the matrix of a selected tilt without Bethe beams. Where the
// excess of no beam passes what keeps a beam from being moved, none can be scaled.
bool may_scale_tilt(const TiltProblem &problem, const WorkCalInt &tilt, double U_per_V,
                    const PropagationWork &work) {
    if (epsilon.eigmat_func != 0) {
        return false;
    }
    double excess = 0.0;
    double least_beta = std::numeric_limits<double>::infinity();
    for (int j = 0; j < tilt.n_exact; ++j) {
        const int g = tilt.index_list[j];
        excess = std::max(excess, work.excess[static_cast<std::size_t>(g)]);
        least_beta = std::min(least_beta, tilt.beta[g]);
    }
    if (excess * U_per_V <= PropagationWork::lopsided * epsilon.eigen_eps * least_beta) {
        return false;
    }
    return may_be_scaled(tilt.n_exact, [&](int i, int j) {
        const int g = tilt.index_list[i];
        const int h = tilt.index_list[j];
        return element_size(problem.V[g][h]) / std::sqrt(tilt.beta[g] * tilt.beta[h]);
    });
}

// Keeps the selected tilt for the block, if its geometry can be propagated.
void keep_tilt(int i, const WorkCalInt &tilt, double K, PropagationWork &work) {
    double *two_K_s = work.two_K_s[static_cast<std::size_t>(i)];
    double *beta = work.beta[static_cast<std::size_t>(i)];
    std::fill_n(beta, work.beta.cols(), 0.0);
    for (int j = 0; j < tilt.n_exact; ++j) {
        const int g = tilt.index_list[j];
        two_K_s[g] = 2.0 * K * tilt.s[g];
        beta[g] = tilt.beta[g];
        if (!std::isfinite(two_K_s[g]) || !std::isfinite(beta[g]) || !(beta[g] > 0.0)) {
            return;
        }
    }
    if (tilt.n_exact > 0) {
        work.tilts.push_back({i, tilt.n_exact, {}});
        work.tilts.back().expansion.K_n = tilt.K_n;
    }
}

// The beams that are exact at a tilt of the block or more, and the output beams among them.
void collect_beams(const TiltProblem &problem, PropagationWork &work) {
    work.beams.clear();
    for (int g = 0; g < problem.sd.beams.size(); ++g) {
        const auto is_exact = [&](const PropagatedTilt &t) {
            return work.beta[static_cast<std::size_t>(t.tilt)][g] > 0.0;
        };
        if (std::any_of(work.tilts.begin(), work.tilts.end(), is_exact)) {
            work.beams.push_back(g);
        }
    }
    work.rows.clear();
    work.outputs.clear();
    const std::vector<int> &reflections = problem.sd.reflections;
    for (std::size_t o = 0; o < reflections.size(); ++o) {
        const auto found = std::lower_bound(work.beams.begin(), work.beams.end(), reflections[o]);
        if (found != work.beams.end() && *found == reflections[o]) {
            work.rows.push_back(static_cast<int>(found - work.beams.begin()));
            work.outputs.push_back(static_cast<int>(o));
        }
    }
}

bool is_finite(complex z) {
    return std::isfinite(z.re) && std::isfinite(z.im);
}

// Whether all couplings of the exact beams of a tilt are finite.
bool has_finite_couplings(const complex *const *V, const double *beta,
                          const PropagationWork &work) {
    for (const int g : work.beams) {
        for (const int h : work.beams) {
            if (beta[g] > 0.0 && beta[h] > 0.0 && g != h && !is_finite(V[g][h])) {
                return false;
            }
        }
    }
    return true;
}

// The off-diagonal elements over the beams of the block as the kernel takes them, what is not
// finite being left out. Returns whether nothing was.
bool pack_potential(const complex *const *V, double U_per_V, PropagationWork &work) {
    const int n = static_cast<int>(work.beams.size());
    const std::ptrdiff_t plane = std::ptrdiff_t{n} * block_height;
    bool finite = true;
    double *panel = work.step.packed;
    for (int first = 0; first < n; first += block_height, panel += 3 * plane) {
        for (int r = 0; r < block_height; ++r) {
            const int i = first + r;
            const complex *row = i < n ? V[work.beams[static_cast<std::size_t>(i)]] : nullptr;
            for (int k = 0; k < n; ++k) {
                complex U;
                if (row != nullptr && i != k) {
                    const complex v = row[work.beams[static_cast<std::size_t>(k)]];
                    finite = finite && is_finite(v);
                    U = is_finite(v) ? complex{v.re * U_per_V, v.im * U_per_V} : complex{};
                }
                double *at = panel + k * block_height + r;
                at[0] = U.re;
                at[plane] = U.im;
                at[2 * plane] = U.re + U.im;
            }
        }
    }
    return finite;
}

// Moduli of the Hermitian part of the off-diagonal elements, for the bounds.
void split_potential(const complex *const *V, double U_per_V, PropagationWork &work) {
    const auto n = work.beams.size();
    double *modulus = work.bounds.modulus;
    work.bounds.n = static_cast<int>(n);
    for (std::size_t i = 0; i < n; ++i) {
        const int g = work.beams[i];
        modulus[i * n + i] = 0.0;
        for (std::size_t j = 0; j < i; ++j) {
            const int h = work.beams[j];
            const complex sum = c_add(V[g][h], c_conj(V[h][g]));
            const double size = 0.5 * U_per_V * std::sqrt(c_norm(sum));
            modulus[i * n + j] = modulus[j * n + i] = std::isfinite(size) ? size : 0.0;
        }
    }
}

// The expansion of a tilt of the block.
Expansion expansion_of(const TiltProblem &problem, const PropagatedTilt &tilt,
                       PropagationWork &work) {
    const double *two_K_s = work.two_K_s[static_cast<std::size_t>(tilt.tilt)];
    const double *beta = work.beta[static_cast<std::size_t>(tilt.tilt)];
    for (std::size_t i = 0; i < work.beams.size(); ++i) {
        const int g = work.beams[i];
        const bool exact = beta[g] > 0.0;
        work.bounds.middle[i] = exact ? two_K_s[g] / beta[g] : 0.0;
        work.bounds.factor[i] = exact ? 1.0 / beta[g] : 0.0;
    }
    return settle_expansion(spectrum_bounds(work.bounds), work.absorption, tilt.expansion.K_n,
                            problem.sd.thicknesses, most_terms(tilt.n_exact));
}

// Tilts that go through the recurrence together.
using TiltStrip = std::span<const PropagatedTilt>;

// Column c of the diagonal and of the scales: D^-1 (U + diag(m) - c D) / r.
void load_column(const PropagatedTilt &tilt, int c, double absorption, PropagationWork &work) {
    const double *two_K_s = work.two_K_s[static_cast<std::size_t>(tilt.tilt)];
    const double *beta = work.beta[static_cast<std::size_t>(tilt.tilt)];
    const Expansion &e = tilt.expansion;
    const BlockTerm &s = work.step;
    for (std::size_t i = 0; i < work.beams.size(); ++i) {
        const int g = work.beams[i];
        const std::size_t at = i * strip + static_cast<std::size_t>(c);
        const bool exact = beta[g] > 0.0;
        s.scale[at] = exact ? 1.0 / (beta[g] * e.radius) : 0.0;
        s.diag_re[at] = exact ? two_K_s[g] - e.centre.re * beta[g] : 0.0;
        s.diag_im[at] = exact ? absorption - e.centre.im * beta[g] : 0.0;
    }
}

void load_strip(const TiltProblem &problem, TiltStrip strip_tilts, double absorption,
                PropagationWork &work) {
    const std::size_t n_thick = problem.sd.thicknesses.size();
    const int terms = strip_tilts.front().expansion.terms;
    const std::size_t count = work.beams.size() * strip;
    const BlockTerm &s = work.step;
    for (double *part :
         {s.x.re, s.x.im, s.x.sum, s.y.re, s.y.im, s.y.sum, s.scale, s.diag_re, s.diag_im}) {
        zero_elements(part, count);
    }
    zero_elements(work.coefficients.data(), static_cast<std::size_t>(terms) * n_thick * strip);
    zero_elements(work.sums.data(), 4 * strip * work.rows.size() * n_thick);
    for (std::size_t c = 0; c < strip_tilts.size(); ++c) {
        load_column(strip_tilts[c], static_cast<int>(c), absorption, work);
        fill_coefficients(strip_tilts[c].expansion, problem.sd.thicknesses, terms,
                          work.coefficients.data() + c, strip);
        s.x.re[c] = s.x.sum[c] = 1.0;
        work.squares[c] = 1.0;
    }
}

// No further term for the columns whose series ends here: without a scale they keep their length.
void stop_columns(TiltStrip strip_tilts, int terms, PropagationWork &work) {
    for (std::size_t c = 0; c < strip_tilts.size(); ++c) {
        if (strip_tilts[c].expansion.terms == terms) {
            for (std::size_t i = 0; i < work.beams.size(); ++i) {
                work.step.scale[i * strip + c] = 0.0;
            }
        }
    }
}

void sum_terms(const TiltProblem &problem, TiltStrip strip_tilts, PropagationWork &work) {
    const int n = static_cast<int>(work.beams.size());
    const int terms = strip_tilts.front().expansion.terms;
    BlockSum sum;
    sum.n_out = static_cast<int>(work.rows.size());
    sum.rows = work.rows.data();
    sum.n_sets = static_cast<int>(problem.sd.thicknesses.size());
    const std::ptrdiff_t sums_each = std::ptrdiff_t{2 * strip} * sum.n_out * sum.n_sets;
    BlockTerm step = work.step;
    step.n = n;
    for (int k = 0;; ++k) {
        chk_interrupt();
        sum.weights = work.coefficients.data() + std::ptrdiff_t{k} * sum.n_sets * strip;
        sum.x = step.x;
        sum.sum = work.sums.data() + (k % 2) * sums_each;
        kernels().block_sum(sum);
        if (k + 1 == terms) {
            return;
        }
        stop_columns(strip_tilts, k + 1, work);
        step.square = work.squares.data() + std::ptrdiff_t{k + 1} * strip;
        kernels().block_term(step);
        std::swap(step.x, step.y);
        if (k == 0) {
            // T_1(x) = x is followed by T_k+1(x) = 2 x T_k(x) - T_k-1(x).
            for (int i = 0; i < n * strip; ++i) {
                work.step.scale[i] *= 2.0;
            }
        }
    }
}

void store_column(const TiltProblem &problem, const PropagatedTilt &tilt, std::size_t c,
                  const PropagationWork &work, complex *const *table) {
    const std::vector<double> &thicknesses = problem.sd.thicknesses;
    const std::size_t n_thick = thicknesses.size();
    for (std::size_t o = 0; o < problem.sd.reflections.size(); ++o) {
        std::fill_n(table[o], n_thick, complex{});
    }
    const double *beta = work.beta[static_cast<std::size_t>(tilt.tilt)];
    const double *even = work.sums.data() + c;
    const double *odd = even + 2 * strip * n_thick * work.rows.size();
    for (const int o : work.outputs) {
        for (std::size_t k = 0; k < n_thick; ++k, even += 2 * strip, odd += 2 * strip) {
            if (beta[problem.sd.reflections[static_cast<std::size_t>(o)]] > 0.0) {
                table[o][k] = joined(tilt.expansion, thicknesses[k], {even[0], even[strip]},
                                     {odd[0], odd[strip]});
            }
        }
    }
}

// Drops the tilts that cannot be served and puts the longest series first, equal ones in order.
void settle_tilts(const TiltProblem &problem, bool finite, PropagationWork &work) {
    const auto cannot = [&](PropagatedTilt &t) {
        if (!finite &&
            !has_finite_couplings(problem.V, work.beta[static_cast<std::size_t>(t.tilt)], work)) {
            return true;
        }
        t.expansion = expansion_of(problem, t, work);
        return t.expansion.terms > most_terms(t.n_exact);
    };
    std::erase_if(work.tilts, cannot);
    std::sort(work.tilts.begin(), work.tilts.end(),
              [](const PropagatedTilt &a, const PropagatedTilt &b) {
                  return a.expansion.terms > b.expansion.terms ||
                         (a.expansion.terms == b.expansion.terms && a.tilt < b.tilt);
              });
}

void propagate_side_by_side(const TiltProblem &problem, const MatrixUnits &units,
                            PropagationWork &work, std::span<complex *const *const> tables) {
    collect_beams(problem, work);
    const bool finite = pack_potential(problem.V, units.U_per_V, work);
    split_potential(problem.V, units.U_per_V, work);
    settle_tilts(problem, finite, work);
    for (TiltStrip rest = work.tilts; !rest.empty();) {
        const TiltStrip now = rest.first(std::min<std::size_t>(rest.size(), strip));
        rest = rest.subspan(now.size());
        load_strip(problem, now, units.U0.im, work);
        sum_terms(problem, now, work);
        for (std::size_t c = 0; c < now.size(); ++c) {
            const auto i = static_cast<std::size_t>(now[c].tilt);
            if (is_accurate(now[c].expansion, problem.sd.thicknesses, work.coefficients.data() + c,
                            strip, work.squares.data() + c, strip)) {
                store_column(problem, now[c], c, work, tables[i]);
                work.served[i] = 1;
            }
        }
    }
}

} // namespace

void propagate_tilts(const TiltProblem &problem, std::span<const RealHkl> K_t, WorkCalInt &tilt,
                     PropagationWork &work, std::span<complex *const *const> tables) {
    assert(K_t.size() <= work.beta.rows() && K_t.size() == tables.size());
    work.served.assign(K_t.size(), 0);
    work.tilts.clear();
    if (problem.sd.beams.size() == 0) {
        return;
    }
    const MatrixUnits units = matrix_units(problem.sd.beam.acc_voltage, problem.V[0][0]);
    for (std::size_t i = 0; i < K_t.size(); ++i) {
        select_tilt(problem, K_t[i], tilt);
        const auto n_exact = static_cast<std::size_t>(tilt.n_exact);
        if (may_trade_places(problem.sd.beam.acc_voltage, problem.V,
                             {tilt.index_list.data(), n_exact})) {
            continue;
        }
        if (tilt.n_bethe > 0) {
            work.served[i] = propagate_folded(problem, tilt, work, tables[i]) ? 1 : 0;
        } else if (!may_scale_tilt(problem, tilt, units.U_per_V, work)) {
            keep_tilt(static_cast<int>(i), tilt, units.K, work);
        }
    }
    if (!work.tilts.empty()) {
        propagate_side_by_side(problem, units, work, tables);
    }
}

} // namespace orvel
