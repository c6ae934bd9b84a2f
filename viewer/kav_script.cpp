#include "viewer/kav_script.hpp"

#include "viewer/text_file.hpp"

#include <array>
#include <cmath>
#include <string_view>

namespace orvel {

namespace {

// A bound on counts that stand in a file: more branches than any matrix of a run has rows.
constexpr int max_branches = 100000;

VisualMode read_mode(TextFile &file) {
    const std::string_view word = next_element(file, "a VISUAL_MODE keyword");
    if (word == "SIM_VISUAL_MODE") {
        return VisualMode::cbed;
    }
    if (word == "SIM_COHERENT_VISUAL_MODE") {
        return VisualMode::coherent_cbed;
    }
    if (word == "DISPSURF_VISUAL_MODE") {
        return VisualMode::dispersion_surface;
    }
    if (word == "BLOCH_VISUAL_MODE") {
        return VisualMode::bloch_states;
    }
    file_error(file, "unknown mode \"" + std::string(word.substr(0, 60)) + "\"");
}

// A file name may hold blanks: the three numbers are the last tokens of the line.
std::string_view cut_last_token(std::string_view &line) {
    const std::size_t end = line.find_last_not_of(" \t");
    line = line.substr(0, end == std::string_view::npos ? 0 : end + 1);
    const std::size_t blank = line.find_last_of(" \t");
    const std::string_view token = blank == std::string_view::npos ? line : line.substr(blank + 1);
    line.remove_suffix(token.size());
    return token;
}

CbedCommand read_cbed_command(TextFile &file) {
    std::string_view line = next_element(file, "a result file");
    int reversed = 0;
    CbedCommand command;
    const bool numbers = to_integer(cut_last_token(line), reversed) &&
                         to_integer(cut_last_token(line), command.magnification) &&
                         to_number(cut_last_token(line), command.gamma);
    const std::size_t end = line.find_last_not_of(" \t");
    if (!numbers || end == std::string_view::npos) {
        file_error(file, "result file, gamma, magnification and contrast reversal expected");
    }
    if (!(command.gamma > 0.0) || !std::isfinite(command.gamma) || command.magnification < 1) {
        file_error(file, "gamma or magnification is not above 0");
    }
    command.result_file = line.substr(0, end + 1);
    command.reversed = reversed != 0;
    return command;
}

void read_branch_range(TextFile &file, int &begin, int &end) {
    begin = next_integer(file, "branch_begin", 1);
    end = next_integer(file, "branch_end", begin);
    if (end > max_branches) {
        file_error(file, "branch_end is " + std::to_string(end));
    }
}

DispsurfCommand read_dispsurf_command(TextFile &file) {
    DispsurfCommand command;
    read_branch_range(file, command.branch_begin, command.branch_end);
    command.num_reflections = next_integer(file, "num_rf_amp", 0);
    command.num_thicknesses = next_integer(file, "num_thick", 0);
    command.base_name = next_element(file, "the base name");
    command.surface_file = next_element(file, "the dispersion-surface file");
    command.amplitude_file = next_element(file, "the amplitude file");
    command.intensity_file = next_element(file, "the intensity file");
    return command;
}

BlochCommand read_bloch_command(TextFile &file) {
    BlochCommand command;
    command.base_name = next_element(file, "the base name");
    command.potential_file = next_element(file, "the potential file");
    int begin = 1;
    int end = 1;
    read_branch_range(file, begin, end);
    for (int branch = begin; branch <= end; ++branch) {
        BlochCommand::State state;
        state.file = next_element(file, "the file of a Bloch state");
        state.branch = next_integer(file, "branch", 1);
        state.excitation = next_number(file, "eps^2");
        if (state.branch != branch) {
            file_error(file, "branch " + std::to_string(branch) + " expected, found " +
                                 std::to_string(state.branch));
        }
        command.states.push_back(state);
    }
    return command;
}

KavPage read_page(TextFile &file, VisualMode mode) {
    static constexpr std::array<const char *, 4> words = {"SIM_VISUALIZE", "SIM_COHERENT_VISUALIZE",
                                                          "DISPSURF_VISUAL", "BLOCH_VISUAL"};
    const char *const word = words[static_cast<std::size_t>(mode)];
    KavPage page;
    page.html_file = next_element(file, "the name of the page");
    for (;;) {
        const std::string_view line = next_element(file, "HTML_CLOSE");
        if (line == "HTML_CLOSE") {
            break;
        }
        if (line != word) {
            file_error(file, std::string(word) + " or HTML_CLOSE expected, found \"" +
                                 std::string(line.substr(0, 60)) + "\"");
        }
        if (mode == VisualMode::dispersion_surface) {
            page.dispsurf.push_back(read_dispsurf_command(file));
        } else if (mode == VisualMode::bloch_states) {
            page.bloch.push_back(read_bloch_command(file));
        } else {
            page.cbed.push_back(read_cbed_command(file));
        }
    }
    if (page.dispsurf.size() > 1 || page.bloch.size() > 1) {
        file_error(file, "a page shows one calculation, but the script asks for more");
    }
    if (page.cbed.empty() && page.dispsurf.empty() && page.bloch.empty()) {
        file_error(file, "nothing to show on this page");
    }
    return page;
}

// Whether nothing but comments follows; the next element is left unread.
bool at_end(TextFile &file) {
    std::string_view line;
    for (std::size_t before = file.position; next_line(file, line); before = file.position) {
        if (!line.empty() && line.front() != '#') {
            file.position = before;
            --file.line;
            return false;
        }
    }
    return true;
}

} // namespace

KavScript read_kav_script(const std::string &path) {
    TextFile file = read_text_file(path);
    KavScript script;
    script.path = path;
    expect_keyword(file, "KAVUN_SCRIPT");
    script.mode = read_mode(file);
    do {
        expect_keyword(file, "HTML_OPEN");
        script.pages.push_back(read_page(file, script.mode));
    } while (!at_end(file));
    return script;
}

std::string base_name_of(const std::string &script_path) {
    std::string name = script_path.substr(script_path.rfind('/') + 1);
    constexpr std::string_view suffix = "_kav.txt";
    if (name.size() > suffix.size() && name.ends_with(suffix)) {
        name.resize(name.size() - suffix.size());
    }
    return name;
}

} // namespace orvel
