// Readers of the two tables of scattering factors, "orvelbk.dat" and "orvelxdt.dat".
#pragma once

#include "crystal/atom_bk.hpp"
#include "crystal/atomf.hpp"

#include <string>

namespace orvel {

// The element's block of "orvelbk.dat". The name is compared whole (carriage return and line feed
// removed). Missing: "Element %s was not found in %s" through error_exit on standard error. A file
// without one of its section headers leaves that section zero.
BkTable read_atom_dat_table(const std::string &element);

// The element's line of "orvelxdt.dat"; the name is cut to its first token. Missing:
// "not found the element (%s) in read_xdt_table" through error_exit.
XrayFactors read_xdt_table(const std::string &element);

} // namespace orvel
