#include "jobs/wave_jobs.hpp"

#include "app/mb_mpi.hpp"
#include "dynamics/mbfunc_tilt.hpp"
#include "input/mb_input.hpp"
#include "jobs/tilt_loop.hpp"

namespace orvel {

TiltRangeTexts wave_range_texts(const char *hint) {
    return {hint, [](int type) {
                mb_fprintf(stdout, "$$ Invalid calc_type=%d. Abort.\n", type);
                end_run(1);
            }};
}

BranchRange read_output_branch(int n_exact, const char *ending, std::FILE *stream) {
    chk_data("OUTPUT_BRANCH{", stream);
    const auto [begin, end] = fget_2i(stream);
    if (begin < 1 || end > n_exact || begin > end) {
        mb_fprintf(stdout, "$$ Invalid paramter: branch_begin = %d, branch_end = %d%s\n", begin,
                   end, ending);
        end_run(1);
    }
    chk_data("}OUTPUT_BRANCH", stream);
    return {begin, end};
}

PotentialMatrix build_wave_potential(Csd &csd, const Sd &sd, const char *title, std::FILE *log) {
    mb_fprintf(stdout, "%s\n", title);
    mb_fflush(stdout);
    PotentialMatrix potential = potential_matrix_csd(sd.beams, csd, sd.beam.acc_voltage);
    if (potential.status != 0) {
        mb_fprintf_stdo(log, "$$ Error in Fg calc. You should check params.\n");
    }
    return potential;
}

RealHkl first_tilt(Sd &sd, const Metric &metric, std::FILE *log) {
    calc_kxy_tilt(sd, metric);
    const TiltGrid &grid = sd.grid;
    warn_single_point_line(grid, log);
    if (grid.num_pix > 1) {
        mb_fprintf_stdo(log,
                        "$$ Warning: of the %d tilts the first alone is used, at H = %g, G = %g.\n",
                        grid.num_pix, grid.pix.front().h, grid.pix.front().g);
    }
    return grid.kxy.front();
}

bool finite_solution(const WorkCalInt &work) {
    for (int j = 0; j < work.n_exact; ++j) {
        if (!is_finite(work.eigval[j]) || !is_finite(work.alpha[j])) {
            return false;
        }
    }
    return true;
}

} // namespace orvel
