// Tilts side by side: the same files whatever the number of threads, and one end of the run.
#include "jobs/tilt_threads.hpp"

#include "app/mb_mpi.hpp"
#include "support/pattern_runs.hpp"
#include "support/run_end.hpp"

#include <gtest/gtest.h>
#include <new>
#include <thread>

namespace orvel::test {
namespace {

std::string threads_key(int threads) {
    return "num_threads " + std::to_string(threads) + "\n";
}

TEST(TiltThreads, FilesAreTheSameForAnyNumber) {
    // The last accuracy lies within the rounding of the sums: some tilts do not reach it and keep
    // the count of the tilt before. The last grid has fewer points than there are threads.
    for (const char *settings :
         {"", "bc_accuracy 0.99\n", "bc_accuracy 0.9999999999999999\n", "eigmat_func 7\n"}) {
        for (const char *grid : {"2\n7\n0.5\n", "1\n3\n0.5\n"}) {
            Conditions c = small_disk();
            c.settings = settings;
            c.grid = grid;
            const std::string cbed = c.cbed("0\n", "2\n150\n420\n");
            for (const std::string &parameters : {cbed, coherent(cbed)}) {
                const ProgramRun one = run_with_keys(parameters, threads_key(1));
                ASSERT_EQ(one.status, 0) << one.out;
                for (const int threads : {2, 3, 8, 0}) {
                    const ProgramRun run = run_with_keys(parameters, threads_key(threads));
                    expect_same_results(run, one, settings + threads_key(threads));
                    const auto warning = [](const ProgramRun &r) {
                        const std::size_t at = r.out.find("tilts gave results that are not");
                        return at == std::string::npos ? "" : r.out.substr(at - 20, 20);
                    };
                    EXPECT_EQ(warning(run), warning(one));
                    EXPECT_NE(run.out.find("100%"), std::string::npos);
                }
            }
        }
    }
}

TEST(TiltThreads, WhatTiltsWriteNeedsThemOneByOne) {
    const std::string parameters = small_disk().cbed("0\n", "1\n150\n");
    const std::string told = "$$ num_threads: dumps, checks and monitor lines need one tilt after "
                             "the other: 1 thread.\n";
    for (const char *flag : {"process_mon_flag 1\n", "eigval_dump_flag 1\n", "bc_chk_flag 2\n",
                             "vg_sel_chk_flag 1\n"}) {
        const std::string one = run_with_keys(parameters, flag).out;
        const ProgramRun several = run_with_keys(parameters, flag + threads_key(3));
        EXPECT_EQ(several.status, 0);
        EXPECT_EQ(one.find(told), std::string::npos);
        const std::size_t at = several.out.find(told);
        ASSERT_NE(at, std::string::npos) << several.out;
        EXPECT_EQ(several.out.find(told, at + 1), std::string::npos);
    }
    const ProgramRun negative = run_with_keys(parameters, threads_key(-2));
    EXPECT_EQ(negative.status, 1);
    EXPECT_NE(negative.out.find("$$ num_threads = -2: "), std::string::npos);
}

TEST(TiltThreads, AFatalEndInAnyThreadEndsTheRunOnce) {
    for (int bad = 0; bad < 4; ++bad) {
        std::atomic<int> ended = 0;
        const Outcome end = outcome_of([&] {
            side_by_side(4, [&](int slot, const std::atomic<bool> &stop) {
                if (slot == bad) {
                    end_run(3);
                }
                while (!stop) { // the others work until they are told
                    std::this_thread::yield();
                }
                ++ended;
            });
        });
        EXPECT_EQ(end.status, 3);
        EXPECT_EQ(ended, 3);
    }
    EXPECT_THROW(side_by_side(2, [](int, const auto &) { throw std::bad_alloc(); }),
                 std::bad_alloc);
}

} // namespace
} // namespace orvel::test
