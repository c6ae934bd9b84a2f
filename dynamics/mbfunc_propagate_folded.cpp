#include "app/mb_debug.hpp"
#include "app/run_settings.hpp"
#include "dynamics/mbfunc_matrix.hpp"
#include "dynamics/mbfunc_propagate.hpp"
#include "numeric/cmatutil.hpp"

#include <algorithm>
#include <cmath>

namespace orvel {

namespace {

// The folded matrix as the kernel takes it.
void pack_folded(int n, const complex *const *B, double *packed) {
    for (int first = 0; first < n; first += strip) {
        for (int k = 0; k < n; ++k, packed += 2 * strip) {
            for (int r = 0; r < strip; ++r) {
                const complex b = first + r < n ? B[first + r][k] : complex{};
                packed[r] = b.re;
                packed[strip + r] = b.im;
            }
        }
    }
}

// Its Hermitian part for the bounds.
void split_folded(int n, const complex *const *B, PropagationWork &work) {
    const auto at = [&](int i, int j) -> double & {
        return work.bounds.modulus[i * std::ptrdiff_t{n} + j];
    };
    work.bounds.n = n;
    for (int i = 0; i < n; ++i) {
        for (int j = 0; j < i; ++j) {
            const double size = 0.5 * std::sqrt(c_norm(c_add(B[i][j], c_conj(B[j][i]))));
            at(i, j) = size;
            at(j, i) = size;
        }
        at(i, i) = 0.0;
        work.bounds.middle[i] = B[i][i].re;
        work.bounds.factor[i] = 1.0;
    }
}

// sums[parity][output beam][thickness] (re, im) += weight of the thickness times the amplitude.
void add_term(const TiltProblem &problem, const WorkCalInt &tilt, int term, const double *re,
              const double *im, PropagationWork &work) {
    const std::size_t n_out = problem.sd.reflections.size();
    const std::size_t n_thick = problem.sd.thicknesses.size();
    const double *weight = work.coefficients.data() + static_cast<std::size_t>(term) * n_thick;
    for (std::size_t o = 0; o < n_out; ++o) {
        const int row = tilt.out_rows[o];
        if (row < 0) {
            continue;
        }
        double *sum = work.sums.data() + 2 * n_thick * ((term % 2 == 0 ? 0 : n_out) + o);
        for (std::size_t k = 0; k < n_thick; ++k) {
            sum[2 * k] += weight[k] * re[row];
            sum[2 * k + 1] += weight[k] * im[row];
        }
    }
}

// All terms of the expansion.
void sum_terms(const TiltProblem &problem, const WorkCalInt &tilt, const Expansion &e,
               PropagationWork &work) {
    const int n = tilt.n_exact;
    const int padded = round_up_strip(n);
    StripVectors x = work.step.x;
    StripVectors y = work.step.y;
    for (double *part : {x.re, x.im, y.re, y.im}) {
        std::fill_n(part, padded, 0.0);
    }
    x.re[0] = std::sqrt(tilt.beta_selected[0]);
    work.squares[0] = tilt.beta_selected[0];
    SingleTerm step = {n,       work.step.packed, nullptr,  nullptr, nullptr,
                       nullptr, 1.0 / e.radius,   e.centre, nullptr};
    for (int k = 0;; ++k) {
        chk_interrupt();
        add_term(problem, tilt, k, x.re, x.im, work);
        if (k + 1 == e.terms) {
            return;
        }
        step.square = work.squares.data() + k + 1;
        step.xr = x.re;
        step.xi = x.im;
        step.yr = y.re;
        step.yi = y.im;
        kernels().single_term(step);
        std::swap(x, y);
        step.scale = 2.0 / e.radius;
    }
}

void store_amplitudes(const TiltProblem &problem, const WorkCalInt &tilt, const Expansion &e,
                      const PropagationWork &work, complex *const *table) {
    const std::vector<double> &thicknesses = problem.sd.thicknesses;
    const std::size_t n_out = problem.sd.reflections.size();
    const std::size_t n_thick = thicknesses.size();
    for (std::size_t o = 0; o < n_out; ++o) {
        const int row = tilt.out_rows[o];
        const double *even = work.sums.data() + 2 * n_thick * o;
        const double *odd = even + 2 * n_thick * n_out;
        for (std::size_t k = 0; k < n_thick; ++k, even += 2, odd += 2) {
            table[o][k] = {};
            if (row >= 0) {
                const complex psi = joined(e, thicknesses[k], {even[0], even[1]}, {odd[0], odd[1]});
                const double root = std::sqrt(tilt.beta_selected[row]);
                table[o][k] = {psi.re / root, psi.im / root};
            }
        }
    }
}

} // namespace

bool propagate_folded(const TiltProblem &problem, WorkCalInt &tilt, PropagationWork &work,
                      complex *const *table) {
    const Sd &sd = problem.sd;
    const int n = tilt.n_exact;
    dbg_mon("$$ construct_matrix\n");
    construct_ug_mat_slct(sd.beam.acc_voltage, problem.V, tilt, tilt.A.get());
    dbg_mon("$$ Bethe Approx.\n");
    fold_bethe_beams(sd.beam_search.flag_bs, n, tilt.n_bethe, tilt.A.get(), tilt.B.get(), tilt);
    if (tilt.bethe.is_singular || !c_matfinite(n, tilt.B.get())) {
        return false;
    }
    if (epsilon.eigmat_func == 0 &&
        may_be_scaled(n, [&](int i, int j) { return element_size(tilt.B[i][j]); })) {
        return false;
    }
    pack_folded(n, tilt.B.get(), work.step.packed);
    split_folded(n, tilt.B.get(), work);
    const Expansion e = settle_expansion(spectrum_bounds(work.bounds), work.absorption, tilt.K_n,
                                         sd.thicknesses, most_terms(n));
    if (e.terms > most_terms(n)) {
        return false;
    }
    fill_coefficients(e, sd.thicknesses, e.terms, work.coefficients.data(), 1);
    zero_elements(work.sums.data(), 4 * sd.reflections.size() * sd.thicknesses.size());
    sum_terms(problem, tilt, e, work);
    if (!is_accurate(e, sd.thicknesses, work.coefficients.data(), 1, work.squares.data(), 1)) {
        return false;
    }
    store_amplitudes(problem, tilt, e, work, table);
    return true;
}

} // namespace orvel
