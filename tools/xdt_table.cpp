#include "tools/xdt_table.hpp"

#include "tools/gemmi_factors.hpp"

#include <cstdio>
#include <fstream>
#include <sstream>
#include <stdexcept>

namespace orvel {

namespace {

constexpr const char *head =
    "# X-ray scattering factors of neutral atoms (H to Cf) and of ions as four Gaussians and a\n"
    "# constant: f_x(s) = sum_i ai exp(-bi s^2) + c in electrons, s = sin(theta)/lambda in 1/A,\n"
    "# fitted for s = 0 to 2 1/A.\n"
    "# Source: P. J. Brown, A. G. Fox, E. N. Maslen, M. A. O'Keefe & B. T. M. Willis,\n"
    "# International Tables for Crystallography, Vol. C, table 6.1.1.4.\n"
    "# Z is the charge of the nucleus, for ions too: the Mott formula needs it. The electron "
    "factor\n"
    "# of an ion grows as (ionic charge) 0.0239 / s^2 towards s = 0; orvel's value at s = 0 is "
    "then\n"
    "# only the part without that divergence.\n"
    "# Columns: element, Z, a1 b1 a2 b2 a3 b3 a4 b4 (b in A^2), c\n";

} // namespace

std::vector<Ion> read_ions(const std::string &folder) {
    const std::string path = folder + "/it92_ions.dat";
    std::ifstream in(path);
    std::vector<Ion> ions;
    for (std::string line; std::getline(in, line);) {
        if (line.starts_with('#')) {
            continue;
        }
        Ion ion;
        ion.line = line;
        std::istringstream fields(line);
        if (!(fields >> ion.name >> ion.Z) || ion.Z < 1 || ion.Z > 98) {
            throw std::runtime_error(path + ": cannot use the line \"" + line + "\"");
        }
        ions.push_back(ion);
    }
    if (ions.empty()) {
        throw std::runtime_error("cannot read " + path);
    }
    return ions;
}

std::string xdt_table(const std::string &folder) {
    std::string text = head;
    for (int Z = 1; Z <= 98; ++Z) {
        const auto element = static_cast<gemmi::El>(Z);
        const auto &coef = neutral_atom<gemmi::IT92<double>>(element);
        text += gemmi::element_name(element);
        text += ' ' + std::to_string(Z);
        char field[32];
        for (int i = 0; i < 4; ++i) {
            std::snprintf(field, sizeof field, " %g %g", coef.a(i), coef.b(i));
            text += field;
        }
        std::snprintf(field, sizeof field, " %g\n", coef.c());
        text += field;
    }
    for (const Ion &ion : read_ions(folder)) {
        text += ion.line + '\n';
    }
    return text;
}

} // namespace orvel
