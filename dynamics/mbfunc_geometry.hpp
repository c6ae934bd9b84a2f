// Geometry of one incidence: wave vector in the crystal, excitation errors, surface-normal factors.
//
// Wave numbers in 1/A without 2 pi. z points along inc_uvw, against the travelling beam, so K_z is
// negative. s_g is positive when g lies inside the Ewald sphere.
#pragma once

#include "crystal/csd.hpp"
#include "dynamics/sim_condition.hpp"

#include <span>

namespace orvel {

// |K| = sqrt(1/lambda^2 + Re U_0): with the given F_0 of the crystal if it has one, else
// calc_F_0_re.
double calc_abs_K(const Csd &csd, double voltage);

// K_z = -sqrt(|K|^2 - |K_t|^2); NaN beyond the sphere.
double calc_K_z(double abs_K, const RealHkl &K_t, const Metric &metric);

// Components of g along the unit vectors of the incident direction and of the surface normal.
double calc_g_z(const Hkl &g, double length_of_inc_uvw, const Uvw &inc_uvw);
double calc_g_n(const Hkl &g, double length_of_nor_uvw, const Uvw &nor_uvw);

// Per-job constants.
struct RunGeometry {
    double lambda = 0.0;            // wavelength, A
    double corrected_voltage = 0.0; // evdash, V
    double length_of_inc_uvw = 0.0; // A
    double length_of_nor_uvw = 0.0; // A
    double cos_bn = 0.0;            // cosine of the angle between the two
};
RunGeometry pre_calc_intensity(const IncidentBeam &beam, const Metric &metric);

// K_n = K_z cos_bn + (K_t . N)/|N|, the component of K along the surface normal.
double calc_K_n(const RealHkl &K_t, double K_z, const RunGeometry &geometry, const Uvw &nor_uvw);

// s_g = (-K_z g_z - (K_t + g/2).g) / |K|.
double calc_excitation_error(const RealHkl &K_t, double K_z, double abs_K, const Hkl &g, double g_z,
                             const Metric &metric);

// One incidence.
struct TiltGeometry {
    RealHkl K_t; // tangential wave vector
    double K_z = 0.0;
    double K_n = 0.0;
    double abs_K = 0.0;
};

// s_g and beta_g = 1 + g_n / K_n of every beam, in list order. With sg_dump_flag and
// betag_dump_flag they are told on the console.
void calc_sg_beta_g(const TiltGeometry &tilt, const RunGeometry &geometry, const IncidentBeam &beam,
                    std::span<const Hkl> beam_hkl, const Metric &metric, double *s, double *beta);

} // namespace orvel
