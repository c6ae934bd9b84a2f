#include "jobs/condition_blocks.hpp"

#include "app/mb_mpi.hpp"
#include "app/run_settings.hpp"
#include "crystal/low_order_warnings.hpp"
#include "dynamics/rfsearch.hpp"
#include "dynamics/rfsearch_list.hpp"
#include "input/mb_input.hpp"
#include "input/mb_input_beams.hpp"
#include "numeric/vecmat.hpp"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>

namespace orvel {

namespace {

constexpr int last_calc_type = 3;

// A grid must have points, and its arrays must fit.
void chk_grid(const TiltGrid &grid) {
    if (grid.calc_type == 0) {
        return;
    }
    if (grid.num_cal_pix_side < 1) {
        input_exit("$$ CALC_KXY_RANGE: %d points along one side, at least 1 is needed. Abort.",
                   grid.num_cal_pix_side);
    }
    const double side = grid.num_cal_pix_side;
    const double points = grid.calc_type == 1 ? side : side * side;
    require_memory((sizeof(RealHkl) + sizeof(TiltPoint)) * points, "the tilt points");
    if (points > std::numeric_limits<int>::max()) {
        input_exit("$$ CALC_KXY_RANGE: %d points along one side are more than %d together. Abort.",
                   grid.num_cal_pix_side, std::numeric_limits<int>::max());
    }
}

// Tells what can be calculated, but hardly be meant.
void warn_incidence(const IncidentBeam &beam, const BeamList &beams, const Metric &metric) {
    if (inner_product_uvw(beam.inc_uvw, beam.nor_uvw, metric) < 0.0) {
        mb_fprintf(stdout, "$$ Warning: the surface normal points against the incident beam: "
                           "what is absorbed grows.\n");
    }
    warn_base_g1(beam, metric, "the tilt axis H");
    const Uvw &zone = beam.inc_uvw;
    const int factor = std::gcd(std::gcd(zone.u, zone.v), zone.w);
    if (factor > 1) {
        mb_fprintf(stdout,
                   "$$ Warning: the incidence %d %d %d has the common factor %d, and so have the "
                   "numbers of its Laue zones.\n",
                   zone.u, zone.v, zone.w, factor);
    }
    // Bethe beams only change what an exact one feels.
    if (beams.size() == 1 || (beams.num_exact_beam == 1 && epsilon.vg_select_flag == 0)) {
        mb_fprintf(stdout, "$$ Warning: there is one exact beam alone: nothing is diffracted.\n");
    }
    if (beams.size() > 0 && beams.hkl[0] != Hkl{0, 0, 0}) {
        const Hkl &g = beams.hkl[0];
        mb_fprintf(stdout,
                   "$$ Warning: the beam list begins with %d %d %d, not with 0 0 0: this one is "
                   "given the incident wave.\n",
                   g.h, g.k, g.l);
    }
}

} // namespace

IncidentBeam read_incident_beam(std::FILE *stream) {
    IncidentBeam beam;
    chk_data("INCIDENT_BEAM{", stream);
    beam.inc_uvw = fget_uvw(stream);
    beam.nor_uvw = fget_uvw(stream);
    beam.base_g1 = fget_r_hkl(stream);
    beam.H_tilt = fget_d(stream, "the tilt along H");
    beam.G_tilt = fget_d(stream, "the tilt along G");
    beam.acc_voltage = fget_d(stream, "the accelerating voltage");
    chk_data("}INCIDENT_BEAM", stream);
    if (!(beam.acc_voltage >= 1.0 && beam.acc_voltage <= 10000.0)) {
        mb_fprintf(stdout, "$$ Warning: the accelerating voltage is %g kV.\n", beam.acc_voltage);
    }
    return beam;
}

void warn_base_g1(const IncidentBeam &beam, const Metric &metric, const char *what) {
    constexpr double visible = 1e-3; // sine of the angle between g1 and its plane, about
    const double off = std::fabs(inner_product_uvw_hkl(beam.inc_uvw, beam.base_g1));
    if (off > visible * abs_uvw(beam.inc_uvw, metric) * std::sqrt(sq_abs(beam.base_g1, metric))) {
        mb_fprintf(stdout, "$$ Warning: %s is not perpendicular to the incident beam.\n", what);
    }
}

void read_tilt_range(Sd &sd, const TiltRangeTexts &texts, std::FILE *stream) {
    TiltGrid &grid = sd.grid;
    chk_data_info("CALC_KXY_RANGE{", texts.hint, stream);
    grid.calc_type = fget_i(stream, "calc_type");
    if (grid.calc_type < 0 || grid.calc_type > last_calc_type) {
        texts.end_invalid(grid.calc_type);
    }
    grid.num_cal_pix_side = fget_i(stream, "the number of points along one side");
    grid.disksize = fget_d(stream, "the disk size");
    chk_data("}CALC_KXY_RANGE", stream);
    chk_grid(grid);
    sd.beam_search.disksize = grid.disksize;
}

void read_beam_search(Sd &sd, const Csd &csd, const std::string &base_name, std::FILE *stream) {
    chk_data("BEAM_SEARCH{", stream);
    fget_sd_beams(sd, csd, stream);
    warn_incidence(sd.beam, sd.beams, csd.metric);
    warn_gain(csd, sd.beam.acc_voltage);
    // Before anything goes through the list for each of its reflections.
    const double n = sd.beams.size();
    require_memory(sizeof(complex) * n * n, "the potential matrix");
    reflex_dump_csd(sd, csd, base_name, 0);
    chk_data("}BEAM_SEARCH", stream);
}

void read_output_reflections(Sd &sd, int n, std::FILE *stream) {
    mb_fprintf(stdout, "num_g = %d\n", n);
    sd.reflections = fget_cal_g(n, sd.beams, stream);
}

void take_all_exact_beams(Sd &sd) {
    mb_fprintf(stdout, "num_g = %d\n", sd.beams.num_exact_beam);
    sd.reflections.resize(sd.beams.num_exact_beam);
    std::iota(sd.reflections.begin(), sd.reflections.end(), 0);
}

void warn_thicknesses(std::span<const double> thicknesses) {
    if (std::any_of(thicknesses.begin(), thicknesses.end(), [](double t) { return t < 0.0; })) {
        mb_fprintf(stdout, "$$ Warning: a thickness is negative.\n");
    }
}

void read_output_thicknesses(Sd &sd, std::FILE *stream) {
    chk_data("OUTPUT_THICKNESS{", stream);
    const int n = fget_count(stream, "thicknesses", sizeof(double));
    mb_fprintf(stdout, "num_thickness = %d\n", n);
    sd.thicknesses = fget_cal_thick(n, stream);
    if (n == 0) {
        mb_fprintf(stdout, "$$ Warning: without a thickness no intensities are written.\n");
    }
    warn_thicknesses(sd.thicknesses);
    chk_data("}OUTPUT_THICKNESS", stream);
}

} // namespace orvel
