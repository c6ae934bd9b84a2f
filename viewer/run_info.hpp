// What the result files do not tell, the accelerating voltage before all, read from the parameter
// file that the run's log names.
//
// The parameter file may be gone or may have been edited since. So nothing here ends a run: what
// cannot be found stays unknown, and a caller uses the voltage only where incidence, base vector
// and tilt are those of the results.
#pragma once

#include "crystal/lattice.hpp"

#include <optional>
#include <string>
#include <vector>

namespace orvel {

struct RunInfo {
    std::string parameter_file; // its name, without folder
    int space_group = 0;
    std::optional<CellConstants> cell; // absent where a constant is an expression
    std::vector<std::string> elements; // distinct, in order of the sites
    Uvw incidence;
    RealHkl base_g1;
    double H_tilt = 0.0;
    double G_tilt = 0.0;
    double acc_voltage = 0.0; // kV
};

// Follows "%s_log.txt" beside the script to the parameter file; nothing when there is none or it
// has no INCIDENT_BEAM block.
std::optional<RunInfo> read_run_info(const std::string &script_path);

// Tells on the console where that log has no end: the run may have put some of its results in the
// place of earlier ones, but not all.
void warn_unfinished_run(const std::string &script_path);

} // namespace orvel
