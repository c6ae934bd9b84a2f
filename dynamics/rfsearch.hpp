// The search for the beams of a calculation: which reciprocal-lattice vectors take part, and which
// of them exactly.
//
// An automatic search goes through all g of a sphere in a range of Laue zones that the centring
// does not extinguish, and judges each by its extinction distance xi_g and by the smallest
// excitation error |s_g| that it has along the diameter of the tilt disk parallel to its own
// projection.
#pragma once

#include "crystal/csd.hpp"
#include "dynamics/sim_condition.hpp"

#include <span>
#include <vector>

namespace orvel {

// Classified beams: 000 first among the exact ones, each list by ascending |g|.
struct FoundBeams {
    std::vector<Hkl> exact;
    std::vector<Hkl> bethe;
};

// Method wg: xi_g < xigmax, then by w = s xi_g: exact below wgbmin, Bethe below wgmax.
FoundBeams simple_beam_search_wg(const BeamSearch &search, const IncidentBeam &beam,
                                 const Csd &csd);
// Method sg: xi_g < xigmax, then by s: exact below sgbmin, Bethe below sgmax. From xigmax = 1e10 on
// xi_g is not computed and counts as 1e10, so that xigmax = 1e10 itself admits 000 alone.
FoundBeams simple_beam_search_sg(const BeamSearch &search, const IncidentBeam &beam,
                                 const Csd &csd);
// Method sg-multi: as sg, with the thresholds of the reflection's own Laue zone.
FoundBeams beam_search_sg_multi(const BeamSearch &search, const IncidentBeam &beam, const Csd &csd);
// Every g with |g| < g_max is an exact beam: no zones, no thresholds.
FoundBeams beam_search_sphere(const BeamSearch &search, const Csd &csd);

// Limits of the searches. All of them end with "$$ num_g has exceeded num_g_max." and "$$ Please
// set a greater value into num_g. Abort." (two lines), status 1, as soon as either list holds
// num_g_limit beams; a sphere of more than search_box_limit lattice points ends the run before the
// search, one of more candidates than candidate_limit during it.
inline constexpr double search_box_limit = 2e8;
inline constexpr int candidate_limit = 1000000;

// For each reciprocal axis the smallest n >= 1 with |n a*| >= g_max. Ends the run where an index
// would pass index_limit.
Hkl evaluate_hklmax(double g_max, const Metric &metric);

// d = 1/|g| in A; 1e10 for 000.
double spacing(const Hkl &g, const Metric &metric);

// A reflection with its d-spacing, A, and the order of two of them: +1 when the second has the
// larger d, -1 when smaller, 0 when equal.
struct SpacedReflection {
    double d = 0.0;
    Hkl g;
};
int hkld_comp(const SpacedReflection &a, const SpacedReflection &b);

// Sorts by ascending |g| (descending d); equal ones keep their order.
void sort_reflex(std::vector<Hkl> &list, const Metric &metric);

// What the edge excitation error of any beam needs.
struct SearchGeometry {
    IncidentBeam beam; // with base_g2
    double disksize = 0.0;
    double length_of_inc_uvw = 0.0;
    double abs_K = 0.0;
    Metric metric;
};

// Smallest |s_g| over the diameter of the tilt disk parallel to the projection of g: that of the
// nearer end, or 0 where the sphere crosses g inside the disk.
double abs_edge_s_g_tilt(const Hkl &g, const SearchGeometry &geometry);

// Reads the body of a BEAM_SEARCH block (after its opening line) into sd.beam_search, runs the
// search and stores the beams in sd. Needs the incident beam and the disk size. An unknown code:
// "Invalid flag_bs\n", status 1.
void fget_sd_beams(Sd &sd, const Csd &csd, std::FILE *stream);

} // namespace orvel
