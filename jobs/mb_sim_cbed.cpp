// The CBED job: intensities of chosen reflections over a grid of tilts at chosen thicknesses.
#include "app/mb_mpi.hpp"
#include "crystal/csd.hpp"
#include "dynamics/mbfunc_check.hpp"
#include "jobs/jobs.hpp"
#include "jobs/mb_sim_input.hpp"
#include "jobs/mb_sim_output.hpp"
#include "jobs/mb_sim_pattern.hpp"
#include "jobs/mb_sim_setup.hpp"
#include "jobs/tilt_loop.hpp"

#include <algorithm>

namespace orvel {

namespace {

constexpr ResultTexts result_texts = {"SIM_VISUAL_MODE", "SIM_VISUALIZE", "SIM_RESULT", 1};

// Over all output reflections and tilt points at one thickness, points outside the disk included.
DisplayRange intensity_range(const Tensor<double> &intensity, int t) {
    DisplayRange range;
    if (intensity.extent(0) > 0 && intensity.extent(2) > 0) {
        range.max = range.min = intensity[0][t][0];
    }
    for (std::size_t o = 0; o < intensity.extent(0); ++o) {
        for (std::size_t p = 0; p < intensity.extent(2); ++p) {
            range.max = std::max(range.max, intensity[o][t][p]);
            range.min = std::min(range.min, intensity[o][t][p]);
        }
    }
    return range;
}

void sim_output(const Sd &sd, const CellConstants &cell, const std::string &base_name) {
    OutputFile script = open_sim_script(base_name, result_texts);
    for (int t = 0; t < static_cast<int>(sd.thicknesses.size()); ++t) {
        OutputFile file = open_sim_result(sd, cell, base_name, result_texts, t,
                                          intensity_range(sd.intensity, t), script);
        write_coord(sd, file, [&](const TiltPoint &p) {
            mb_fprintf(file, "%g %g %d %d %d\n", p.h - sd.beam.H_tilt, p.g - sd.beam.G_tilt, p.ix,
                       p.iy, p.cal_flag);
        });
        write_reflections(
            sd, file, [&](std::size_t o, int p) { write_values(file, {sd.intensity[o][t][p]}); });
        mb_fclose(file);
    }
    close_sim_script(script);
}

void calc_cbed_pattern(Csd &csd, Sd &sd, const complex *const *V, const std::string &base_name,
                       std::FILE *log) {
    const TiltProblem problem = prepare_tilts(csd, sd, V, log);
    sd.intensity = alloc_pattern(sd, {});
    calc_pattern(problem, csd.group.ops, {}, sd.intensity, log,
                 [&] { sim_output(sd, csd.cell, base_name); });
}

} // namespace

void mb_simulation(InputFile &stream, std::FILE *log, const std::string &base_name) {
    Csd csd = input_csd_cstr(stream, base_name);
    Sd sd;
    input_sim_data(sd, csd, base_name, stream);
    close_input(stream);
    chk_job_memory(sd, sizeof(double), TiltOrder::side_by_side);

    const PotentialMatrix potential = build_sim_potential(csd, sd, log);
    calc_cbed_pattern(csd, sd, potential.V.get(), base_name, log);
    dbg_dump_term();
}

} // namespace orvel
