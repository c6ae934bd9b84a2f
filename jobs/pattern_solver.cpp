#include "jobs/pattern_solver.hpp"

#include "app/mb_mpi.hpp"
#include "app/ranks.hpp"
#include "app/run_settings.hpp"
#include "dynamics/mbfunc_matrix.hpp"
#include "dynamics/mbfunc_propagate.hpp"
#include "jobs/tilt_doubts.hpp"
#include "jobs/tilt_threads.hpp"

#include <algorithm>

namespace orvel {

bool use_symmetry() {
    return dbg.tilt_symmetry_flag != 0 && !tilts_write();
}

namespace {

TiltSymmetry symmetry_of_grid(const TiltProblem &problem, std::span<const SymOp> ops) {
    if (use_symmetry()) {
        return find_tilt_symmetry(problem, ops);
    }
    const TiltGrid &grid = problem.sd.grid;
    std::vector<TiltOrbit> orbits;
    for (int p = 0; p < grid.num_pix; ++p) {
        if (grid.pix[p].cal_flag == 1) {
            orbits.push_back({p, {}});
        }
    }
    return trace_reflections({}, std::move(orbits), problem.sd.reflections);
}

TiltSymmetry symmetry_of_share(const TiltProblem &problem, std::span<const SymOp> ops,
                               const TiltShare &share) {
    return trace_reflections(use_symmetry() ? tilt_operations(problem, ops)
                                            : std::vector<TiltOperation>(),
                             share.orbits, problem.sd.reflections);
}

// Orbits of a block that is propagated: strips of the kernels, but blocks enough for every rank.
// Values do not depend on it.
std::size_t propagated_block(std::size_t num_orbits) {
    constexpr std::size_t blocks_of_rank = 16;
    const auto num_ranks = static_cast<std::size_t>(ranks().size());
    return std::clamp(num_orbits / (blocks_of_rank * num_ranks), std::size_t{strip},
                      std::size_t{most_propagated});
}

// The count that take() is told of a tilt that was solved, with the marks of its doubts.
int told_count(const WorkCalInt &work) {
    return work.n_kept < 0 ? work.n_kept : work.n_kept + doubts_of(work, branches_of_waves());
}

Sd conditions_for(const Sd &sd, const std::vector<int> &reflections) {
    Sd solved;
    solved.beam = sd.beam;
    solved.beam_search = sd.beam_search;
    solved.beams = sd.beams;
    solved.reflections = reflections;
    solved.thicknesses = sd.thicknesses;
    return solved;
}

} // namespace

bool use_propagation() {
    // Where solvers are chosen that end the run or give no numbers, it does so with the flag too.
    const bool solvable = (epsilon.eigmat_func == 0 || epsilon.eigmat_func == 1) &&
                          epsilon.invmat_func == 0 && epsilon.bc_invmat_func == 0;
    return dbg.propagation_flag != 0 && epsilon.bc_accuracy == 1.0 && solvable && !tilts_write();
}

PatternSolver::PatternSolver(const TiltProblem &problem, PatternKind kind,
                             std::span<const RealHkl> K_t, TiltSymmetry &&symmetry,
                             std::size_t block_size)
    : sd_(problem.sd), kind_(kind), K_t_(K_t), propagating_(use_propagation()),
      block_size_(block_size), symmetry_(std::move(symmetry)),
      solved_sd_(conditions_for(problem.sd, symmetry_.solved_reflections)),
      solved_problem_{solved_sd_, problem.metric, problem.V, problem.geometry, problem.abs_K} {}

PatternSolver::PatternSolver(const TiltProblem &problem, std::span<const SymOp> ops,
                             PatternKind kind, std::FILE *log)
    : PatternSolver(problem, kind, problem.sd.grid.kxy, symmetry_of_grid(problem, ops), 1) {
    if (use_symmetry()) {
        report_tilt_symmetry(symmetry_, log);
    } else if (dbg.tilt_symmetry_flag != 0) {
        mb_fprintf(stdout, "$$ tilt_symmetry_flag: dumps, checks and monitor lines need every "
                           "tilt: no symmetry is used.\n");
    }
    if (propagating_) {
        block_size_ = propagated_block(symmetry_.orbits.size());
    } else if (dbg.propagation_flag != 0) {
        mb_fprintf(stdout, "$$ propagation_flag: it needs all branches (bc_accuracy 1), valid "
                           "solvers, and no dumps, checks or monitor lines: the tilts are solved "
                           "one by one.\n");
    }
}

PatternSolver::PatternSolver(const TiltProblem &problem, std::span<const SymOp> ops, bool coherent,
                             const TiltShare &share)
    : PatternSolver(problem, {coherent, share.phase.data()}, share.K_t,
                    symmetry_of_share(problem, ops, share), share.block_size) {}

PatternSlot PatternSolver::alloc_slot() const {
    const auto n_solved = solved_sd_.reflections.size();
    const auto n_out = sd_.reflections.size();
    const auto n_thick = sd_.thicknesses.size();
    PatternSlot slot(alloc_work_cal_int(sd_.beams.size(), static_cast<int>(n_solved),
                                        static_cast<int>(n_thick)));
    if (!kind_.coherent) {
        slot.intensities = Matrix<double>(n_solved, n_thick);
        slot.image_intensities = Matrix<double>(n_out, n_thick);
    } else {
        slot.amplitudes = Matrix<complex>(n_solved, n_thick);
        slot.image_amplitudes = Matrix<complex>(n_out, n_thick);
    }
    if (propagating_) {
        slot.propagation =
            std::make_unique<PropagationWork>(solved_problem_, static_cast<int>(block_size_));
        for (std::size_t i = 0; i < block_size_; ++i) {
            slot.first_amplitudes.emplace_back(n_solved, n_thick);
        }
    }
    slot.values.resize(n_out * n_thick * kind_.components());
    return slot;
}

void PatternSolver::solve(int p, int kept_before, PatternSlot &slot) const {
    const RealHkl &K_t = K_t_[p];
    slot.work.n_kept = kept_before;
    if (!kind_.coherent) {
        calc_intensity_with_perturb_ug(solved_problem_, K_t, slot.work, slot.intensities.get());
    } else {
        calc_intensity_ug_coherent(solved_problem_, K_t, kind_.phase[p], slot.work,
                                   slot.amplitudes.get());
    }
}

void PatternSolver::give_intensities(int p, int kept, const double *const *table, PatternSlot &slot,
                                     const Take &take) const {
    double *value = slot.values.data();
    for (std::size_t o = 0; o < sd_.reflections.size(); ++o) {
        for (std::size_t k = 0; k < sd_.thicknesses.size(); ++k) {
            *value++ = table[o][k] * epsilon.intensity_scaling;
        }
    }
    take(p, kept, slot.values);
}

void PatternSolver::give_amplitudes(int p, int kept, const complex *const *table, PatternSlot &slot,
                                    const Take &take) const {
    double *value = slot.values.data();
    for (std::size_t o = 0; o < sd_.reflections.size(); ++o) {
        for (std::size_t k = 0; k < sd_.thicknesses.size(); ++k) {
            *value++ = table[o][k].re;
            *value++ = table[o][k].im;
        }
    }
    take(p, kept, slot.values);
}

void PatternSolver::give_solved(int p, int kept, PatternSlot &slot, const Take &take) const {
    if (!kind_.coherent) {
        give_intensities(p, kept, slot.intensities.get(), slot, take);
    } else {
        give_amplitudes(p, kept, slot.amplitudes.get(), slot, take);
    }
}

void PatternSolver::give_image(int first, const ImageTilt &image, int kept, PatternSlot &slot,
                               const Take &take) const {
    const std::vector<ReflectionSource> &sources = symmetry_.sources[image.operation];
    const std::size_t n_thick = sd_.thicknesses.size();
    if (!kind_.coherent) {
        copy_tilt(sources, n_thick, slot.intensities.get(), slot.image_intensities.get());
        give_intensities(image.point, kept, slot.image_intensities.get(), slot, take);
    } else {
        copy_tilt(sources, n_thick, slot.amplitudes.get(), slot.image_amplitudes.get());
        // The probe has its own phase at each tilt.
        const complex probe = c_mul(kind_.phase[image.point], c_conj(kind_.phase[first]));
        for (std::size_t o = 0; o < sd_.reflections.size(); ++o) {
            for (std::size_t k = 0; k < n_thick; ++k) {
                slot.image_amplitudes[o][k] = c_mul(slot.image_amplitudes[o][k], probe);
            }
        }
        give_amplitudes(image.point, kept, slot.image_amplitudes.get(), slot, take);
    }
}

void PatternSolver::give_others(const TiltOrbit &orbit, int kept, PatternSlot &slot,
                                const Take &take) const {
    WorkCalInt &work = slot.work;
    const BeamSelection selection = selection_of(work);
    const bool settled =
        kept_branches_settled(work) &&
        !may_trade_places(sd_.beam.acc_voltage, solved_problem_.V, selection.exact);
    slot.first_exact.assign(selection.exact.begin(), selection.exact.end());
    slot.first_bethe.assign(selection.bethe.begin(), selection.bethe.end());
    const BeamSelection first = {slot.first_exact, slot.first_bethe};
    slot.left.clear();
    for (const ImageTilt &image : orbit.others) {
        select_tilt(solved_problem_, K_t_[image.point], work);
        if (settled &&
            same_selection(symmetry_.operations[image.operation], first, selection_of(work))) {
            give_image(orbit.first, image, kept, slot, take);
        } else {
            slot.left.push_back(image.point);
        }
    }
    for (const int p : slot.left) {
        solve_point(p, count_not_found, slot, take);
    }
}

void PatternSolver::solve_point(int p, int kept_before, PatternSlot &slot, const Take &take) const {
    solve(p, kept_before, slot);
    give_solved(p, told_count(slot.work), slot, take);
}

int PatternSolver::num_blocks() const {
    return static_cast<int>((symmetry_.orbits.size() + block_size_ - 1) / block_size_);
}

std::span<const TiltOrbit> PatternSolver::block(int b) const {
    const std::size_t start = static_cast<std::size_t>(b) * block_size_;
    return std::span(symmetry_.orbits)
        .subspan(start, std::min(block_size_, symmetry_.orbits.size() - start));
}

int PatternSolver::num_tilts(int b) const {
    std::size_t tilts = 0;
    for (const TiltOrbit &orbit : block(b)) {
        tilts += 1 + orbit.others.size();
    }
    return static_cast<int>(tilts);
}

TiltShare PatternSolver::share_of(std::span<const int> blocks) const {
    TiltShare share;
    share.block_size = block_size_;
    for (const int b : blocks) {
        for (const TiltOrbit &orbit : block(b)) {
            add_orbit(share, orbit, K_t_, kind_.phase);
        }
    }
    return share;
}

void PatternSolver::propagate(std::span<const TiltOrbit> block, PatternSlot &slot) const {
    slot.first_K_t.clear();
    std::vector<complex *const *> tables;
    for (std::size_t i = 0; i < block.size(); ++i) {
        slot.first_K_t.push_back(K_t_[block[i].first]);
        tables.push_back(slot.first_amplitudes[i].get());
    }
    propagate_tilts(solved_problem_, slot.first_K_t, slot.work, *slot.propagation, tables);
}

void PatternSolver::use_propagated(std::size_t i, int p, PatternSlot &slot) const {
    const Matrix<complex> &psi = slot.first_amplitudes[i];
    for (std::size_t o = 0; o < psi.rows(); ++o) {
        for (std::size_t k = 0; k < psi.cols(); ++k) {
            if (!kind_.coherent) {
                slot.intensities[o][k] = c_norm(psi[o][k]);
            } else {
                slot.amplitudes[o][k] = c_mul(psi[o][k], kind_.phase[p]);
            }
        }
    }
}

void PatternSolver::solve_block(int b, int kept_before, PatternSlot &slot, const Take &take) const {
    const std::span<const TiltOrbit> orbits = block(b);
    if (propagating_) {
        propagate(orbits, slot);
    }
    for (std::size_t i = 0; i < orbits.size(); ++i) {
        const int p = orbits[i].first;
        const bool served = propagating_ && slot.propagation->served[i] != 0;
        if (served) {
            use_propagated(i, p, slot);
        } else {
            solve(p, kept_before, slot);
        }
        const int kept = served ? kept_by_propagation : told_count(slot.work);
        give_solved(p, kept, slot, take);
        if (!orbits[i].others.empty()) {
            if (served) {
                select_tilt(solved_problem_, K_t_[p], slot.work);
            }
            give_others(orbits[i], kept, slot, take);
        }
        kept_before = count_not_found;
    }
}

} // namespace orvel
