// A text as an open file, for the readers.
#pragma once

#include "input/utils.hpp"

#include <cstdio>
#include <string>

namespace orvel::test {

inline InputFile stream_of(const std::string &text) {
    std::FILE *stream = std::tmpfile();
    std::fwrite(text.data(), 1, text.size(), stream);
    std::rewind(stream);
    return InputFile(stream);
}

} // namespace orvel::test
