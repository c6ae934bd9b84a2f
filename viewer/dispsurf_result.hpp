// The tables of the dispersion-surface job: "%s_ds.txt" (branches), "%s_amp.txt" (branch
// amplitudes) and "%s_int.txt" (intensities), one line a tilt.
#pragma once

#include "input/mb_input.hpp"
#include "viewer/kav_script.hpp"

#include <string>
#include <vector>

namespace orvel {

// Values of point p: branch j of quantity q at [(p * branches + j) ...] as each field says;
// branches count from 0 (branch_begin), reflections and thicknesses as the job lists them.
struct DispsurfRun {
    int branch_begin = 1;
    int branches = 1;
    int side = 1;          // points of a row of constant G
    std::vector<double> H; // tilt, half base vectors
    std::vector<double> G;
    std::vector<double> K_n;   // |K_n| of the incident wave, 1/A
    std::vector<double> k_n;   // |Re k_n| of the branch, 1/A: [point][branch]
    std::vector<float> k_n_im; // |Im k_n|, 1/A
    std::vector<float> gamma;  // Re of the eigenvalue, 1/A^2
    std::vector<float> gamma_im;
    std::vector<float> excitation; // |alpha|^2
    std::vector<Hkl> reflections;
    std::vector<double> thicknesses; // A
    std::vector<float> amplitude;    // |alpha C|: [point][reflection][branch]
    std::vector<float> phase;        // rad
    std::vector<float> intensity;    // [point][reflection][thickness]
};

// Reads the three tables of the page's command. Whatever is missing, cut short or differs between
// them ends the run with one message.
DispsurfRun read_dispsurf_run(const KavScript &script, const KavPage &page);

} // namespace orvel
