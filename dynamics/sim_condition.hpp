// The simulation-condition record `sd`: what a job's condition block gives, the tilt grid and beam
// list made of it, and the results.
#pragma once

#include "crystal/lattice.hpp"
#include "input/mb_input_beams.hpp"
#include "numeric/vecmat.hpp"

#include <array>
#include <vector>

namespace orvel {

// Incident beam and specimen. The beam travels along minus inc_uvw.
struct IncidentBeam {
    Uvw inc_uvw;              // incident-beam direction (zone axis), upward
    Uvw nor_uvw;              // surface normal, upward
    RealHkl base_g1;          // ZOLZ vector, tilt axis H
    RealHkl base_g2;          // computed: ZOLZ, perpendicular to base_g1, as long; tilt axis G
    double H_tilt = 0.0;      // centre of the tilt grid along H, in half base vectors
    double G_tilt = 0.0;      // along G
    double acc_voltage = 0.0; // kV
};

// One point of the tilt grid.
struct TiltPoint {
    int ix = 0;
    int iy = 0;
    int cal_flag = 0; // 1 calculated, 0 outside the disk
    double h = 0.0;   // tilt along H and G, in half base vectors:
    double g = 0.0;   // K_t = (h base_g1 + g base_g2) / 2
};

// Tilts to be calculated.
struct TiltGrid {
    int calc_type = 0;                  // 0 one incidence, 1 line along H, 2 disk, 3 square
    int num_cal_pix_side = 0;           // points along one side
    double disksize = 0.0;              // half-width, in half base vectors
    std::array<double, 2> H_range = {}; // for the output files: minimum and maximum
    std::array<double, 2> G_range = {};
    int num_pix = 0;            // points of the grid
    int num_pix_in = 0;         // points with cal_flag 1
    std::vector<RealHkl> kxy;   // K_t of each point
    std::vector<TiltPoint> pix; // the points, in calculation order
};

struct Sd {
    IncidentBeam beam;
    TiltGrid grid;
    BeamSearch beam_search;
    BeamList beams;
    std::vector<int> reflections;    // output reflections: positions in the beam list
    std::vector<double> thicknesses; // A
    Tensor<double> intensity;        // [output reflection][thickness][tilt point]
    int result_bytes = 0;            // bytes of a result value, set once the conditions are read
};

// Empties the lists, the tilt arrays and the results.
void free_sd(Sd &sd);

} // namespace orvel
