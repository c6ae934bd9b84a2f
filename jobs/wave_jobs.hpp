// What the jobs on Bloch waves (thickness fringes, dispersion surfaces, Bloch states) have in
// common beside the blocks of all jobs.
#pragma once

#include "crystal/csd.hpp"
#include "dynamics/mbfunc_potential.hpp"
#include "dynamics/sim_condition.hpp"
#include "dynamics/work_cal_int.hpp"
#include "jobs/condition_blocks.hpp"

#include <cstdio>

namespace orvel {

// Their texts for CALC_KXY_RANGE: the hint is each job's own, an invalid type is told with
// "$$ Invalid calc_type=%d. Abort.\n", status 1.
TiltRangeTexts wave_range_texts(const char *hint);

// Branches that are written, numbered from 1 by decreasing real part of the eigenvalue.
struct BranchRange {
    int begin = 1;
    int end = 1;
};

// "OUTPUT_BRANCH{" .. "}OUTPUT_BRANCH": one element with both numbers. Unless
// 1 <= begin <= end <= n_exact: "$$ Invalid paramter: branch_begin = %d, branch_end = %d", the
// job's ending of that line and a line end, status 1.
BranchRange read_output_branch(int n_exact, const char *ending, std::FILE *stream);

// The potential matrix of the beam list, after the title on the console. A scattering-factor table
// that was left is told on log and console; what follows from it is the job's to say.
PotentialMatrix build_wave_potential(Csd &csd, const Sd &sd, const char *title, std::FILE *log);

// The incidence of a job that solves one tilt: the first point of the grid, which is made here.
// Told where it has others.
RealHkl first_tilt(Sd &sd, const Metric &metric, std::FILE *log);

// True when eigenvalues and excitations of all branches are finite.
bool finite_solution(const WorkCalInt &work);

} // namespace orvel
