// The reflection list that documents a choice of beams, "%s_fg%d.txt".
#pragma once

#include "crystal/csd.hpp"
#include "dynamics/sim_condition.hpp"

#include <string>

namespace orvel {

// Writes the list of sd.beams with their Laue zones, ZOLZ coordinates and structure factors, and
// tells its name on the console. With reflex_only_flag 1 the run then ends, status 0.
void reflex_dump_csd(const Sd &sd, const Csd &csd, const std::string &base_name, int job_number);

} // namespace orvel
