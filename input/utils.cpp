#include "input/utils.hpp"

#include <cassert>
#include <cctype>
#include <cstdlib>
#include <filesystem>
#include <optional>

namespace orvel {

namespace {

// Null also for what opens but cannot be read, as a directory does.
std::FILE *open_readable(const std::string &path) {
    std::FILE *stream = std::fopen(path.c_str(), "r");
    if (stream == nullptr) {
        return nullptr;
    }
    const int first = std::fgetc(stream);
    if (std::ferror(stream) != 0) {
        std::fclose(stream);
        return nullptr;
    }
    std::clearerr(stream);
    std::ungetc(first, stream);
    return stream;
}

// Whether there is a table, be it one that cannot be read. Tables are read more than once, which a
// pipe would answer by waiting for ever.
bool is_there(const std::string &path) {
    std::error_code ignored;
    const std::filesystem::file_status status = std::filesystem::status(path, ignored);
    if (std::filesystem::is_other(status)) {
        input_exit("$$ %s is no regular file. Abort.", path.c_str());
    }
    return status.type() != std::filesystem::file_type::not_found;
}

// Where ORVEL_DATA has a table of that name.
std::optional<std::string> data_file_elsewhere(const std::string &name) {
    const char *folder = std::getenv("ORVEL_DATA");
    return folder == nullptr || *folder == '\0' ? std::nullopt
                                                : std::optional(std::string(folder) + "/" + name);
}

} // namespace

InputFile fopen_chk_rmode(const std::string &path) {
    std::FILE *stream = open_readable(path);
    if (stream == nullptr) {
        mb_fprintf(stderr, "$$ (fopen_chk_rmode) Cannot open %s. Abort.\n", path.c_str());
        end_run(1);
    }
    protect_input(path);
    return InputFile(stream);
}

OutputFile fopen_chk_wmode(const std::string &path) {
    OutputFile file = open_output(path, Writing::beside);
    if (file == nullptr) {
        mb_fprintf(stderr, "$$ (fopen_chk_wmode) Cannot open %s. Abort.\n", path.c_str());
        end_run(1);
    }
    return file;
}

std::string data_file(const std::string &name) {
    const std::optional<std::string> elsewhere = data_file_elsewhere(name);
    if (is_there(name)) {
        return name;
    }
    if (elsewhere && is_there(*elsewhere)) {
        return *elsewhere;
    }
    mb_fprintf(stdout, "$$ Warning: %s is not in this folder, and ORVEL_DATA names %s.\n",
               name.c_str(), elsewhere ? "none that holds it" : "no other one");
    return name;
}

void protect_data_file(const std::string &name) {
    protect_input(name);
    if (const std::optional<std::string> elsewhere = data_file_elsewhere(name)) {
        protect_input(*elsewhere);
    }
}

void str2lower(char *str) {
    for (; *str != '\0'; ++str) {
        *str = static_cast<char>(std::tolower(static_cast<unsigned char>(*str)));
    }
}

void str2upper(char *str) {
    for (; *str != '\0'; ++str) {
        *str = static_cast<char>(std::toupper(static_cast<unsigned char>(*str)));
    }
}

std::string remove_extention(const std::string &name) {
    const std::size_t first = name.find_first_not_of('.');
    if (first == std::string::npos) {
        return {};
    }
    return name.substr(first, name.find('.', first) - first);
}

void findmaxmin(int n, const double *a, double &max, double &min) {
    assert(n > 0);
    max = a[0];
    min = a[0];
    for (int i = 1; i < n; ++i) {
        max = a[i] > max ? a[i] : max;
        min = a[i] < min ? a[i] : min;
    }
}

void findmaxmin2(int rows, int cols, const double *const *a, double &max, double &min) {
    assert(rows > 0 && cols > 0);
    max = a[0][0];
    min = a[0][0];
    for (int i = 1; i < rows; ++i) {
        for (int j = 1; j < cols; ++j) {
            max = a[i][j] > max ? a[i][j] : max;
            min = a[i][j] < min ? a[i][j] : min;
        }
    }
}

double machine_eps() {
    double eps = 1.0;
    for (int i = 0; i < 53; ++i) {
        eps *= 0.5;
    }
    return 2.0 * eps;
}

double quadratic_interpol(int i0, double d, const double *y, int n, const double *x) {
    assert(n >= 3 && i0 >= 0 && i0 < n);
    const double at = x[i0] - d;
    int j = 2;
    while (at > x[j] && j < n - 1) {
        ++j;
    }
    const double x0 = x[j - 2];
    const double x1 = x[j - 1];
    const double x2 = x[j];
    return y[j - 2] * (at - x1) * (at - x2) / ((x0 - x1) * (x0 - x2)) +
           y[j - 1] * (at - x0) * (at - x2) / ((x1 - x0) * (x1 - x2)) +
           y[j] * (at - x0) * (at - x1) / ((x2 - x0) * (x2 - x1));
}

} // namespace orvel
