// The thickness-fringe job: amplitudes and intensities of chosen reflections against thickness at
// one incidence, all from one eigen-solution.
#include "app/mb_debug.hpp"
#include "app/mb_mpi.hpp"
#include "app/run_settings.hpp"
#include "crystal/csd.hpp"
#include "dynamics/mbfunc_intensity.hpp"
#include "dynamics/mbfunc_tilt.hpp"
#include "input/mb_input.hpp"
#include "jobs/jobs.hpp"
#include "jobs/tilt_doubts.hpp"
#include "jobs/tilt_loop.hpp"
#include "jobs/wave_jobs.hpp"

#include <algorithm>
#include <cmath>

namespace orvel {

namespace {

void read_thickness_range(Sd &sd, std::FILE *stream) {
    chk_data("CALC_T_RANGE{", stream);
    // With each comes a row of propagation factors.
    const double bytes_each = static_cast<double>(sizeof(double)) +
                              static_cast<double>(sizeof(complex)) * sd.beams.size();
    const int n = fget_count(stream, "thicknesses", bytes_each);
    mb_fprintf(stdout, "  sd->num_thickness = %d\n", n);
    if (n < 1) {
        input_exit("$$ CALC_T_RANGE: %d thicknesses, at least 2 are needed. Abort.", n);
    }
    const auto [t_first, t_last] = fget_2d(stream);
    sd.thicknesses.reserve(n);
    for (int i = 0; i < n; ++i) {
        sd.thicknesses.push_back(t_first + (t_last - t_first) * i / (n - 1));
    }
    warn_thicknesses(sd.thicknesses);
    chk_data("}CALC_T_RANGE", stream);
}

void read_fringe_reflections(Sd &sd, std::FILE *stream) {
    chk_data("OUTPUT_REFLEX{", stream);
    const int n = fget_count(stream, "output reflections", sizeof(int));
    if (n == 0) {
        take_all_exact_beams(sd);
    } else {
        read_output_reflections(sd, n, stream);
    }
    chk_data("}OUTPUT_REFLEX", stream);
}

void input_tfringe_data(Sd &sd, const Csd &csd, const std::string &base_name, std::FILE *stream) {
    chk_data("TFRINGE_CALCULATION_CONDITION{", stream);
    sd.beam = read_incident_beam(stream);
    read_tilt_range(
        sd, wave_range_texts("$$ Caution!!! CALC_KXY_RANGE must be before BEAM_SEARCH!"), stream);
    read_beam_search(sd, csd, base_name, stream);
    read_thickness_range(sd, stream);
    read_fringe_reflections(sd, stream);
    chk_data("}TFRINGE_CALCULATION_CONDITION", stream);
}

void warn_single_thickness(const Sd &sd, std::FILE *log) {
    if (sd.thicknesses.size() == 1) {
        mb_fprintf_stdo(log, "$$ Warning: a range of thicknesses needs at least 2 of them; the "
                             "only one is not a number.\n");
    }
}

struct FringeFiles {
    OutputFile intensity;
    OutputFile plot;
    OutputFile amplitude;
};

FringeFiles open_fringe_files(const std::string &base_name) {
    FringeFiles files;
    files.intensity = mb_fopen_chk_wmode(base_name + "_int.txt");
    files.plot = mb_fopen_chk_wmode(base_name + ".plt");
    mb_fprintf(files.plot, "#\n");
    files.amplitude = mb_fopen_chk_wmode(base_name + "_re_im.txt");
    return files;
}

void write_table_header(const Sd &sd, std::FILE *file) {
    mb_fprintf(file, "#thickness");
    for (const int position : sd.reflections) {
        const Hkl &g = sd.beams.hkl[position];
        mb_fprintf(file, "\t%d_%d_%d", g.h, g.k, g.l);
    }
    mb_fprintf(file, "\n");
}

void write_plot_script(const Sd &sd, const std::string &base_name, const FringeFiles &files) {
    std::FILE *file = files.plot;
    mb_fprintf(file, "set xlabel \"thickness [A]\"\n");
    mb_fprintf(file, "set ylabel \"Intensity\"\n");
    mb_fprintf(file, "set title \"Thickness fringes\"\n");
    mb_fprintf(file, "set term png\n");
    mb_fprintf(file, "set output \"%s_out.png\"\n", base_name.c_str());
    mb_fprintf(file, "plot ");
    for (std::size_t o = 0; o < sd.reflections.size(); ++o) {
        const Hkl &g = sd.beams.hkl[sd.reflections[o]];
        mb_fprintf(file, "%s\"%s\" using 1:%zu title \"%d %d %d\" with lines ",
                   o > 0 ? ",\\\n" : "", files.intensity.path().c_str(), o + 2, g.h, g.k, g.l);
    }
    mb_fprintf(file, "\n");
}

void write_tables(const Sd &sd, const complex *const *psi, const FringeFiles &files) {
    const double amplitude_scaling = std::sqrt(epsilon.intensity_scaling);
    const int n_thick = static_cast<int>(sd.thicknesses.size());
    for (int k = 0; k < n_thick; ++k) {
        chk_interrupt(k, n_thick);
        two_fprintf(files.intensity, files.amplitude, "%lg", sd.thicknesses[k]);
        for (std::size_t o = 0; o < sd.reflections.size(); ++o) {
            mb_fprintf(files.intensity, "\t%lg", c_norm(psi[o][k]) * epsilon.intensity_scaling);
            mb_fprintf(files.amplitude, "\t%lg\t%lg", psi[o][k].re * amplitude_scaling,
                       psi[o][k].im * amplitude_scaling);
        }
        two_fprintf(files.intensity, files.amplitude, "\n");
    }
}

void close_fringe_files(FringeFiles &files) {
    mb_fprintf(files.plot, "#pause -1 \n");
    mb_fclose(files.intensity);
    mb_fclose(files.plot);
    mb_fclose(files.amplitude);
    mb_fprintf(stdout, "\n==> SEE %s\n", files.plot.path().c_str());
}

void calc_tfringe_ug(const TiltProblem &problem, const RealHkl &K_t, const std::string &base_name,
                     std::FILE *log) {
    const Sd &sd = problem.sd;
    FringeFiles files = open_fringe_files(base_name);
    const int n_out = static_cast<int>(sd.reflections.size());
    const int n_thick = static_cast<int>(sd.thicknesses.size());
    WorkCalInt work = alloc_work_cal_int(sd.beams.size(), n_out, n_thick);
    Matrix<complex> psi(n_out, n_thick);
    chk_interrupt(0, 1);
    solve_tilt(problem, K_t, work);
    excite_branches(work);
    calc_amplitudes(problem, work, psi.get());

    write_table_header(sd, files.intensity);
    write_table_header(sd, files.amplitude);
    write_plot_script(sd, base_name, files);
    write_tables(sd, psi.get(), files);
    close_fringe_files(files);

    NonFiniteCount non_finite;
    // Where intensities are finite, amplitudes are.
    non_finite.add(
        all_finite(sd, psi.get(), [](complex z) { return c_norm(z) * epsilon.intensity_scaling; }));
    non_finite.report(log);
    TiltDoubts doubts;
    doubts.add(doubts_of(work, branches_of_waves()));
    doubts.report(log);
    warn_growth(largest_intensity(sd, psi.get(), c_norm), log);
}

} // namespace

void mb_tfringe(InputFile &stream, std::FILE *log, const std::string &base_name) {
    Csd csd = input_csd_cstr(stream, base_name);
    Sd sd;
    input_tfringe_data(sd, csd, base_name, stream);
    close_input(stream);
    // One tilt is solved, however many the grid has.
    chk_job_memory(sd, 0.0, TiltOrder::one_by_one, sizeof(complex));
    chk_amplitude_scale();

    const PotentialMatrix potential = build_wave_potential(csd, sd, "Potential.", log);
    debug_vg_dump(potential.V.get(), sd.beams.size());
    const TiltProblem problem = tilt_problem(sd, csd, potential.V.get());
    const RealHkl K_t = first_tilt(sd, csd.metric, log);
    warn_single_thickness(sd, log);
    calc_tfringe_ug(problem, K_t, base_name, log);
}

} // namespace orvel
