// What a program settles with the system before it begins: standard streams, signals of failing
// writes, memory that runs out.
#pragma once

namespace orvel {

// The places of closed standard streams are taken; a write that fails for a closed pipe or a limit
// of size is told by the end of the run and not by a signal; memory that runs out ends the run as a
// failed allocation does. A second call does nothing more.
void settle_surroundings();

// Ends the run where standard output could not be written.
void chk_standard_output();

} // namespace orvel
