// Tilts side by side: the same files whatever the number of threads, and one end of the run.
#include "jobs/tilt_threads.hpp"

#include "app/mb_mpi.hpp"
#include "support/pattern_runs.hpp"
#include "support/run_end.hpp"

#include <cmath>
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

void expect_close_results(const ProgramRun &run, const ProgramRun &expected) {
    for (const char *name : {"run_rs0.txt", "run_rs1.txt"}) {
        const auto a = numbers(run.read(name));
        const auto b = numbers(expected.read(name));
        ASSERT_EQ(a.size(), b.size());
        for (std::size_t i = 0; i < a.size(); ++i) {
            ASSERT_EQ(a[i].size(), b[i].size());
            for (std::size_t j = 0; j < a[i].size(); ++j) {
                EXPECT_NEAR(a[i][j], b[i][j], 1e-5 * std::abs(b[i][j]) + 1e-6);
            }
        }
    }
}

// [001] of Al, where eight operations tie tilts together, some of them with Bethe beams; also going
// on from a file that is cut in the middle.
TEST(TiltThreads, OtherWaysToSolveGiveTheFullRun) {
    Conditions c;
    c.tilt = "0\n0\n";
    c.grid = "2\n9\n0.7\n";
    c.beams = "2\n100 1.2 0 0\n0.01 0.03 1e6\n";
    const std::string symmetry = "tilt_symmetry_flag 1\n";
    const std::string propagation = "propagation_flag 1\n";
    // With the last settings no tilt reaches the share, so that every one takes over a count.
    for (const char *settings : {"eigen_eps 1e-13\n", "eigen_eps 1e-13\nbc_accuracy 0.99\n",
                                 "eigen_eps 1e-13\nbc_accuracy 1.5\n"}) {
        c.settings = settings;
        const std::string cbed = c.cbed("0\n", "2\n150\n420\n");
        for (const std::string &parameters : {cbed, coherent(cbed)}) {
            const ProgramRun full = run_with_keys(parameters, "");
            for (const std::string &flags : {symmetry, propagation, symmetry + propagation}) {
                const ProgramRun run = run_with_keys(parameters, flags);
                expect_close_results(run, full);
                const auto says = [&](const char *text) {
                    return run.out.find(text) != std::string::npos;
                };
                EXPECT_EQ(says("of 49 tilts are solved (8 operations"), flags != propagation);
                EXPECT_EQ(says("$$ propagation_flag: it needs all branches"),
                          flags != symmetry && c.settings.find("bc_acc") != std::string::npos);
                EXPECT_FALSE(says("tilts were solved one by one"));
                const std::string three = flags + threads_key(3) + "checkpoint_seconds 60\n";
                const ProgramRun early = run_with_keys(parameters, three, {{"run_rs1.txt/x", ""}});
                const std::string bytes = early.read("run_checkpoint");
                for (const std::size_t left : {bytes.size() / 2, std::size_t{0}}) {
                    expect_same_results(run_with_keys(parameters, three,
                                                      {{"run_checkpoint", bytes.substr(0, left)}}),
                                        run, settings);
                }
            }
        }
    }
    // A crystal too thick for a series, and what is written from within a tilt.
    c.settings = "";
    const std::string thin = c.cbed("0\n", "1\n150\n");
    const std::string thick = c.cbed("0\n", "2\n150\n1e7\n");
    const ProgramRun too_thick = run_with_keys(thick, propagation);
    EXPECT_NE(too_thick.out.find("$$ propagation_flag: 49 of 49 tilts were solved one by one"),
              std::string::npos)
        << too_thick.out;
    expect_same_results(too_thick, run_with_keys(thick, ""), "thick");
    const std::string dumped =
        run_with_keys(thin, symmetry + propagation + "eigval_dump_flag 1\n").out;
    EXPECT_NE(dumped.find("$$ tilt_symmetry_flag: "), std::string::npos);
    EXPECT_NE(dumped.find("$$ propagation_flag: it needs"), std::string::npos);
}

// 002 is forbidden and has no couplings: balancing puts it in the place of another beam, which
// neither symmetry nor a series does.
TEST(TiltThreads, ABeamWithoutCouplingsIsThatOfTheFullRun) {
    Conditions c;
    c.crystal = silicon.block();
    c.incidence = "1 1 0\n1 1 0\n2 -2 0\n";
    c.tilt = "0\n0\n";
    c.grid = "2\n5\n0.6\n";
    c.beams = "0\n4 0\n0 0 0\n0 0 2\n2 -2 0\n-2 2 0\n";
    const std::string parameters = c.cbed("0\n", "2\n150\n420\n");
    const ProgramRun full = run_with_keys(parameters, "");
    for (const char *flags : {"tilt_symmetry_flag 1\n", "propagation_flag 1\n"}) {
        expect_close_results(run_with_keys(parameters, flags), full);
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
