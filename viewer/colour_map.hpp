// Colour maps: 256 colours from a value's low end to its high end.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

namespace orvel {

struct Rgb {
    std::uint8_t r = 0;
    std::uint8_t g = 0;
    std::uint8_t b = 0;
    friend bool operator==(const Rgb &, const Rgb &) = default;
};

using ColourTable = std::array<Rgb, 256>;

struct ColourMap {
    std::string name;
    ColourTable colours;
};

// The maps for amounts: "grey", then "viridis" (S. van der Walt, N. Smith, 2015) and "cividis"
// (J. R. Nunez, C. R. Anderton, R. S. Renslow, PLoS ONE 13 (2018) e0199239), both interpolated
// between equidistant points of the published tables.
const std::vector<ColourMap> &amount_maps();

// The map for phases, -pi to pi: the hue circle of constant lightness 0.75 and chroma 0.12 in the
// Oklab space (B. Ottosson, 2020), so that no phase looks brighter than another.
const ColourTable &phase_map();

// The colour of a fraction of the range; below 0 and above 1 the ends.
Rgb colour_at(const ColourTable &table, double fraction);

} // namespace orvel
