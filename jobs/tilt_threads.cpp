#include "jobs/tilt_threads.hpp"

#include "app/mb_debug.hpp"
#include "app/mb_mpi.hpp"
#include "app/ranks.hpp"
#include "app/run_settings.hpp"

#include <algorithm>
#include <exception>
#include <mutex>
#include <system_error>
#include <thread>

namespace orvel {

namespace {

// What ends a thread in place of the run.
struct ThreadEnding {
    int status;
};

} // namespace

bool tilts_write() {
    for (const int flag :
         {dbg.eigval_dump_flag, dbg.eigvec_dump_flag, dbg.sg_dump_flag, dbg.betag_dump_flag,
          dbg.a_mat_dump_flag, dbg.b_mat_dump_flag, dbg.b_cond_dump_flag, dbg.bc_chk_flag,
          dbg.vg_sel_chk_flag, dbg.process_mon_flag}) {
        if (flag != 0) {
            return true;
        }
    }
    return false;
}

int num_tilt_threads(double tilts) {
    if (dbg.num_threads < 0) {
        input_exit("$$ num_threads = %d: 0 (all cores) or more are needed. Abort.",
                   dbg.num_threads);
    }
    if (tilts_write()) {
        return 1;
    }
    const unsigned cores = std::max(1U, std::thread::hardware_concurrency());
    const double wanted = dbg.num_threads == 0 ? cores : dbg.num_threads;
    return static_cast<int>(std::max(1.0, std::min(wanted, tilts)));
}

void warn_one_thread() {
    if (dbg.num_threads != 1 && tilts_write()) {
        mb_fprintf(stdout, "$$ num_threads: dumps, checks and monitor lines need one tilt after "
                           "the other: 1 thread.\n");
    }
    if (ranks().size() > 1 && tilts_write()) {
        mb_fprintf(stdout, "$$ Dumps, checks and monitor lines need one tilt after the other: "
                           "rank 0 solves them all.\n");
    }
}

void side_by_side(int threads, const std::function<void(int, const std::atomic<bool> &)> &body) {
    std::atomic<bool> stop = false;
    std::mutex first_mutex;
    std::exception_ptr first;
    const auto guarded = [&](auto part) {
        try {
            part();
        } catch (...) {
            const std::lock_guard<std::mutex> lock(first_mutex);
            if (!stop.exchange(true)) {
                first = std::current_exception();
            }
        }
    };
    const RunEnding ending = set_run_ending([](int status) { throw ThreadEnding{status}; });
    std::vector<std::thread> others;
    const auto start_others = [&] {
        others.reserve(static_cast<std::size_t>(threads));
        try {
            for (int slot = 1; slot < threads; ++slot) {
                others.emplace_back([&, slot] { guarded([&] { body(slot, stop); }); });
            }
        } catch (const std::system_error &) {
            mb_fprintf(stdout, "$$ num_threads: the system gives %zu threads only.\n",
                       others.size() + 1);
        }
    };
    guarded([&] {
        start_others();
        body(0, stop);
    });
    for (std::thread &thread : others) {
        thread.join();
    }
    set_run_ending(ending);
    if (first == nullptr) {
        return;
    }
    try {
        std::rethrow_exception(first);
    } catch (const ThreadEnding &end) {
        end_run(end.status);
    }
}

void solve_steps(const TiltSteps &steps, int threads, const std::function<void(int, int)> &solve,
                 const std::function<void()> &gather) {
    const int processors = threads * steps.ranks;
    const int n = static_cast<int>(steps.before.size());
    if (n == 0) {
        return;
    }
    std::atomic<int> next = 0;
    const auto take = [&](int slot) {
        const int step = next++;
        if (step >= n) {
            return false;
        }
        if (slot == 0) {
            progress_indicator(steps.before[step], steps.tilts);
        }
        solve(slot, step);
        return true;
    };
    if (steps.before[0] > 0) {
        chk_interrupt(steps.before[0], steps.tilts);
        progress_indicator(0, steps.tilts); // the marks begin anew
    }
    exec_time_forecast(-1, processors);
    take(0);
    exec_time_forecast(n * steps.ranks, processors);
    if (threads == 1) {
        while (take(0)) {
        }
    } else {
        side_by_side(threads, [&](int slot, const std::atomic<bool> &stop) {
            while (!stop && take(slot)) {
            }
        });
    }
    gather();
    if (processors > 1 || steps.before.back() < steps.tilts - 1) {
        progress_indicator(steps.tilts - 1, steps.tilts);
    }
    exec_time_forecast(0, processors);
}

} // namespace orvel
