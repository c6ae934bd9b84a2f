// How much memory the machine, or the batch system that started the run, lets it have.
#pragma once

#include <string>

namespace orvel {

// Bytes that a run can still have: what the machine says it has free, and not more than the
// smallest limit of the control groups that the run is in, less what it has. Infinite where neither
// tells. The arguments are the folders where a Linux system tells; elsewhere there are none.
double available_memory(const std::string &proc = "/proc",
                        const std::string &groups = "/sys/fs/cgroup");

} // namespace orvel
