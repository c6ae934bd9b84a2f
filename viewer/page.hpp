// Writes the page of a run: one HTML file with its style, program and numbers inside, which needs
// no network. The style and the program stand in viewer/page/ and are built into kavun.
#pragma once

#include "viewer/bloch_result.hpp"
#include "viewer/cbed_result.hpp"
#include "viewer/dispsurf_result.hpp"
#include "viewer/facts.hpp"

#include <string>

namespace orvel {

// Each writes its page to the path; a file that cannot be written ends the run.
void write_cbed_page(const std::string &path, const CbedRun &run, const Facts &facts);
void write_dispsurf_page(const std::string &path, const DispsurfRun &run, const Facts &facts);
void write_bloch_page(const std::string &path, const BlochRun &run, const Facts &facts);

} // namespace orvel
