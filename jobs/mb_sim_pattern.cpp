#include "jobs/mb_sim_pattern.hpp"

#include "app/mb_debug.hpp"
#include "app/mb_mpi.hpp"
#include "app/ranks.hpp"
#include "app/run_settings.hpp"
#include "dynamics/mbfunc_check.hpp"
#include "jobs/mb_sim_setup.hpp"
#include "jobs/tilt_checkpoint.hpp"
#include "jobs/tilt_doubts.hpp"
#include "jobs/tilt_loop.hpp"
#include "jobs/tilt_ranks.hpp"
#include "jobs/tilt_threads.hpp"

#include <algorithm>
#include <cmath>
#include <span>
#include <string>
#include <vector>

namespace orvel {

namespace {

// Stands for the count of kept branches of a tilt that is not solved yet.
constexpr int not_solved = -2;

// The pattern in rank 0.
struct PatternRun {
    const TiltProblem &problem;
    std::span<const SymOp> ops;
    PatternKind kind;
    Tensor<double> &values;
    PatternSolver solver;
    std::vector<int> kept;    // branches, by grid point
    std::vector<int> doubts;  // all_marks, by grid point
    std::vector<char> finite; // by grid point
    std::vector<PatternSlot> slots;
    TiltCheckpoint checkpoint;
    TiltRanks ranks;
};

std::vector<PatternSlot> alloc_slots(const PatternSolver &solver, int tilts) {
    std::vector<PatternSlot> slots;
    const int threads = num_tilt_threads(tilts);
    slots.reserve(static_cast<std::size_t>(threads));
    for (int i = 0; i < threads; ++i) {
        slots.push_back(solver.alloc_slot());
    }
    return slots;
}

std::size_t values_of_tilt(const PatternRun &run) {
    return run.values.extent(0) * run.values.extent(1);
}

// The values of a grid point, [output reflection][thickness, component fastest], in their place.
void place_tilt(PatternRun &run, int p, int kept, std::span<const double> values) {
    run.doubts[p] = kept > 0 ? kept & all_marks : 0;
    run.kept[p] = kept - run.doubts[p];
    // Amplitudes are scaled when they are written.
    const double scale = run.kind.coherent ? std::sqrt(epsilon.intensity_scaling) : 1.0;
    const auto is_written_finite = [&](double x) { return is_finite(x * scale); };
    run.finite[p] = std::all_of(values.begin(), values.end(), is_written_finite) ? 1 : 0;
    const double *value = values.data();
    for (std::size_t o = 0; o < run.values.extent(0); ++o) {
        for (std::size_t k = 0; k < run.values.extent(1); ++k) {
            run.values[o][k][p] = *value++;
        }
    }
}

// A solved tilt comes to its place and its checkpoint.
void keep_tilt(PatternRun &run, int p, int kept, std::span<const double> values) {
    place_tilt(run, p, kept, values);
    run.checkpoint.add(p, kept, values, dbg.checkpoint_seconds);
}

// Of all that the values of a tilt depend on but its incidence.
Fingerprint fingerprint(const TiltProblem &problem, std::span<const SymOp> ops) {
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
    print.add(use_symmetry());
    if (use_symmetry()) { // other groups can give the same potential
        print.add(ops.data(), ops.size());
    }
    print.add(use_propagation());
    print.add(sd.reflections);
    print.add(sd.thicknesses);
    for (const double setting :
         {epsilon.eigen_eps, epsilon.inv_eps, epsilon.intensity_scaling, epsilon.bc_accuracy}) {
        print.add(setting);
    }
    for (const int setting : {epsilon.vg_select_flag, epsilon.eigmat_func, epsilon.invmat_func,
                              epsilon.bc_invmat_func}) {
        print.add(setting);
    }
    return print;
}

// The same with the incidences.
Fingerprint fingerprint(const PatternRun &run) {
    Fingerprint print = fingerprint(run.problem, run.ops);
    const TiltGrid &grid = run.problem.sd.grid;
    print.add(grid.kxy);
    for (const TiltPoint &point : grid.pix) {
        print.add(point.cal_flag);
    }
    if (run.kind.coherent) {
        print.add(run.kind.phase, grid.kxy.size());
    }
    return print;
}

// The grid is only described where rank 0 alone holds it.
void chk_same_problem(const TiltProblem &problem, std::span<const SymOp> ops) {
    if (ranks().size() == 1) {
        return;
    }
    const TiltGrid &grid = problem.sd.grid;
    Fingerprint print = fingerprint(problem, ops);
    print.add(grid.calc_type);
    print.add(grid.num_cal_pix_side);
    print.add(grid.disksize);
    chk_same_input(print);
}

void open_checkpoint(PatternRun &run) {
    if (dbg.checkpoint_seconds == 0) {
        return;
    }
    if (dbg.checkpoint_seconds < 0) {
        input_exit("$$ checkpoint_seconds = %d: 0 (never) or more are needed. Abort.",
                   dbg.checkpoint_seconds);
    }
    const std::string path = checkpoint_path(dbg.base_name);
    int found = 0;
    run.checkpoint.open(path, fingerprint(run).value(), run.problem.sd.grid.num_pix,
                        values_of_tilt(run), [&](int p, int kept, std::span<const double> values) {
                            found += run.kept[p] == not_solved ? 1 : 0;
                            place_tilt(run, p, kept, values);
                        });
    if (found > 0) {
        mb_fprintf(stdout, "$$ %d of %d tilts are taken from the checkpoint %s.\n", found,
                   run.problem.sd.grid.num_pix_in, path.c_str());
    }
}

// The blocks that are left to solve.
std::vector<int> open_blocks(const PatternRun &run) {
    const auto is_open = [&](int p) { return run.kept[p] == not_solved; };
    const auto has_open = [&](const TiltOrbit &orbit) {
        return is_open(orbit.first) ||
               std::any_of(orbit.others.begin(), orbit.others.end(),
                           [&](const ImageTilt &image) { return is_open(image.point); });
    };
    std::vector<int> open;
    for (int b = 0; b < run.solver.num_blocks(); ++b) {
        const std::span<const TiltOrbit> block = run.solver.block(b);
        if (std::any_of(block.begin(), block.end(), has_open)) {
            open.push_back(b);
        }
    }
    return open;
}

// The steps of this rank, share of the open blocks.
TiltSteps steps_of(const PatternRun &run, const std::vector<int> &open,
                   const std::vector<int> &share) {
    TiltSteps steps;
    steps.tilts = run.problem.sd.grid.num_pix_in;
    steps.ranks = run.ranks.count();
    int left = 0;
    for (const int b : open) {
        left += run.solver.num_tilts(b);
    }
    std::size_t next = 0;
    for (const int b : open) {
        if (next < share.size() && share[next] == b) {
            steps.before.push_back(steps.tilts - left);
            ++next;
        }
        left -= run.solver.num_tilts(b);
    }
    return steps;
}

void solve_pattern(PatternRun &run) {
    open_checkpoint(run);
    const std::vector<int> open = open_blocks(run);
    const std::vector<int> share = run.ranks.share_out(run.solver, open, !tilts_write());
    const bool in_order =
        run.slots.size() == 1 && run.ranks.count() == 1 && run.solver.each_by_itself();
    const TiltSteps steps = steps_of(run, open, share);
    const std::size_t num_values = values_of_tilt(run);
    const auto take = [&](int p, int kept, std::span<const double> values) {
        keep_tilt(run, p, kept, values);
    };
    const auto solve = [&](int slot, int step) {
        const int b = share[step];
        const int kept_before = b == 0     ? run.problem.sd.beams.size()
                                : in_order ? run.kept[run.solver.block(b - 1).front().first]
                                           : count_not_found;
        int done = steps.before[step];
        const auto take_solved = [&](int p, int kept, std::span<const double> values) {
            take(p, kept, values);
            if (slot == 0) {
                // Before another rank tells of the same signal.
                chk_interrupt(done++, steps.tilts);
                run.ranks.take_arrived(num_values, take);
            }
        };
        run.solver.solve_block(b, kept_before, run.slots[slot], take_solved);
    };
    solve_steps(steps, static_cast<int>(run.slots.size()), solve,
                [&] { run.ranks.gather(num_values, steps.tilts, take); });
}

// The tilts that rank 0 gives another.
void solve_share(const TiltProblem &problem, std::span<const SymOp> ops, bool coherent) {
    const TiltShare share = TiltRanks::receive_share();
    const PatternSolver solver(problem, ops, coherent, share);
    TiltSteps steps;
    for (int b = 0; b < solver.num_blocks(); ++b) {
        steps.before.push_back(steps.tilts);
        steps.tilts += solver.num_tilts(b);
    }
    std::vector<PatternSlot> slots = alloc_slots(solver, steps.tilts);
    TiltRanks to_rank_0;
    const auto solve = [&](int slot, int b) {
        const auto give = [&](int i, int kept, std::span<const double> values) {
            to_rank_0.give(share.points[i], kept, values);
            if (slot == 0) {
                to_rank_0.send_given();
            }
        };
        solver.solve_block(b, count_not_found, slots[slot], give);
    };
    solve_steps(steps, static_cast<int>(slots.size()), solve, [&] { to_rank_0.flush(); });
}

// Where all tilts are done those that take over the count of the tilt before can be solved.
void solve_again(PatternRun &run) {
    const TiltGrid &grid = run.problem.sd.grid;
    int calculated = 0;
    int kept_before = count_not_found;
    for (int p = 0; p < grid.num_pix; ++p) {
        if (grid.pix[p].cal_flag != 1) {
            continue;
        }
        if (run.kept[p] == count_not_found) {
            chk_interrupt(calculated, grid.num_pix_in);
            run.solver.solve_point(p, kept_before, run.slots.front(),
                                   [&](int point, int kept, std::span<const double> values) {
                                       keep_tilt(run, point, kept, values);
                                   });
        }
        kept_before = run.kept[p];
        ++calculated;
    }
}

// The incident beam is 1.
double largest_intensity(const PatternRun &run) {
    const auto components = static_cast<std::size_t>(run.kind.components());
    double largest = 0.0;
    for (std::size_t o = 0; o < run.values.extent(0); ++o) {
        for (std::size_t k = 0; k < run.values.extent(1); k += components) {
            for (std::size_t p = 0; p < run.values.extent(2); ++p) {
                const double intensity =
                    run.kind.coherent ? c_norm({run.values[o][k][p], run.values[o][k + 1][p]})
                                      : run.values[o][k][p] / epsilon.intensity_scaling;
                largest = is_finite(intensity) ? std::max(largest, std::fabs(intensity)) : largest;
            }
        }
    }
    return largest;
}

TiltDoubts count_doubts(const PatternRun &run) {
    TiltDoubts doubts;
    for (const int marks : run.doubts) {
        doubts.add(marks);
    }
    return doubts;
}

// How many of the tilts propagation did not serve.
void report_propagation(const PatternRun &run) {
    const TiltGrid &grid = run.problem.sd.grid;
    int solved = 0;
    for (int p = 0; p < grid.num_pix; ++p) {
        solved += grid.pix[p].cal_flag == 1 && run.kept[p] != kept_by_propagation ? 1 : 0;
    }
    if (use_propagation() && solved > 0) {
        mb_fprintf(stdout, "$$ propagation_flag: %d of %d tilts were solved one by one.\n", solved,
                   grid.num_pix_in);
    }
}

} // namespace

void chk_same_input(const Fingerprint &own) {
    chk_same_as_rank_0(std::to_string(own.value()),
                       "The input (parameter file, orvel.ini or tables)");
}

Tensor<double> alloc_pattern(const Sd &sd, PatternKind kind) {
    if (ranks().rank() != 0) {
        return {};
    }
    return {sd.reflections.size(), sd.thicknesses.size() * kind.components(),
            static_cast<std::size_t>(sd.grid.num_pix)};
}

void calc_pattern(const TiltProblem &problem, std::span<const SymOp> ops, PatternKind kind,
                  Tensor<double> &values, std::FILE *log, const std::function<void()> &write) {
    const TiltGrid &grid = problem.sd.grid;
    mb_fprintf(stdout, "Intensity calculation\n");
    if (dbg_sel_vg_on()) {
        if (ranks().rank() == 0) {
            check_selections(problem);
        }
        return;
    }
    chk_same_problem(problem, ops);
    if (ranks().rank() != 0) {
        solve_share(problem, ops, kind.coherent);
        ranks().pass_on_words();
        return;
    }
    PatternRun run{problem, ops, kind, values, {problem, ops, kind, log}, {}, {}, {}, {}, {}, {}};
    run.kept.assign(grid.pix.size(), not_solved);
    run.finite.resize(grid.pix.size());
    run.doubts.resize(grid.pix.size());
    run.slots = alloc_slots(run.solver, grid.num_pix_in);
    if (ranks().size() > 1 && !tilts_write()) {
        mb_fprintf(stdout, "$$ The tilts are shared among %d ranks.\n", ranks().size());
    }
    solve_pattern(run);
    ranks().pass_on_words();
    solve_again(run);
    report_propagation(run);
    mb_fprintf(stdout, "$$Intensity output\n");
    write();
    run.checkpoint.remove();
    NonFiniteCount(grid, run.finite).report(log);
    count_doubts(run).report(log);
    warn_growth(largest_intensity(run), log);
}

} // namespace orvel
