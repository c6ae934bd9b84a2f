// Given structure factors that can be calculated with, but hardly be meant.
#pragma once

#include "crystal/csd.hpp"

namespace orvel {

// Tells them on the console, "$$ Warning: ...": given structure factors that the space group does
// not have, that others given before rule out, that the table of low_order_table has no room for,
// that differ from their Friedel mate by more than a potential does, that are far from those of the
// atoms, or absorb more than these.
void warn_low_order_factors(const Csd &csd);

// Tells, likewise, of a given structure factor of 000 whose absorption is negative at the voltage
// (kV) of the run.
void warn_gain(const Csd &csd, double voltage);

} // namespace orvel
