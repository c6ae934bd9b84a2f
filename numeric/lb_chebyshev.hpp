// Exponentials in Chebyshev polynomials: how many terms they take, and their coefficients.
//
//     exp(-i z x) = sum over k >= 0 of (2 - delta_k0) (-i)^k J_k(z) T_k(x),  -1 <= x <= 1
//
// (H. Tal-Ezer and R. Kosloff, J. Chem. Phys. 81 (1984) 3967).
#pragma once

#include <cstddef>

namespace orvel {

// The smallest number of terms after which |J_k(z)| is below tol, by Kapteyn's inequality
//     |J_k(k x)| <= (x exp(sqrt(1 - x^2)) / (1 + sqrt(1 - x^2)))^k,  0 < x <= 1
// (Watson, Theory of Bessel Functions, 1922, section 8.7); at least 1. limit + 1 where more than
// `limit` are needed, or for z that is no finite number.
int chebyshev_terms(double z, double tol, int limit);

// c[k step], k = 0..count-1, with exp(-i z x) = sum over even k of c_k T_k - i sum over odd k of
// c_k T_k. count: at least the terms of z. By Miller's backward recurrence from the last of `terms`
// on; zero beyond. z of either sign.
void chebyshev_coefficients(double z, int terms, int count, double *c, std::ptrdiff_t step);

} // namespace orvel
