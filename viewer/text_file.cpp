#include "viewer/text_file.hpp"

#include "app/mb_debug.hpp"
#include "app/mb_mpi.hpp"

#include <charconv>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <memory>

namespace orvel {

namespace {

bool is_delimiter(char c) {
    return c == ' ' || c == '\t' || c == ',';
}

std::string_view trimmed(std::string_view line) {
    while (!line.empty() && is_delimiter(line.front())) {
        line.remove_prefix(1);
    }
    while (!line.empty() && is_delimiter(line.back())) {
        line.remove_suffix(1);
    }
    return line;
}

bool ends_here(std::string_view rest) {
    rest = trimmed(rest);
    return rest.empty() || rest.front() == '#';
}

bool find_element(TextFile &file, std::string_view &line) {
    while (next_line(file, line)) {
        line = trimmed(line);
        if (!line.empty() && line.front() != '#' && line.front() != '%') {
            return true;
        }
    }
    return false;
}

[[noreturn]] void wrong_line(const TextFile &file, const char *what, std::string_view line) {
    constexpr std::size_t shown = 60;
    file_error(file, std::string(what) + " expected, found \"" +
                         std::string(line.substr(0, shown)) +
                         (line.size() > shown ? "...\"" : "\""));
}

} // namespace

TextFile read_text_file(const std::string &path) {
    std::error_code ignored;
    if (std::filesystem::is_other(std::filesystem::status(path, ignored))) { // a pipe would wait
        input_exit("$$ %s is no regular file. Abort.", path.c_str());
    }
    const std::unique_ptr<std::FILE, int (*)(std::FILE *)> stream(std::fopen(path.c_str(), "rb"),
                                                                  std::fclose);
    protect_input(path);
    TextFile file;
    file.path = path;
    char block[4096];
    bool readable = stream != nullptr;
    while (readable) {
        const std::size_t n = std::fread(block, 1, sizeof block, stream.get());
        if (n == 0) {
            readable = std::ferror(stream.get()) == 0; // a folder opens, but cannot be read
            break;
        }
        if (std::memchr(block, '\0', n) != nullptr) {
            input_exit("$$ %s holds a zero byte: it is no text file. Abort.", path.c_str());
        }
        file.content.append(block, n);
    }
    if (!readable) {
        input_exit("$$ Cannot open %s. Abort.", path.c_str());
    }
    return file;
}

bool next_line(TextFile &file, std::string_view &line) {
    const std::string_view rest = std::string_view(file.content).substr(file.position);
    if (rest.empty()) {
        return false;
    }
    chk_interrupt();
    const std::size_t end = rest.find('\n');
    line = rest.substr(0, end);
    file.position += end == std::string_view::npos ? rest.size() : end + 1;
    ++file.line;
    if (!line.empty() && line.back() == '\r') {
        line.remove_suffix(1);
    }
    return true;
}

std::string_view next_element(TextFile &file, const char *what) {
    std::string_view line;
    if (find_element(file, line)) {
        return line;
    }
    file_error(file, std::string("the file ends where ") + what + " is expected");
}

void expect_keyword(TextFile &file, const char *keyword) {
    const std::string_view line = next_element(file, keyword);
    if (line != keyword) {
        wrong_line(file, keyword, line);
    }
}

void expect_end(TextFile &file) {
    std::string_view line;
    if (find_element(file, line)) {
        wrong_line(file, "the end of the file", line);
    }
}

void expect_line_end(const TextFile &file) {
    if (!file.content.ends_with('\n')) {
        file_error(file, "the last line has no end: the file is cut short");
    }
}

void file_error(const TextFile &file, const std::string &message) {
    input_exit("$$ %s, line %ld: %s. Abort.", file.path.c_str(), file.line, message.c_str());
}

std::string_view cut_token(std::string_view &line) {
    std::size_t begin = 0;
    while (begin < line.size() && is_delimiter(line[begin])) {
        ++begin;
    }
    std::size_t end = begin;
    while (end < line.size() && !is_delimiter(line[end])) {
        ++end;
    }
    const std::string_view token = line.substr(begin, end - begin);
    line.remove_prefix(end);
    return token;
}

bool to_number(std::string_view token, double &value) {
    const auto [end, error] = std::from_chars(token.data(), token.data() + token.size(), value);
    return error == std::errc() && end == token.data() + token.size();
}

bool to_integer(std::string_view token, int &value) {
    const auto [end, error] = std::from_chars(token.data(), token.data() + token.size(), value);
    return error == std::errc() && end == token.data() + token.size();
}

void next_numbers(TextFile &file, const char *what, std::span<double> values) {
    const std::string_view line = next_element(file, what);
    std::string_view rest = line;
    for (double &value : values) {
        if (!to_number(cut_token(rest), value)) {
            wrong_line(file, what, line);
        }
    }
    if (!ends_here(rest)) {
        wrong_line(file, what, line);
    }
}

double next_number(TextFile &file, const char *what) {
    double value = 0.0;
    next_numbers(file, what, std::span(&value, 1));
    return value;
}

void next_integers(TextFile &file, const char *what, std::span<int> values) {
    const std::string_view line = next_element(file, what);
    std::string_view rest = line;
    for (int &value : values) {
        if (!to_integer(cut_token(rest), value)) {
            wrong_line(file, what, line);
        }
    }
    if (!ends_here(rest)) {
        wrong_line(file, what, line);
    }
}

int next_integer(TextFile &file, const char *what, int smallest) {
    int value = 0;
    next_integers(file, what, std::span(&value, 1));
    if (value < smallest) {
        file_error(file, std::string(what) + " is " + std::to_string(value) + ", below " +
                             std::to_string(smallest));
    }
    return value;
}

std::string beside(const std::string &script, std::string_view name) {
    const std::size_t name_slash = name.find_last_of("/\\");
    const std::string_view last =
        name_slash == std::string_view::npos ? name : name.substr(name_slash + 1);
    if (last.empty() || last == "." || last == ".." || last.find('\0') != std::string_view::npos) {
        input_exit("$$ %s names no file: \"%s\". Abort.", script.c_str(),
                   std::string(name).c_str());
    }
    const std::size_t slash = script.rfind('/');
    const std::string folder = slash == std::string::npos ? "" : script.substr(0, slash + 1);
    return folder + std::string(last);
}

void chk_picture_value(const TextFile &file, double value) {
    if (std::isfinite(value) && std::fabs(value) > std::numeric_limits<float>::max()) {
        file_error(file, "a value is beyond what pictures hold");
    }
}

void chk_not_all_lost(const TextFile &file, double largest) {
    if (largest > 0.0 && largest < std::numeric_limits<float>::min()) {
        file_error(file, "all values are below what pictures hold");
    }
}

} // namespace orvel
