#include "viewer/chart.hpp"
#include "viewer/pictures.hpp"
#include "viewer/value_range.hpp"

#include "app/mb_mpi.hpp"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace orvel {

namespace {

constexpr Rgb white{255, 255, 255};
constexpr Rgb black{0, 0, 0};
const TextStyle caption_style{12.0, {black, 1.6, 1.0}, Anchor::left, false};

// Value to place in the colours, as the page's settings are at first.
double fraction_of(const CbedImage &image, double value, double low, double high) {
    const double f = std::pow(std::clamp((value - low) / (high - low), 0.0, 1.0), image.gamma);
    return image.reversed ? 1.0 - f : f;
}

Rgb grey_of(const CbedImage &image, double value, CbedQuantity quantity,
            const std::array<double, 2> &range) {
    if (!std::isfinite(value)) {
        return not_a_number;
    }
    const bool root = quantity == CbedQuantity::modulus;
    const double low = root ? std::sqrt(std::max(0.0, range[0])) : range[0];
    const double high = root ? std::sqrt(std::max(0.0, range[1])) : range[1];
    return colour_at(amount_maps().front().colours, fraction_of(image, value, low, high));
}

Rgb sample_colour(const CbedRun &run, const CbedImage &image, CbedQuantity quantity,
                  std::size_t index) {
    const double value = intensity(run.pattern, image, index);
    if (quantity == CbedQuantity::phase && std::isfinite(value)) {
        const double phase = std::atan2(image.imaginary[index], image.values[index]);
        return colour_at(phase_map(), 0.5 + phase / (2.0 * std::numbers::pi));
    }
    return grey_of(image, quantity == CbedQuantity::modulus ? std::sqrt(value) : value, quantity,
                   {image.min, image.max});
}

// Pattern coordinates (samples, y upwards) on the picture.
struct Frame {
    const DiscLayout &layout;
    double unit = 1.0; // pixels a sample
    Point2 at(double x, double y) const {
        return {pattern_margin + (x - layout.low.x) * unit,
                pattern_margin + (layout.high.y - y) * unit};
    }
};

void draw_disc(Picture &picture, const Frame &frame, const CbedRun &run, const CbedImage &image,
               CbedQuantity quantity, std::size_t r) {
    const TiltGrid &grid = run.pattern.grid;
    const Place &centre = frame.layout.centres[r];
    const Point2 corner = frame.at(centre.x - 0.5 * grid.side, centre.y + 0.5 * grid.side);
    for (std::size_t p = 0; p < grid.points.size(); ++p) {
        const TiltPoint &point = grid.points[p];
        if (point.inside) {
            fill_box(picture,
                     {std::round(corner.x) + point.column * frame.unit,
                      std::round(corner.y) + (grid.side - 1 - point.row) * frame.unit},
                     frame.unit, frame.unit,
                     sample_colour(run, image, quantity, r * grid.points.size() + p));
        }
    }
}

void draw_sum(Picture &picture, const Frame &frame, const CbedRun &run, const CbedImage &image) {
    const OverlapSum sum = sum_overlap(run, image, frame.layout);
    const Point2 corner = frame.at(sum.low.x - 0.5, sum.low.y + sum.height - 0.5);
    // The file's range is that of single discs.
    const std::array<double, 2> range = finite_range({sum.intensity.begin(), sum.intensity.end()});
    for (int row = 0; row < sum.height; ++row) {
        for (int column = 0; column < sum.width; ++column) {
            const auto cell = static_cast<std::size_t>(row) * static_cast<std::size_t>(sum.width) +
                              static_cast<std::size_t>(column);
            if (sum.discs[cell] > 0) {
                fill_box(picture,
                         {std::round(corner.x) + column * frame.unit,
                          std::round(corner.y) + (sum.height - 1 - row) * frame.unit},
                         frame.unit, frame.unit,
                         grey_of(image, sum.intensity[cell], CbedQuantity::sum, range));
            }
        }
    }
}

// Indices with bars for minus signs, as crystallographers write them.
void draw_hkl(Picture &picture, const Hkl &g, Point2 at, const TextStyle &style) {
    const std::array<int, 3> indices = {g.h, g.k, g.l};
    double width = 0.0;
    std::array<std::string, 3> texts;
    const bool spaced =
        std::any_of(indices.begin(), indices.end(), [](int i) { return std::abs(i) > 9; });
    for (std::size_t i = 0; i < 3; ++i) {
        texts[i] = std::to_string(std::abs(indices[i])) + (spaced && i < 2 ? " " : "");
        width += text_width(texts[i], style.size);
    }
    double left = at.x - 0.5 * width;
    TextStyle one = style;
    one.anchor = Anchor::left;
    for (std::size_t i = 0; i < 3; ++i) {
        draw_text(picture, texts[i], {left, at.y}, one);
        const double digits =
            text_width(std::to_string(std::abs(indices[i])), style.size) - 0.28 * style.size;
        if (indices[i] < 0) {
            const double y = at.y - 0.78 * style.size;
            draw_line(picture, {left, y}, {left + digits, y}, style.pen);
        }
        left += text_width(texts[i], style.size);
    }
}

void draw_labels(Picture &picture, const Frame &frame, const CbedRun &run, bool on_bright) {
    const double radius = 0.5 * run.pattern.grid.side * frame.unit;
    const bool square = std::all_of(run.pattern.grid.points.begin(), run.pattern.grid.points.end(),
                                    [](const TiltPoint &p) { return p.inside; });
    const double size = std::clamp(0.22 * radius, 8.0, 16.0);
    const Rgb front = on_bright ? black : white;
    const Rgb back = on_bright ? white : black;
    for (std::size_t r = 0; r < frame.layout.centres.size(); ++r) {
        const Point2 at = frame.at(frame.layout.centres[r].x, frame.layout.centres[r].y);
        if (!square) {
            draw_circle(picture, at, radius, {{128, 128, 128}, 1.2, 0.65});
        }
        if (radius > 14.0) {
            const Point2 below = {at.x, at.y + radius - 1.3 * size};
            const Hkl &hkl = run.pattern.reflections[r].hkl;
            draw_hkl(picture, hkl, below, {size, {back, 5.0, 0.85}, Anchor::middle, false});
            draw_hkl(picture, hkl, below, {size, {front, 1.8, 1.0}, Anchor::middle, false});
        }
    }
}

// Scale bars in 1/A and, where the voltage is known, in mrad, side by side.
void draw_scale_bars(Picture &picture, const Frame &frame, const Facts &facts, double y) {
    const double per_pixel = std::fabs(frame.layout.sample_per_A) / frame.unit;
    double left = pattern_margin;
    const auto bar = [&](double unit, const std::string &name) {
        const double length = round_length(180.0 * unit);
        const double pixels = length / unit;
        fill_box(picture, {left, y - 3.0}, pixels, 6.0, black);
        const std::string text = number_text(length, 3) + " " + name;
        draw_text(picture, text, {left + pixels + 10.0, y}, caption_style);
        left += pixels + text_width(text, caption_style.size) + 40.0;
    };
    bar(per_pixel, "1/\u00c5");
    if (facts.wavelength) {
        bar(1000.0 * *facts.wavelength * per_pixel, "mrad");
    }
}

std::string fact(const Facts &facts, const char *label) {
    const auto at = std::find_if(facts.lines.begin(), facts.lines.end(),
                                 [&](const auto &line) { return line.first == label; });
    return at == facts.lines.end() ? "" : at->second;
}

std::vector<std::string> caption(const Facts &facts, const CbedImage &image) {
    std::vector<std::string> parts = {facts.title};
    for (const char *label : {"Crystal", "Zone"}) {
        if (const std::string value = fact(facts, label); !value.empty()) {
            parts.push_back(value);
        }
    }
    if (facts.wavelength) {
        const std::string value = fact(facts, "Voltage");
        parts.push_back(value.substr(0, value.find(" (")));
    }
    parts.push_back("t = " + number_text(image.thickness) + " \u00c5");
    return parts;
}

// The parts of a caption in lines that are no wider than the picture.
std::vector<std::string> lines_of(const std::vector<std::string> &parts, double width) {
    std::vector<std::string> lines = {parts.front()};
    for (std::size_t i = 1; i < parts.size(); ++i) {
        const std::string longer = lines.back() + ", " + parts[i];
        if (text_width(longer, caption_style.size) <= width) {
            lines.back() = longer;
        } else {
            lines.push_back(parts[i]);
        }
    }
    return lines;
}

std::vector<Curve> curves_of(const CbedRun &run, const CbedImage &image) {
    const std::size_t points = run.pattern.grid.points.size();
    std::vector<Curve> curves;
    for (std::size_t r = 0; r < run.pattern.reflections.size(); ++r) {
        Curve curve;
        curve.name = hkl_text(run.pattern.reflections[r].hkl);
        for (std::size_t p = 0; p < points; ++p) {
            curve.x.push_back(run.pattern.grid.points[p].H + run.pattern.H_tilt);
            curve.y.push_back(intensity(run.pattern, image, r * points + p));
        }
        curves.push_back(std::move(curve));
    }
    return curves;
}

Picture thickness_curves(const CbedRun &run, const Facts &facts) {
    std::vector<Curve> curves;
    for (std::size_t r = 0; r < run.pattern.reflections.size(); ++r) {
        Curve curve;
        curve.name = hkl_text(run.pattern.reflections[r].hkl);
        for (const CbedImage &image : run.images) {
            curve.x.push_back(image.thickness);
            curve.y.push_back(intensity(run.pattern, image, r));
        }
        curves.push_back(std::move(curve));
    }
    return curve_chart(curves, {facts.title, "thickness (\u00c5)", "intensity"});
}

} // namespace

