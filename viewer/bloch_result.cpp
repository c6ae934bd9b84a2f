#include "viewer/bloch_result.hpp"

#include "app/mb_mpi.hpp"
#include "viewer/text_file.hpp"

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <span>

namespace orvel {

namespace {

// A map file: "# nx ny" announces the size, which stands on the comment line after it.
struct Map {
    std::size_t nx = 0;
    std::size_t ny = 0;
    std::string head; // the "# branch:" line
    std::size_t columns = 0;
    std::vector<double> values; // [ix * ny + iy][column], x and y first
};

std::string_view comment_text(std::string_view line) {
    line.remove_prefix(1);
    return line.substr(std::min(line.find_first_not_of(' '), line.size()));
}

void read_map_size(TextFile &file, Map &map) {
    std::string_view line;
    int nx = 0;
    int ny = 0;
    bool given = next_line(file, line) && line.starts_with("#");
    if (given) {
        std::string_view rest = comment_text(line);
        given = to_integer(cut_token(rest), nx) && to_integer(cut_token(rest), ny);
    }
    if (!given || nx < 1 || ny < 1) {
        file_error(file, "nx and ny of the map expected");
    }
    map.nx = static_cast<std::size_t>(nx);
    map.ny = static_cast<std::size_t>(ny);
    if (map.nx > file.content.size() / map.ny) {
        file_error(file, "the map is larger than the file");
    }
}

Map read_map(const std::string &path, std::size_t columns) {
    TextFile file = read_text_file(path);
    Map map;
    map.columns = columns;
    std::string_view line;
    while (map.nx == 0) {
        if (!next_line(file, line) || !line.starts_with("#")) {
            file_error(file, "nx and ny of the map expected");
        }
        const std::string_view text = comment_text(line);
        if (text.starts_with("branch:")) {
            map.head = text;
        } else if (text.starts_with("nx ny")) {
            read_map_size(file, map);
        }
    }
    map.values.resize(map.nx * map.ny * columns);
    for (std::size_t i = 0; i < map.nx * map.ny; ++i) {
        const std::span<double> point = std::span(map.values).subspan(i * columns, columns);
        next_numbers(file, "a point of the map", point);
        for (const double value : point) {
            chk_picture_value(file, value);
        }
    }
    expect_end(file);
    expect_line_end(file);
    return map;
}

std::vector<float> column(const Map &map, std::size_t c) {
    std::vector<float> out;
    out.reserve(map.nx * map.ny);
    for (std::size_t i = c; i < map.values.size(); i += map.columns) {
        out.push_back(static_cast<float>(map.values[i]));
    }
    return out;
}

// The number that follows the key in a line such as "branch:1, eigen_val:0.2, ...".
double value_after(const TextFile &file, std::string_view text, std::string_view key) {
    const std::size_t at = text.find(key);
    double value = 0.0;
    if (at == std::string_view::npos) {
        file_error(file, "no " + std::string(key) + " in the head");
    }
    text.remove_prefix(at + key.size());
    if (!to_number(cut_token(text), value)) {
        file_error(file, "no number after " + std::string(key));
    }
    return value;
}

BlochState read_state(const std::string &path, const BlochCommand::State &named,
                      const BlochRun &run) {
    const Map map = read_map(path, 6);
    const TextFile where = {path, "", 0, 2};
    BlochState state;
    state.branch = named.branch;
    state.excitation = named.excitation;
    state.eigenvalue = value_after(where, map.head, "eigen_val:");
    if (value_after(where, map.head, "branch:") != named.branch) {
        file_error(where, "not the branch that the script names");
    }
    if (!same_number(value_after(where, map.head, "excitation(eps^2):"), named.excitation)) {
        file_error(where, "not the eps^2 that the script tells");
    }
    const std::size_t last = map.values.size() - map.columns;
    if (map.nx != run.nx || map.ny != run.ny || map.values[0] != run.x_min ||
        map.values[1] != run.y_min || map.values[last] != run.x_max ||
        map.values[last + 1] != run.y_max) {
        file_error(where, "the map is on another grid than the potential");
    }
    state.density = column(map, 2);
    state.phase = column(map, 3);
    return state;
}

// "1: 0.2 0.001 0.5" a line, from branch 1 on. A run without them is shown without their table.
std::vector<BranchRecord> read_branches(const std::string &path) {
    std::vector<BranchRecord> branches;
    std::error_code ignored;
    if (!std::filesystem::exists(path, ignored)) {
        mb_fprintf(stdout, "$$ Warning: there is no %s: branches are not listed.\n", path.c_str());
        return branches;
    }
    TextFile file = read_text_file(path);
    std::string_view line;
    while (next_line(file, line)) {
        if (line.empty() || line.front() == '%' || line.front() == '#') {
            continue;
        }
        BranchRecord record;
        const std::string_view number = cut_token(line);
        if (!number.ends_with(':') ||
            !to_integer(number.substr(0, number.size() - 1), record.branch) ||
            !to_number(cut_token(line), record.eigenvalue_re) ||
            !to_number(cut_token(line), record.eigenvalue_im) ||
            !to_number(cut_token(line), record.excitation)) {
            file_error(file, "branch, eigenvalue and eps^2 expected");
        }
        if (record.branch != static_cast<int>(branches.size()) + 1) {
            file_error(file, "the branches do not stand in order");
        }
        branches.push_back(record);
    }
    expect_line_end(file);
    return branches;
}

// A state must be one of the branches: the list may be of another run.
void chk_listed(const BlochState &state, const std::vector<BranchRecord> &branches,
                const std::string &path) {
    const auto is_it = [&](const BranchRecord &b) {
        return b.branch == state.branch && same_number(b.eigenvalue_re, state.eigenvalue) &&
               same_number(b.excitation, state.excitation);
    };
    if (!branches.empty() && std::none_of(branches.begin(), branches.end(), is_it)) {
        input_exit("$$ %s does not list branch %d as it is shown. Abort.", path.c_str(),
                   state.branch);
    }
}

} // namespace

BlochRun read_bloch_run(const KavScript &script, const KavPage &page) {
    const BlochCommand &command = page.bloch.front();
    const std::string potential_path = beside(script.path, command.potential_file);
    const Map potential = read_map(potential_path, 4);
    BlochRun run;
    run.nx = potential.nx;
    run.ny = potential.ny;
    const std::size_t last = potential.values.size() - potential.columns;
    run.x_min = potential.values[0];
    run.y_min = potential.values[1];
    run.x_max = potential.values[last];
    run.y_max = potential.values[last + 1];
    for (const double edge : {run.x_min, run.y_min, run.x_max, run.y_max}) {
        if (!std::isfinite(edge)) {
            input_exit("$$ %s: the edges of the map are not finite. Abort.",
                       potential_path.c_str());
        }
    }
    run.potential_re = column(potential, 2);
    run.potential_im = column(potential, 3);
    for (const BlochCommand::State &state : command.states) {
        run.states.push_back(read_state(beside(script.path, state.file), state, run));
    }
    const std::string list_path = beside(script.path, command.base_name + "_kn.txt");
    run.branches = read_branches(list_path);
    for (const BlochState &state : run.states) {
        chk_listed(state, run.branches, list_path);
    }
    return run;
}

} // namespace orvel
