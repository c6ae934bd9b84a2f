// Conversions between the structure factor F_g (A), the potential coefficient V_g (V), the reduced
// coefficient U_g (1/A^2) and the extinction distance xi_g (A).
//
// gamma = m/m0 is relativ_corr(voltage); Omega the cell volume. Real parts are elastic, imaginary
// parts absorptive.
#pragma once

#include "crystal/lattice.hpp"
#include "numeric/complex.hpp"

namespace orvel {

complex fg_to_vg(complex F, const Metric &metric); // V = F / (0.020886563 Omega)
complex vg_to_fg(complex V, const Metric &metric);
complex fg_to_ug(complex F, double kvolts, const Metric &metric); // U = F gamma / (pi Omega)
complex ug_to_fg(complex U, double kvolts, const Metric &metric);
complex vg_to_ug(complex V, double gamma); // U = V 0.020886563 gamma / pi
complex ug_to_vg(complex U, double gamma);

// xi = 1 / (lambda |U|); 1e10 when |U| < 1e-12. From F by voltage, from F by gamma and lambda, and
// from V, the last with pi/0.020886563 as the literal 150.41214074282078.
double fg_to_xig(complex F, double kvolts, const Metric &metric);
double fg_to_xig2(complex F, double gamma, double lambda, const Metric &metric);
double vg_to_xig(complex V, double gamma, double lambda);

} // namespace orvel
