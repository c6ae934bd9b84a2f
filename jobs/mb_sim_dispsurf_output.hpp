// Result files of the dispersion-surface job: branches, branch amplitudes and intensities by tilt
// point, and the script for the viewer.
#pragma once

#include "app/mb_mpi.hpp"
#include "dynamics/sim_condition.hpp"
#include "dynamics/work_cal_int.hpp"
#include "jobs/wave_jobs.hpp"

#include <string>

namespace orvel {

struct DispsurfFiles {
    OutputFile surface;   // "%s_ds.txt"
    OutputFile amplitude; // "%s_amp.txt"
    OutputFile intensity; // "%s_int.txt"
};

// Opens the three tables and writes their headers.
DispsurfFiles open_dispsurf_files(const Sd &sd, BranchRange branches, const std::string &base_name);

// One line of each table. intensity: [output beam][thickness], of a unit incident beam.
void write_dispsurf_point(const Sd &sd, BranchRange branches, const TiltPoint &point,
                          const WorkCalInt &work, const double *const *intensity,
                          const DispsurfFiles &files);

void close_dispsurf_files(DispsurfFiles &files);

// "%s_kav.txt"
void write_dispsurf_script(const Sd &sd, BranchRange branches, const std::string &base_name,
                           const DispsurfFiles &files);

} // namespace orvel
