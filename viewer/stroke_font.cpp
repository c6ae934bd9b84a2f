#include "viewer/stroke_font.hpp"

#include <algorithm>
#include <map>
#include <string>

namespace orvel {

namespace {

// A glyph is a list of strokes, separated by blanks; a stroke is a list of points, two digits each:
// x from 0 to 4 and y from 0 to 9 with the base line at 2, capitals up to 8, small letters up to 6.
const std::map<std::string_view, std::string_view> strokes_of = {
    {"0", "123243473818070312"},
    {"1", "072822 0242"},
    {"2", "07183847460242"},
    {"3", "07183847463525 354443321203"},
    {"4", "32380444"},
    {"5", "480805354443321203"},
    {"6", "473818070312324344351504"},
    {"7", "084812"},
    {"8", "15060718384746351504031232434435"},
    {"9", "031232434738180706153546"},
    {"A", "022842 1434"},
    {"B", "020838474635053544433202"},
    {"C", "4738180703123243"},
    {"D", "02082846442202"},
    {"E", "48080242 0535"},
    {"F", "480802 0535"},
    {"G", "47381807031232434525"},
    {"H", "0208 0545 4248"},
    {"I", "1232 2228 1838"},
    {"J", "0312324348"},
    {"K", "0208 4804 1542"},
    {"L", "080242"},
    {"M", "0208254842"},
    {"N", "02084248"},
    {"O", "123243473818070312"},
    {"P", "02083847463505"},
    {"Q", "123243473818070312 2442"},
    {"R", "02083847463505 2542"},
    {"S", "473818070615354443321203"},
    {"T", "0848 2822"},
    {"U", "080312324348"},
    {"V", "082248"},
    {"W", "0812263248"},
    {"X", "0248 0842"},
    {"Y", "082548 2522"},
    {"Z", "08480242"},
    {"a", "16364542 441403123243"},
    {"b", "0802 0516364543321203"},
    {"c", "4536160503123243"},
    {"d", "4842 4536160503123243"},
    {"e", "04444536160503123243"},
    {"f", "38281712 0626"},
    {"g", "4641301001 4536160503123243"},
    {"h", "0802 0516364542"},
    {"i", "2622 2828"},
    {"j", "26211000 2828"},
    {"k", "0802 4604 1542"},
    {"l", "2822"},
    {"m", "0602 05162522 25364542"},
    {"n", "0602 0516364542"},
    {"o", "123243453616050312"},
    {"p", "0600 0516364543321203"},
    {"q", "4640 4536160503123243"},
    {"r", "0602 041636"},
    {"s", "45361605143443321203"},
    {"t", "18132232 0636"},
    {"u", "0603123243 4642"},
    {"v", "062246"},
    {"w", "0612253246"},
    {"x", "0246 0642"},
    {"y", "0622 461000"},
    {"z", "06460242"},
    {" ", ""},
    {".", "2222"},
    {",", "2211"},
    {"-", "0444"},
    {"+", "0444 2226"},
    {"=", "0343 0545"},
    {"(", "38262432"},
    {")", "18262412"},
    {"[", "38181232"},
    {"]", "18383212"},
    {"/", "0248"},
    {"|", "2129"},
    {":", "2323 2525"},
    {";", "2211 2525"},
    {"_", "0242"},
    {"^", "162836"},
    {"'", "2827"},
    {"<", "460442"},
    {">", "064402"},
    {"?", "07183847362423 2222"},
    {"\u00c5", "022642 1333 2617283726"},
    {"\u00b0", "1728372617"},
    {"\u00b2", "071828370535"},
    {"\u2212", "0444"},
    {"\u03b1", "4623120305162542"},
    {"\u03b3", "05162346 2320"},
};

Glyph make_glyph(std::string_view code) {
    constexpr double gap = 1.7;
    constexpr double blank = 3.0;
    Glyph glyph;
    double left = 4.0;
    double right = 0.0;
    GlyphStroke stroke;
    for (std::size_t i = 0; i < code.size();) {
        if (code[i] == ' ') {
            glyph.strokes.push_back(stroke);
            stroke.clear();
            ++i;
        } else {
            stroke.push_back({code[i] - '0' + 0.0, code[i + 1] - '2' + 0.0});
            left = std::min(left, stroke.back().x);
            right = std::max(right, stroke.back().x);
            i += 2;
        }
    }
    if (stroke.empty()) {
        glyph.advance = blank;
        return glyph;
    }
    glyph.strokes.push_back(stroke);
    for (GlyphStroke &s : glyph.strokes) {
        for (GlyphPoint &p : s) {
            p.x -= left;
        }
    }
    glyph.advance = right - left + gap;
    return glyph;
}

// Bytes of the UTF-8 character that begins here; broken ones count as single bytes.
std::size_t character_length(std::string_view text) {
    const auto byte = static_cast<unsigned char>(text.front());
    const std::size_t length = byte < 0xc0 ? 1 : byte < 0xe0 ? 2 : byte < 0xf0 ? 3 : 4;
    return std::min(length, text.size());
}

} // namespace

std::vector<Glyph> glyphs_of(std::string_view text) {
    std::vector<Glyph> glyphs;
    while (!text.empty()) {
        const std::size_t length = character_length(text);
        const auto found = strokes_of.find(text.substr(0, length));
        glyphs.push_back(
            make_glyph(found == strokes_of.end() ? strokes_of.at("?") : found->second));
        text.remove_prefix(length);
    }
    return glyphs;
}

} // namespace orvel
