#include "app/mb_debug.hpp"

#include "app/mb_mpi.hpp"
#include "app/ranks.hpp"
#include "app/run_settings.hpp"
#include "numeric/data_out.hpp"

#include <atomic>
#include <chrono>
#include <csignal>
#include <ctime>

namespace orvel {

namespace {

// Next percentage mark of the progress line, a multiple of 5. One timed loop at a time.
int five_ct = 5;

// Clock readings in seconds: start of the timed loop, and the latest one.
double clock_start = 0.0;
double clock_now = 0.0;

// Read by all threads, written by a signal handler.
std::atomic<bool> interrupted = false;
static_assert(std::atomic<bool>::is_always_lock_free);

// How far the loop has come that was last heard of.
std::atomic<int> steps_done = 0;
std::atomic<int> steps_in_all = 0;

// Of the first interrupt, milliseconds of a clock that only goes forward; 0 before it.
std::atomic<long long> interrupted_at = 0;
static_assert(std::atomic<long long>::is_always_lock_free);

extern "C" void note_interrupt(int signal) {
    // Who signals a process and its group, as timeout(1) does, does it within this time.
    constexpr long long same_interrupt = 200;
    timespec now = {};
    clock_gettime(CLOCK_MONOTONIC, &now);
    const long long now_at = now.tv_sec * 1000LL + now.tv_nsec / 1000000 + 1;
    long long first_at = 0;
    interrupted = true;
    const bool is_first = interrupted_at.compare_exchange_strong(first_at, now_at);
    // The system sends SIGXCPU again each second.
    if (!is_first && signal != SIGXCPU && now_at - first_at > same_interrupt) {
        std::signal(signal, SIG_DFL);
        std::raise(signal); // ends the program when this returns
    }
}

// Processor time, or the time of day for several threads, in seconds, read in whole milliseconds.
double clock_seconds(int threads) {
    const std::chrono::duration<double, std::milli> day =
        std::chrono::steady_clock::now().time_since_epoch();
    const double milliseconds = threads > 1 ? day.count()
                                            : static_cast<double>(std::clock()) * 1000.0 /
                                                  static_cast<double>(CLOCKS_PER_SEC);
    return static_cast<double>(static_cast<long long>(milliseconds)) / 1000.0;
}

void write_mark() {
    mb_fprintf(stdout, "%d%%", five_ct);
    mb_fflush(stdout);
    five_ct += 5;
}

} // namespace

void dbg_mon(const char *line) {
    if (dbg.process_mon_flag == 1) {
        mb_fprintf(stdout, "%s", line);
    }
}

void dbg_dump_complexvec(int flag, const char *title, int n, const complex *v) {
    if (flag == 1) {
        mb_fprintf(stdout, "%s\n", title);
        print_complexvec(n, v);
    }
}

void dbg_dump_complexmat(int flag, const char *title, int n, const complex *const *m) {
    if (flag == 1) {
        mb_fprintf(stdout, "%s\n", title);
        print_complexmat(n, m);
    }
}

void catch_interrupts() {
    interrupted = false;
    interrupted_at = 0;
    for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGXCPU}) {
        struct sigaction before = {};
        if (sigaction(signal, nullptr, &before) == 0 && before.sa_handler != SIG_IGN) {
            std::signal(signal, note_interrupt);
        }
    }
}

void chk_interrupt(int i, int n) {
    steps_done = i;
    steps_in_all = n;
    chk_interrupt();
}

void chk_interrupt() {
    if (interrupted) {
        input_exit("\n$$ Interrupted after %d of %d steps. Abort.", steps_done.load(),
                   steps_in_all.load());
    }
}

void progress_indicator(int i, int n) {
    chk_interrupt(i, n);
    if (ranks().rank() != 0) {
        return;
    }
    if (i == 0) {
        five_ct = 5;
    }
    const int percent = static_cast<int>(i * 100.0 / n);
    if (percent > five_ct) {
        if (five_ct == 5) {
            mb_fprintf(stdout, "    ");
            mb_fflush(stdout);
        }
        do {
            write_mark();
        } while (percent >= five_ct);
    }
    if (i == n - 1) {
        while (five_ct <= 95) {
            write_mark();
        }
    }
}

void exec_time_forecast(int n, int threads) {
    if (ranks().rank() != 0) {
        return;
    }
    if (n == -1) {
        mb_fprintf(stdout, "  Estimating exec. time .... ");
        mb_fflush(stdout);
        clock_start = clock_seconds(threads);
        return;
    }
    clock_now = clock_seconds(threads);
    const double seconds = clock_now - clock_start;
    if (n > 0) {
        if (seconds > 0.1) {
            // The first step was done by one thread alone.
            const double steps = 1.0 + (n - 1.0) / threads;
            mb_fprintf(stdout, " %.1lf [min] (%dCPU)\n", steps * seconds / 60.0, threads);
            mb_fflush(stdout);
        } else {
            mb_fprintf(stdout, " Maybe not so long.\n");
        }
        return;
    }
    mb_fprintf(stdout, "100%%\n");
    mb_fprintf(stdout, "    elapsed time: %g [min] = %g [hour]\n", seconds / 60.0,
               seconds / 3600.0);
}

} // namespace orvel
