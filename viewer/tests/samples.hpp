// Folders with copies of the samples that a test may spoil.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <string>

namespace orvel::test {

inline std::string sample(const std::string &name) {
    return std::string(KAVUN_SAMPLES) + "/" + name;
}

inline std::string read_file(const std::string &path) {
    std::ifstream stream(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
}

inline void write_file(const std::string &path, const std::string &text) {
    std::ofstream(path, std::ios::binary) << text;
}

// A folder of its own for the running test, with the samples of one base name; gone afterwards.
class SampleFolder {
public:
    explicit SampleFolder(const std::string &base = "") {
        std::string unique =
            (std::filesystem::temp_directory_path() / "kavun_test_XXXXXX").string();
        path_ = mkdtemp(unique.data());
        for (const auto &entry : std::filesystem::directory_iterator(KAVUN_SAMPLES)) {
            const std::string name = entry.path().filename();
            if (!base.empty() && (name.starts_with(base + "_") || name == base + ".par")) {
                std::filesystem::copy(entry.path(), path_ / name);
            }
        }
    }
    ~SampleFolder() { std::filesystem::remove_all(path_); }
    SampleFolder(const SampleFolder &) = delete;
    SampleFolder &operator=(const SampleFolder &) = delete;

    std::string file(const std::string &name) const { return (path_ / name).string(); }

private:
    std::filesystem::path path_;
};

// Replaces the first occurrence in a file; the text must be there.
inline void edit(const std::string &path, const std::string &from, const std::string &to) {
    std::string text = read_file(path);
    const std::size_t at = text.find(from);
    ASSERT_NE(at, std::string::npos) << from;
    write_file(path, text.replace(at, from.size(), to));
}

} // namespace orvel::test
