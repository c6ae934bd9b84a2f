// The jobs: one driver for each job keyword.
//
// A driver reads the rest of the parameter file from the stream, does its calculation and writes
// its result files, which are all named from base_name. Whatever keeps it from finishing ends the
// run; it returns when the job is done.
#pragma once

#include "input/utils.hpp"

#include <cstdio>
#include <string>

namespace orvel {

using JobDriver = void (*)(InputFile &stream, std::FILE *log, const std::string &base_name);

// Convergent-beam patterns: intensities over a grid of tilts at chosen thicknesses.
void mb_simulation(InputFile &stream, std::FILE *log, const std::string &base_name);

// Coherent convergent-beam patterns: complex amplitudes with the phase of a probe.
void mb_sim_coherent(InputFile &stream, std::FILE *log, const std::string &base_name);

// Dispersion surfaces and the excitation of their branches along the tilt points.
void mb_dispersion_surface(InputFile &stream, std::FILE *log, const std::string &base_name);

// Bloch-state densities in real space.
void mb_bloch_state(InputFile &stream, std::FILE *log, const std::string &base_name);

// Thickness fringes: intensities against thickness.
void mb_tfringe(InputFile &stream, std::FILE *log, const std::string &base_name);

// Projected electron density.
void mb_electron_density_proj(InputFile &stream, std::FILE *log, const std::string &base_name);

// Projected complex potential.
void mb_potential_reim_proj(InputFile &stream, std::FILE *log, const std::string &base_name);

// Electron density of a unit cell in three dimensions.
void mb_electron_density_3d_unitcell(InputFile &stream, std::FILE *log,
                                     const std::string &base_name);

// Complex potential of a unit cell in three dimensions.
void mb_potential_reim_3d_unitcell(InputFile &stream, std::FILE *log, const std::string &base_name);

} // namespace orvel
