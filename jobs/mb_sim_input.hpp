// The condition block of the CBED jobs, SIM_CALCULATION_CONDITION.
#pragma once

#include "crystal/csd.hpp"
#include "dynamics/sim_condition.hpp"

#include <cstdio>
#include <string>

namespace orvel {

// Reads the block into sd, runs the beam search and writes the reflection list. With 0 output
// reflections all exact beams are taken; a negative number leaves the list empty.
void input_sim_data(Sd &sd, const Csd &csd, const std::string &base_name, std::FILE *stream);

} // namespace orvel
