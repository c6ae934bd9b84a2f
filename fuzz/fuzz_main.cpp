// orvel_fuzz TARGET [libFuzzer options] [folders]: one target under libFuzzer.
#include "fuzz/targets.hpp"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>

namespace {

const orvel::fuzz::Target *target = nullptr;

} // namespace

// Folders of the command line must be absolute: the runs have a working folder of their own.
extern "C" int LLVMFuzzerInitialize(int *argc, char ***argv) {
    target = *argc > 1 ? orvel::fuzz::find_target((*argv)[1]) : nullptr;
    if (target == nullptr) {
        std::fprintf(stderr, "Usage: orvel_fuzz TARGET [libFuzzer options] [folders]\n");
        std::exit(1);
    }
    std::rotate(*argv + 1, *argv + 2, *argv + *argc);
    --*argc;
    orvel::fuzz::enter_work_folder();
    std::atexit(orvel::fuzz::leave_work_folder);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    orvel::fuzz::run_input(*target, {reinterpret_cast<const char *>(data), size});
    return 0;
}
