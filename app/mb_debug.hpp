// What long loops and solvers say while they work: monitor lines, dumps, progress marks and the
// forecast of the run time. All of it goes to the console; the last two are told by rank 0 alone.
#pragma once

#include "numeric/complex.hpp"

namespace orvel {

// Writes a monitor line (with its own line end) when process_mon_flag is set.
void dbg_mon(const char *line);

// When flag is 1: the title line, then the n elements or the leading n x n block, listed with
// indices from 0.
void dbg_dump_complexvec(int flag, const char *title, int n, const complex *v);
void dbg_dump_complexmat(int flag, const char *title, int n, const complex *const *m);

// Progress marks of a loop of n steps, called at the start of each step i: "5%10%15%..." after
// four blanks. The last step writes the marks up to 95%; exec_time_forecast(0) completes the line.
void progress_indicator(int i, int n);

// From now on SIGINT, SIGTERM, SIGHUP and SIGXCPU (the soft limit of processor time), where they
// are not ignored, end the run when it next looks for them, without half a file; another one
// more than 0.2 s later, but for SIGXCPU, ends it at once.
void catch_interrupts();

// Ends the run when an interrupt has come: "\n$$ Interrupted after %d of %d steps. Abort.\n", exit
// status 1. Called at each step of loops that can be long; progress_indicator calls it.
void chk_interrupt(int i, int n);

// The same in the midst of a step, where that can be long: tells of the last step that began.
void chk_interrupt();

// n = -1 starts the clock, n > 0 forecasts the time of n steps after the first one is done,
// n = 0 ends the timing with the time elapsed. In minutes and hours: processor time; with several
// threads, which share the steps from the second one on, the time of day.
void exec_time_forecast(int n, int threads = 1);

} // namespace orvel
