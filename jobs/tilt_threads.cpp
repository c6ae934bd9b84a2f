#include "jobs/tilt_threads.hpp"

#include "app/mb_debug.hpp"
#include "app/mb_mpi.hpp"
#include "app/run_settings.hpp"
#include "jobs/tilt_loop.hpp"

#include <algorithm>
#include <exception>
#include <mutex>
#include <system_error>
#include <thread>

namespace orvel {

namespace {

// Stands for a kept-branch count that this tilt did not find.
constexpr int count_not_found = -1;

// What ends a thread in place of the run.
struct ThreadEnding {
    int status;
};

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

std::vector<int> calculated_points(const TiltGrid &grid) {
    std::vector<int> points;
    for (int p = 0; p < grid.num_pix; ++p) {
        if (grid.pix[p].cal_flag == 1) {
            points.push_back(p);
        }
    }
    return points;
}

void solve_side_by_side(const std::vector<int> &points, std::vector<WorkCalInt> &works,
                        const std::function<void(int, int)> &solve) {
    const int n = static_cast<int>(points.size());
    const int threads = static_cast<int>(works.size());
    std::vector<int> kept(points.size());
    exec_time_forecast(-1, threads);
    progress_indicator(0, n);
    solve(0, points[0]);
    kept[0] = works[0].n_kept;
    exec_time_forecast(n, threads);

    std::atomic<int> next = 1;
    side_by_side(threads, [&](int slot, const std::atomic<bool> &stop) {
        for (int i = next++; i < n && !stop; i = next++) {
            if (slot == 0) {
                progress_indicator(i, n);
            }
            works[slot].n_kept = count_not_found;
            solve(slot, points[i]);
            kept[i] = works[slot].n_kept;
        }
    });
    for (int i = 1; i < n; ++i) {
        if (kept[i] == count_not_found) {
            chk_interrupt(i, n);
            works[0].n_kept = kept[i - 1];
            solve(0, points[i]);
            kept[i] = works[0].n_kept;
        }
    }
    progress_indicator(n - 1, n);
    exec_time_forecast(0, threads);
}

} // namespace

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
}

std::vector<WorkCalInt> alloc_works(int threads, int n_max, int n_out, int n_thick) {
    std::vector<WorkCalInt> works;
    works.reserve(static_cast<std::size_t>(threads));
    for (int i = 0; i < threads; ++i) {
        works.push_back(alloc_work_cal_int(n_max, n_out, n_thick));
    }
    return works;
}

void side_by_side(int threads, const std::function<void(int, const std::atomic<bool> &)> &body) {
    std::atomic<bool> stop = false;
    std::mutex first_mutex;
    std::exception_ptr first;
    const auto guarded = [&](int slot) {
        try {
            body(slot, stop);
        } catch (...) {
            const std::lock_guard<std::mutex> lock(first_mutex);
            if (!stop.exchange(true)) {
                first = std::current_exception();
            }
        }
    };
    const RunEnding ending = set_run_ending([](int status) { throw ThreadEnding{status}; });
    std::vector<std::thread> others;
    others.reserve(static_cast<std::size_t>(threads));
    try {
        for (int slot = 1; slot < threads; ++slot) {
            others.emplace_back(guarded, slot);
        }
    } catch (const std::system_error &) {
        mb_fprintf(stdout, "$$ num_threads: the system gives %zu threads only.\n",
                   others.size() + 1);
    }
    guarded(0);
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

void solve_tilts(const TiltGrid &grid, std::vector<WorkCalInt> &works,
                 const std::function<void(int, int)> &solve) {
    if (works.size() > 1) {
        solve_side_by_side(calculated_points(grid), works, solve);
    } else {
        for_each_tilt(grid, [&](int p) { solve(0, p); });
    }
}

} // namespace orvel
