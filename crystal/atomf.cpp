// The two constants differ in their last digits on purpose: results stay comparable with tables
// that were made with them.
#include "crystal/atomf.hpp"

#include "app/mb_mpi.hpp"
#include "app/run_settings.hpp"

#include <cmath>

namespace orvel {

double atomsf_xdt(double s_sq, const XrayFactors &x) {
    if (s_sq > epsilon.general_eps) {
        double charge = x.Z;
        for (const auto &[a, b] : x.gauss) {
            charge -= a * std::exp(-b * s_sq);
        }
        return (charge - x.c) * 0.02393367 / s_sq;
    }
    if (s_sq >= 0.0) {
        double sum = 0.0;
        for (const auto &[a, b] : x.gauss) {
            sum += a * b;
        }
        return sum * 0.023934;
    }
    error_exit(stdout, "atomsf_dtxn (sq_s=%g)", s_sq);
}

} // namespace orvel
