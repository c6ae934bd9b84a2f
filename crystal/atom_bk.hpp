// Elastic and absorptive scattering factors of electrons from the table of one element.
//
// The absorptive factor f'(s, B) is the one of thermal diffuse scattering in the Einstein model
// (D. M. Bird & Q. A. King, Acta Cryst. A46 (1990) 202), divided by the site's exp(-B s^2). The
// table holds the velocity-independent ratio F = beta f' / f on a grid of B and B s^2.
#pragma once

#include <span>
#include <type_traits>

namespace orvel {

// The table of one element. The abscissae dts, gm and gms2 ascend and are common to all elements.
// The absorptive ratio at B = gm[i], B s^2 = gms2[j] is
// F = (10 f[i][j] / mlt_fct - 1e-6 add_fct) exp(gms2[j]).
struct BkTable {
    double dt[27] = {};    // elastic factor at s = dts[k], in 0.001 A
    double dts[27] = {};   // 1/A
    double f[6][10] = {};  // row i over gm, column j over gms2
    double gm[6] = {};     // A^2
    double gms2[10] = {};  // no unit
    double mlt_fct = 10.0; // scale of f
    double add_fct = 0.0;  // offset of f
};
static_assert(std::is_trivially_copyable_v<BkTable>);

// Elastic and absorptive scattering factors in A, without relativistic correction.
struct ScatteringFactors {
    double f = 0.0;
    double f_abs = 0.0;
};

// Evaluates the table at s >= 0 (1/A) and B (A^2) for the voltage E (kV). Returns 0; or 1 when s is
// beyond the table, 3 when it is negative, 4 when E is not in (0, 10000] (both factors 0); or 2
// when B is outside [0, gm[5]] (the ratio is taken at the nearest bound). The absorptive factor is
// 0 for B below gm[0] and for B s^2 above gms2[9].
int atom_bk(const BkTable &table, double s, double B, ScatteringFactors &out, double E);

// Lagrange polynomials through 3 and 4 points (xs[i], ys[i]), at x; no two xs may be equal.
double quad_int(std::span<const double, 3> xs, double x, std::span<const double, 3> ys);
double cub_int(std::span<const double, 4> xs, double x, std::span<const double, 4> ys);

// Lagrange cubic through the four of the n >= 4 table points (xs ascending) around x.
double cub_int_2(double x, std::span<const double> xs, std::span<const double> ys);

// The ratio F = beta f' / f at B within the grid and x = B s^2 >= 0, as atom_bk takes it.
double absorptive_ratio(const BkTable &table, double B, double x);

// The ratio F by 3 x 3 points, rows p-2 .. p of gm and columns q-2 .. q of gms2; x is B s^2.
double fabs_bi_quad_int(const BkTable &table, double B, double x, int p, int q);

// The ratio F by the 4 x 4 points around (B, x).
double fabs_bi_cub_int(const BkTable &table, double B, double x);

} // namespace orvel
