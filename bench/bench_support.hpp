// What the benchmarks share: timing in alternation, matrices of the Bloch-wave kind and the table.
#pragma once

#include "numeric/complex.hpp"
#include "numeric/vecmat.hpp"

#include <cstdio>
#include <functional>
#include <vector>

namespace orvel::bench {

// A program under comparison: `prepare` is not timed.
struct Contender {
    std::function<void()> prepare;
    std::function<void()> run;
};

// Median seconds of each contender. They take turns, so that a change of the machine's pace meets
// all of them.
std::vector<double> median_seconds(const std::vector<Contender> &contenders, int turns);

// Matrix of n beams: 2K s_g + i U0'' on the diagonal, U_(g-h) off it. A square net of beams, a
// crystal potential of one complex coefficient a net vector (falling from 0.05 to 0.0005 1/A^2, no
// centre of symmetry, absorption a tenth), excitation errors of a tilted incident beam.
Matrix<complex> bloch_matrix(int n);

// || A C - C L || / (n eps || A ||), Frobenius norms; the columns of C are of unit length.
double eigen_residual(int n, const Matrix<complex> &a, const complex *eigval,
                      const Matrix<complex> &eigvec);

// || A B - 1 || / (n eps || A || || B ||)
double inverse_residual(int n, const Matrix<complex> &a, const Matrix<complex> &b);

// Where the table goes; the program under test writes its own lines to standard output.
void set_table_stream(std::FILE *stream);
void print_header(const char *title);
// One line of the table: times in ms, their ratio, both residuals.
void print_row(const char *name, int n, double seconds, double reference, double residual,
               double reference_residual);

} // namespace orvel::bench
