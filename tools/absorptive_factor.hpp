// Absorptive scattering factor of thermal diffuse scattering in the Einstein model.
//
// With s1 = s/2 + s', s2 = s/2 - s' (vectors of the plane, |s| = sin(theta)/lambda) the inelastic
// amplitude of a site with mean-square displacement B = 8 pi^2 <u^2> is
//   2 (h / m0 v) int d^2s' f(s1) f(s2) [exp(-B s^2) - exp(-B (s1^2 + s2^2))]
// (C. R. Hall & P. B. Hirsch, Proc. R. Soc. A286 (1965) 158). Divided by exp(-B s^2), which stands
// for the site in the structure factor, it is f' of D. M. Bird & Q. A. King, Acta Cryst. A46 (1990)
// 202:
//   beta f'(s, B) = 2 lambda_C int d^2s' f(s1) f(s2) [1 - exp(-2 B (s'^2 - s^2/4))]
// with lambda_C = h / m0 c and beta = v / c. f carries no relativistic factor, nor does f'. At s =
// 0 this is the optical theorem, gamma f' = sigma / (2 lambda) with the cross-section sigma of all
// thermal diffuse scattering.
#pragma once

#include "tools/elastic_factor.hpp"

#include <vector>

namespace orvel {

// Nodes of the quadrature over s' at one s: what does not depend on B.
struct PairProducts {
    std::vector<double> weight; // 2 lambda_C f(s1) f(s2) times the area of the node, A
    std::vector<double> excess; // s'^2 - s^2/4, 1/A^2
};

// s = 0: radial Gauss quadrature. s > 0: elliptic coordinates with their foci at the two atoms'
// origins, s1,2 = (s/2)(cosh mu +- cos nu), in which both peaks of the integrand are smooth;
// composite Gauss quadrature in mu and, the integrand being even and periodic, the trapezoidal rule
// in nu. The plane is cut at |s'| = 5000 1/A.
PairProducts pair_products(const ElasticSource &source, double s);

// beta f'(s, B) in A.
double absorptive_factor(const PairProducts &pairs, double B);

} // namespace orvel
