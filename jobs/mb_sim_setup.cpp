#include "jobs/mb_sim_setup.hpp"

#include "app/mb_mpi.hpp"
#include "app/ranks.hpp"
#include "dynamics/mbfunc_check.hpp"
#include "dynamics/mbfunc_tilt.hpp"
#include "jobs/mb_sim_output.hpp"
#include "jobs/tilt_loop.hpp"
#include "jobs/tilt_threads.hpp"

#include <algorithm>
#include <cmath>

namespace orvel {

PotentialMatrix build_sim_potential(Csd &csd, const Sd &sd, std::FILE *log) {
    csd.metric = bravai(csd.cell);
    mb_fprintf(stdout, "Potential:\n");
    mb_fflush(stdout);
    PotentialMatrix potential = potential_matrix_csd(sd.beams, csd, sd.beam.acc_voltage);
    if (potential.status != 0) {
        mb_fprintf_stdo(log, "$$ Error in Fg calc. You should check params.\n");
    }
    debug_vg_dump(potential.V.get(), sd.beams.size());
    dbg_dump_ini_sim();
    dbg_sel_vg_init(sd.beams);
    return potential;
}

TiltProblem prepare_tilts(Csd &csd, Sd &sd, const complex *const *V, std::FILE *log) {
    csd.metric = bravai(csd.cell);
    if (ranks().rank() == 0) {
        calc_kxy_tilt(sd, csd.metric);
    } else {
        sd.beam.base_g2 = zolz_ort_base(sd.beam.inc_uvw, sd.beam.base_g1, csd.metric);
    }
    mb_fprintf(stdout, "$$ num_k_points = %d, num_k_points_effective = %d\n", sd.grid.num_pix,
               sd.grid.num_pix_in);
    if (sd.grid.num_pix_in == 0) {
        mb_fprintf_stdo(log,
                        "$$ Warning: no point of the tilt grid lies within the disk: nothing is "
                        "calculated.\n");
    }
    warn_single_point_line(sd.grid, log);
    warn_one_thread();
    if (sd.grid.disksize < 0.0) {
        mb_fprintf_stdo(log, "$$ Warning: disksize = %g mirrors the places of the reflections.\n",
                        sd.grid.disksize);
    }
    const auto lies_somewhere = [&](int beam) {
        const DiskPosition p = disk_position(sd.beams.hkl[beam], sd, csd.metric);
        return std::isfinite(p.x) && std::isfinite(p.y);
    };
    if (!std::all_of(sd.reflections.begin(), sd.reflections.end(), lies_somewhere)) {
        mb_fprintf_stdo(log,
                        "$$ Warning: disksize = %g: the positions of the reflections in "
                        "RF_INDEX, which are scaled by its inverse, are not finite numbers.\n",
                        sd.grid.disksize);
    }
    return tilt_problem(sd, csd, V);
}

void check_selections(const TiltProblem &problem) {
    const Sd &sd = problem.sd;
    const TiltGrid &grid = sd.grid;
    WorkCalInt work = alloc_work_cal_int(sd.beams.size(), static_cast<int>(sd.reflections.size()),
                                         static_cast<int>(sd.thicknesses.size()));
    mb_fprintf(stdout, "$$ chk_sel_vg mode. No intensity calculation.\n");
    for_each_tilt(grid, [&](int p) {
        dbg_sel_vg_pos(grid.pix[p].ix, grid.pix[p].iy);
        select_tilt(problem, grid.kxy[p], work);
        dbg_sel_vg_out(sd.beams, work);
    });
}

} // namespace orvel
