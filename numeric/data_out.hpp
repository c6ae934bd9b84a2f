// Tab-separated listings of vectors and matrices, one element a line, with indices from 0.
#pragma once

#include "numeric/complex.hpp"

#include <cstdio>

namespace orvel {

// "%d\t%g\t%g\n": index, re, im.
void fprint_complexvec(std::FILE *stream, int n, const complex *v);
void print_complexvec(int n, const complex *v);

// "%d\t%g\n": index, value.
void fprint_doublevec(std::FILE *stream, int n, const double *v);
void print_doublevec(int n, const double *v);

// "%d\t%d\t%g\t%g\n": row, column, re, im; column by column.
void fprint_complexmat(std::FILE *stream, int n, const complex *const *m);
void print_complexmat(int n, const complex *const *m);

// "%d\t%d\t%g\n": row, column, value; column by column.
void fprint_doublemat(std::FILE *stream, int n, const double *const *m);
void print_doublemat(int n, const double *const *m);

} // namespace orvel
