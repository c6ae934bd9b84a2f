#include "viewer/colour_map.hpp"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <span>

namespace orvel {

namespace {

constexpr std::array<Rgb, 17> viridis_points = {{{68, 1, 84},
                                                 {72, 24, 106},
                                                 {71, 45, 123},
                                                 {66, 64, 134},
                                                 {59, 82, 139},
                                                 {51, 99, 141},
                                                 {44, 114, 142},
                                                 {38, 130, 142},
                                                 {33, 145, 140},
                                                 {31, 159, 136},
                                                 {39, 173, 129},
                                                 {61, 188, 116},
                                                 {92, 200, 99},
                                                 {129, 211, 77},
                                                 {170, 220, 50},
                                                 {213, 226, 26},
                                                 {253, 231, 37}}};

constexpr std::array<Rgb, 18> cividis_points = {{{0, 32, 76},
                                                 {0, 42, 102},
                                                 {0, 52, 110},
                                                 {39, 63, 108},
                                                 {60, 74, 107},
                                                 {76, 85, 107},
                                                 {91, 95, 109},
                                                 {104, 106, 112},
                                                 {117, 117, 117},
                                                 {131, 129, 120},
                                                 {146, 140, 120},
                                                 {161, 152, 118},
                                                 {176, 165, 114},
                                                 {192, 177, 109},
                                                 {209, 191, 102},
                                                 {225, 204, 92},
                                                 {243, 219, 79},
                                                 {255, 233, 69}}};

std::uint8_t to_byte(double value) {
    return static_cast<std::uint8_t>(std::lround(std::clamp(value, 0.0, 255.0)));
}

ColourTable between(std::span<const Rgb> points) {
    ColourTable table;
    for (std::size_t i = 0; i < table.size(); ++i) {
        const double at = static_cast<double>(i * (points.size() - 1)) / 255.0;
        const auto low = std::min(static_cast<std::size_t>(at), points.size() - 2);
        const double f = at - static_cast<double>(low);
        const auto mix = [f](std::uint8_t a, std::uint8_t b) { return to_byte(a + f * (b - a)); };
        const Rgb &a = points[low];
        const Rgb &b = points[low + 1];
        table[i] = {mix(a.r, b.r), mix(a.g, b.g), mix(a.b, b.b)};
    }
    return table;
}

// Transfer function of sRGB (IEC 61966-2-1).
double srgb(double linear) {
    return linear <= 0.0031308 ? 12.92 * linear : 1.055 * std::pow(linear, 1.0 / 2.4) - 0.055;
}

Rgb oklch(double lightness, double chroma, double hue) {
    const double a = chroma * std::cos(hue);
    const double b = chroma * std::sin(hue);
    const auto cube = [](double x) { return x * x * x; };
    const double l = cube(lightness + 0.3963377774 * a + 0.2158037573 * b);
    const double m = cube(lightness - 0.1055613458 * a - 0.0638541728 * b);
    const double s = cube(lightness - 0.0894841775 * a - 1.2914855480 * b);
    return {to_byte(255.0 * srgb(4.0767416621 * l - 3.3077115913 * m + 0.2309699292 * s)),
            to_byte(255.0 * srgb(-1.2684380046 * l + 2.6097574011 * m - 0.3413193965 * s)),
            to_byte(255.0 * srgb(-0.0041960863 * l - 0.7034186147 * m + 1.7076147010 * s))};
}

ColourTable hue_circle() {
    ColourTable table;
    for (std::size_t i = 0; i < table.size(); ++i) {
        // Phase 0, the middle of the table, is red-orange; the ends meet.
        const double phase = 2.0 * std::numbers::pi * (static_cast<double>(i) / 255.0 - 0.5);
        table[i] = oklch(0.75, 0.12, phase + 0.7);
    }
    return table;
}

} // namespace

const std::vector<ColourMap> &amount_maps() {
    static const std::array<Rgb, 2> grey_points = {{{0, 0, 0}, {255, 255, 255}}};
    static const std::vector<ColourMap> maps = {{"grey", between(grey_points)},
                                                {"viridis", between(viridis_points)},
                                                {"cividis", between(cividis_points)}};
    return maps;
}

const ColourTable &phase_map() {
    static const ColourTable table = hue_circle();
    return table;
}

Rgb colour_at(const ColourTable &table, double fraction) {
    return table[static_cast<std::size_t>(std::lround(255.0 * std::clamp(fraction, 0.0, 1.0)))];
}

} // namespace orvel
