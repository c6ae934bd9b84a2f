// The script "%s_kav.txt" that a job leaves for kavun: what to show on which page.
#pragma once

#include <string>
#include <vector>

namespace orvel {

enum class VisualMode { cbed, coherent_cbed, dispersion_surface, bloch_states };

// SIM_VISUALIZE and SIM_COHERENT_VISUALIZE: the result file of one thickness and how to show it.
struct CbedCommand {
    std::string result_file;
    double gamma = 1.0;    // > 0
    int magnification = 1; // >= 1
    bool reversed = false; // contrast reversal
};

// DISPSURF_VISUAL.
struct DispsurfCommand {
    int branch_begin = 1; // 1-based, both ends included
    int branch_end = 1;
    int num_reflections = 0;
    int num_thicknesses = 0;
    std::string base_name;
    std::string surface_file;
    std::string amplitude_file;
    std::string intensity_file;
};

// BLOCH_VISUAL: the potential map and one map a Bloch state.
struct BlochCommand {
    struct State {
        std::string file;
        int branch = 1;
        double excitation = 0.0; // |alpha|^2
    };
    std::string base_name;
    std::string potential_file;
    std::vector<State> states; // of consecutive branches
};

// HTML_OPEN .. HTML_CLOSE: the page's file and the commands between, of which a mode has its own.
struct KavPage {
    std::string html_file;
    std::vector<CbedCommand> cbed;
    std::vector<DispsurfCommand> dispsurf;
    std::vector<BlochCommand> bloch;
};

struct KavScript {
    std::string path;
    VisualMode mode = VisualMode::cbed;
    std::vector<KavPage> pages; // at least one, each with at least one command
};

// Reads a script. A file that is none, a command of another mode, and a script cut short end the
// run with one message that tells the line.
KavScript read_kav_script(const std::string &path);

// The base name of the run: the script's file name without its folder and "_kav.txt".
std::string base_name_of(const std::string &script_path);

} // namespace orvel
