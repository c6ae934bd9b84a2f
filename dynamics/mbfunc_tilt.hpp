// The grid of incident-beam tilts over which a pattern is sampled.
#pragma once

#include "dynamics/sim_condition.hpp"

namespace orvel {

// Fills base_g2 and the grid: K_t = (h base_g1 + g base_g2)/2 for every point, in calculation
// order. With n = num_cal_pix_side, d = disksize and step 2d/(n-1) about the centre (H_tilt,
// G_tilt):
//   0  one point at the centre;
//   1  n points along H; ix counts from the middle;
//   2  n x n points, H fastest; those within d of the centre (to general_eps) are calculated;
//   3  n x n points, all at the centre: the half-width of the square is 0.
// One point of type 2 stands at the centre; one of type 1 divides 0 by 0 and is NaN.
// Another type: "$$ (calc_kxy_tilt) calc_type=%d is invalid. Abort.\n", status 1.
void calc_kxy_tilt(Sd &sd, const Metric &metric);

} // namespace orvel
