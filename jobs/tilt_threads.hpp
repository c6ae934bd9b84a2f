// Tilts solved side by side: how many threads a job takes, and its loop over them.
#pragma once

#include <atomic>
#include <functional>
#include <vector>

namespace orvel {

// Threads for `tilts` tilts by the key num_threads (0: one for each core), never more than there
// are tilts; 1 where a flag writes to the console from within a tilt. A negative number ends the
// run.
int num_tilt_threads(double tilts);

// True where a flag writes to the console from within a tilt, so that tilts are solved one after
// the other, each by its own eigen-solution.
bool tilts_write();

// Tells, before the run, of threads and ranks that were asked for and cannot be used.
void warn_one_thread();

// Calls body(slot, stop) for slot 0..threads-1 at the same time, slot 0 in the calling thread, and
// waits for all. Where one of them ends the run (or throws), stop becomes true, the others return
// when they see it, and the run ends once, in the calling thread. Where the system gives fewer
// threads, the slots beyond them are not called.
void side_by_side(int threads, const std::function<void(int, const std::atomic<bool> &)> &body);

// What a loop does in steps that may be done at the same time.
struct TiltSteps {
    std::vector<int> before; // tilts of the pattern that are done, or begun, before each step
    int tilts = 0;           // of the whole pattern
    int ranks = 1;           // that do as many steps each
};

// Calls solve(slot, step) for every step, with one thread in their order. Progress marks in tilts;
// a forecast after the first step, which is done alone. gather() waits for other ranks.
void solve_steps(const TiltSteps &steps, int threads, const std::function<void(int, int)> &solve,
                 const std::function<void()> &gather);

} // namespace orvel
