// What surrounds a run: names that lead to no ordinary file, bytes that are no text, limits of the
// system, readers that go away. Each ends in a result or in a message and status 1.
#include "numeric/memory_limits.hpp"

#include "support/conditions.hpp"
#include "support/program.hpp"

#include <limits>

namespace orvel::test {
namespace {

namespace fs = std::filesystem;

// A small run with two results.
std::string small_run() {
    return Conditions().cbed("0\n", "1\n150\n");
}

bool holds(const std::string &text, const std::string &part) {
    return text.find(part) != std::string::npos;
}

std::string make_fifo(const TemporaryFolder &folder) {
    const std::string name = folder.path() / "fifo";
    if (mkfifo(name.c_str(), 0600) != 0) {
        throw std::runtime_error("no pipe");
    }
    return name;
}

TEST(Surroundings, EachEndsInAMessage) {
    const TemporaryFolder folder;
    const std::string run = small_run();
    const std::string cut_short = run.substr(0, run.find("SITE{"));
    write_file(folder.path() / "sparse", cut_short);
    fs::resize_file(folder.path() / "sparse", 1 << 30);
    const std::string fifo = make_fifo(folder);
    const std::string no_text = "$$ Found a zero byte in a file to be read: it is no text file.";
    Conditions many;
    many.beams = "0\n300000 0\n";
    for (int i = 0; i < 300000; ++i) {
        many.beams += "0 0 0\n";
    }
    const std::string long_line(3000000, 'x');
    const struct {
        const char *name;
        ProgramInput input;
        std::string says;
    } cases[] = {
        {"endless zeros", {.links = {{"run.txt", "/dev/zero"}}}, no_text},
        {"full device", {.links = {{"run.txt", "/dev/full"}}}, no_text},
        {"random bytes", {.links = {{"run.txt", "/dev/urandom"}}}, ""},
        {"nothing", {.links = {{"run.txt", "/dev/null"}}}, "$$ End of file while reading the job"},
        {"zeros behind a keyword", {.links = {{"run.txt", folder.path() / "sparse"}}}, no_text},
        {"two bytes a letter", {.files = {{"run.txt", {"\xff\xfeS\0I\0M\0", 8}}}}, no_text},
        {"byte order mark",
         {.files = {{"run.txt", "\xef\xbb\xbf" + run}}},
         "##### Job mode \xef\xbb\xbfSIM_MODE is not supported. Abort."},
        {"zeros in a comment",
         {.files = {{"run.txt", "COMMENT{\n" + std::string(9, '\0')}}},
         no_text},
        {"one long line", {.files = {{"run.txt", long_line}}}, "$$ Data format error"},
        {"a long comment", {.files = {{"run.txt", "#" + long_line}}}, "$$ Data format error"},
        {"more beams than any memory holds",
         {.files = {{"run.txt", many.cbed("0\n", "1\n1\n")}}},
         "$$ Not enough memory for the potential matrix: "},
        {"a table that ends", {.files = {{"run.txt", cut_short}}}, "$$ Data format error"},
        {"settings are zeros",
         {.files = {{"run.txt", run}}, .links = {{"orvel.ini", "/dev/zero"}}},
         no_text},
        {"settings are a loop",
         {.files = {{"run.txt", run}}, .links = {{"orvel.ini", "orvel.ini"}}},
         "$$ (fopen_chk_rmode) Cannot open orvel.ini. Abort."},
        {"table is a loop",
         {.files = {{"run.txt", run}}, .links = {{"orvelbk.dat", "orvelbk.dat"}}},
         "Cannot open orvelbk.dat. Abort."},
        {"table is a device",
         {.files = {{"run.txt", run}}, .links = {{"orvelspg.dat", "/dev/zero"}}},
         "$$ orvelspg.dat is no regular file. Abort."},
        {"table is a pipe",
         {.files = {{"run.txt", run}}, .links = {{"orvelbk.dat", fifo}}},
         "$$ orvelbk.dat is no regular file. Abort."},
        {"result in place of the parameter file",
         {.files = {{"run.txt", run}}, .links = {{"run_rs0.txt", "run.txt"}}},
         "$$ run_rs0.txt is run.txt, which this run reads or writes. Abort."},
        {"log in place of the parameter file",
         {.files = {{"run.txt", run}}, .links = {{"run_log.txt", "run.txt"}}},
         "$$ run_log.txt is run.txt, which this run reads or writes. Abort."},
        {"log in place of a table",
         {.files = {{"run.txt", run}, {"orvelxdt.dat", "a table"}},
          .links = {{"run_log.txt", "orvelxdt.dat"}}},
         "$$ run_log.txt is orvelxdt.dat, which this run reads or writes. Abort."},
        {"log in place of the checkpoint",
         {.files = {{"run.txt", run},
                    {"run_checkpoint", "of an earlier run"},
                    {"orvel.ini", "checkpoint_seconds 1\nINI_PARAM_END\n"}},
          .links = {{"run_log.txt", "run_checkpoint"}}},
         "$$ run_log.txt is run_checkpoint, which this run reads or writes. Abort."},
        {"checkpoint in place of the parameter file",
         {.files = {{"run.txt", run}, {"orvel.ini", "checkpoint_seconds 1\nINI_PARAM_END\n"}},
          .links = {{"run_checkpoint", "run.txt"}}},
         "$$ run_checkpoint is run.txt, which this run reads or writes. Abort."},
        {"parameter file in place of a temporary",
         {.files = {{"run.txt", run}}, .links = {{"run_rs0.txt.part", "run.txt"}}},
         "run_rs0.txt.part is run.txt, which this run reads or writes. Abort."},
        {"result in place of the settings",
         {.files = {{"run.txt", run}, {"orvel.ini", "INI_PARAM_END\n"}},
          .links = {{"run_rs0.txt", "orvel.ini"}}},
         "$$ run_rs0.txt is orvel.ini, which this run reads or writes. Abort."},
        {"folder in place of the log",
         {.files = {{"run.txt", run}, {"run_log.txt/x", ""}}},
         "$$ Cannot open run_log.txt. Abort."},
        {"folder in place of a result",
         {.files = {{"run.txt", run}, {"run_rs0.txt/x", ""}}},
         "$$ Cannot open run_rs0.txt. Abort."},
        {"disk full at a result",
         {.files = {{"run.txt", run}}, .links = {{"run_rs0.txt", "/dev/full"}}},
         "$$ Cannot write run_rs0.txt. Abort."},
        {"file size",
         {.files = {{"run.txt", run}},
          .standard_output = "/dev/null",
          .limits = {{RLIMIT_FSIZE, 600}}},
         "$$ Cannot write run_rs0.txt. Abort."},
#if !defined(__SANITIZE_ADDRESS__) // which takes descriptors for itself
        {"descriptors",
         {.files = {{"run.txt", run}}, .limits = {{RLIMIT_NOFILE, 6}}},
         "$$ Cannot open run_log.txt. Abort."},
#endif
    };
    for (const auto &c : cases) {
        ProgramInput input = c.input;
        input.args = {"run.txt"};
        input.limit = std::chrono::seconds(30);
        const ProgramRun done = run_program(input);
        EXPECT_EQ(done.status, 1) << c.name << done.out.substr(0, 2000);
        EXPECT_TRUE(holds(done.out + done.err, c.says)) << c.name << done.out << done.err;
        EXPECT_LT(done.out.size(), 10000U) << c.name;
        for (const auto &[name, contents] : input.files) {
            EXPECT_EQ(done.read(name), contents) << c.name;
        }
        for (const fs::directory_entry &file : fs::directory_iterator(done.path(""))) {
            EXPECT_TRUE(file.path().extension() != ".part" || file.is_symlink()) << c.name;
        }
    }
}

TEST(Surroundings, MemoryIsWhatTheMachineAndTheBatchSystemGive) {
    const double unlimited = std::numeric_limits<double>::infinity();
    const struct {
        const char *groups; // /proc/self/cgroup
        std::map<std::string, const char *> limits;
        double available;
    } cases[] = {
        {"", {}, 8192e3},
        {"0::/a/b\n", {{"a/b/memory.max", "max\n"}, {"a/memory.max", "4096\n"}}, 4096.0},
        {"0::/a/b\n", {{"a/b/memory.max", "100"}, {"a/memory.max", "4096"}}, 100.0},
        {"0::/\n", {{"memory.max", "512\n"}}, 512.0},
        {"0::/gone\n", {{"a/memory.max", "512\n"}}, 8192e3},
        {"5:cpu:/a\n4:memory:/job/1\n0::/\n",
         {{"memory/job/1/memory.limit_in_bytes", "9223372036854771712\n"},
          {"memory/job/memory.limit_in_bytes", "640\n"},
          {"cpu/a/memory.limit_in_bytes", "1\n"}},
         640.0},
        {"nonsense\n::\n:", {{"memory.max", "a"}}, 8192e3},
    };
    for (const auto &c : cases) {
        const TemporaryFolder folder;
        fs::create_directories(folder.path() / "proc/self");
        write_file(folder.path() / "proc/meminfo", "MemTotal: 1 kB\nMemAvailable:    8000 kB\n");
        write_file(folder.path() / "proc/self/cgroup", c.groups);
        for (const auto &[name, limit] : c.limits) {
            const fs::path file = folder.path() / "groups" / name;
            fs::create_directories(file.parent_path());
            write_file(file, limit);
        }
        EXPECT_EQ(available_memory(folder.path() / "proc", folder.path() / "groups"), c.available)
            << c.groups;
    }
    EXPECT_EQ(available_memory("/nowhere", "/nowhere"), unlimited);

    const TemporaryFolder folder; // the pages of the process itself are not free
    fs::create_directories(folder.path() / "proc/self");
    fs::create_directories(folder.path() / "groups");
    write_file(folder.path() / "proc/self/cgroup", "0::/\n");
    write_file(folder.path() / "proc/self/statm", "50 3 1 1 0 1 0\n");
    write_file(folder.path() / "groups/memory.max", "1000000\n");
    EXPECT_EQ(available_memory(folder.path() / "proc", folder.path() / "groups"),
              1e6 - 3.0 * static_cast<double>(sysconf(_SC_PAGESIZE)));
}

TEST(Surroundings, LineEndsAndPipesChangeNothing) {
    const TemporaryFolder folder;
    const std::string fifo = make_fifo(folder);
    const std::string text = small_run();
    const ProgramRun plain = run_parameter_file(text);
    EXPECT_EQ(plain.status, 0);
    std::string foreign;
    for (const char c : text) {
        foreign += c == '\n' ? "\r\n" : std::string(1, c);
    }
    EXPECT_EQ(run_parameter_file(foreign).read("run_rs0.txt"), plain.read("run_rs0.txt"));
    {
        std::thread writer([&] { write_file(fifo, text); });
        const ProgramRun run = run_program({.args = {"run.txt"}, .links = {{"run.txt", fifo}}});
        writer.join();
        EXPECT_EQ(run.read("run_rs0.txt"), plain.read("run_rs0.txt"));
    }
    std::string result;
    std::thread reader([&] { result = read_file(fifo); });
    const ProgramRun run = run_program(
        {.files = {{"run.txt", text}}, .args = {"run.txt"}, .links = {{"run_rs0.txt", fifo}}});
    reader.join();
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(result, plain.read("run_rs0.txt"));
}

TEST(Surroundings, AReaderThatLeavesIsNoticed) {
    const TemporaryFolder folder;
    const std::string fifo = make_fifo(folder);
    // More than a pipe holds, so that the reader is gone before all is written.
    Conditions conditions;
    for (int i = 0; i < 4000; ++i) {
        conditions.settings += "what\n";
    }
    std::thread reader([&] {
        char byte = 0;
        std::ifstream(fifo).read(&byte, 1);
    });
    const ProgramRun run = run_program({.files = {{"run.txt", conditions.cbed("0\n", "1\n150\n")}},
                                        .args = {"run.txt"},
                                        .standard_output = fifo});
    reader.join();
    EXPECT_EQ(run.status, 1);
    EXPECT_TRUE(run.err.ends_with("$$ Cannot write standard output. Abort.\n")) << run.err;
    EXPECT_TRUE(run.has("run_rs0.txt"));
}

TEST(Surroundings, AConsoleInAFileOfTheRunIsNoticed) {
    const std::string used = "$$ The console is written to ";
    for (const char *file : {"run.txt", "orvel.ini", "run_log.txt", "run_rs0.txt"}) {
        const TemporaryFolder folder;
        const std::string console = folder.path() / "console";
        write_file(console, file == std::string("run.txt") ? small_run() : "INI_PARAM_END\n");
        ProgramInput input = {.args = {"run.txt"}, .standard_output = console};
        input.files = {{"run.txt", small_run()}};
        input.files.erase(file);
        input.links = {{file, console}};
        const ProgramRun run = run_program(input);
        if (file == std::string("run_rs0.txt")) {
            EXPECT_EQ(run.status, 0);
            EXPECT_NE(run.err.find("is to hold a result: the console goes on in "),
                      std::string::npos);
            EXPECT_NE(run.read("run_rs0.txt").find("\n}RF\n"), std::string::npos);
            EXPECT_NE(read_file(console + ".console").find("elapsed time"), std::string::npos);
        } else {
            EXPECT_EQ(run.status, 1) << file;
            EXPECT_TRUE(run.err.ends_with(used + file + ", which this run uses. Abort.\n"))
                << run.err;
        }
    }
}

TEST(Surroundings, AnUnwritableFolderIsNoticed) {
    const ProgramRun run =
        run_program({.files = {{"run.txt", small_run()}}, .args = {"run.txt"}, .unwritable = true});
    fs::permissions(run.path(""), fs::perms::owner_all);
    if (run.status == 127) {
        GTEST_SKIP() << "the program cannot be reached without privileges";
    }
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.err, "$$ Cannot open run_log.txt. Abort.\n");
}

TEST(Surroundings, LittleMemoryIsNoticed) {
#if defined(__SANITIZE_ADDRESS__)
    GTEST_SKIP() << "the sanitizer needs the address space";
#endif
    Conditions conditions;
    conditions.grid = "2\n1500\n1\n";
    const ProgramRun run = run_program({.files = {{"run.txt", conditions.cbed("0\n", "1\n150\n")}},
                                        .args = {"run.txt"},
                                        .limits = {{RLIMIT_AS, 60 << 20}}});
    EXPECT_EQ(run.status, 1) << run.out;
    EXPECT_TRUE(holds(run.out + run.err, "ot enough memory for ")) << run.out << run.err;
}

} // namespace
} // namespace orvel::test
