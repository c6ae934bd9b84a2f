#include "dynamics/mbfunc_intensity.hpp"

#include "app/mb_debug.hpp"
#include "app/mb_mpi.hpp"
#include "app/run_settings.hpp"
#include "dynamics/mbfunc_bcond.hpp"
#include "dynamics/mbfunc_matrix.hpp"
#include "dynamics/mbfunc_perturb.hpp"
#include "dynamics/mbfunc_select.hpp"
#include "numeric/cmatutil.hpp"

#include <algorithm>
#include <cmath>
#include <limits>

namespace orvel {

namespace {

// exp(-i pi lambda t / K_n)
complex propagation_factor(double t, complex eigval, double K_n) {
    return c_exp(c_mul({0.0, -pi * t / K_n}, eigval));
}

// Branch j in the sum of a matrix row at the entrance surface; root: of the surface factor of the
// row.
complex branch_amplitude(const WorkCalInt &work, int row, double root, int j) {
    const complex C = {work.eigvec[row][j].re / root, work.eigvec[row][j].im / root};
    return c_mul(C, work.alpha[j]);
}

// The kept count may stand from a tilt with more branches.
int kept_branches(const WorkCalInt &work) {
    return std::min(work.n_kept, work.n_exact);
}

bool is_row(int row, const WorkCalInt &work) {
    return row >= 0 && row < work.n_exact;
}

// Fringes may have millions of thicknesses.
void chk_interrupt_sometimes(std::size_t k) {
    if (k % 1024 == 1023) {
        chk_interrupt();
    }
}

// Calls put(output beam, thickness index, amplitude) for all of them. The propagation factors of a
// thickness are common to all beams.
template <class Put>
void for_each_amplitude(const TiltProblem &problem, WorkCalInt &work, Put put) {
    const std::vector<double> &thicknesses = problem.sd.thicknesses;
    const int n_kept = kept_branches(work);
    for (std::size_t k = 0; k < thicknesses.size(); ++k) {
        chk_interrupt_sometimes(k);
        for (int b = 0; b < n_kept; ++b) {
            work.propagation[k][b] =
                propagation_factor(thicknesses[k], work.eigval[work.branch_list[b]], work.K_n);
        }
    }
    for (std::size_t o = 0; o < problem.sd.reflections.size(); ++o) {
        const int row = work.out_rows[o];
        complex *entrance = work.branch_amplitudes.data();
        if (is_row(row, work)) {
            const double root = std::sqrt(work.beta_selected[row]);
            for (int b = 0; b < n_kept; ++b) {
                entrance[b] = branch_amplitude(work, row, root, work.branch_list[b]);
            }
        }
        for (std::size_t k = 0; k < thicknesses.size(); ++k) {
            chk_interrupt_sometimes(k);
            complex psi;
            if (is_row(row, work)) {
                for (int b = 0; b < n_kept; ++b) {
                    psi = c_add(psi, c_mul(entrance[b], work.propagation[k][b]));
                }
            }
            put(o, k, psi);
        }
    }
}

// A solver that gives up or is not asked leaves its outputs as they are: then they are no numbers,
// and nothing is those of the tilt before.
void poison_solution(WorkCalInt &work) {
    work.eigmat.is_balanced = false;
    constexpr double nan = std::numeric_limits<double>::quiet_NaN();
    std::fill_n(work.eigval.data(), work.n_exact, complex{nan, nan});
    for (int i = 0; i < work.n_exact; ++i) {
        std::fill_n(work.eigvec[i], work.n_exact, complex{nan, nan});
    }
}

} // namespace

void select_tilt(const TiltProblem &problem, const RealHkl &K_t, WorkCalInt &work) {
    const Sd &sd = problem.sd;
    dbg_mon("$$ calc_sg_beta_g\n");
    TiltGeometry tilt;
    tilt.K_t = K_t;
    tilt.abs_K = problem.abs_K;
    tilt.K_z = calc_K_z(problem.abs_K, K_t, problem.metric);
    tilt.K_n = calc_K_n(K_t, tilt.K_z, problem.geometry, sd.beam.nor_uvw);
    work.K_n = tilt.K_n;
    calc_sg_beta_g(tilt, problem.geometry, sd.beam, sd.beams.hkl, problem.metric, work.s.data(),
                   work.beta.data());

    dbg_mon("$$ vg_select\n");
    vg_select_info_ug(sd, problem.V, work);
    vg_select_trans_ug(sd.reflections, work);
}

void solve_tilt(const TiltProblem &problem, const RealHkl &K_t, WorkCalInt &work) {
    const Sd &sd = problem.sd;
    select_tilt(problem, K_t, work);
    dbg_mon("$$ construct_matrix\n");
    construct_ug_mat_slct(sd.beam.acc_voltage, problem.V, work, work.A.get());
    dbg_dump_complexmat(dbg.a_mat_dump_flag, "a_matrix:", work.n_exact, work.A.get());
    dbg_mon("$$ Bethe Approx.\n");
    fold_bethe_beams(sd.beam_search.flag_bs, work.n_exact, work.n_bethe, work.A.get(), work.B.get(),
                     work);
    dbg_dump_complexmat(dbg.b_mat_dump_flag, "bethe_matrix:", work.n_exact, work.B.get());

    poison_solution(work);
    if (!c_matfinite(work.n_exact, work.B.get())) {
        return; // nothing to solve: the results of this tilt are not numbers
    }
    eigmat(work.n_exact, work.B.get(), work.eigval.data(), work.eigvec.get(), work.eigmat);
}

void excite_branches(WorkCalInt &work, const complex *phase) {
    const int n = work.n_exact;
    dbg_mon("$$ upper_b_cond\n");
    if (phase == nullptr) {
        upper_b_cond(n, work.beta_selected.data(), work.eigvec.get(), work.alpha.data(),
                     work.boundary.get(), work.invmat);
    } else {
        complex *weights = work.phases.data();
        std::fill_n(weights, n, *phase);
        upper_b_cond_coherent(n, weights, work.beta_selected.data(), work.eigvec.get(),
                              work.alpha.data(), work.boundary.get(), work.invmat);
    }
    dbg_dump_complexvec(dbg.b_cond_dump_flag, "upper_b_cond:", n, work.alpha.data());
    limited_branch(epsilon.bc_accuracy, n, work.alpha.data(), work.n_kept, work.branch_list.data(),
                   work.weights.data(), work.order.data());
}

complex psi_limited_ug(int row, double t, const WorkCalInt &work) {
    complex psi;
    if (!is_row(row, work)) {
        return psi;
    }
    const double root = std::sqrt(work.beta_selected[row]);
    for (int b = 0; b < kept_branches(work); ++b) {
        const int j = work.branch_list[b];
        psi = c_add(psi, c_mul(branch_amplitude(work, row, root, j),
                               propagation_factor(t, work.eigval[j], work.K_n)));
    }
    return psi;
}

double psi_to_intensity_limited_ug(int row, double t, const WorkCalInt &work) {
    return c_norm(psi_limited_ug(row, t, work));
}

void calc_amplitudes(const TiltProblem &problem, WorkCalInt &work, complex *const *table) {
    for_each_amplitude(problem, work,
                       [&](std::size_t o, std::size_t k, complex psi) { table[o][k] = psi; });
}

void calc_intensities(const TiltProblem &problem, WorkCalInt &work, double *const *table) {
    for_each_amplitude(problem, work, [&](std::size_t o, std::size_t k, complex psi) {
        table[o][k] = c_norm(psi);
    });
}

void calc_intensity_with_perturb_ug(const TiltProblem &problem, const RealHkl &K_t,
                                    WorkCalInt &work, double *const *table,
                                    const PerturbedSets &perturbed) {
    solve_tilt(problem, K_t, work);
    excite_branches(work);
    dbg_mon("$$ calc_intensity\n");
    calc_intensities(problem, work, table);
    if (perturbed.n_perturb > 0) {
        calc_perturb_ug(problem, perturbed, work);
    }
}

void calc_intensity_ug_coherent(const TiltProblem &problem, const RealHkl &K_t, complex phase,
                                WorkCalInt &work, complex *const *table, int n_perturb) {
    if (n_perturb > 0) {
        mb_error_exit(stdout, "perturbation is not available in coherent mode.");
    }
    solve_tilt(problem, K_t, work);
    excite_branches(work, &phase);
    dbg_mon("$$ calc_intensity\n");
    calc_amplitudes(problem, work, table);
}

} // namespace orvel
