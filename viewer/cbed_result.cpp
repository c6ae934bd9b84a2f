#include "viewer/cbed_result.hpp"

#include "app/mb_mpi.hpp"
#include "viewer/text_file.hpp"
#include "viewer/value_range.hpp"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>

namespace orvel {

namespace {

// The VISUAL block. Its gamma, magnification and reversal are defaults that the script's own
// numbers replace.
void read_display(TextFile &file, CbedImage &image) {
    expect_keyword(file, "VISUAL{");
    std::array<double, 2> range{};
    next_numbers(file, "largest and smallest intensity", range);
    image.max = range[0];
    image.min = range[1];
    next_number(file, "gamma");
    next_number(file, "magnification");
    next_number(file, "contrast-reverse-flag");
    expect_keyword(file, "}VISUAL");
}

void read_crystal(TextFile &file, CbedPattern &pattern, CbedImage &image) {
    expect_keyword(file, "CR_PARAMETERS{");
    std::array<double, 6> cell{};
    next_numbers(file, "six lattice parameters", cell);
    pattern.cell = {cell[0], cell[1], cell[2], cell[3], cell[4], cell[5]};
    std::array<int, 3> uvw{};
    next_integers(file, "incident direction", uvw);
    pattern.incidence = {uvw[0], uvw[1], uvw[2]};
    std::array<double, 3> g1{};
    next_numbers(file, "zolzbase1", g1);
    pattern.base_g1 = {g1[0], g1[1], g1[2]};
    std::array<double, 2> tilt{};
    next_numbers(file, "tilt H G", tilt);
    pattern.H_tilt = tilt[0];
    pattern.G_tilt = tilt[1];
    image.thickness = next_number(file, "thickness");
    expect_keyword(file, "}CR_PARAMETERS");
    const double g1_squared = sq_abs(pattern.base_g1, bravai(pattern.cell));
    if (!(g1_squared > 0.0) || !std::isfinite(g1_squared)) {
        file_error(file, "lattice parameters and zolzbase1 give no length");
    }
}

// Every reflection takes lines of its own: a count beyond the size of the file is cut short.
void check_count(const TextFile &file, const char *what, double count) {
    if (count > static_cast<double>(file.content.size())) {
        file_error(file, std::string(what) + " is more than the file holds");
    }
}

OutputReflection read_reflection(TextFile &file) {
    std::array<double, 5> v{};
    next_numbers(file, "h k l and position", v);
    const auto is_index = [](double d) { return d == std::trunc(d) && std::abs(d) <= index_limit; };
    if (!std::all_of(v.begin(), v.begin() + 3, is_index)) {
        file_error(file, "h k l are no reflection indices");
    }
    return {{static_cast<int>(v[0]), static_cast<int>(v[1]), static_cast<int>(v[2])}, v[3], v[4]};
}

void read_reflections(TextFile &file, CbedPattern &pattern) {
    expect_keyword(file, "RF_INDEX{");
    const int count = next_integer(file, "number of reflections", 1);
    check_count(file, "number of reflections", count);
    for (int r = 0; r < count; ++r) {
        pattern.reflections.push_back(read_reflection(file));
    }
    expect_keyword(file, "}RF_INDEX");
}

TiltGrid grid_of_counts(TextFile &file) {
    std::array<int, 2> counts{};
    next_integers(file, "num_pix and num_pix_side", counts);
    const auto [points, side] = counts;
    check_count(file, "num_pix", points);
    TiltGrid grid;
    if (points == 1) {
        grid.shape = TiltShape::point;
        grid.side = 1;
    } else if (points > 1 && points == side) {
        grid.shape = TiltShape::line;
        grid.side = side;
    } else if (points > 1 && side > 1 && points / side == side && points % side == 0) {
        grid.shape = TiltShape::area;
        grid.side = side;
    } else {
        file_error(file, std::to_string(points) + " tilts do not make a grid of side " +
                             std::to_string(side));
    }
    grid.points.resize(static_cast<std::size_t>(points));
    return grid;
}

void read_grid(TextFile &file, CbedPattern &pattern) {
    expect_keyword(file, "COORD{");
    TiltGrid grid = grid_of_counts(file);
    std::array<double, 4> range{};
    next_numbers(file, "ranges of H and G", range);
    grid.half_width = 0.5 * (range[1] - range[0]);
    // Amplitudes stand at the tilts themselves, intensities at tilts relative to the centre.
    const double H_centre = pattern.coherent ? pattern.H_tilt : 0.0;
    const double G_centre = pattern.coherent ? pattern.G_tilt : 0.0;
    int ix_first = 0;
    int iy_first = 0;
    for (std::size_t p = 0; p < grid.points.size(); ++p) {
        std::array<double, 5> v{};
        next_numbers(file, "H G ih ig flag", v);
        TiltPoint &point = grid.points[p];
        point.H = v[0] - H_centre;
        point.G = v[1] - G_centre;
        point.column = static_cast<int>(p) % grid.side;
        point.row = static_cast<int>(p) / grid.side;
        point.inside = v[4] != 0.0;
        if (p == 0) {
            ix_first = static_cast<int>(std::clamp(v[2], -1e9, 1e9));
            iy_first = static_cast<int>(std::clamp(v[3], -1e9, 1e9));
        }
        if (v[2] != point.column + ix_first || v[3] != point.row + iy_first) {
            file_error(file, "the tilts do not stand in the order of the grid");
        }
    }
    expect_keyword(file, "}COORD");
    if (grid.shape != TiltShape::point && !std::isfinite(grid.half_width)) {
        file_error(file, "the range of the tilts is not finite");
    }
    pattern.grid = std::move(grid);
}

void read_values(TextFile &file, const CbedPattern &pattern, CbedImage &image) {
    const std::size_t total = pattern.reflections.size() * pattern.grid.points.size();
    check_count(file, "the number of values", static_cast<double>(total));
    image.values.reserve(total);
    image.imaginary.reserve(pattern.coherent ? total : 0);
    double largest = 0.0;
    for (const OutputReflection &reflection : pattern.reflections) {
        expect_keyword(file, "RF{");
        std::array<int, 3> hkl{};
        next_integers(file, "h k l", hkl);
        if (Hkl{hkl[0], hkl[1], hkl[2]} != reflection.hkl) {
            file_error(file, "the reflection is not the one that RF_INDEX lists here");
        }
        for (std::size_t p = 0; p < pattern.grid.points.size(); ++p) {
            std::array<double, 2> v{};
            next_numbers(file, pattern.coherent ? "an amplitude" : "an intensity",
                         std::span(v).first(pattern.coherent ? 2 : 1));
            largest = std::max({largest, std::fabs(v[0]), std::fabs(v[1])});
            chk_picture_value(file, v[0]);
            chk_picture_value(file, v[1]);
            image.values.push_back(static_cast<float>(v[0]));
            if (pattern.coherent) {
                image.imaginary.push_back(static_cast<float>(v[1]));
            }
        }
        expect_keyword(file, "}RF");
    }
    chk_not_all_lost(file, largest);
}

// Least and largest intensity that is a number.
std::array<double, 2> intensities_of(const CbedPattern &pattern, const CbedImage &image) {
    std::array<double, 2> found = {std::numeric_limits<double>::infinity(),
                                   -std::numeric_limits<double>::infinity()};
    for (std::size_t i = 0; i < image.values.size(); ++i) {
        const double value = intensity(pattern, image, i);
        if (std::isfinite(value)) {
            found = {std::min(found[0], value), std::max(found[1], value)};
        }
    }
    return found;
}

// A range that shows nothing (nan, or no difference) is replaced by that of the values.
void settle_range(const CbedPattern &pattern, CbedImage &image) {
    if (!(std::isfinite(image.max) && std::isfinite(image.min) && image.max > image.min)) {
        const auto [least, largest] = intensities_of(pattern, image);
        image.min = least;
        image.max = largest;
    }
    if (!(image.max > image.min)) {
        image.min = std::isfinite(image.min) ? image.min : 0.0;
        image.max = image.min + unit_range(image.min);
    }
}

// VISUAL of coherent patterns is the same with any intensity_scaling: all files of the run are
// given the range from 0 to their largest intensity.
void share_range(CbedRun &run) {
    double largest = 0.0;
    for (const CbedImage &image : run.images) {
        largest = std::max(largest, intensities_of(run.pattern, image)[1]);
    }
    for (CbedImage &image : run.images) {
        image.min = 0.0;
        image.max = largest > 0.0 ? largest : 1.0;
    }
}

bool same_pattern(const CbedPattern &a, const CbedPattern &b) {
    const auto cell = [](const CellConstants &c) {
        return std::array{c.a, c.b, c.c, c.alpha, c.beta, c.gamma};
    };
    const auto same_reflection = [](const OutputReflection &p, const OutputReflection &q) {
        return p.hkl == q.hkl && same_number(p.x, q.x) && same_number(p.y, q.y);
    };
    const auto same_point = [](const TiltPoint &p, const TiltPoint &q) {
        return p.inside == q.inside && p.column == q.column && p.row == q.row &&
               same_number(p.H, q.H) && same_number(p.G, q.G);
    };
    return cell(a.cell) == cell(b.cell) && a.incidence == b.incidence &&
           a.base_g1.h == b.base_g1.h && a.base_g1.k == b.base_g1.k && a.base_g1.l == b.base_g1.l &&
           a.H_tilt == b.H_tilt && a.G_tilt == b.G_tilt &&
           std::equal(a.reflections.begin(), a.reflections.end(), b.reflections.begin(),
                      b.reflections.end(), same_reflection) &&
           std::equal(a.grid.points.begin(), a.grid.points.end(), b.grid.points.begin(),
                      b.grid.points.end(), same_point);
}

} // namespace

CbedRun read_cbed_run(const KavScript &script, const KavPage &page) {
    CbedRun run;
    for (const CbedCommand &command : page.cbed) {
        TextFile file = read_text_file(beside(script.path, command.result_file));
        CbedPattern pattern;
        pattern.coherent = script.mode == VisualMode::coherent_cbed;
        CbedImage image;
        image.file = command.result_file;
        image.gamma = command.gamma;
        image.magnification = command.magnification;
        image.reversed = command.reversed;
        expect_keyword(file, pattern.coherent ? "SIM_COHERENT_RESULT" : "SIM_RESULT");
        read_display(file, image);
        read_crystal(file, pattern, image);
        read_reflections(file, pattern);
        read_grid(file, pattern);
        read_values(file, pattern, image);
        expect_end(file);
        settle_range(pattern, image);
        if (run.images.empty()) {
            run.pattern = std::move(pattern);
        } else if (!same_pattern(run.pattern, pattern)) {
            input_exit("$$ %s and %s differ in crystal, reflections or tilts. Abort.",
                       run.images.front().file.c_str(), image.file.c_str());
        }
        run.images.push_back(std::move(image));
    }
    if (run.pattern.coherent) {
        share_range(run);
    }
    return run;
}

double intensity(const CbedPattern &pattern, const CbedImage &image, std::size_t index) {
    const double re = image.values[index];
    if (!pattern.coherent) {
        return re;
    }
    const double im = image.imaginary[index];
    return re * re + im * im;
}

} // namespace orvel
