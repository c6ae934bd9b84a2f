// The table of elastic and absorptive scattering factors of all elements, "orvelbk.dat".
#pragma once

#include "crystal/atom_bk.hpp"
#include "tools/elastic_factor.hpp"
#include "tools/table_fit.hpp"

#include <string>
#include <vector>

namespace orvel {

// The grids that all elements share; the rest of the record is empty.
BkTable bk_table_grids();

// Comment lines and the grids, as they stand at the head of the file.
std::string bk_table_head();

// The ten lines of one element.
std::string bk_table_block(const ElasticSource &source, const TableFit &fit);

// The whole file: the elements, then under the name of each ion of "orvelxdt.dat" the block of its
// neutral atom. `folder` holds the transcribed coefficients.
std::string bk_table(const std::string &folder);

} // namespace orvel
