#include "viewer/picture.hpp"

#include "app/mb_mpi.hpp"
#include "viewer/stroke_font.hpp"

#include <algorithm>
#include <cmath>
#include <png.h>

namespace orvel {

namespace {

void blend(Picture &picture, int x, int y, Rgb colour, double cover) {
    Rgb &old =
        picture.pixels[static_cast<std::size_t>(y) * static_cast<std::size_t>(picture.width) +
                       static_cast<std::size_t>(x)];
    const auto mix = [cover](std::uint8_t from, std::uint8_t to) {
        return static_cast<std::uint8_t>(std::lround(from + cover * (to - from)));
    };
    old = {mix(old.r, colour.r), mix(old.g, colour.g), mix(old.b, colour.b)};
}

double distance_to_segment(Point2 p, Point2 a, Point2 b) {
    const double dx = b.x - a.x;
    const double dy = b.y - a.y;
    const double square = dx * dx + dy * dy;
    const double t =
        square > 0.0 ? std::clamp(((p.x - a.x) * dx + (p.y - a.y) * dy) / square, 0.0, 1.0) : 0.0;
    return std::hypot(p.x - a.x - t * dx, p.y - a.y - t * dy);
}

// First and last pixel of a range that lie in [0, size).
struct PixelRange {
    int first = 0;
    int last = -1;
};
PixelRange pixels_of(double low, double high, int size) {
    return {static_cast<int>(std::clamp(std::floor(low), 0.0, static_cast<double>(size))),
            static_cast<int>(std::clamp(std::ceil(high), -1.0, static_cast<double>(size - 1)))};
}

} // namespace

Picture blank_picture(double width, double height, Rgb colour) {
    constexpr double most_pixels = 268435456.0;
    if (!(width >= 1.0 && height >= 1.0 && width * height <= most_pixels)) {
        input_exit("$$ A picture of %g x %g pixels cannot be drawn. Abort.", width, height);
    }
    Picture picture{static_cast<int>(width), static_cast<int>(height), {}};
    picture.pixels.assign(
        static_cast<std::size_t>(picture.width) * static_cast<std::size_t>(picture.height), colour);
    return picture;
}

Rgb pixel(const Picture &picture, int x, int y) {
    return picture.pixels[static_cast<std::size_t>(y) * static_cast<std::size_t>(picture.width) +
                          static_cast<std::size_t>(x)];
}

void fill_box(Picture &picture, Point2 corner, double width, double height, Rgb colour) {
    const auto edge = [](double at, int size) {
        return static_cast<int>(std::clamp(std::round(at), 0.0, static_cast<double>(size)));
    };
    const int right = edge(corner.x + width, picture.width);
    const int bottom = edge(corner.y + height, picture.height);
    for (int y = edge(corner.y, picture.height); y < bottom; ++y) {
        for (int x = edge(corner.x, picture.width); x < right; ++x) {
            blend(picture, x, y, colour, 1.0);
        }
    }
}

void draw_line(Picture &picture, Point2 from, Point2 to, const Pen &pen) {
    const double reach = 0.5 * pen.width + 1.0;
    const PixelRange xs =
        pixels_of(std::min(from.x, to.x) - reach, std::max(from.x, to.x) + reach, picture.width);
    const PixelRange ys =
        pixels_of(std::min(from.y, to.y) - reach, std::max(from.y, to.y) + reach, picture.height);
    for (int y = ys.first; y <= ys.last; ++y) {
        for (int x = xs.first; x <= xs.last; ++x) {
            const double away = distance_to_segment({x + 0.5, y + 0.5}, from, to);
            const double cover = std::clamp(0.5 * pen.width + 0.5 - away, 0.0, 1.0);
            if (cover > 0.0) {
                blend(picture, x, y, pen.colour, cover * pen.opacity);
            }
        }
    }
}

void draw_circle(Picture &picture, Point2 centre, double radius, const Pen &pen) {
    const double reach = radius + 0.5 * pen.width + 1.0;
    const PixelRange xs = pixels_of(centre.x - reach, centre.x + reach, picture.width);
    const PixelRange ys = pixels_of(centre.y - reach, centre.y + reach, picture.height);
    for (int y = ys.first; y <= ys.last; ++y) {
        for (int x = xs.first; x <= xs.last; ++x) {
            const double away =
                std::abs(std::hypot(x + 0.5 - centre.x, y + 0.5 - centre.y) - radius);
            const double cover = std::clamp(0.5 * pen.width + 0.5 - away, 0.0, 1.0);
            if (cover > 0.0) {
                blend(picture, x, y, pen.colour, cover * pen.opacity);
            }
        }
    }
}

double text_width(std::string_view text, double size) {
    double width = 0.0;
    for (const Glyph &glyph : glyphs_of(text)) {
        width += glyph.advance;
    }
    return width * size / glyph_capital_height;
}

void draw_text(Picture &picture, std::string_view text, Point2 at, const TextStyle &style) {
    const double unit = style.size / glyph_capital_height;
    const double width = text_width(text, style.size);
    double left = style.anchor == Anchor::left    ? 0.0
                  : style.anchor == Anchor::right ? -width
                                                  : -0.5 * width;
    const auto place = [&](double x, double y) {
        const double along = left + x * unit;
        const double above = y * unit - 0.5 * style.size;
        return style.upwards ? Point2{at.x - above, at.y - along}
                             : Point2{at.x + along, at.y - above};
    };
    for (const Glyph &glyph : glyphs_of(text)) {
        for (const GlyphStroke &stroke : glyph.strokes) {
            for (std::size_t i = 0; i + 1 < stroke.size(); ++i) {
                draw_line(picture, place(stroke[i].x, stroke[i].y),
                          place(stroke[i + 1].x, stroke[i + 1].y), style.pen);
            }
        }
        left += glyph.advance * unit;
    }
}

void write_png(const std::string &path, const Picture &picture) {
    static_assert(sizeof(Rgb) == 3, "rows of pixels are rows of bytes");
    png_image image{};
    image.version = PNG_IMAGE_VERSION;
    image.width = static_cast<png_uint_32>(picture.width);
    image.height = static_cast<png_uint_32>(picture.height);
    image.format = PNG_FORMAT_RGB;
    OutputFile file = mb_fopen_chk_wmode(path);
    if (png_image_write_to_stdio(&image, file, 0, picture.pixels.data(), 0, nullptr) == 0) {
        input_exit("$$ Cannot write %s. Abort.", path.c_str());
    }
    mb_fclose(file);
}

} // namespace orvel
