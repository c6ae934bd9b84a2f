// Crystallographic geometry: metric of the direct and the reciprocal lattice, base of the
// zero-order Laue zone (ZOLZ), centring extinctions, relativistic electron wavelength.
//
// Cell edges in A, angles in degrees. Reciprocal quantities in 1/A without a factor 2 pi
// (a* = b c sin(alpha) / V), so that d = 1/|g|. Vectors are triples in the basis of their lattice.
// All functions are pure.
#pragma once

#include "input/mb_input.hpp"

#include <string>

namespace orvel {

// The six cell constants: a, b, c in A, alpha, beta, gamma in degrees.
struct CellConstants {
    double a = 0.0;
    double b = 0.0;
    double c = 0.0;
    double alpha = 0.0;
    double beta = 0.0;
    double gamma = 0.0;
};

// Symmetric metric tensor of a lattice: squared lengths of the base vectors and their products.
struct MetricTensor {
    double g11 = 0.0;
    double g22 = 0.0;
    double g33 = 0.0;
    double g12 = 0.0;
    double g23 = 0.0;
    double g31 = 0.0;
};

// What bravai makes of the cell constants. The cofactors are filled for completeness.
struct Metric {
    MetricTensor cofactor;   // of the direct metric, A^4
    double volume = 0.0;     // V, A^3
    MetricTensor reciprocal; // G*, 1/A^2
    MetricTensor direct;     // G, A^2
};

// No check is made on the cell: a degenerate one gives V = 0 or NaN and infinite reciprocal
// entries.
Metric bravai(const CellConstants &cell);

// Scalar product of two reciprocal vectors, 1/A^2, and |g|^2.
double inner_product(const RealHkl &p, const RealHkl &q, const Metric &metric);
double sq_abs(const RealHkl &g, const Metric &metric);

RealHkl hkl2rhkl(const Hkl &g);
RealUvw uvw2ruvw(const Uvw &t);

// u h + v k + w l; 0 means that g lies in the zone of [uvw].
double inner_product_uvw_hkl(const Uvw &t, const RealHkl &g);
// Laue-zone number of a reflection: the same in integers.
int laue_zone(const Uvw &t, const Hkl &g);

// Scalar product of two integer directions, A^2: products and sums of two products of integer
// components are formed in 32 bits (wrapping) before conversion.
double inner_product_uvw(const Uvw &p, const Uvw &q, const Metric &metric);
// Length of a direction, A.
double abs_uvw(const Uvw &t, const Metric &metric);

// The same for real components.
double inner_product_r_uvw(const RealUvw &p, const RealUvw &q, const Metric &metric);
double abs_r_uvw(const RealUvw &t, const Metric &metric);

// v scaled to the length of r; the zero vector when |v|^2 < 1e-12.
RealHkl normalize_vec(const RealHkl &v, const RealHkl &r, const Metric &metric);

// g2 of the ZOLZ: perpendicular to the zone axis t and to g1, as long as g1, (g1, g2, t)
// right-handed. g1 parallel to t: "$Error in zolz_ort_base: g2 = 0", status 1.
RealHkl zolz_ort_base(const Uvw &t, const RealHkl &g1, const Metric &metric);

// Direct-lattice vector along t x r, for r with reciprocal components, of length 1/|r|: a
// real-space repeat vector dual to r. "$Error in zolz_ort_base_uvw: g2 = 0", status 1, when r is
// parallel to t.
RealUvw zolz_ort_base_uvw(const Uvw &t, const RealHkl &r, const Metric &metric);

// Real-space base dual to (g1, g2) in the plane normal to t: r_i . g_j = delta_ij.
struct RealSpaceBase {
    RealUvw r1;
    RealUvw r2;
};
RealSpaceBase zolz_ort_base_two_uvw(const Uvw &t, const RealHkl &g1, const Metric &metric);

// Projection of g onto the ZOLZ plane: vector = a g1 + b g2. The component along t is dropped.
struct ZolzProjection {
    RealHkl vector;
    double a = 0.0;
    double b = 0.0;
};
ZolzProjection proj_to_zolz(const Hkl &g, const Uvw &t, const RealHkl &g1, const Metric &metric);
// The same for a real g and a given g2.
ZolzProjection proj_to_zolz2(const RealHkl &g, const RealHkl &g1, const RealHkl &g2,
                             const Metric &metric);

// 0 when the centring allows the reflection, else non-zero. The lattice type is the first letter
// of the symbol (P, I, F, A, B, C, R); R is obverse on hexagonal axes when the flag is 1, and
// allows everything otherwise. Another letter: "$$ Lattice type %s is invalid" and
// " in extinction_rule() of lattice.c", status 1.
int extinction_rule(const Hkl &g, const std::string &lattice_type, int rhombohedral_flag);

// Integer cross product.
Uvw incident_direction(const Uvw &a, const Uvw &b);

// Relativistic electron wavelength in A for E in kV (CODATA h, m0, e, c in volts).
double wavelength(double kvolts);
// m/m0 = 1 + e E / (m0 c^2).
double relativ_corr(double kvolts);
// Relativistically corrected voltage, V.
double evdash(double kvolts);

} // namespace orvel
