// A few dense operations on complex vectors and square row-pointer matrices.
#pragma once

#include "numeric/complex.hpp"

namespace orvel {

// Sum over i of a[i] b[i] in index order; neither vector is conjugated. n < 1 gives 0.
complex c_innerproduct(int n, const complex *a, const complex *b);

// Prints each element with the caller's format, which takes (re, im); a newline after every
// per_line elements, and one more at the end only when the last line is incomplete.
void c_vecprint(int n, int per_line, const char *format, const complex *v);

// dst <- src
void c_matcopy2(int n, const complex *const *src, complex *const *dst);

// C <- A B with C n x m, A n x l, B l x m. C must be distinct from A and B. Each element sums over
// k = 0 .. l-1 in order, real and imaginary part apart.
void c_matmult(int n, int m, int l, complex *const *c, const complex *const *a,
               const complex *const *b);

// A <- A B in place, row by row; B must be distinct from A. One row of scratch is allocated.
void c_matmult2(int n, complex *const *a, const complex *const *b);

// A <- A + B, A <- A - B
void c_matadd2(int n, complex *const *a, const complex *const *b);
void c_matsub2(int n, complex *const *a, const complex *const *b);

// Whether all elements are finite.
bool c_matfinite(int n, const complex *const *a);

// Every element, on and off the diagonal, becomes 1 + 0i: a matrix of ones, not the identity.
void c_matunit(int n, complex *const *a);

} // namespace orvel
