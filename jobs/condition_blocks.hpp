// The blocks that the condition blocks of several jobs have in common. Each job keeps its own
// keywords and texts; what is read is the same.
#pragma once

#include "crystal/csd.hpp"
#include "dynamics/sim_condition.hpp"

#include <cstdio>
#include <span>
#include <string>

namespace orvel {

// "INCIDENT_BEAM{" .. "}INCIDENT_BEAM": inc_uvw, nor_uvw, base_g1, H_tilt, G_tilt, acc_voltage.
IncidentBeam read_incident_beam(std::FILE *stream);

// Tells of a base_g1 outside the zero-order Laue zone; `what` it is to the job.
void warn_base_g1(const IncidentBeam &beam, const Metric &metric, const char *what);

// What a job says about its tilt range.
struct TiltRangeTexts {
    const char *hint;              // when the block is not where it must be
    void (*end_invalid)(int type); // ends the run for a calc_type that is not 0 to 3
};

// "CALC_KXY_RANGE{" .. "}CALC_KXY_RANGE": calc_type, num_cal_pix_side, disksize, into sd.grid; the
// beam search gets its copy of the disk size. A grid of no points, or of more than memory holds,
// and a disk size that is not finite end the run.
void read_tilt_range(Sd &sd, const TiltRangeTexts &texts, std::FILE *stream);

// "BEAM_SEARCH{" .. "}BEAM_SEARCH": the search, and the reflection list "%s_fg0.txt".
void read_beam_search(Sd &sd, const Csd &csd, const std::string &base_name, std::FILE *stream);

// n output reflections, each an exact beam; "num_g = %d\n" with n on the console before them.
void read_output_reflections(Sd &sd, int n, std::FILE *stream);

// All exact beams as output reflections, in their order, echoed in the same way.
void take_all_exact_beams(Sd &sd);

// Tells of negative thicknesses.
void warn_thicknesses(std::span<const double> thicknesses);

// "OUTPUT_THICKNESS{" .. "}OUTPUT_THICKNESS": the count, echoed as "num_thickness = %d\n", and the
// thicknesses in A.
void read_output_thicknesses(Sd &sd, std::FILE *stream);

} // namespace orvel
