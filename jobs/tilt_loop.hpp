// What the jobs that solve tilts do alike: checks before the work, the loop over the tilt points
// with its progress and forecast, and the account of tilts that gave no finite result.
#pragma once

#include "app/mb_debug.hpp"
#include "crystal/csd.hpp"
#include "dynamics/mbfunc_intensity.hpp"
#include "dynamics/sim_condition.hpp"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <functional>
#include <vector>

namespace orvel {

// Whether a job may solve its tilts on several threads.
enum class TiltOrder { one_by_one, side_by_side };

// Ends the run where its arrays cannot be had: the potential matrix, the per-tilt work record (with
// side_by_side one for each thread), result_bytes for each output reflection, thickness and tilt,
// and table_bytes for each reflection and thickness once. With side_by_side, which every rank
// calls, rank 0 asks for the other ranks of its machine too. Called before any of them is made.
void chk_job_memory(const Sd &sd, double result_bytes, TiltOrder order = TiltOrder::one_by_one,
                    double table_bytes = 0.0);

// Tells, before the run, of a line of tilts whose only point divides zero by zero.
void warn_single_point_line(const TiltGrid &grid, std::FILE *log);

// Tells, after the run, of a largest intensity (incident beam: 1) that no crystal gives.
void warn_growth(double largest, std::FILE *log);

// Ends the run for a negative intensity_scaling, whose root amplitudes take.
void chk_amplitude_scale();

// The problem that all tilts of the job share.
TiltProblem tilt_problem(const Sd &sd, const Csd &csd, const complex *const *V);

// Tilts whose results held a nan or an infinity.
struct NonFiniteCount {
    int tilts = 0;
    int of = 0;

    // Counts the points that are calculated. finite: one flag a point.
    NonFiniteCount(const TiltGrid &grid, const std::vector<char> &finite);
    NonFiniteCount() = default;
    // Counts one tilt.
    void add(bool all_finite) {
        ++of;
        tilts += all_finite ? 0 : 1;
    }
    // One line to log and console when there were any.
    void report(std::FILE *log) const;
};

inline bool is_finite(double x) {
    return std::isfinite(x);
}
inline bool is_finite(complex z) {
    return is_finite(z.re) && is_finite(z.im);
}

// The largest intensity of a table [output beam][thickness], which intensity() takes from a value.
template <class T, class Intensity = std::identity>
double largest_intensity(const Sd &sd, const T *const *table, Intensity intensity = {}) {
    double largest = 0.0;
    for (std::size_t o = 0; o < sd.reflections.size(); ++o) {
        for (std::size_t k = 0; k < sd.thicknesses.size(); ++k) {
            largest = std::max(largest, std::fabs(intensity(table[o][k])));
        }
    }
    return largest;
}

// True when the whole table [output beam][thickness] is finite, as it is written.
template <class T, class Written = std::identity>
bool all_finite(const Sd &sd, const T *const *table, Written written = {}) {
    for (std::size_t o = 0; o < sd.reflections.size(); ++o) {
        for (std::size_t k = 0; k < sd.thicknesses.size(); ++k) {
            if (!is_finite(written(table[o][k]))) {
                return false;
            }
        }
    }
    return true;
}

// Calls solve(p) for every point of the grid that is calculated, in its order, with progress marks
// and a forecast after the first one.
template <class Solve> void for_each_tilt(const TiltGrid &grid, Solve solve) {
    int calculated = 0;
    for (int p = 0; p < grid.num_pix; ++p) {
        if (grid.pix[p].cal_flag != 1) {
            continue;
        }
        if (calculated == 0) {
            exec_time_forecast(-1);
        }
        progress_indicator(calculated, grid.num_pix_in);
        solve(p);
        if (calculated == 0) {
            exec_time_forecast(grid.num_pix_in);
        }
        ++calculated;
    }
    exec_time_forecast(0);
}

} // namespace orvel
