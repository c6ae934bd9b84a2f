// The table of X-ray scattering factors, "orvelxdt.dat".
#pragma once

#include <string>

namespace orvel {

// The whole file: comment lines, neutral atoms H to Cf, then the ions listed in it92_ions.dat of
// `folder`. Throws std::runtime_error.
std::string xdt_table(const std::string &folder);

} // namespace orvel
