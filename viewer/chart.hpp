// Axes with curves or a map on a picture.
#pragma once

#include "viewer/picture.hpp"

#include <functional>
#include <string>
#include <vector>

namespace orvel {

struct Curve {
    std::string name;
    std::vector<double> x;
    std::vector<double> y;      // what is not finite is left out
    std::vector<double> weight; // 0 to 1 a point: thickness and strength of the line; or empty
};

struct ChartText {
    std::string title;
    std::string x_label;
    std::string y_label;
};

// Curves of up to eight colours in turn, with a legend.
Picture curve_chart(const std::vector<Curve> &curves, const ChartText &text);

// Samples of equal steps along x and y, column and row from 0, row 0 lowest.
struct MapData {
    int columns = 0;
    int rows = 0;
    std::array<double, 2> x{}; // axis values of the first and the last sample
    std::array<double, 2> y{};
    std::array<double, 2> range{}; // values at the ends of the colours
    std::function<double(int column, int row)> value;
    const ColourTable *colours = nullptr;
};

// The map with equal lengths drawn equal, axes and a colour bar.
Picture map_chart(const MapData &map, const ChartText &text);

// The colour of what is not a number.
inline constexpr Rgb not_a_number{230, 0, 130};

} // namespace orvel
