// The condition blocks of the map jobs, E_DENSITY_CALCULATION_CONDITION, projected and in three
// dimensions.
#pragma once

#include "crystal/csd.hpp"
#include "dynamics/sim_condition.hpp"
#include "input/utils.hpp"
#include "jobs/fourier_map.hpp"

#include <array>
#include <string>

namespace orvel {

struct ProjectedMapConditions {
    Sd sd;
    RealSpaceBase base; // x and y axis of the map
    MapRange range;
    double area_proj_cell = 0.0; // A^2
};

// Reads the block to its end, runs the beam search, writes the reflection list and closes the file.
// The disk size and the base are told on standard error.
ProjectedMapConditions input_density_proj_data(const Csd &csd, const std::string &base_name,
                                               InputFile &stream);

struct UnitCellMapConditions {
    Sd sd;
    int unitcell_mode = 0; // 1 whole unit cell, 0 explicit ranges
    int nx = 0;            // points along a, b, c
    int ny = 0;
    int nz = 0;
    std::array<std::array<double, 2>, 3> ranges = {}; // start and end along a, b, c, fractional
};

// The same for the maps of a unit cell, told on standard output. The sizes are not yet checked.
UnitCellMapConditions input_density_3d_data(const Csd &csd, const std::string &base_name,
                                            InputFile &stream);

// The body of BEAM_SEARCH_3D: a manual list (0), every beam of a sphere (1 and 2, with the lines of
// the methods wg and sg) or sg-multi (3, 13). Another code: "Flag_bs = %d is invalid for 3D Density
// calc.\n" on standard error, status 1.
void fget_sd_beams_3d(Sd &sd, const Csd &csd, std::FILE *stream);

} // namespace orvel