int pixels_per_sample(const CbedImage &image, const DiscLayout &layout) {
    const double extent = std::max(layout.high.x - layout.low.x, layout.high.y - layout.low.y);
    const double unit = std::max(1.0, std::floor(1600.0 / extent)) * image.magnification;
    if (unit * extent > 1e5) {
        input_exit("$$ %s: magnification %d makes no picture. Abort.", image.file.c_str(),
                   image.magnification);
    }
    return static_cast<int>(unit);
}

Picture cbed_picture(const CbedRun &run, const CbedImage &image, CbedQuantity quantity,
                     const Facts &facts) {
    const DiscLayout layout = lay_out_discs(run);
    const Frame frame{layout, static_cast<double>(pixels_per_sample(image, layout))};
    const double width =
        std::ceil((layout.high.x - layout.low.x) * frame.unit + 2.0 * pattern_margin);
    const double height =
        std::ceil((layout.high.y - layout.low.y) * frame.unit + 2.0 * pattern_margin);
    const std::vector<std::string> lines =
        lines_of(caption(facts, image), width - 2.0 * pattern_margin);
    const double line_height = 28.0;
    const double strip = line_height * (static_cast<double>(lines.size()) + 1.0) + 16.0;
    const bool on_bright = image.reversed && quantity != CbedQuantity::phase;
    Picture picture = blank_picture(width, height + strip, on_bright ? white : black);
    if (quantity == CbedQuantity::sum) {
        draw_sum(picture, frame, run, image);
    } else {
        // The first reflections, 000 before all, lie on top.
        for (std::size_t r = layout.centres.size(); r-- > 0;) {
            draw_disc(picture, frame, run, image, quantity, r);
        }
    }
    draw_labels(picture, frame, run, on_bright);
    fill_box(picture, {0.0, height}, width, strip, white);
    draw_scale_bars(picture, frame, facts, height + line_height);
    for (std::size_t i = 0; i < lines.size(); ++i) {
        draw_text(picture, lines[i],
                  {pattern_margin, height + line_height * (static_cast<double>(i) + 2.0)},
                  caption_style);
    }
    return picture;
}

void cbed_pictures(const CbedRun &run, const Facts &facts, const TakePicture &take) {
    if (run.pattern.grid.shape == TiltShape::point) {
        if (run.images.size() > 1) {
            take(facts.title + "_thickness.png", thickness_curves(run, facts));
        }
        return;
    }
    for (std::size_t t = 0; t < run.images.size(); ++t) {
        const std::string stem = facts.title + "_t" + std::to_string(t);
        const CbedImage &image = run.images[t];
        if (run.pattern.grid.shape == TiltShape::line) {
            take(stem + ".png",
                 curve_chart(curves_of(run, image), {lines_of(caption(facts, image), 1e9).front(),
                                                     "tilt H (half base vectors)", "intensity"}));
            continue;
        }
        const auto add = [&](const char *suffix, CbedQuantity quantity) {
            take(stem + suffix, cbed_picture(run, image, quantity, facts));
        };
        add(".png", CbedQuantity::intensity);
        if (run.pattern.coherent) {
            add("_modulus.png", CbedQuantity::modulus);
            add("_phase.png", CbedQuantity::phase);
            add("_sum.png", CbedQuantity::sum);
        }
    }
}

} // namespace orvel
