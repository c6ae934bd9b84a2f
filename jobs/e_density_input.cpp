#include "jobs/e_density_input.hpp"

#include "app/mb_mpi.hpp"
#include "app/run_settings.hpp"
#include "dynamics/rfsearch.hpp"
#include "dynamics/rfsearch_list.hpp"
#include "input/mb_input.hpp"
#include "input/mb_input_beams.hpp"
#include "jobs/condition_blocks.hpp"

#include <algorithm>
#include <cstdlib>
#include <limits>

namespace orvel {

namespace {

// The maps know no tilts: nothing sets the disk size before the beam search, which therefore works
// at the centre tilt alone.
void set_disksize(Sd &sd, std::FILE *report) {
    sd.grid.disksize = 1.0;
    mb_fprintf(report, "$$disksize = %f\n", sd.grid.disksize);
}

RealSpaceBase real_space_base(const IncidentBeam &beam, const Csd &csd, std::FILE *report) {
    const RealSpaceBase base = zolz_ort_base_two_uvw(beam.inc_uvw, beam.base_g1, csd.metric);
    fprint_real_space_base(report, base);
    return base;
}

// Reads n decimal integers as a scan of the line does: from its start, apart by blanks.
bool scan_ints(const std::string &line, std::array<int, 3> &values) {
    const char *rest = line.c_str();
    for (int &value : values) {
        char *end = nullptr;
        const long number = std::strtol(rest, &end, 10);
        if (end == rest) {
            return false;
        }
        value = static_cast<int>(std::clamp<long>(number, std::numeric_limits<int>::min(),
                                                  std::numeric_limits<int>::max()));
        rest = end;
    }
    return true;
}

void fget_range_3d(UnitCellMapConditions &conditions, std::FILE *stream) {
    const std::string line = fget_line(stream, "CALC_RXY_RANGE_3D");
    std::array<int, 3> sizes = {};
    if (line.starts_with("UNITCELL_XYZ")) {
        conditions.unitcell_mode = 1;
        sizes = fget_3i(stream);
        conditions.ranges.fill({0.0, 1.0});
    } else if (scan_ints(line, sizes)) {
        conditions.unitcell_mode = 0;
        for (auto &range : conditions.ranges) {
            range = fget_2d(stream);
        }
    } else {
        mb_fprintf(stdout, "$$Data format error in CALC_RXY_RANGE_3D. Abort.\n");
        mb_fprintf(stdout, "$$buf=%s", line.c_str());
        end_run(1);
    }
    conditions.nx = sizes[0];
    conditions.ny = sizes[1];
    conditions.nz = sizes[2];
}

BeamList beam_list(const FoundBeams &found) {
    return {static_cast<int>(found.exact.size()), static_cast<int>(found.bethe.size()),
            beam_merge(found.exact, found.bethe)};
}

// The manual list, told of in other words than where tilts are calculated.
BeamList fget_manual_beams_3d(std::FILE *stream) {
    const auto [exact, bethe] = fget_2i(stream);
    BeamList beams = fget_beam_list(exact, bethe, stream);
    mb_fprintf(stdout, "$$ vg_select_flag is set to 0.");
    epsilon.vg_select_flag = 0;
    return beams;
}

void warn_constant_map(const BeamList &beams) {
    if (beams.size() == 1) {
        mb_fprintf(stdout, "$$ Warning: there is one beam alone: the maps are constant.\n");
    }
}

// A projection has the reflections of the zero-order Laue zone.
void warn_other_zones(const Sd &sd) {
    const auto others = std::count_if(sd.beams.hkl.begin(), sd.beams.hkl.end(), [&](const Hkl &g) {
        return laue_zone(sd.beam.inc_uvw, g) != 0;
    });
    if (others > 0) {
        mb_fprintf(stdout,
                   "$$ Warning: %td of the beams are not of Laue zone 0: the maps are no "
                   "projections.\n",
                   others);
    }
}

} // namespace

ProjectedMapConditions input_density_proj_data(const Csd &csd, const std::string &base_name,
                                               InputFile &stream) {
    ProjectedMapConditions conditions;
    Sd &sd = conditions.sd;
    chk_data("E_DENSITY_CALCULATION_CONDITION{", stream);
    sd.beam = read_incident_beam(stream);

    chk_data("BEAM_SEARCH{", stream);
    fget_sd_beams(sd, csd, stream);
    constexpr double bytes_per_beam = 200.0; // coefficients, and those remembered for equivalents
    require_memory(bytes_per_beam * sd.beams.size(), "the coefficients of the maps");
    reflex_dump_csd(sd, csd, base_name, 0);
    set_disksize(sd, stderr);
    warn_base_g1(sd.beam, csd.metric, "g1, the x axis of the map,");
    warn_constant_map(sd.beams);
    warn_other_zones(sd);
    chk_data("}BEAM_SEARCH", stream);

    chk_data("CALC_RXY_RANGE{", stream);
    conditions.base = real_space_base(sd.beam, csd, stderr);
    conditions.range = fget_map_range(stream);
    chk_data("}CALC_RXY_RANGE", stream);

    chk_data("AREA_PROJ_CELL{", stream);
    conditions.area_proj_cell = fget_d(stream, "the area of the projected cell");
    chk_data("}AREA_PROJ_CELL", stream);

    chk_data("}E_DENSITY_CALCULATION_CONDITION", stream);
    close_input(stream);
    sd.grid.calc_type = -1;
    return conditions;
}

UnitCellMapConditions input_density_3d_data(const Csd &csd, const std::string &base_name,
                                            InputFile &stream) {
    UnitCellMapConditions conditions;
    Sd &sd = conditions.sd;
    chk_data("E_DENSITY_CALCULATION_CONDITION{", stream);
    sd.beam = read_incident_beam(stream);

    chk_data("BEAM_SEARCH_3D{", stream);
    fget_sd_beams_3d(sd, csd, stream);
    reflex_dump_csd(sd, csd, base_name, 0);
    set_disksize(sd, stdout);
    chk_data("}BEAM_SEARCH_3D", stream);

    real_space_base(sd.beam, csd, stdout);
    chk_data("CALC_RXY_RANGE_3D{", stream);
    fget_range_3d(conditions, stream);
    chk_data("}CALC_RXY_RANGE_3D", stream);

    chk_data("}E_DENSITY_CALCULATION_CONDITION", stream);
    close_input(stream);
    return conditions;
}

void fget_sd_beams_3d(Sd &sd, const Csd &csd, std::FILE *stream) {
    BeamSearch &search = sd.beam_search;
    search.flag_bs = fget_i(stream, "the beam-search method");
    switch (search.flag_bs) {
    case 0:
        sd.beams = fget_manual_beams_3d(stream);
        break;
    case 1:
        fget_beam_search_wg(stream, search);
        mb_fprintf(stdout, "Beam search (wg)... ");
        sd.beams = beam_list(beam_search_sphere(search, csd));
        break;
    case 2:
        fget_beam_search_sg(stream, search);
        mb_fprintf(stdout, "Beam search (sg)... ");
        sd.beams = beam_list(beam_search_sphere(search, csd));
        break;
    case 3:
    case 13:
        fget_beam_search_sg_multi(stream, search);
        sd.beams = beam_list(beam_search_sg_multi(search, sd.beam, csd));
        break;
    default:
        mb_fprintf(stderr, "Flag_bs = %d is invalid for 3D Density calc.\n", search.flag_bs);
        end_run(1);
    }
    mb_fprintf(stdout, "Exact = %d, Bethe = %d\n", sd.beams.num_exact_beam,
               sd.beams.num_bethe_beam);
}

} // namespace orvel
