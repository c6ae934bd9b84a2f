// What a program settles with the system before it begins: standard streams, signals of failing
// writes, memory that runs out.
#pragma once

namespace orvel {

// A file opened in the place of a closed standard stream would get its text, so those places are
// taken first, before anything else opens one. Opened for reading: what is written to a closed
// output still fails. A second call does nothing.
void occupy_standard_streams();

// The same; a write that fails for a closed pipe or a limit of size is told by the end of the run
// and not by a signal; memory that runs out ends the run as a failed allocation does.
void settle_surroundings();

// Ends the run where standard output could not be written.
void chk_standard_output();

} // namespace orvel
