// The two scattering-factor records of an element, read from the data tables.
#pragma once

#include <array>
#include <string>

namespace orvel {

inline constexpr int num_elastic_s = 27;  // tabulated s of the elastic factor
inline constexpr int num_grid_b = 6;      // grid rows: B
inline constexpr int num_grid_bs2 = 10;   // grid columns: B s^2

// Elastic factor and absorptive grid of one element (Bird & King, Acta Cryst. A46 (1990) 202).
struct BkTable {
    std::array<double, num_elastic_s> dt = {};  // elastic factor, 0.001 A
    std::array<double, num_elastic_s> dts = {}; // s = sin(theta)/lambda, ascending, 1/A
    std::array<std::array<double, num_grid_bs2>, num_grid_b> f = {}; // absorptive grid f[i][j]
    std::array<double, num_grid_b> gm = {};                          // B, ascending, A^2
    std::array<double, num_grid_bs2> gms2 = {};                      // B s^2, ascending
    double mlt_fct = 0.0; // scale of the grid values
    double add_fct = 0.0; // offset of the grid values
};

// X-ray scattering factor f_x(s) = sum a_i exp(-b_i s^2) + c (International Tables, four Gaussians).
struct XrayFactors {
    std::array<double, 4> a = {};
    std::array<double, 4> b = {}; // A^2
    double c = 0.0;
    double Z = 0.0; // atomic number
};

// The element's block of "orvelbk.dat". The name is compared whole (carriage return and line feed
// removed). Missing: "Element %s was not found in %s" through error_exit on standard error. A file
// without one of its section headers leaves that section zero.
BkTable read_atom_dat_table(const std::string &element);

// The element's line of "orvelxdt.dat"; the name is cut to its first token. Missing:
// "not found the element (%s) in read_xdt_table" through error_exit.
XrayFactors read_xdt_table(const std::string &element);

} // namespace orvel
