// A picture of 8-bit colours in memory: areas, smooth lines, text of a stroke font, PNG.
// Coordinates are in pixels, x to the right, y downwards, (0, 0) the upper left corner of the
// upper left pixel.
#pragma once

#include "viewer/colour_map.hpp"

#include <string>
#include <string_view>
#include <vector>

namespace orvel {

struct Picture {
    int width = 0;
    int height = 0;
    std::vector<Rgb> pixels; // [y * width + x]
};

struct Point2 {
    double x = 0.0;
    double y = 0.0;
};

struct Pen {
    Rgb colour;
    double width = 1.0;
    double opacity = 1.0; // 0 to 1
};

// A picture of one colour; one that memory should not hold (more than 2^28 pixels) ends the run.
Picture blank_picture(double width, double height, Rgb colour);

Rgb pixel(const Picture &picture, int x, int y);
// Parts outside the picture are cut off.
void fill_box(Picture &picture, Point2 corner, double width, double height, Rgb colour);
void draw_line(Picture &picture, Point2 from, Point2 to, const Pen &pen);
void draw_circle(Picture &picture, Point2 centre, double radius, const Pen &pen);

// Text of capitals `size` pixels high; the letters of ASCII, Greek gamma and alpha, the Angstrom
// and degree signs, the superscript 2 and the minus sign of UTF-8 text, "?" for others.
double text_width(std::string_view text, double size);
enum class Anchor { left, middle, right };
// Centred vertically on `at.y`; `upwards` turns it by 90 degrees to read from below.
struct TextStyle {
    double size = 14.0;
    Pen pen{{0, 0, 0}, 1.6, 1.0};
    Anchor anchor = Anchor::left;
    bool upwards = false;
};
void draw_text(Picture &picture, std::string_view text, Point2 at, const TextStyle &style);

// Writes the file; one that cannot be written ends the run.
void write_png(const std::string &path, const Picture &picture);

} // namespace orvel
