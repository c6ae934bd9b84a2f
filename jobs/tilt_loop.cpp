#include "jobs/tilt_loop.hpp"

#include "app/mb_mpi.hpp"
#include "app/ranks.hpp"
#include "app/run_settings.hpp"
#include "jobs/pattern_solver.hpp"
#include "jobs/tilt_threads.hpp"

#include <algorithm>
#include <cmath>

namespace orvel {

namespace {

// A tilt beside its results: its point, incidence and phase, its place in an orbit, its state, or
// the same as a message.
constexpr double listed_bytes = 128.0;

} // namespace

void chk_job_memory(const Sd &sd, double result_bytes, TiltOrder order, double table_bytes) {
    const double n = sd.beams.size();
    const double num_thick = static_cast<double>(sd.thicknesses.size());
    const double side = sd.grid.num_cal_pix_side;
    const double tilts = sd.grid.calc_type == 0 ? 1.0 : sd.grid.calc_type == 1 ? side : side * side;
    // The whole grid and the results, row by row, stand in rank 0.
    const double table_size = static_cast<double>(sd.reflections.size()) * num_thick;
    const double row = result_bytes > 0.0 ? result_bytes * tilts + sizeof(void *) : 0.0;
    const double results = ranks().rank() == 0 ? row * table_size : 0.0;
    const double own_tilts = ranks().rank() == 0 ? tilts : std::ceil(tilts / ranks().size());
    const double table = result_bytes * table_size;
    // Of a tilt as it is solved, of one that follows from it, of one on its way.
    const double tables = 3.0 * table;
    const double work = work_cal_int_bytes(sd.beams.size(), static_cast<int>(num_thick)) + tables;
    const bool shared = order == TiltOrder::side_by_side;
    const double propagation =
        use_propagation() && shared
            ? propagation_bytes(sd, most_propagated) + most_propagated * 2.0 * table
            : 0.0;
    const auto threads = [&](double of_tilts) { return shared ? num_tilt_threads(of_tilts) : 1; };
    // In a shared job rank 0 asks for all of its machine, before they go on and take theirs.
    const int asked_for = shared && ranks().rank() == 0 ? ranks().on_machine() : 1;
    const double others = std::min<double>(asked_for, tilts) - 1.0;
    const double solving = threads(ranks().rank() == 0 ? tilts : own_tilts) +
                           others * threads(std::ceil(tilts / ranks().size()));
    require_memory(asked_for * sizeof(complex) * n * n + solving * (work + propagation) + results +
                       table_bytes * table_size + listed_bytes * own_tilts,
                   asked_for > 1 ? "the potential matrix, the tilts and the results of the ranks"
                                 : "the potential matrix, the tilts and the results");
    if (shared) {
        ranks().share("");
    }
}

void warn_single_point_line(const TiltGrid &grid, std::FILE *log) {
    if (grid.calc_type == 1 && grid.num_cal_pix_side == 1) {
        mb_fprintf_stdo(log, "$$ Warning: a line of tilts needs at least 2 points; the tilt of its "
                             "only point is not a number.\n");
    }
}

void warn_growth(double largest, std::FILE *log) {
    constexpr double possible = 1.1; // of a beam that an inclined surface makes narrower
    if (largest > possible) {
        mb_fprintf_stdo(log, "$$ Warning: intensities reach %g times the incident beam.\n",
                        largest);
    }
}

void chk_amplitude_scale() {
    if (epsilon.intensity_scaling < 0.0) {
        input_exit("$$ intensity_scaling = %g: amplitudes are scaled by its square root. Abort.",
                   epsilon.intensity_scaling);
    }
}

TiltProblem tilt_problem(const Sd &sd, const Csd &csd, const complex *const *V) {
    return {sd, csd.metric, V, pre_calc_intensity(sd.beam, csd.metric),
            calc_abs_K(csd, sd.beam.acc_voltage)};
}

NonFiniteCount::NonFiniteCount(const TiltGrid &grid, const std::vector<char> &finite) {
    for (int p = 0; p < grid.num_pix; ++p) {
        if (grid.pix[p].cal_flag == 1) {
            add(finite[p] != 0);
        }
    }
}

void NonFiniteCount::report(std::FILE *log) const {
    if (tilts > 0) {
        mb_fprintf_stdo(log,
                        "$$ Warning: %d of %d tilts gave results that are not finite "
                        "numbers.\n",
                        tilts, of);
    }
}

} // namespace orvel
