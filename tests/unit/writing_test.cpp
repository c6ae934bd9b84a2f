// Results stand under their names when complete or not at all.
#include "app/mb_debug.hpp"
#include "app/mb_mpi.hpp"
#include "jobs/mb_sim_output.hpp"

#include "support/conditions.hpp"
#include "support/program.hpp"
#include "support/run_end.hpp"
#include "support/work_folder.hpp"

#include <atomic>
#include <bit>
#include <cmath>
#include <csignal>
#include <random>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

namespace orvel::test {
namespace {

namespace fs = std::filesystem;

void write_result(const std::string &path) {
    OutputFile file = mb_fopen_chk_wmode(path);
    mb_fprintf(file, "new");
    mb_fclose(file);
}

std::size_t num_files() {
    return static_cast<std::size_t>(
        std::distance(fs::directory_iterator("."), fs::directory_iterator()));
}

TEST(Writing, ReplacesWhatMayBeReplaced) {
    const WorkFolder folder;
    const std::string longest(255, 'x');
    write_file("old", "the result of an earlier run");
    fs::permissions("old", fs::perms::owner_read | fs::perms::owner_write);
    write_file("target", "old");
    fs::create_symlink("target", "link");
    fs::create_symlink("nothing_yet", "dangling");
    const struct {
        std::string path;
        std::string read_from;
    } cases[] = {{"old", "old"},
                 {"fresh", "fresh"},
                 {"link", "target"},
                 {"dangling", "nothing_yet"},
                 {longest, longest}};
    for (const auto &c : cases) {
        EXPECT_EQ(outcome_of([&] { write_result(c.path); }).status, -1) << c.path;
        EXPECT_EQ(read_file(c.read_from), "new") << c.path;
    }
    EXPECT_TRUE(fs::is_symlink("link") && fs::is_symlink("dangling"));
    EXPECT_EQ(fs::status("old").permissions(), fs::perms::owner_read | fs::perms::owner_write);
    EXPECT_EQ(num_files(), 7U);
}

TEST(Writing, KeepsOwnerAndGroupWhereItMay) {
    if (geteuid() != 0) {
        GTEST_SKIP() << "only root gives files away";
    }
    const WorkFolder folder;
    write_file("old", "a colleague's");
    ASSERT_EQ(chown("old", 1234, 4321), 0);
    write_result("old");
    struct stat found = {};
    ASSERT_EQ(stat("old", &found), 0);
    EXPECT_EQ(read_file("old"), "new");
    EXPECT_TRUE(found.st_uid == 1234 && found.st_gid == 4321);
}

// What stands under the name of a temporary is not written into.
TEST(Writing, TakesThePlaceOfATemporary) {
    const WorkFolder folder;
    write_file("other", "mine");
    fs::create_symlink("other", "a.part");
    fs::create_hard_link("other", "b.part");
    ASSERT_EQ(mkfifo("c.part", 0600), 0);
    for (const char *name : {"a", "b", "c"}) {
        EXPECT_EQ(outcome_of([&] { write_result(name); }).status, -1) << name;
        EXPECT_TRUE(fs::is_regular_file(fs::symlink_status(name)) && read_file(name) == "new");
    }
    EXPECT_EQ(read_file("other"), "mine");
    EXPECT_EQ(num_files(), 4U);
}

TEST(Writing, SaysWhatItCannotWrite) {
    const WorkFolder folder;
    fs::create_directory("directory");
    fs::create_symlink("/dev/full", "full");
    fs::create_symlink("loop", "loop");
    const struct {
        std::string path;
        const char *verb;
    } cases[] = {{"directory", "open"},
                 {"loop", "open"},
                 {"full", "write"},
                 {std::string(256, 'x'), "open"},
                 {"nowhere/x", "open"}};
    for (const auto &c : cases) {
        const Outcome o = outcome_of([&] { write_result(c.path); });
        EXPECT_EQ(o.status, 1) << c.path;
        EXPECT_EQ(o.err, std::string("$$ Cannot ") + c.verb + " " + c.path + ". Abort.\n");
    }
    EXPECT_EQ(num_files(), 3U);
}

TEST(Writing, LeavesTheEarlierResultWhenTheRunEnds) {
    const WorkFolder folder;
    write_file("result", "old");
    bool removed = false;
    outcome_of([&] {
        OutputFile file = mb_fopen_chk_wmode("result");
        OutputFile moved = std::move(file);
        mb_fprintf(moved, "half");
        // As std::exit does it: with the file still open.
        const RunEnding outer = set_run_ending([](int) { throw 0; });
        try {
            end_run(1);
        } catch (int) {
            removed = num_files() == 1;
        }
        set_run_ending(outer);
    });
    EXPECT_TRUE(removed);
    EXPECT_EQ(read_file("result"), "old");
    EXPECT_EQ(num_files(), 1U);
}

TEST(Writing, NumbersAreThoseOfPrintf) {
    const WorkFolder folder;
    std::mt19937_64 random(1);
    std::string expected;
    OutputFile file = mb_fopen_chk_wmode("numbers");
    for (int i = 0; i < 100000; ++i) {
        // Numbers of any size and sign; nan, infinity and zero among them.
        constexpr std::uint64_t exponent = 0x7ff0000000000000ULL;
        const std::uint64_t bits = random();
        const auto x = std::bit_cast<double>(bits);
        const auto special = std::bit_cast<double>(i % 2 == 0 ? bits & ~exponent : bits | exponent);
        int exponent_of_two = 0;
        const double rounded = std::round(1e7 * std::frexp(x, &exponent_of_two)) * 1e-7;
        char line[100];
        std::snprintf(line, sizeof line, "%g\t%g\t%g\n", x, special, rounded);
        expected += line;
        write_values(file, {x, special, rounded});
    }
    mb_fclose(file);
    EXPECT_TRUE(read_file("numbers") == expected);
}

TEST(Interrupt, TellsHowFarTheRunCame) {
    Conditions conditions;
    conditions.grid = "1\n300000\n1\n";
    Conditions large = conditions;
    large.beams = "0\n900 0\n";
    for (int i = 0; i < 900; ++i) {
        large.beams += std::to_string(2 * (i % 30)) + " " + std::to_string(2 * (i / 30)) + " 0\n";
    }
    const struct {
        ProgramInput input;
        int steps;
    } cases[] = {
        {{.files = {{"run.txt", conditions.dispsurf("1 2\n", "0\n", "1\n100\n")},
                    {"run_ds.txt", "old"}},
          .interrupt_at = "run_ds.txt.part"},
         300000},
        // A mark of progress: all threads are at work.
        {{.files = {{"run.txt", conditions.cbed("0\n", "1\n100\n")},
                    {"orvel.ini", "num_threads 3\nINI_PARAM_END\n"},
                    {"run_ds.txt", "old"}},
          .interrupt_said = "    5%"},
         300000},
        // With a file of its own that no function closes.
        {{.files = {{"run.txt", conditions.cbed("0\n", "1\n100\n")},
                    {"orvel.ini", "vg_sel_chk_flag 1\nINI_PARAM_END\n"},
                    {"run_ds.txt", "old"}},
          .interrupt_at = "run.dbg"},
         300000},
        {{.files = {{"run.txt", conditions.tfringe("3000000\n0 1000\n")}, {"run_ds.txt", "old"}},
          .interrupt_at = "run_int.txt.part"},
         1},
        // In the midst of an eigen-solution.
        {{.files = {{"run.txt", large.tfringe("2\n0 1000\n")}, {"run_ds.txt", "old"}},
          .interrupt_at = "run_int.txt.part"},
         1},
    };
    for (auto [input, steps] : cases) {
        input.args = {"run.txt"};
        const ProgramRun run = run_program(input);
        EXPECT_EQ(run.status, 1);
        int done = 0;
        int of = 0;
        const std::size_t line = run.out.rfind("\n$$ ");
        ASSERT_NE(line, std::string::npos) << run.out;
        EXPECT_EQ(std::sscanf(run.out.c_str() + line,
                              "\n$$ Interrupted after %d of %d steps. Abort.", &done, &of),
                  2)
            << run.out;
        EXPECT_LT(done, of);
        EXPECT_EQ(of, steps);
        EXPECT_EQ(run.out.find('$', line + 3), std::string::npos) << run.out;
        EXPECT_EQ(run.read("run_ds.txt"), "old");
        for (const fs::directory_entry &file : fs::directory_iterator(run.path(""))) {
            EXPECT_NE(file.path().extension(), ".part");
        }
    }
}

TEST(Interrupt, CannotTakeTheLog) {
    Conditions conditions;
    conditions.grid = "1\n300000\n1\n";
    const ProgramRun run =
        run_program({.files = {{"run.txt", conditions.dispsurf("1 2\n", "0\n", "1\n100\n")},
                               {"run_ds.txt", "old"}},
                     .args = {"run.txt"},
                     .interrupt_by = SIGKILL,
                     .interrupt_at = "run_ds.txt.part"});
    EXPECT_EQ(run.status, 128 + SIGKILL);
    EXPECT_EQ(run.read("run_ds.txt"), "old");
    EXPECT_NE(run.read("run_log.txt").find("\nparameter_file: run.txt\n"), std::string::npos);
}

TEST(Interrupt, ComesAgain) {
    const auto twice = [](int signal, int other, int milliseconds) {
        catch_interrupts();
        raise(signal);
        std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
        raise(other);
        chk_interrupt(3, 7);
    };
    EXPECT_EXIT(twice(SIGTERM, SIGTERM, 0), testing::ExitedWithCode(1), "");
    EXPECT_EXIT(twice(SIGTERM, SIGINT, 300), testing::KilledBySignal(SIGINT), "");
    // The system does so each second.
    EXPECT_EXIT(twice(SIGXCPU, SIGXCPU, 300), testing::ExitedWithCode(1), "");
}

TEST(Writing, ThreadsEndTheRunOneAfterTheOther) {
    // With an ending that does not come back, as the program's own, there is one end.
    EXPECT_EXIT(
        {
            static std::atomic<int> ends = 0;
            set_run_ending([](int status) {
                std::this_thread::sleep_for(std::chrono::milliseconds(50));
                std::_Exit(++ends == 1 ? status : 99);
            });
            std::vector<std::thread> threads;
            for (int i = 0; i < 4; ++i) {
                threads.emplace_back([] {
                    OutputFile file = mb_fopen_chk_wmode("/dev/null");
                    mb_error_exit(stderr, "once");
                });
            }
            threads[0].join();
        },
        testing::ExitedWithCode(1), "^..error: once\n$");
}

TEST(Program, KeepsItsFilesFromClosedStandardStreams) {
    const ProgramInput input = {.files = {{"run.txt", "X\nEPS_CONTROL_PARAMETERS{\n"
                                                      "}EPS_CONTROL_PARAMETERS\n"}},
                                .args = {"run.txt"}};
    const std::string log = run_program(input).read("run_log.txt");
    for (const std::vector<int> &closed : {std::vector{0}, {2}, {0, 2}}) {
        ProgramInput same = input;
        same.closed = closed;
        EXPECT_EQ(run_program(same).read("run_log.txt"), log);
    }
    ProgramInput silent = input;
    silent.closed = {0, 1, 2};
    const ProgramRun run = run_program(silent);
    EXPECT_EQ(run.status, 1);
    EXPECT_FALSE(run.has("run_log.txt"));
}

} // namespace
} // namespace orvel::test
