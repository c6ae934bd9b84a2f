#include "dynamics/mbfunc_geometry.hpp"

#include "app/mb_mpi.hpp"
#include "app/run_settings.hpp"
#include "crystal/potential_coef.hpp"
#include "crystal/strct_f.hpp"

#include <algorithm>
#include <cmath>

namespace orvel {

double calc_abs_K(const Csd &csd, double voltage) {
    const auto given =
        std::find_if(csd.low_order.begin(), csd.low_order.end(), [](const LowOrderF &entry) {
            return entry.hkl == Hkl{0, 0, 0};
        });
    const complex F0 = given != csd.low_order.end() ? lofg_to_fg(*given, csd, voltage)
                                                    : complex{calc_F_0_re(csd), 0.0};
    const double k0 = 1.0 / wavelength(voltage);
    return std::sqrt(k0 * k0 + fg_to_ug(F0, voltage, csd.metric).re);
}

double calc_K_z(double abs_K, const RealHkl &K_t, const Metric &metric) {
    return -std::sqrt(abs_K * abs_K - sq_abs(K_t, metric));
}

double calc_g_z(const Hkl &g, double length_of_inc_uvw, const Uvw &inc_uvw) {
    return inner_product_uvw_hkl(inc_uvw, hkl2rhkl(g)) / length_of_inc_uvw;
}

double calc_g_n(const Hkl &g, double length_of_nor_uvw, const Uvw &nor_uvw) {
    return inner_product_uvw_hkl(nor_uvw, hkl2rhkl(g)) / length_of_nor_uvw;
}

RunGeometry pre_calc_intensity(const IncidentBeam &beam, const Metric &metric) {
    RunGeometry geometry;
    geometry.lambda = wavelength(beam.acc_voltage);
    geometry.corrected_voltage = evdash(beam.acc_voltage);
    geometry.length_of_inc_uvw = abs_uvw(beam.inc_uvw, metric);
    geometry.length_of_nor_uvw = abs_uvw(beam.nor_uvw, metric);
    geometry.cos_bn = inner_product_uvw(beam.inc_uvw, beam.nor_uvw, metric) /
                      (geometry.length_of_inc_uvw * geometry.length_of_nor_uvw);
    return geometry;
}

double calc_K_n(const RealHkl &K_t, double K_z, const RunGeometry &geometry, const Uvw &nor_uvw) {
    return K_z * geometry.cos_bn + inner_product_uvw_hkl(nor_uvw, K_t) / geometry.length_of_nor_uvw;
}

double calc_excitation_error(const RealHkl &K_t, double K_z, double abs_K, const Hkl &g, double g_z,
                             const Metric &metric) {
    const RealHkl real_g = hkl2rhkl(g);
    const RealHkl midway = {K_t.h + real_g.h / 2.0, K_t.k + real_g.k / 2.0, K_t.l + real_g.l / 2.0};
    return (-K_z * g_z - inner_product(midway, real_g, metric)) / abs_K;
}

void calc_sg_beta_g(const TiltGeometry &tilt, const RunGeometry &geometry, const IncidentBeam &beam,
                    std::span<const Hkl> beam_hkl, const Metric &metric, double *s, double *beta) {
    for (std::size_t i = 0; i < beam_hkl.size(); ++i) {
        const Hkl &g = beam_hkl[i];
        const double g_z = calc_g_z(g, geometry.length_of_inc_uvw, beam.inc_uvw);
        s[i] = calc_excitation_error(tilt.K_t, tilt.K_z, tilt.abs_K, g, g_z, metric);
        beta[i] = 1.0 + calc_g_n(g, geometry.length_of_nor_uvw, beam.nor_uvw) / tilt.K_n;
        if (dbg.sg_dump_flag == 1) {
            mb_fprintf(stdout, "$$ Sg(%d %d %d) = %g\n", g.h, g.k, g.l, s[i]);
        }
        if (dbg.betag_dump_flag == 1) {
            mb_fprintf(stdout, "$$ beta_ge(%d %d %d) = %g\n", g.h, g.k, g.l, beta[i]);
        }
    }
}

} // namespace orvel
