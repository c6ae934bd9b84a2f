// The table of symmetry operations, "orvelspg.dat".
#pragma once

#include <string>

namespace gemmi {
struct SpaceGroup;
}

namespace orvel {

constexpr int tabulated_settings = 530; // of International Tables, Vol. B, table A1.4.2.7

// The k-th (from 1) of the tabulated settings, in the order of that table.
const gemmi::SpaceGroup &tabulated_setting(int k);

// The number under which a setting stands in the table: that of its space group for the standard
// setting (unique axis b, origin choice 2, hexagonal axes), 1000 + k for every other.
int spg_table_number(int k);

// Comment line, header line and operator lines of setting k.
std::string spg_table_entry(int k);

// The whole file.
std::string spg_table();

// A table in Markdown: number, space group, symbol and Hall symbol of every setting above 1000.
std::string spg_settings_list();

} // namespace orvel
