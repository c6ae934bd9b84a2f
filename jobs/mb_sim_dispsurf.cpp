// The dispersion-surface job: branches of the dispersion surface, their excitation and amplitudes,
// and intensities at chosen thicknesses, along a line or over an area of incidences.
#include "app/mb_debug.hpp"
#include "app/mb_mpi.hpp"
#include "app/run_settings.hpp"
#include "crystal/csd.hpp"
#include "dynamics/mbfunc_intensity.hpp"
#include "dynamics/mbfunc_tilt.hpp"
#include "input/mb_input.hpp"
#include "jobs/jobs.hpp"
#include "jobs/mb_sim_dispsurf_output.hpp"
#include "jobs/tilt_doubts.hpp"
#include "jobs/tilt_loop.hpp"
#include "jobs/wave_jobs.hpp"

namespace orvel {

namespace {

struct DispsurfCondition {
    Sd sd;
    BranchRange branches;
};

void input_dispsurf_data(DispsurfCondition &condition, const Csd &csd, const std::string &base_name,
                         std::FILE *stream) {
    Sd &sd = condition.sd;
    chk_data("DISPSURF_CALCULATION_CONDITION{", stream);
    sd.beam = read_incident_beam(stream);
    read_tilt_range(
        sd, wave_range_texts("$$ Caution!! CALC_KXY_RANGE must be before BEAM_SEARCH. $$"), stream);
    read_beam_search(sd, csd, base_name, stream);
    condition.branches = read_output_branch(sd.beams.num_exact_beam, ". Abort.", stream);
    chk_data("OUTPUT_REFLEX{", stream);
    read_output_reflections(sd, fget_count(stream, "output reflections", sizeof(int)), stream);
    chk_data("}OUTPUT_REFLEX", stream);
    read_output_thicknesses(sd, stream);
    chk_data("}DISPSURF_CALCULATION_CONDITION", stream);
}

// All points of the grid, those outside a disk too.
void calc_disp_surf_ug(const TiltProblem &problem, BranchRange branches,
                       const std::string &base_name, std::FILE *log) {
    const Sd &sd = problem.sd;
    epsilon.vg_select_flag = 0;
    mb_fprintf(stdout, "(calc_disp_surf_ug) vg_select_flag is set to 0.\n");
    DispsurfFiles files = open_dispsurf_files(sd, branches, base_name);
    const int n_out = static_cast<int>(sd.reflections.size());
    const int n_thick = static_cast<int>(sd.thicknesses.size());
    WorkCalInt work = alloc_work_cal_int(sd.beams.size(), n_out, n_thick);
    Matrix<double> intensity(n_out, n_thick);

    NonFiniteCount non_finite;
    double largest = 0.0;
    TiltDoubts doubts;
    for (int p = 0; p < sd.grid.num_pix; ++p) {
        progress_indicator(p, sd.grid.num_pix);
        calc_intensity_with_perturb_ug(problem, sd.grid.kxy[p], work, intensity.get());
        const auto written = [](double x) { return x * epsilon.intensity_scaling; };
        non_finite.add(finite_solution(work) && all_finite(sd, intensity.get(), written));
        doubts.add(doubts_of(work, Branches::single));
        largest = std::max(largest, largest_intensity(sd, intensity.get()));
        write_dispsurf_point(sd, branches, sd.grid.pix[p], work, intensity.get(), files);
    }
    mb_fprintf(stdout, "100%%\n");
    close_dispsurf_files(files);
    write_dispsurf_script(sd, branches, base_name, files);
    mb_fprintf(stdout, "\n>> kavun %s_kav.txt\n", base_name.c_str());
    non_finite.report(log);
    doubts.report(log);
    warn_growth(largest, log);
}

} // namespace

void mb_dispersion_surface(InputFile &stream, std::FILE *log, const std::string &base_name) {
    Csd csd = input_csd_cstr(stream, base_name);
    DispsurfCondition condition;
    input_dispsurf_data(condition, csd, base_name, stream);
    close_input(stream);
    Sd &sd = condition.sd;
    // Each point goes to the files when it is done; a table of one tilt is kept.
    chk_job_memory(sd, 0.0, TiltOrder::one_by_one, sizeof(double));

    TiltProblem problem = tilt_problem(sd, csd, nullptr);
    const PotentialMatrix potential = build_wave_potential(csd, sd, "Potential.", log);
    if (potential.status != 0) {
        end_run(1);
    }
    problem.V = potential.V.get();
    calc_kxy_tilt(sd, csd.metric);
    mb_fprintf(stdout, "$$ num_k_points = %d\n", sd.grid.num_pix);
    warn_single_point_line(sd.grid, log);
    calc_disp_surf_ug(problem, condition.branches, base_name, log);
}

} // namespace orvel
