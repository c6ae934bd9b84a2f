// orvel_replay CORPUS: every file of every target's folder once, without a fuzzer. What a run must
// not do (crash, hang, offend a sanitizer) ends this program or its test.
#include "fuzz/targets.hpp"

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>

namespace {

std::string read_file(const std::filesystem::path &path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

// The number of files.
int replay(const orvel::fuzz::Target &target, const std::filesystem::path &folder) {
    int files = 0;
    for (const auto &file : std::filesystem::directory_iterator(folder)) {
        std::fprintf(stderr, "%s\n", file.path().c_str());
        orvel::fuzz::run_input(target, read_file(file.path()));
        ++files;
    }
    return files;
}

} // namespace

int main(int argc, char **argv) {
    if (argc != 2) {
        std::fprintf(stderr, "Usage: orvel_replay CORPUS\n");
        return 1;
    }
    const std::filesystem::path corpus = std::filesystem::absolute(argv[1]);
    bool complete = true;
    for (const orvel::fuzz::Target &target : orvel::fuzz::targets()) {
        // Each has its own folder: some replace the data tables.
        orvel::fuzz::enter_work_folder();
        if (replay(target, corpus / target.name) == 0) {
            std::fprintf(stderr, "no corpus for %s\n", target.name);
            complete = false;
        }
        orvel::fuzz::leave_work_folder();
    }
    return complete ? 0 : 1;
}
