// The maps of the Bloch-state job: projected potential and Bloch states over a rectangle of the
// projected cell, and the list of all branches.
#pragma once

#include "viewer/kav_script.hpp"

#include <string>
#include <vector>

namespace orvel {

// Values at [ix * ny + iy].
struct BlochState {
    int branch = 1;
    double eigenvalue = 0.0; // real part, 1/A^2
    double excitation = 0.0; // |alpha|^2
    std::vector<float> density;
    std::vector<float> phase; // rad
};

// A branch of the list "%s_kn.txt".
struct BranchRecord {
    int branch = 1;
    double eigenvalue_re = 0.0;
    double eigenvalue_im = 0.0;
    double excitation = 0.0;
};

// x and y are in units of the two real-space base vectors, which are perpendicular and equally
// long.
struct BlochRun {
    std::size_t nx = 0;
    std::size_t ny = 0;
    double x_min = 0.0;
    double x_max = 0.0;
    double y_min = 0.0;
    double y_max = 0.0;
    std::vector<float> potential_re; // V
    std::vector<float> potential_im;
    std::vector<BlochState> states;
    std::vector<BranchRecord> branches; // empty when the list is not there
};

// Reads the maps of the page's command. Whatever is missing, cut short or on another grid ends the
// run with one message. The list of branches, which the script does not name, may be missing.
BlochRun read_bloch_run(const KavScript &script, const KavPage &page);

} // namespace orvel
