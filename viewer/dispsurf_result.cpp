#include "viewer/dispsurf_result.hpp"

#include "app/mb_mpi.hpp"
#include "viewer/text_file.hpp"

#include <algorithm>
#include <cmath>
#include <functional>

namespace orvel {

namespace {

struct Table {
    std::vector<Hkl> reflections;    // of "# g" lines
    std::vector<double> thicknesses; // of "# thickness" lines
    std::size_t columns = 0;
    std::vector<double> values; // [row][column]
    std::size_t rows() const { return values.size() / columns; }
};

// "# g 0: 1 1 -1" and "# thickness 0: 500[A]".
void read_header_line(TextFile &file, std::string_view line, Table &table) {
    line.remove_prefix(1);
    const std::string_view word = cut_token(line);
    if (word == "g") {
        cut_token(line);
        Hkl g;
        if (!to_integer(cut_token(line), g.h) || !to_integer(cut_token(line), g.k) ||
            !to_integer(cut_token(line), g.l)) {
            file_error(file, "h k l of an output reflection expected");
        }
        table.reflections.push_back(g);
    } else if (word == "thickness") {
        cut_token(line);
        std::string_view value = cut_token(line);
        double thickness = 0.0;
        if (!to_number(value.substr(0, value.find('[')), thickness)) {
            file_error(file, "a thickness expected");
        }
        table.thicknesses.push_back(thickness);
    }
}

void read_row(TextFile &file, std::string_view line, Table &table) {
    for (std::size_t c = 0; c < table.columns; ++c) {
        double value = 0.0;
        if (!to_number(cut_token(line), value)) {
            file_error(file, std::to_string(table.columns) + " numbers expected, number " +
                                 std::to_string(c + 1) + " is none");
        }
        chk_picture_value(file, value);
        table.values.push_back(value);
    }
    if (!cut_token(line).empty()) {
        file_error(file, "more than " + std::to_string(table.columns) + " numbers");
    }
}

// Comment lines, one line of column titles that begins with "kxy(H)", then lines of numbers.
Table read_table(const std::string &path, std::size_t columns) {
    TextFile file = read_text_file(path);
    Table table;
    table.columns = columns;
    bool titled = false;
    std::string_view line;
    while (next_line(file, line)) {
        if (line.starts_with("#")) {
            read_header_line(file, line, table);
        } else if (line.starts_with("kxy(H)")) {
            titled = true;
        } else if (!line.empty()) {
            if (!titled) {
                file_error(file, "the line of column titles expected");
            }
            read_row(file, line, table);
        }
    }
    if (table.values.empty()) {
        file_error(file, "the table has no lines");
    }
    expect_line_end(file);
    double largest = 0.0;
    std::size_t column = 0;
    for (const double value : table.values) {
        const bool is_tilt = column < 2;
        largest = is_tilt ? largest : std::max(largest, std::fabs(value));
        column = column + 1 == columns ? 0 : column + 1;
    }
    chk_not_all_lost(file, largest);
    return table;
}

// Equal, or both not a number.
bool same_values(const std::vector<double> &a, const std::vector<double> &b) {
    return std::equal(a.begin(), a.end(), b.begin(), b.end(), [](double x, double y) {
        return x == y || (std::isnan(x) && std::isnan(y));
    });
}

// Points of a row of constant G. An area is stored row by row; a single tilt repeated n x n times
// is a square of side n.
int side_of_grid(const std::string &path, const DispsurfRun &run) {
    const std::size_t n = run.H.size();
    std::size_t side = 1;
    while (side < n && run.G[side] == run.G[0] && run.H[side] != run.H[0]) {
        ++side;
    }
    const auto same_row = [&](std::size_t p) {
        return run.H[p] == run.H[p % side] && run.G[p] == run.G[p - p % side];
    };
    if (side == 1 && n > 1) {
        while (side * side < n) {
            ++side;
        }
    }
    bool regular = n % side == 0;
    for (std::size_t p = 0; regular && n > 1 && p < n; ++p) {
        regular = same_row(p);
    }
    if (!regular) {
        input_exit("$$ %s: the tilts make neither a line nor a grid. Abort.", path.c_str());
    }
    return static_cast<int>(side);
}

// Column c of each group of `stride` columns that begin at `first`, as one array.
template <class T>
std::vector<T> columns_of(const Table &table, std::size_t first, std::size_t stride,
                          std::size_t groups, std::size_t c) {
    std::vector<T> out;
    out.reserve(table.rows() * groups);
    for (std::size_t row = 0; row < table.rows(); ++row) {
        for (std::size_t g = 0; g < groups; ++g) {
            out.push_back(
                static_cast<T>(table.values[row * table.columns + first + g * stride + c]));
        }
    }
    return out;
}

} // namespace

DispsurfRun read_dispsurf_run(const KavScript &script, const KavPage &page) {
    const DispsurfCommand &command = page.dispsurf.front();
    const auto branches = static_cast<std::size_t>(command.branch_end - command.branch_begin) + 1;
    const auto reflections = static_cast<std::size_t>(command.num_reflections);
    const auto thicknesses = static_cast<std::size_t>(command.num_thicknesses);
    const std::string amplitude_path = beside(script.path, command.amplitude_file);
    const std::string intensity_path = beside(script.path, command.intensity_file);
    const Table surface = read_table(beside(script.path, command.surface_file), 3 + 5 * branches);
    const Table amplitudes = read_table(amplitude_path, 2 + 2 * reflections * branches);
    const Table intensities = read_table(intensity_path, 2 + reflections * thicknesses);

    DispsurfRun run;
    run.branch_begin = command.branch_begin;
    run.branches = static_cast<int>(branches);
    // The G coordinate stands in the other two tables only.
    run.H = columns_of<double>(amplitudes, 0, 1, 1, 0);
    run.G = columns_of<double>(amplitudes, 0, 1, 1, 1);
    if (surface.rows() != run.H.size() || intensities.rows() != run.H.size() ||
        !same_values(columns_of<double>(surface, 0, 1, 1, 0), run.H) ||
        !same_values(columns_of<double>(intensities, 0, 1, 1, 0), run.H) ||
        !same_values(columns_of<double>(intensities, 0, 1, 1, 1), run.G)) {
        input_exit("$$ The tables of %s differ in their tilts. Abort.", script.path.c_str());
    }
    if (amplitudes.reflections.size() != reflections ||
        amplitudes.reflections != intensities.reflections ||
        intensities.thicknesses.size() != thicknesses) {
        input_exit("$$ %s and %s do not hold the reflections and thicknesses of %s. Abort.",
                   amplitude_path.c_str(), intensity_path.c_str(), script.path.c_str());
    }
    run.side = side_of_grid(amplitude_path, run);
    run.K_n = columns_of<double>(surface, 2, 1, 1, 0);
    run.k_n = columns_of<double>(surface, 3, 5, branches, 0);
    run.k_n_im = columns_of<float>(surface, 3, 5, branches, 1);
    run.gamma = columns_of<float>(surface, 3, 5, branches, 2);
    run.gamma_im = columns_of<float>(surface, 3, 5, branches, 3);
    run.excitation = columns_of<float>(surface, 3, 5, branches, 4);
    run.reflections = amplitudes.reflections;
    run.thicknesses = intensities.thicknesses;
    run.amplitude = columns_of<float>(amplitudes, 2, 2, reflections * branches, 0);
    run.phase = columns_of<float>(amplitudes, 2, 2, reflections * branches, 1);
    run.intensity = columns_of<float>(intensities, 2, 1, reflections * thicknesses, 0);
    return run;
}

} // namespace orvel
