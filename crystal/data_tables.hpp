// The data tables, which data_file finds.
#pragma once

namespace orvel {

inline constexpr const char *space_group_table = "orvelspg.dat";
inline constexpr const char *electron_table = "orvelbk.dat";
inline constexpr const char *xray_table = "orvelxdt.dat";

} // namespace orvel
