// Elastic scattering factors of electrons for free neutral atoms at every s.
//
// Three published sources, each where it is at its best; the first two joined by a smooth weight:
//   s < 0.3 1/A   L.-M. Peng, G. Ren, S. L. Dudarev & M. J. Whelan, Acta Cryst. A52 (1996) 257:
//   five
//                 Gaussians for f itself (International Tables, Vol. C, table 4.3.2.2, by gemmi).
//                 The Mott formula would magnify the errors of f_x by 1/s^2 here.
//   0.6 .. 6 1/A  Mott formula on the X-ray factors of D. Waasmaier & A. Kirfel, Acta Cryst. A51
//                 (1995) 416, whose fits hold to 6 1/A.
//   s > 6 1/A     Mott formula on the X-ray factors of xraylib, scaled to meet the former at 6 1/A
//                 (f_x is a few electrons at most).
#pragma once

#include <array>
#include <string>
#include <vector>

namespace orvel {

// One element; what the three sources need.
struct ElasticSource {
    int Z = 0;
    std::string symbol;
    std::array<double, 5> peng_a{}; // A
    std::array<double, 5> peng_b{}; // A^2
    std::array<double, 5> wk_a{};   // electrons
    std::array<double, 5> wk_b{};   // A^2
    double wk_c = 0.0;              // electrons
};

// The elements H to Cf in the order of Z; `folder` holds wk1995.dat. Throws std::runtime_error.
std::vector<ElasticSource> read_elastic_sources(const std::string &folder);

// f in A, without relativistic correction, at s = sin(theta)/lambda >= 0 in 1/A.
double elastic_factor(const ElasticSource &source, double s);

} // namespace orvel
