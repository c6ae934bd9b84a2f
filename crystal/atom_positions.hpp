// The listing of all generated atom positions, "%s_aps.txt".
#pragma once

#include "crystal/csd.hpp"

#include <cstdio>
#include <string>

namespace orvel {

// The positions that all operations make of p, in their order, not reduced to the cell.
std::vector<Position> newpos_sym_op(const Position &p, const std::vector<SymOp> &ops);

// Every site's distinct positions (all of them with auto_multiplicity_off 1) and occupancy.
void fprint_gen_atom_pos(std::FILE *stream, const std::vector<SymOp> &ops,
                         const std::vector<AtomSite> &sites);

// When atm_pos_out_flag is 1: the listing in "%s_aps.txt", reported on the console with
// "$$ Generated atom positions ==> %s\n".
void dbg_atm_pos_out(const Csd &csd, const std::string &base_name);

} // namespace orvel
