// Ranges of values to be drawn.
#pragma once

#include <array>
#include <vector>

namespace orvel {

// Smallest and largest finite value; 0 and 1 when there is none, half a unit_range to each side of
// a single one.
std::array<double, 2> finite_range(const std::vector<double> &values);

// The width of a range at a value without another one: 1, or what still has digits there.
double unit_range(double value);

} // namespace orvel
