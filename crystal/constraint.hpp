// Constrained parameters: expressions over the names of other parameters.
//
// An expression is cut at "*", "+" and "-"; products bind tighter than sums, terms are summed from
// left to right, "-" negates the term after it. No parentheses, no division. A token that begins
// with a digit is a number, any other a name; names are looked up in resolution order (lattice,
// sites, low-order entries), and a constrained parameter that is resolved later still holds 0.
#pragma once

#include "crystal/csd.hpp"

namespace orvel {

// Gives every parameter whose flag is -1 its value: lattice, then sites, then low-order entries.
void constraint_csd(Csd &csd);
void constraint_csd_lp(Csd &csd);
void constraint_csd_atm(Csd &csd);
void constraint_csd_lofg(Csd &csd);

// Value of an expression, of a token, of a name. A token longer than 255 characters ("%s too long")
// and an unknown name ("$$ (val_search_csd) constraint %s not found") end the run through
// mb_error_exit.
double constraint_value_csd(const std::string &expression, const Csd &csd);
double val_trans_csd(const std::string &token, const Csd &csd);
double val_search_csd(const std::string &name, const Csd &csd);

// False where nothing stands on one side of an operation, as in "a*-b": 0 is taken there. A sign
// may begin an expression.
bool is_complete(const std::string &expression);

// The names that an expression refers to, in its order.
std::vector<std::string> constraint_names(const std::string &expression);

} // namespace orvel
