// Readers of the two settings records: `dbg` from "orvel.ini", `epsilon` from the parameter file.
#pragma once

#include <cstdio>
#include <string>

namespace orvel {

// Sets every flag of `dbg` to its default, then reads "orvel.ini" from the working directory, if
// there is one, up to the line that holds INI_PARAM_END. A line sets the flag of the first key, in
// the order of the record, that stands anywhere in it, to its second token; a line without a key
// is told on the console and ignored. Ends the run, status 1: a file without INI_PARAM_END
// ("\n$$ No INI_PARAM_END command in orvel.ini. Abort.\n"), or one that cannot be read.
void read_ini_file();

// The flags as they stand, in the order of the record, to be compared with those of another rank.
std::string ini_values();

// Sets every field of `epsilon` to its default, then reads the block EPS_CONTROL_PARAMETERS{ ..
// }EPS_CONTROL_PARAMETERS in the same manner. invmat_func is tried before bc_invmat_func, which
// holds it: a line for the latter sets the former. A file that ends inside the block ends the run.
void read_eps_ctrl_params(std::FILE *stream);

// Tells of settings that leave no result worth the name.
void warn_settings();

// Lists the integer settings that describe a refinement, one a line with its meaning.
void fprintf_eps_ctrl_params(std::FILE *stream);

} // namespace orvel
