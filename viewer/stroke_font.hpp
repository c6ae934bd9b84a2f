// A font of straight strokes for pictures without a text library.
#pragma once

#include <string_view>
#include <vector>

namespace orvel {

struct GlyphPoint {
    double x = 0.0; // from the left edge
    double y = 0.0; // above the base line
};
using GlyphStroke = std::vector<GlyphPoint>;

struct Glyph {
    std::vector<GlyphStroke> strokes;
    double advance = 0.0; // to the left edge of the next glyph
};

// Height of a capital in the units of a glyph.
inline constexpr double glyph_capital_height = 6.0;

// The glyphs of a UTF-8 text; "?" for characters that the font does not have.
std::vector<Glyph> glyphs_of(std::string_view text);

} // namespace orvel
