// The program kavun: a script in, pages or pictures out.
#pragma once

namespace orvel {

// A whole run; returns 0, every error ends the run with one message and status 1.
//   kavun [--voltage KV] [--png FOLDER] SCRIPT
int run_kavun(int argc, char **argv);

} // namespace orvel
