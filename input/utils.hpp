// General utilities beside the readers: file opening, strings, extrema, interpolation.
#pragma once

#include "app/mb_mpi.hpp"

#include <cstdio>
#include <string>
#include <utility>

namespace orvel {

// A file open for reading, closed by its owner. Move-only.
class InputFile {
public:
    InputFile() = default;
    explicit InputFile(std::FILE *stream) : stream_(stream) {}
    ~InputFile() { close(); }
    InputFile(InputFile &&o) noexcept : stream_(std::exchange(o.stream_, nullptr)) {}
    InputFile &operator=(InputFile &&o) noexcept {
        std::swap(stream_, o.stream_);
        return *this;
    }
    InputFile(const InputFile &) = delete;
    InputFile &operator=(const InputFile &) = delete;

    operator std::FILE *() const { return stream_; }
    void close() {
        if (stream_ != nullptr) {
            std::fclose(std::exchange(stream_, nullptr));
        }
    }

private:
    std::FILE *stream_ = nullptr;
};

// Opens for reading or writing. On failure "$$ (fopen_chk_rmode) Cannot open %s. Abort.\n" (or
// fopen_chk_wmode) on standard error, exit status 1. A directory cannot be opened.
InputFile fopen_chk_rmode(const std::string &path);
OutputFile fopen_chk_wmode(const std::string &path);

// Where a data table is: `name` in the working directory if there is such a file, else in the
// folder that the environment variable ORVEL_DATA named at start-up, else `name` as it stands.
// A pipe or a device in its place ends the run; a table that is nowhere is told.
std::string data_file(const std::string &name);

// Keeps both places of a table from what the run writes before it reads it (protect_input).
void protect_data_file(const std::string &name);

// In place, character by character.
void str2lower(char *str);
void str2upper(char *str);

// The part of name before its first "."; leading dots are skipped, so this is the first run of
// characters that holds no dot.
std::string remove_extention(const std::string &name);

// Largest and smallest of n doubles.
void findmaxmin(int n, const double *a, double &max, double &min);

// The same over an array of rows, with a scan of its own: it starts from a[0][0] and then visits
// the rows 1 .. rows-1, in each only the columns 1 .. cols-1. With fewer than 2 rows both are
// a[0][0].
void findmaxmin2(int rows, int cols, const double *const *a, double &max, double &min);

// 2^-52, by halving 1.0 fifty-three times and doubling once.
double machine_eps();

// Three-point Lagrange interpolation of the tabulated y(x) at the abscissa x[i0] - d. The points
// are j-2, j-1, j, where j starts at 2 and grows while the abscissa is greater than x[j] and j is
// below n-1.
double quadratic_interpol(int i0, double d, const double *y, int n, const double *x);

} // namespace orvel
