// Whole runs of the built program, each in a fresh folder of its own.
#pragma once

#include "support/files.hpp"

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <gtest/gtest.h>
#include <map>
#include <stdexcept>
#include <string>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <utility>
#include <vector>

namespace orvel::test {

// A folder that is removed with its owner. Move-only.
class TemporaryFolder {
public:
    TemporaryFolder() {
        std::string name = (std::filesystem::temp_directory_path() / "orvel_test_XXXXXX").string();
        if (mkdtemp(name.data()) == nullptr) {
            throw std::runtime_error("no temporary folder");
        }
        path_ = name;
    }
    ~TemporaryFolder() {
        std::error_code ignored;
        if (!path_.empty()) {
            std::filesystem::remove_all(path_, ignored);
        }
    }
    TemporaryFolder(TemporaryFolder &&o) noexcept : path_(std::exchange(o.path_, {})) {}
    TemporaryFolder &operator=(TemporaryFolder &&o) noexcept {
        std::swap(path_, o.path_);
        return *this;
    }

    const std::filesystem::path &path() const { return path_; }

private:
    std::filesystem::path path_;
};

struct ProgramInput {
    std::map<std::string, std::string> files = {}; // name -> contents
    std::vector<std::string> args = {};
    std::string standard_input = {};
    bool tables = true;               // let the program find the data tables of the project
    std::string standard_output = {}; // where it goes instead of being captured
    std::chrono::seconds limit{120};  // after which a run counts as hanging and is killed
    int interrupt_by = SIGTERM;
    std::string interrupt_at = {};                   // as soon as there is this file
    std::string interrupt_said = {};                 // or as soon as the output holds this
    std::vector<int> closed = {};                    // descriptors that are closed at the start
    std::map<std::string, std::string> links = {};   // name -> target
    std::vector<std::pair<int, rlim_t>> limits = {}; // RLIMIT_..., of the program
    bool unwritable = false; // the working folder, also for a privileged user
};

// What a run left behind. The working folder lives as long as the record.
struct ProgramRun {
    int status = -1; // exit status; 128 + the number of the signal that ended it
    std::string out;
    std::string err;
    TemporaryFolder folder;

    std::filesystem::path path(const std::string &name) const {
        return folder.path() / "work" / name;
    }
    bool has(const std::string &name) const { return std::filesystem::exists(path(name)); }
    std::string read(const std::string &name) const { return read_file(path(name)); }
};

// In the child: never returns.
[[noreturn]] inline void become_program(const ProgramInput &input,
                                        const std::filesystem::path &folder) {
    const auto redirect = [](const std::filesystem::path &path, int flags, int to) {
        const int from = open(path.c_str(), flags, 0644);
        if (from < 0 || dup2(from, to) < 0) {
            _exit(126);
        }
        close(from);
    };
    redirect(folder / "in", O_RDONLY, STDIN_FILENO);
    redirect(input.standard_output.empty() ? folder / "out"
                                           : std::filesystem::path(input.standard_output),
             O_WRONLY | O_CREAT, STDOUT_FILENO);
    redirect(folder / "err", O_WRONLY | O_CREAT, STDERR_FILENO);
    for (const int descriptor : input.closed) {
        close(descriptor);
    }
    if (chdir((folder / "work").c_str()) != 0) {
        _exit(126);
    }
    for (const auto &[resource, most] : input.limits) {
        const rlimit both = {most, most};
        if (setrlimit(static_cast<__rlimit_resource_t>(resource), &both) != 0) {
            _exit(126);
        }
    }
    constexpr uid_t nobody = 65534;
    if (input.unwritable && (chmod(".", 0555) != 0 || (geteuid() == 0 && setuid(nobody) != 0))) {
        _exit(126);
    }
    unsetenv("ORVEL_DATA");
    if (input.tables) {
        setenv("ORVEL_DATA", ORVEL_SOURCE_DIR "/data", 1);
    }
    std::vector<char *> argv{const_cast<char *>(ORVEL_PROGRAM)};
    for (const std::string &arg : input.args) {
        argv.push_back(const_cast<char *>(arg.c_str()));
    }
    argv.push_back(nullptr);
    execv(ORVEL_PROGRAM, argv.data());
    _exit(127);
}

inline int wait_for(pid_t child, const ProgramInput &input, const std::filesystem::path &folder) {
    const auto deadline = std::chrono::steady_clock::now() + input.limit;
    bool interrupted = input.interrupt_at.empty() && input.interrupt_said.empty();
    int state = 0;
    while (waitpid(child, &state, WNOHANG) == 0) {
        if (std::chrono::steady_clock::now() > deadline) {
            ADD_FAILURE() << "the program hangs";
            kill(child, SIGKILL);
            waitpid(child, &state, 0);
            break;
        }
        if (!interrupted &&
            (input.interrupt_said.empty()
                 ? std::filesystem::exists(folder / "work" / input.interrupt_at)
                 : read_file(folder / "out").find(input.interrupt_said) != std::string::npos)) {
            interrupted = kill(child, input.interrupt_by) == 0;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    return WIFEXITED(state) ? WEXITSTATUS(state) : 128 + WTERMSIG(state);
}

inline ProgramRun run_program(const ProgramInput &input) {
    ProgramRun run;
    const std::filesystem::path &folder = run.folder.path();
    std::filesystem::create_directory(folder / "work");
    for (const auto &[name, contents] : input.files) {
        std::filesystem::create_directories(run.path(name).parent_path());
        write_file(run.path(name), contents);
    }
    for (const auto &[name, target] : input.links) {
        std::filesystem::create_symlink(target, run.path(name));
    }
    write_file(folder / "in", input.standard_input);
    const pid_t child = fork();
    if (child == 0) {
        become_program(input, folder);
    }
    run.status = wait_for(child, input, folder);
    run.out = read_file(folder / "out");
    run.err = read_file(folder / "err");
    return run;
}

// The run of one parameter file, "run.txt".
inline ProgramRun run_parameter_file(const std::string &text) {
    return run_program({.files = {{"run.txt", text}}, .args = {"run.txt"}});
}

} // namespace orvel::test
