#include "viewer/run_info.hpp"

#include "app/mb_mpi.hpp"
#include "viewer/kav_script.hpp"
#include "viewer/text_file.hpp"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <span>

namespace orvel {

namespace {

namespace fs = std::filesystem;

// Elements of a parameter file: COMMENT{ blocks are skipped as well.
bool next_parameter(TextFile &file, std::string_view &line) {
    bool in_comment = false;
    while (next_line(file, line)) {
        if (in_comment) {
            in_comment = !line.starts_with("}COMMENT");
        } else if (line.starts_with("COMMENT{")) {
            in_comment = true;
        } else if (!line.starts_with("#") && !line.starts_with("%")) {
            return true;
        }
    }
    return false;
}

// The number that orvel reads in the next token, +200 and 0x64 too.
double next_number(std::string_view &line) {
    return std::strtod(std::string(cut_token(line)).c_str(), nullptr);
}

bool parameters(TextFile &file, std::span<double> values) {
    std::string_view line;
    if (!next_parameter(file, line)) {
        return false;
    }
    return std::all_of(values.begin(), values.end(), [&](double &value) {
        value = next_number(line);
        return std::isfinite(value);
    });
}

// Not of a constraint, whose value is that of other parameters.
bool cell_constant(TextFile &file, double &value) {
    std::string_view line;
    if (!next_parameter(file, line)) {
        return false;
    }
    value = next_number(line);
    const std::string_view flag = cut_token(line);
    return flag != "CST" && flag != "-1" && std::isfinite(value) && value > 0.0;
}

void read_lattice(TextFile &file, RunInfo &info) {
    double group = 0.0;
    parameters(file, std::span(&group, 1));
    info.space_group = group >= 1.0 && group <= 230.0 ? static_cast<int>(group) : 0;
    std::array<double, 6> cell{};
    const bool complete = std::all_of(
        cell.begin(), cell.end(), [&](double &constant) { return cell_constant(file, constant); });
    if (complete) {
        info.cell = CellConstants{cell[0], cell[1], cell[2], cell[3], cell[4], cell[5]};
    }
}

bool read_incident_beam(TextFile &file, RunInfo &info) {
    std::array<double, 3> uvw{};
    std::array<double, 3> normal{};
    std::array<double, 3> g1{};
    std::array<double, 3> rest{};
    if (!parameters(file, uvw) || !parameters(file, normal) || !parameters(file, g1)) {
        return false;
    }
    for (double &value : rest) {
        if (!parameters(file, std::span(&value, 1))) {
            return false;
        }
    }
    const auto index = [](double d) { return static_cast<int>(std::clamp(d, -1e6, 1e6)); };
    info.incidence = {index(uvw[0]), index(uvw[1]), index(uvw[2])};
    info.base_g1 = {g1[0], g1[1], g1[2]};
    info.H_tilt = rest[0];
    info.G_tilt = rest[1];
    info.acc_voltage = rest[2];
    return info.acc_voltage > 0.0;
}

std::optional<RunInfo> read_parameter_file(const std::string &path) {
    TextFile file = read_text_file(path);
    RunInfo info;
    info.parameter_file = fs::path(path).filename().string();
    std::string_view line;
    while (next_parameter(file, line)) {
        const std::string_view word = cut_token(line);
        if (word == "LATTICE{") {
            read_lattice(file, info);
        } else if (word == "SITE{" && next_parameter(file, line)) {
            const std::string element(cut_token(line));
            if (std::find(info.elements.begin(), info.elements.end(), element) ==
                info.elements.end()) {
                info.elements.push_back(element);
            }
        } else if (word == "INCIDENT_BEAM{") {
            return read_incident_beam(file, info) ? std::optional(info) : std::nullopt;
        }
    }
    return std::nullopt;
}

std::string log_beside(const std::string &script_path) {
    return beside(script_path, base_name_of(script_path) + "_log.txt");
}

bool is_file(const fs::path &path) {
    std::error_code ignored;
    return fs::is_regular_file(path, ignored);
}

} // namespace

std::optional<RunInfo> read_run_info(const std::string &script_path) {
    const std::string log_path = log_beside(script_path);
    if (!is_file(log_path)) {
        return std::nullopt;
    }
    TextFile log = read_text_file(log_path);
    constexpr std::string_view key = "parameter_file: ";
    std::string_view line;
    while (next_line(log, line)) {
        if (!line.starts_with(key)) {
            continue;
        }
        const fs::path name = fs::path(std::string(line.substr(key.size()))).filename();
        const fs::path path = fs::path(script_path).parent_path() / name;
        return !name.empty() && is_file(path) ? read_parameter_file(path.string()) : std::nullopt;
    }
    return std::nullopt;
}

void warn_unfinished_run(const std::string &script_path) {
    const std::string log_path = log_beside(script_path);
    if (!is_file(log_path)) {
        return;
    }
    TextFile log = read_text_file(log_path);
    bool is_finished = false;
    for (std::string_view line; next_line(log, line);) {
        is_finished = is_finished || line.starts_with("See you again");
    }
    if (!is_finished) {
        mb_fprintf(
            stdout,
            "$$ Warning: %s has no end: the run did not come to it, and results may be of an "
            "earlier one.\n",
            log_path.c_str());
    }
}

} // namespace orvel
