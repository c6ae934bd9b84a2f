// The table of elastic and absorptive scattering factors of all elements, "orvelbk.dat".
#pragma once

#include "tools/elastic_factor.hpp"

#include <string>

namespace orvel {

// Comment lines and the common grids, as they stand at the head of the file.
std::string bk_table_head();

// The ten lines of one element.
std::string bk_table_block(const ElasticSource &source);

} // namespace orvel
