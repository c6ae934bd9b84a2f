#include "jobs/mb_sim_dispsurf_output.hpp"

#include "app/run_settings.hpp"

#include <cmath>

namespace orvel {

namespace {

void write_reflection_lines(const Sd &sd, std::FILE *file) {
    for (std::size_t o = 0; o < sd.reflections.size(); ++o) {
        const Hkl &g = sd.beams.hkl[sd.reflections[o]];
        mb_fprintf(file, "# g %zu: %d %d %d\n", o, g.h, g.k, g.l);
    }
}

void write_surface_header(BranchRange branches, std::FILE *file) {
    mb_fprintf(file, "# Dispersion surface\n");
    mb_fprintf(file, "# kn, excitation(=eps^2)\n");
    mb_fprintf(file, "kxy(H)\tkxy(G)\tKz");
    for (int j = branches.begin; j <= branches.end; ++j) {
        mb_fprintf(file, "\tRe(kz%d)\tIm(kz%d)\tRe(gamma%d)\tIm(gamma%d)\tSq(eps%d)", j, j, j, j,
                   j);
    }
    mb_fprintf(file, "\n");
}

void write_amplitude_header(const Sd &sd, BranchRange branches, std::FILE *file) {
    mb_fprintf(file, "# Amplitudes of reflections Cg (multiplied by excitation)\n");
    mb_fprintf(file, "# (Amplitude and Phase (rad),  g:reflection, j:branch)\n");
    write_reflection_lines(sd, file);
    mb_fprintf(file, "kxy(H)\tkxy(G)");
    for (std::size_t o = 0; o < sd.reflections.size(); ++o) {
        for (int j = branches.begin; j <= branches.end; ++j) {
            mb_fprintf(file, "\tA(eC)g%zuj%d\tP(eC)g%zuj%d", o, j, o, j);
        }
    }
    mb_fprintf(file, "\n");
}

void write_intensity_header(const Sd &sd, std::FILE *file) {
    mb_fprintf(file, "# Diffracted intensities\n");
    write_reflection_lines(sd, file);
    for (std::size_t k = 0; k < sd.thicknesses.size(); ++k) {
        mb_fprintf(file, "# thickness %zu: %g[A]\n", k, sd.thicknesses[k]);
    }
    mb_fprintf(file, "kxy(H)\tkxy(G)");
    for (std::size_t o = 0; o < sd.reflections.size(); ++o) {
        for (std::size_t k = 0; k < sd.thicknesses.size(); ++k) {
            mb_fprintf(file, "\tg%zut%zu", o, k);
        }
    }
    mb_fprintf(file, "\n");
}

// The H coordinate stands in the column of G too.
void write_surface_line(BranchRange branches, const TiltPoint &point, const WorkCalInt &work,
                        std::FILE *file) {
    mb_fprintf(file, "%g\t%g\t%.12lg", point.h, point.h, std::fabs(work.K_n));
    for (int j = branches.begin - 1; j < branches.end; ++j) {
        const complex gamma = work.eigval[j];
        mb_fprintf(
            file, "\t%.12lg\t%lg\t%lg\t%lg\t%lg", std::fabs(gamma.re / (2.0 * work.K_n) + work.K_n),
            std::fabs(gamma.im / (2.0 * work.K_n)), gamma.re, gamma.im, c_norm(work.alpha[j]));
    }
    mb_fprintf(file, "\n");
}

void write_amplitude_line(const Sd &sd, BranchRange branches, const TiltPoint &point,
                          const WorkCalInt &work, std::FILE *file) {
    mb_fprintf(file, "%g\t%g", point.h, point.g);
    for (std::size_t o = 0; o < sd.reflections.size(); ++o) {
        const int row = work.out_rows[o];
        const double root = std::sqrt(work.beta_selected[row]);
        for (int j = branches.begin - 1; j < branches.end; ++j) {
            const complex excited = c_mul(work.alpha[j], work.eigvec[row][j]);
            const complex amplitude = {excited.re / root, excited.im / root};
            mb_fprintf(file, "\t%lg\t%lg", c_abs(amplitude), c_arg(amplitude));
        }
    }
    mb_fprintf(file, "\n");
}

void write_intensity_line(const Sd &sd, const TiltPoint &point, const double *const *intensity,
                          std::FILE *file) {
    mb_fprintf(file, "%g\t%g", point.h, point.g);
    for (std::size_t o = 0; o < sd.reflections.size(); ++o) {
        for (std::size_t k = 0; k < sd.thicknesses.size(); ++k) {
            mb_fprintf(file, "\t%g", intensity[o][k] * epsilon.intensity_scaling);
        }
    }
    mb_fprintf(file, "\n");
}

} // namespace

DispsurfFiles open_dispsurf_files(const Sd &sd, BranchRange branches,
                                  const std::string &base_name) {
    DispsurfFiles files;
    files.surface = mb_fopen_chk_wmode(base_name + "_ds.txt");
    files.amplitude = mb_fopen_chk_wmode(base_name + "_amp.txt");
    files.intensity = mb_fopen_chk_wmode(base_name + "_int.txt");
    write_surface_header(branches, files.surface);
    write_amplitude_header(sd, branches, files.amplitude);
    write_intensity_header(sd, files.intensity);
    return files;
}

void write_dispsurf_point(const Sd &sd, BranchRange branches, const TiltPoint &point,
                          const WorkCalInt &work, const double *const *intensity,
                          const DispsurfFiles &files) {
    write_surface_line(branches, point, work, files.surface);
    write_amplitude_line(sd, branches, point, work, files.amplitude);
    write_intensity_line(sd, point, intensity, files.intensity);
}

void close_dispsurf_files(DispsurfFiles &files) {
    mb_fclose(files.surface);
    mb_fclose(files.amplitude);
    mb_fclose(files.intensity);
}

void write_dispsurf_script(const Sd &sd, BranchRange branches, const std::string &base_name,
                           const DispsurfFiles &files) {
    OutputFile script = mb_fopen_chk_wmode(base_name + "_kav.txt");
    mb_fprintf(script, "KAVUN_SCRIPT\nDISPSURF_VISUAL_MODE\nHTML_OPEN\n%s_.html\n",
               base_name.c_str());
    mb_fprintf(script, "DISPSURF_VISUAL\n");
    mb_fprintf(script, "%d  #branch_begin\n%d  #branch_end\n", branches.begin, branches.end);
    mb_fprintf(script, "%zu  #num_rf_amp\n%zu  #num_thick\n", sd.reflections.size(),
               sd.thicknesses.size());
    mb_fprintf(script, "%s\n%s\n%s\n%s\n", base_name.c_str(), files.surface.path().c_str(),
               files.amplitude.path().c_str(), files.intensity.path().c_str());
    mb_fprintf(script, "HTML_CLOSE\n");
    mb_fclose(script);
}

} // namespace orvel
