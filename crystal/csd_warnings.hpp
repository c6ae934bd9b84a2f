// What can be calculated, but hardly be meant, in a crystal.
#pragma once

#include "crystal/csd.hpp"

namespace orvel {

// Tells it on the console, "$$ Warning: ...": operations that are no group, a cell without the
// symmetry of its space group, atoms within each other, occupancies outside 0 to 1, displacements
// that are none, that lack the symmetry of their site or are beyond the table of absorption,
// coordinates whose phases have no digits left, given structure factors that the group forbids,
// that do not count or that no atoms have, constraints that take a value too early or one of
// several.
void warn_crystal(const Csd &csd);

} // namespace orvel
