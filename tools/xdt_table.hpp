// The table of X-ray scattering factors, "orvelxdt.dat".
#pragma once

#include <string>
#include <vector>

namespace orvel {

// An ion of it92_ions.dat.
struct Ion {
    std::string name; // O2-, Si4+
    int Z = 0;        // of the nucleus
    std::string line; // as it stands in the table
};

// `folder` holds it92_ions.dat. Throws std::runtime_error.
std::vector<Ion> read_ions(const std::string &folder);

// The whole file: comment lines, neutral atoms H to Cf, then the ions.
std::string xdt_table(const std::string &folder);

} // namespace orvel
