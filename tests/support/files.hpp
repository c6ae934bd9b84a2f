// Whole files as text.
#pragma once

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

namespace orvel::test {

inline std::string read_file(const std::filesystem::path &path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

inline void write_file(const std::filesystem::path &path, const std::string &text) {
    std::ofstream(path, std::ios::binary) << text;
}

} // namespace orvel::test
