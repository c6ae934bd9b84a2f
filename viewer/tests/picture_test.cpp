#include "viewer/pictures.hpp"

#include "samples.hpp"
#include "viewer/chart.hpp"
#include "viewer/value_range.hpp"

#include <cctype>
#include <cmath>
#include <numbers>
#include <png.h>
#include <set>
#include <sstream>

namespace orvel::test {

namespace {

CbedRun cbed_run(const std::string &base) {
    const KavScript script = read_kav_script(sample(base + "_kav.txt"));
    return read_cbed_run(script, script.pages.front());
}

// CIE lightness L* of an sRGB colour.
double lightness(Rgb c) {
    const auto linear = [](double v) {
        v /= 255.0;
        return v <= 0.04045 ? v / 12.92 : std::pow((v + 0.055) / 1.055, 2.4);
    };
    const double y = 0.2126 * linear(c.r) + 0.7152 * linear(c.g) + 0.0722 * linear(c.b);
    return 116.0 * std::cbrt(y) - 16.0;
}

// The middle of a sample of disc r on the picture.
Rgb sample_pixel(const Picture &picture, const DiscLayout &layout, int unit, int side,
                 std::size_t r, int column, int row) {
    const double left =
        std::round(pattern_margin + (layout.centres[r].x - 0.5 * side - layout.low.x) * unit);
    const double top =
        std::round(pattern_margin + (layout.high.y - layout.centres[r].y - 0.5 * side) * unit);
    return pixel(picture, static_cast<int>(left) + column * unit + unit / 2,
                 static_cast<int>(top) + (side - 1 - row) * unit + unit / 2);
}

} // namespace

TEST(ColourMap, LightnessGrowsAndPhasesClose) {
    for (const ColourMap &map : amount_maps()) {
        for (std::size_t i = 1; i < 256; ++i) {
            EXPECT_GT(lightness(map.colours[i]) - lightness(map.colours[i - 1]), -0.35)
                << map.name << " " << i;
        }
        EXPECT_GT(lightness(map.colours[255]) - lightness(map.colours[0]), 70.0) << map.name;
    }
    const ColourTable &phase = phase_map();
    EXPECT_EQ(phase[0], phase[255]);
    for (const Rgb &c : phase) {
        EXPECT_NEAR(lightness(c), lightness(phase[0]), 6.0);
    }
    EXPECT_EQ(colour_at(amount_maps()[0].colours, -3.0), (Rgb{0, 0, 0}));
    EXPECT_EQ(colour_at(amount_maps()[0].colours, 0.5), (Rgb{128, 128, 128}));
}

// Grey = 255 (1 - (I / max)^gamma), the script's gamma 0.5 and reversal, for every sample that no
// label covers; read back from the file by another reader.
TEST(Pictures, PatternShowsTheTable) {
    const CbedRun run = cbed_run("cbed");
    const SampleFolder folder;
    std::vector<Picture> pictures;
    cbed_pictures(run, {"cbed", {}, {}, {}},
                  [&](const std::string &, const Picture &p) { pictures.push_back(p); });
    ASSERT_EQ(pictures.size(), 2U);
    const DiscLayout layout = lay_out_discs(run);
    const int side = run.pattern.grid.side;
    for (std::size_t t = 0; t < 2; ++t) {
        write_png(folder.file("p.png"), pictures[t]);
        png_image header{};
        header.version = PNG_IMAGE_VERSION;
        ASSERT_NE(png_image_begin_read_from_file(&header, folder.file("p.png").c_str()), 0);
        header.format = PNG_FORMAT_RGB;
        Picture picture = pictures[t];
        ASSERT_EQ(header.width, static_cast<unsigned>(picture.width));
        ASSERT_NE(png_image_finish_read(&header, nullptr, picture.pixels.data(), 0, nullptr), 0);
        const CbedImage &image = run.images[t];
        const int unit = pixels_per_sample(image, layout);
        ASSERT_GE(unit, 5);
        int compared = 0;
        for (std::size_t r = 0; r < run.pattern.reflections.size(); ++r) {
            for (int row = side / 2; row < side - 2; ++row) {
                for (int column = 6; column < side - 6; ++column) {
                    const auto p = static_cast<std::size_t>(row * side + column);
                    if (std::hypot(row - side / 2, column - side / 2) > 0.5 * side - 2.0) {
                        continue;
                    }
                    const double value = image.values[r * run.pattern.grid.points.size() + p];
                    const double grey =
                        255.0 * (1.0 - std::sqrt((value - image.min) / (image.max - image.min)));
                    const Rgb shown = sample_pixel(picture, layout, unit, side, r, column, row);
                    EXPECT_NEAR(shown.r, grey, 1.0) << r << " " << column << " " << row;
                    ++compared;
                }
            }
        }
        EXPECT_GT(compared, 800);
    }
}

TEST(Pictures, PhaseIsTheHueOfTheAmplitude) {
    CbedRun run = cbed_run("coherent");
    // The 000 disc lies on top: its phases are seen whole.
    const CbedImage &image = run.images[0];
    const Picture picture = cbed_picture(run, image, CbedQuantity::phase, {"coherent", {}, {}, {}});
    const DiscLayout layout = lay_out_discs(run);
    const int side = run.pattern.grid.side;
    for (const int column : {8, 12, 16}) {
        const int row = 15;
        const auto p = static_cast<std::size_t>(row * side + column);
        const double phase = std::atan2(image.imaginary[p], image.values[p]);
        EXPECT_EQ(
            sample_pixel(picture, layout, pixels_per_sample(image, layout), side, 0, column, row),
            colour_at(phase_map(), 0.5 + phase / (2.0 * std::numbers::pi)));
    }
}

TEST(Pictures, MapsShowTheirValuesAndCurvesTheirPlace) {
    MapData map;
    map.columns = 3;
    map.rows = 2;
    map.x = {0.0, 2.0};
    map.y = {0.0, 1.0};
    map.range = {0.0, 5.0};
    map.value = [](int column, int row) { return column + 3.0 * row; };
    map.colours = &amount_maps()[0].colours;
    const Picture drawn = map_chart(map, {"m", "x", "y"});
    // 700 pixels for three columns from (100, 48); row 0 is the lower one.
    for (int i = 0; i < 6; ++i) {
        const double x = 100.0 + 700.0 / 3.0 * (i % 3 + 0.5);
        const double y = 48.0 + 700.0 / 3.0 * (1.5 - i / 3);
        EXPECT_EQ(pixel(drawn, static_cast<int>(x), static_cast<int>(y)),
                  colour_at(*map.colours, i / 5.0))
            << i;
    }
    const Curve flat{"c", {0.0, 1.0, 2.0}, {1.0, std::nan(""), 3.0}, {}};
    const Curve line{"d", {0.0, 2.0}, {2.0, 2.0}, {}};
    const Picture chart = curve_chart({flat, line}, {"t", "x", "y"});
    const Rgb middle = pixel(chart, 560, 48 + 335); // y = 2 is half of 1 to 3
    EXPECT_EQ(middle, (Rgb{213, 94, 0}));
}

// Where 1 is less than the distance of two numbers, one value still has a range.
TEST(Pictures, LargeConstantValuesAreDrawn) {
    const std::array<double, 2> range = finite_range({1e17, 1e17});
    EXPECT_LT(range[0], range[1]);
    const SampleFolder folder("cbed");
    for (const char *name : {"cbed_rs0.txt", "cbed_rs1.txt"}) {
        std::istringstream lines(read_file(folder.file(name)));
        std::string constant;
        bool in_range = false; // the line behind the head of a default range
        bool in_values = false;
        for (std::string line; std::getline(lines, line); constant += line + '\n') {
            in_values = in_values || line == "RF{";
            if (in_range) {
                line = "1e+17\t1e+17";
            } else if (in_values && std::isdigit(line[0]) && line.find('\t') == line.npos) {
                line = "1e+17";
            }
            in_range = line.starts_with("# default max");
        }
        write_file(folder.file(name), constant);
    }
    const KavScript script = read_kav_script(folder.file("cbed_kav.txt"));
    const CbedRun run = read_cbed_run(script, script.pages.front());
    EXPECT_LT(run.images[0].min, run.images[0].max);
    int pictures = 0;
    cbed_pictures(run, {"cbed", {}, {}, {}},
                  [&](const std::string &, const Picture &) { ++pictures; });
    EXPECT_EQ(pictures, 2);
}

TEST(Pictures, EverySampleHasItsPictures) {
    const auto count = [](const auto &draw, const auto &run) {
        std::set<std::string> names;
        draw(run, {"base", {}, {}, {}},
             [&](const std::string &name, const Picture &) { names.insert(name); });
        return names.size();
    };
    EXPECT_EQ(count(cbed_pictures, cbed_run("coherent")), 8U);
    EXPECT_EQ(count(cbed_pictures, cbed_run("line")), 2U);
    EXPECT_EQ(count(cbed_pictures, cbed_run("point")), 1U);
    const KavScript surface = read_kav_script(sample("surface_kav.txt"));
    EXPECT_EQ(count(dispsurf_pictures, read_dispsurf_run(surface, surface.pages[0])), 6U);
    const KavScript area = read_kav_script(sample("area_kav.txt"));
    EXPECT_EQ(count(dispsurf_pictures, read_dispsurf_run(area, area.pages[0])), 16U);
    const KavScript bloch = read_kav_script(sample("bloch_kav.txt"));
    EXPECT_EQ(count(bloch_pictures, read_bloch_run(bloch, bloch.pages[0])), 10U);
}

} // namespace orvel::test
