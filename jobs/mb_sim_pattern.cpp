#include "jobs/mb_sim_pattern.hpp"

#include "app/mb_debug.hpp"
#include "app/mb_mpi.hpp"
#include "app/ranks.hpp"
#include "app/run_settings.hpp"
#include "dynamics/mbfunc_check.hpp"
#include "jobs/mb_sim_setup.hpp"
#include "jobs/tilt_checkpoint.hpp"
#include "jobs/tilt_loop.hpp"
#include "jobs/tilt_ranks.hpp"
#include "jobs/tilt_threads.hpp"

#include <algorithm>
#include <span>
#include <string>
#include <vector>

namespace orvel {

namespace {

// Stand for a kept-branch count: of a tilt that did not find its own, of one not yet solved.
constexpr int count_not_found = -1;
constexpr int not_solved = -2;

// What one thread works with.
struct PatternSlot {
    WorkCalInt work;
    Matrix<complex> amplitudes; // [output reflection][thickness]
    Matrix<double> values;      // [output reflection][thickness, component fastest]
};

struct PatternRun {
    const TiltProblem &problem;
    PatternKind kind;
    Tensor<double> &values;
    std::vector<int> points;  // grid points that are calculated, in grid order
    std::vector<int> kept;    // branches kept at each of these
    std::vector<char> finite; // by grid point
    std::vector<PatternSlot> slots;
    TiltCheckpoint checkpoint;
    TiltRanks ranks;
};

std::vector<int> calculated_points(const TiltGrid &grid) {
    std::vector<int> points;
    for (int p = 0; p < grid.num_pix; ++p) {
        if (grid.pix[p].cal_flag == 1) {
            points.push_back(p);
        }
    }
    return points;
}

std::vector<PatternSlot> alloc_slots(int threads, const Sd &sd, PatternKind kind) {
    const int n_out = static_cast<int>(sd.reflections.size());
    const int n_thick = static_cast<int>(sd.thicknesses.size());
    std::vector<PatternSlot> slots;
    slots.reserve(static_cast<std::size_t>(threads));
    for (int i = 0; i < threads; ++i) {
        slots.push_back(
            {alloc_work_cal_int(sd.beams.size(), n_out, n_thick),
             kind.phase == nullptr ? Matrix<complex>() : Matrix<complex>(n_out, n_thick),
             Matrix<double>(n_out, n_thick * kind.components())});
    }
    return slots;
}

// One grid point by its own eigen-solution, to slot.values.
void solve_point(const PatternRun &run, int p, PatternSlot &slot) {
    const Sd &sd = run.problem.sd;
    if (run.kind.phase == nullptr) {
        calc_intensity_with_perturb_ug(run.problem, sd.grid.kxy[p], slot.work, slot.values.get());
    } else {
        calc_intensity_ug_coherent(run.problem, sd.grid.kxy[p], run.kind.phase[p], slot.work,
                                   slot.amplitudes.get());
    }
    for (std::size_t o = 0; o < sd.reflections.size(); ++o) {
        for (std::size_t k = 0; k < sd.thicknesses.size(); ++k) {
            if (run.kind.phase == nullptr) {
                slot.values[o][k] *= epsilon.intensity_scaling;
            } else {
                slot.values[o][2 * k] = slot.amplitudes[o][k].re;
                slot.values[o][2 * k + 1] = slot.amplitudes[o][k].im;
            }
        }
    }
}

// The values of the i-th tilt, [output reflection][thickness, component fastest], in their place.
void place_tilt(PatternRun &run, int i, int kept, std::span<const double> values) {
    const int p = run.points[i];
    run.kept[i] = kept;
    run.finite[p] =
        std::all_of(values.begin(), values.end(), [](double x) { return is_finite(x); }) ? 1 : 0;
    const double *value = values.data();
    for (std::size_t o = 0; o < run.values.extent(0); ++o) {
        for (std::size_t k = 0; k < run.values.extent(1); ++k) {
            run.values[o][k][p] = *value++;
        }
    }
}

// A solved tilt comes to rank 0, its place and its checkpoint.
void keep_tilt(PatternRun &run, int i, int kept, std::span<const double> values) {
    place_tilt(run, i, kept, values);
    run.checkpoint.add(i, kept, values, dbg.checkpoint_seconds);
}

// Solves the i-th tilt. kept_before: the count that stands where it finds none.
void solve_tilt_of(PatternRun &run, int i, int kept_before, PatternSlot &slot) {
    slot.work.n_kept = kept_before;
    solve_point(run, run.points[i], slot);
    const std::size_t count = slot.values.rows() * slot.values.cols();
    const std::span<const double> values(count > 0 ? slot.values[0] : nullptr, count);
    if (ranks().rank() == 0) {
        keep_tilt(run, i, slot.work.n_kept, values);
    } else {
        run.ranks.give(i, slot.work.n_kept, values);
    }
}

// Of all that the values depend on.
std::uint64_t fingerprint(const PatternRun &run) {
    const TiltProblem &problem = run.problem;
    const Sd &sd = problem.sd;
    const auto n = static_cast<std::size_t>(sd.beams.size());
    Fingerprint print;
    if (n > 0) {
        print.add(problem.V[0], n * n);
    }
    print.add(sd.beams.hkl);
    print.add(sd.beams.num_exact_beam);
    print.add(sd.beam_search);
    print.add(sd.beam);
    print.add(problem.geometry);
    print.add(problem.abs_K);
    print.add(problem.metric);
    print.add(sd.grid.kxy);
    print.add(run.points);
    print.add(sd.reflections);
    print.add(sd.thicknesses);
    if (run.kind.phase != nullptr) {
        print.add(run.kind.phase, sd.grid.kxy.size());
    }
    for (const double setting :
         {epsilon.eigen_eps, epsilon.inv_eps, epsilon.intensity_scaling, epsilon.bc_accuracy}) {
        print.add(setting);
    }
    for (const int setting : {epsilon.vg_select_flag, epsilon.eigmat_func, epsilon.invmat_func,
                              epsilon.bc_invmat_func}) {
        print.add(setting);
    }
    return print.value();
}

void open_checkpoint(PatternRun &run) {
    if (dbg.checkpoint_seconds == 0) {
        return;
    }
    if (dbg.checkpoint_seconds < 0) {
        input_exit("$$ checkpoint_seconds = %d: 0 (never) or more are needed. Abort.",
                   dbg.checkpoint_seconds);
    }
    const std::string path = dbg.base_name + "_checkpoint";
    int found = 0;
    run.checkpoint.open(path, fingerprint(run), static_cast<int>(run.points.size()),
                        run.values.extent(0) * run.values.extent(1),
                        [&](int i, int kept, std::span<const double> values) {
                            found += run.kept[i] == not_solved ? 1 : 0;
                            place_tilt(run, i, kept, values);
                        });
    if (found > 0) {
        mb_fprintf(stdout, "$$ %d of %zu tilts are taken from the checkpoint %s.\n", found,
                   run.points.size(), path.c_str());
    }
}

// The tilts that are left to solve. The checkpoint is rank 0's.
std::vector<int> open_tilts(PatternRun &run) {
    if (ranks().rank() == 0) {
        open_checkpoint(run);
    }
    std::vector<int> open;
    for (int i = 0; i < static_cast<int>(run.points.size()); ++i) {
        if (run.kept[i] == not_solved) {
            open.push_back(i);
        }
    }
    return open;
}

void solve_pattern(PatternRun &run) {
    const int n = static_cast<int>(run.points.size());
    const std::vector<int> open = open_tilts(run);
    const std::vector<int> share = run.ranks.share_out(open, !tilts_write());
    const bool in_order = run.slots.size() == 1 && run.ranks.count() == 1;
    TiltSteps steps;
    steps.tilts = n;
    steps.ranks = run.ranks.count();
    for (std::size_t step = 0; step < share.size(); ++step) {
        const int left = static_cast<int>(open.size()) - static_cast<int>(step) * steps.ranks;
        steps.before.push_back(n - left);
    }
    const TiltRanks::Take take = [&](int i, int kept, std::span<const double> values) {
        keep_tilt(run, i, kept, values);
    };
    const auto solve = [&](int slot, int step) {
        const int i = share[step];
        const int all = run.problem.sd.beams.size();
        const int kept_before = i == 0 ? all : in_order ? run.kept[i - 1] : count_not_found;
        solve_tilt_of(run, i, kept_before, run.slots[slot]);
        if (slot == 0) {
            run.ranks.exchange(take);
        }
    };
    solve_steps(steps, static_cast<int>(run.slots.size()), solve, [&] { run.ranks.gather(take); });
}

// Rank 0 has all tilts: those that take over the count of the tilt before can be solved.
void solve_again(PatternRun &run) {
    const int n = static_cast<int>(run.points.size());
    for (int i = 1; i < n; ++i) {
        if (run.kept[i] == count_not_found) {
            chk_interrupt(i, n);
            solve_tilt_of(run, i, run.kept[i - 1], run.slots.front());
        }
    }
}

} // namespace

Tensor<double> alloc_pattern(const Sd &sd, PatternKind kind) {
    if (ranks().rank() != 0) {
        return {};
    }
    return {sd.reflections.size(), sd.thicknesses.size() * kind.components(),
            static_cast<std::size_t>(sd.grid.num_pix)};
}

void calc_pattern(const TiltProblem &problem, PatternKind kind, Tensor<double> &values,
                  std::FILE *log, const std::function<void()> &write) {
    const Sd &sd = problem.sd;
    PatternRun run{problem, kind, values, calculated_points(sd.grid), {}, {}, {}, {}, {}};
    run.kept.assign(run.points.size(), not_solved);
    run.finite.resize(sd.grid.pix.size());
    run.slots = alloc_slots(num_tilt_threads(sd.grid.num_pix_in), sd, kind);
    mb_fprintf(stdout, "Intensity calculation\n");
    if (dbg_sel_vg_on()) {
        if (ranks().rank() == 0) {
            check_selections(problem, run.slots.front().work);
        }
        return;
    }
    if (ranks().size() > 1) {
        mb_fprintf(stdout, "$$ The tilts are shared among %d ranks.\n", ranks().size());
    }
    solve_pattern(run);
    if (ranks().rank() != 0) {
        return;
    }
    solve_again(run);
    mb_fprintf(stdout, "$$Intensity output\n");
    write();
    run.checkpoint.remove();
    NonFiniteCount(sd.grid, run.finite).report(log);
}

} // namespace orvel
