// X-ray scattering factors of atoms as four Gaussians and a constant, and the elastic scattering
// factor of electrons that the Mott formula makes of them.
#pragma once

#include <array>
#include <type_traits>

namespace orvel {

// X-ray scattering factor of one element or ion, f_x(s) = sum_i a_i exp(-b_i s^2) + c in electrons,
// s = sin(theta)/lambda in 1/A (International Tables for Crystallography, Vol. C, table 6.1.1.4).
struct XrayFactors {
    struct Gaussian {
        double a = 0.0; // electrons
        double b = 0.0; // A^2
    };
    std::array<Gaussian, 4> gauss;
    double c = 0.0; // electrons
    double Z = 0.0; // charge of the nucleus
};
static_assert(std::is_trivially_copyable_v<XrayFactors>);

// Elastic scattering factor of electrons in A, without relativistic correction, by the Mott formula
// f = m e^2 / (8 pi eps0 h^2) (Z - f_x) / s^2 (N. F. Mott, Proc. R. Soc. A127 (1930) 658). s_sq is
// s^2 in 1/A^2. Up to `epsilon.general_eps` the limit s -> 0 of a neutral atom stands in; a
// negative s_sq ends the run.
double atomsf_xdt(double s_sq, const XrayFactors &x);

} // namespace orvel
