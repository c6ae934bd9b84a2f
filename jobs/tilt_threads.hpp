// Tilts solved side by side: how many threads a job takes, and its loop over them.
//
// Every result is the same to the last bit for any number of threads: a tilt depends on its own
// incidence only, except for a kept-branch count that stands from the tilt before (limited_branch).
// A tilt that would take one over is solved again, in grid order, when all others are done.
#pragma once

#include "dynamics/sim_condition.hpp"
#include "dynamics/work_cal_int.hpp"

#include <atomic>
#include <functional>
#include <vector>

namespace orvel {

// Threads for `tilts` tilts by the key num_threads (0: one for each core), never more than there
// are tilts; 1 where a flag writes to the console from within a tilt. A negative number ends the
// run.
int num_tilt_threads(double tilts);

// Tells, before the run, of threads that were asked for and cannot be used.
void warn_one_thread();

// A work record for each thread.
std::vector<WorkCalInt> alloc_works(int threads, int n_max, int n_out, int n_thick);

// Calls body(slot, stop) for slot 0..threads-1 at the same time, slot 0 in the calling thread, and
// waits for all. Where one of them ends the run (or throws), stop becomes true, the others return
// when they see it, and the run ends once, in the calling thread. Where the system gives fewer
// threads, the slots beyond them are not called.
void side_by_side(int threads, const std::function<void(int, const std::atomic<bool> &)> &body);

// Calls solve(slot, p) for every point of the grid that is calculated, slot being the work record
// to use; with one record in grid order. Progress marks and a forecast after the first tilt.
void solve_tilts(const TiltGrid &grid, std::vector<WorkCalInt> &works,
                 const std::function<void(int, int)> &solve);

} // namespace orvel
