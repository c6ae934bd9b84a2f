// Elastic and absorptive scattering factors interpolated from the Bird & King table of an element.
#pragma once

#include "crystal/atom_tables.hpp"

#include <span>

namespace orvel {

// A pair of scattering factors in A.
struct AtomFactors {
    double elastic = 0.0;
    double absorptive = 0.0;
};

// Elastic f(s) and absorptive f'(s, B) for s in 1/A, B in A^2 and the voltage in kV. f' is to be
// multiplied by exp(-B s^2) as f is. Returns 0 in range, 1 for s beyond the last tabulated s, 2 for
// B outside [0, gm[5]] (computed with the clamped B), 3 for a negative s, 4 for a voltage outside
// (0, 10000]; both factors are 0 for 1, 3 and 4.
int atom_bk(const BkTable &table, double s, double B, double kvolts, AtomFactors &factors);

// Lagrange interpolation through three and through four points. Equal abscissae are not checked.
double quad_int(const double *xs, double x, const double *ys);
double cub_int(const double *xs, double x, const double *ys);
// Cubic on the four points of an ascending table around x.
double cub_int_2(double x, std::span<const double> xs, std::span<const double> ys);

} // namespace orvel
