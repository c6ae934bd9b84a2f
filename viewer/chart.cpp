#include "viewer/chart.hpp"

#include "viewer/facts.hpp"
#include "viewer/layout.hpp"
#include "viewer/value_range.hpp"

#include <algorithm>
#include <cmath>

namespace orvel {

namespace {

constexpr Rgb white{255, 255, 255};
constexpr Rgb ink{28, 29, 33};
constexpr Rgb grid_grey{236, 234, 230};

// Eight colours that stay apart for colour-blind eyes (after M. Okabe and K. Ito, 2008).
constexpr std::array<Rgb, 8> curve_colours = {{{0, 114, 178},
                                               {213, 94, 0},
                                               {0, 158, 115},
                                               {204, 121, 167},
                                               {176, 137, 0},
                                               {58, 155, 214},
                                               {122, 63, 168},
                                               {68, 68, 68}}};

struct Box {
    double left = 0.0;
    double top = 0.0;
    double width = 0.0;
    double height = 0.0;
};

// An axis: values at the two ends of the box, in pixels from its lower left corner.
struct Axis {
    double low = 0.0;
    double high = 1.0;
    double at(double value, double length) const { return length * (value - low) / (high - low); }
};

std::vector<double> axis_ticks(const Axis &axis, double wanted) {
    double step = round_length((axis.high - axis.low) / wanted);
    if ((axis.high - axis.low) / step > 2.2 * wanted) {
        step *= 2.0;
    }
    std::vector<double> ticks;
    const double first = std::ceil(axis.low / step - 1e-9);
    const double most = 3.0 * wanted + 3.0; // far from zero a step can be lost to rounding
    for (double i = 0.0; i <= most && (first + i) * step <= axis.high + 1e-9 * step; ++i) {
        ticks.push_back((first + i) * step);
    }
    return ticks;
}

// As many places as tell neighbouring ticks apart.
std::string tick_text(double value, const std::vector<double> &ticks) {
    const double step = ticks.size() > 1 ? ticks[1] - ticks[0] : 1.0;
    if (std::abs(ticks.back()) >= 1e6 || step < 1e-6) {
        return number_text(value, 4);
    }
    char text[64];
    const int places = std::max(0, -static_cast<int>(std::floor(std::log10(step) + 1e-9)));
    std::snprintf(text, sizeof text, "%.*f", places, value == 0.0 ? 0.0 : value);
    return text;
}

Rgb mixed(Rgb from, Rgb to, double share) {
    const auto mix = [share](std::uint8_t a, std::uint8_t b) {
        return static_cast<std::uint8_t>(std::lround(a + share * (b - a)));
    };
    return {mix(from.r, to.r), mix(from.g, to.g), mix(from.b, to.b)};
}

TextStyle style(double size, Anchor anchor, bool upwards = false) {
    return {size, {ink, 1.5, 1.0}, anchor, upwards};
}

void draw_frame(Picture &picture, const Box &box) {
    const Pen pen{ink, 1.2, 1.0};
    const double right = box.left + box.width;
    const double bottom = box.top + box.height;
    draw_line(picture, {box.left, box.top}, {right, box.top}, pen);
    draw_line(picture, {box.left, bottom}, {right, bottom}, pen);
    draw_line(picture, {box.left, box.top}, {box.left, bottom}, pen);
    draw_line(picture, {right, box.top}, {right, bottom}, pen);
}

void draw_axes(Picture &picture, const Box &box, const Axis &x, const Axis &y,
               const ChartText &text, bool grid) {
    const double bottom = box.top + box.height;
    const Pen line{grid_grey, 1.0, 1.0};
    const std::vector<double> x_ticks = axis_ticks(x, box.width / 130.0);
    for (const double value : x_ticks) {
        const double at = box.left + x.at(value, box.width);
        if (grid) {
            draw_line(picture, {at, box.top}, {at, bottom}, line);
        }
        draw_line(picture, {at, bottom}, {at, bottom + 5.0}, {ink, 1.2, 1.0});
        draw_text(picture, tick_text(value, x_ticks), {at, bottom + 17.0},
                  style(11.0, Anchor::middle));
    }
    const std::vector<double> y_ticks = axis_ticks(y, box.height / 70.0);
    for (const double value : y_ticks) {
        const double at = bottom - y.at(value, box.height);
        if (grid) {
            draw_line(picture, {box.left, at}, {box.left + box.width, at}, line);
        }
        draw_line(picture, {box.left - 5.0, at}, {box.left, at}, {ink, 1.2, 1.0});
        draw_text(picture, tick_text(value, y_ticks), {box.left - 10.0, at},
                  style(11.0, Anchor::right));
    }
    draw_frame(picture, box);
    draw_text(picture, text.x_label, {box.left + 0.5 * box.width, bottom + 44.0},
              style(12.0, Anchor::middle));
    draw_text(picture, text.y_label, {22.0, box.top + 0.5 * box.height},
              style(12.0, Anchor::middle, true));
    draw_text(picture, text.title, {box.left, 24.0}, style(13.0, Anchor::left));
}

void draw_curve(Picture &picture, const Curve &curve, Rgb colour, const Box &box, const Axis &x,
                const Axis &y) {
    const auto place = [&](std::size_t i) {
        return Point2{box.left + x.at(curve.x[i], box.width),
                      box.top + box.height - y.at(curve.y[i], box.height)};
    };
    for (std::size_t i = 0; i + 1 < curve.x.size(); ++i) {
        if (!std::isfinite(curve.y[i]) || !std::isfinite(curve.y[i + 1])) {
            continue;
        }
        Pen pen{colour, 2.0, 1.0};
        if (!curve.weight.empty()) {
            const double weight =
                std::clamp(0.5 * (curve.weight[i] + curve.weight[i + 1]), 0.0, 1.0);
            pen.width = 1.0 + 9.0 * weight;
            pen.colour = mixed(white, colour, 0.25 + 0.75 * std::sqrt(weight));
        }
        draw_line(picture, place(i), place(i + 1), pen);
    }
}

Axis padded(const std::vector<Curve> &curves, bool of_x) {
    std::vector<double> all;
    for (const Curve &curve : curves) {
        const std::vector<double> &values = of_x ? curve.x : curve.y;
        all.insert(all.end(), values.begin(), values.end());
    }
    const auto [low, high] = finite_range(all);
    const double pad = of_x ? 0.0 : 0.04 * (high - low);
    return {low >= 0.0 && low < 0.3 * high && !of_x ? 0.0 : low - pad, high + pad};
}

} // namespace

Picture curve_chart(const std::vector<Curve> &curves, const ChartText &text) {
    Picture picture = blank_picture(1200.0, 800.0, white);
    const Box box{110.0, 48.0, 900.0, 670.0};
    const Axis x = padded(curves, true);
    const Axis y = padded(curves, false);
    draw_axes(picture, box, x, y, text, true);
    for (std::size_t i = 0; i < curves.size(); ++i) {
        const Rgb colour = curve_colours[i % curve_colours.size()];
        draw_curve(picture, curves[i], colour, box, x, y);
        const double line = box.top + 14.0 + 24.0 * static_cast<double>(i);
        const double left = box.left + box.width + 16.0;
        if (line < box.top + box.height) {
            draw_line(picture, {left, line}, {left + 26.0, line}, {colour, 3.0, 1.0});
            draw_text(picture, curves[i].name, {left + 36.0, line}, style(11.0, Anchor::left));
        }
    }
    return picture;
}

Picture map_chart(const MapData &map, const ChartText &text) {
    // Steps of x and y; a single column or row is as wide as a step of the other axis.
    double step_x = map.columns > 1 ? std::abs(map.x[1] - map.x[0]) / (map.columns - 1) : 0.0;
    double step_y = map.rows > 1 ? std::abs(map.y[1] - map.y[0]) / (map.rows - 1) : 0.0;
    step_x = step_x > 0.0 ? step_x : step_y > 0.0 ? step_y : 1.0;
    step_y = step_y > 0.0 ? step_y : step_x;
    const double longest = 700.0;
    const double unit = longest / std::max(map.columns * step_x, map.rows * step_y);
    const Box box{100.0, 48.0, std::max(2.0, map.columns * step_x * unit),
                  std::max(2.0, map.rows * step_y * unit)};
    Picture picture =
        blank_picture(box.left + box.width + 150.0, box.top + box.height + 70.0, white);
    const auto colour_of = [&](double value) {
        return std::isfinite(value)
                   ? colour_at(*map.colours, (value - map.range[0]) / (map.range[1] - map.range[0]))
                   : not_a_number;
    };
    // Axes grow to the right and upward, also where a range falls.
    const bool x_falls = map.x[1] < map.x[0];
    const bool y_falls = map.y[1] < map.y[0];
    const double cell_x = box.width / map.columns;
    const double cell_y = box.height / map.rows;
    for (int row = 0; row < map.rows; ++row) {
        for (int column = 0; column < map.columns; ++column) {
            const double left = std::round(box.left + column * cell_x);
            const double top = std::round(box.top + (map.rows - 1 - row) * cell_y);
            fill_box(picture, {left, top}, std::round(box.left + (column + 1) * cell_x) - left,
                     std::round(box.top + (map.rows - row) * cell_y) - top,
                     colour_of(map.value(x_falls ? map.columns - 1 - column : column,
                                         y_falls ? map.rows - 1 - row : row)));
        }
    }
    const auto axis = [](const std::array<double, 2> &ends, int count, double step) {
        const auto [low, high] = std::minmax(ends[0], count > 1 ? ends[1] : ends[0]);
        return Axis{low - 0.5 * step, high + 0.5 * step};
    };
    draw_axes(picture, box, axis(map.x, map.columns, step_x), axis(map.y, map.rows, step_y), text,
              false);
    const double left = box.left + box.width + 22.0;
    for (int i = 0; i < static_cast<int>(box.height); ++i) {
        fill_box(picture, {left, box.top + i}, 20.0, 1.0,
                 colour_at(*map.colours, 1.0 - i / box.height));
    }
    draw_text(picture, number_text(map.range[1], 3), {left + 28.0, box.top + 6.0},
              style(11.0, Anchor::left));
    draw_text(picture, number_text(map.range[0], 3), {left + 28.0, box.top + box.height - 6.0},
              style(11.0, Anchor::left));
    return picture;
}

} // namespace orvel
