// The coherent CBED job: complex amplitudes over a grid of tilts, with the phase of a focused,
// aberrated probe on each incident direction.
#include "app/mb_mpi.hpp"
#include "app/run_settings.hpp"
#include "crystal/csd.hpp"
#include "dynamics/mbfunc_check.hpp"
#include "jobs/jobs.hpp"
#include "jobs/mb_sim_input.hpp"
#include "jobs/mb_sim_output.hpp"
#include "jobs/mb_sim_pattern.hpp"
#include "jobs/mb_sim_setup.hpp"
#include "jobs/tilt_loop.hpp"

#include <array>
#include <cmath>

namespace orvel {

namespace {

constexpr ResultTexts result_texts = {"SIM_COHERENT_VISUAL_MODE", "SIM_COHERENT_VISUALIZE",
                                      "SIM_COHERENT_RESULT", 0};

// Amplitudes have no range of their own to search; this is that of a unit incident beam.
constexpr DisplayRange result_range = {10000.0, 0.0};

// The electron probe.
struct Probe {
    double cs_coef = 0.0;              // spherical aberration, A
    double defocus = 0.0;              // A
    std::array<double, 3> probe_pos{}; // fractional coordinates
};

Probe input_sim_coherent_data(Sd &sd, std::FILE *stream) {
    Probe probe;
    chk_data("COHERENT{", stream);
    probe.cs_coef = fget_d(stream, "the spherical-aberration coefficient");
    probe.defocus = fget_d(stream, "the defocus");
    probe.probe_pos = fget_3d(stream);
    chk_data("}COHERENT", stream);
    sd.result_bytes = 8;
    return probe;
}

// exp(i chi) of each tilt point, chi = pi (defocus lambda k^2 + C_s lambda^3 k^4 / 2 + 2 K_t.r).
Vector<complex> calc_initial_phase(const Sd &sd, const Probe &probe, double lambda,
                                   const Metric &metric) {
    Vector<complex> phase(sd.grid.kxy.size());
    for (std::size_t p = 0; p < phase.size(); ++p) {
        const RealHkl &K_t = sd.grid.kxy[p];
        const double k2 = sq_abs(K_t, metric);
        const double chi = pi * (probe.defocus * lambda * k2 +
                                 0.5 * probe.cs_coef * lambda * lambda * lambda * k2 * k2 +
                                 2.0 * (K_t.h * probe.probe_pos[0] + K_t.k * probe.probe_pos[1] +
                                        K_t.l * probe.probe_pos[2]));
        phase[p] = c_exp({0.0, chi});
    }
    return phase;
}

// amplitude: real and imaginary part in turn along its thicknesses.
void sim_coherent_output(const Sd &sd, const Tensor<double> &amplitude, const CellConstants &cell,
                         const std::string &base_name) {
    const double scale = std::sqrt(epsilon.intensity_scaling);
    OutputFile script = open_sim_script(base_name, result_texts);
    for (int t = 0; t < static_cast<int>(sd.thicknesses.size()); ++t) {
        OutputFile file =
            open_sim_result(sd, cell, base_name, result_texts, t, result_range, script);
        write_coord(sd, file, [&](const TiltPoint &p) {
            mb_fprintf(file, "%g\t%g\t%d\t%d\t%d\n", p.h, p.g, p.ix, p.iy, p.cal_flag);
        });
        write_reflections(sd, file, [&](std::size_t o, int p) {
            write_values(file,
                         {amplitude[o][2 * t][p] * scale, amplitude[o][2 * t + 1][p] * scale});
        });
        mb_fclose(file);
    }
    close_sim_script(script);
}

void calc_coherent_cbed_pattern(Csd &csd, Sd &sd, const Probe &probe, const complex *const *V,
                                const std::string &base_name, std::FILE *log) {
    const TiltProblem problem = prepare_tilts(csd, sd, V, log);
    Fingerprint print;
    print.add(probe);
    chk_same_input(print);
    const Vector<complex> phase =
        calc_initial_phase(sd, probe, problem.geometry.lambda, csd.metric);
    const PatternKind kind = {.coherent = true, .phase = phase.data()};
    Tensor<double> amplitude = alloc_pattern(sd, kind);
    calc_pattern(problem, csd.group.ops, kind, amplitude, log,
                 [&] { sim_coherent_output(sd, amplitude, csd.cell, base_name); });
}

} // namespace

void mb_sim_coherent(InputFile &stream, std::FILE *log, const std::string &base_name) {
    Csd csd = input_csd_cstr(stream, base_name);
    Sd sd;
    input_sim_data(sd, csd, base_name, stream);
    const Probe probe = input_sim_coherent_data(sd, stream);
    close_input(stream);
    chk_job_memory(sd, sizeof(complex), TiltOrder::side_by_side);
    chk_amplitude_scale();

    const PotentialMatrix potential = build_sim_potential(csd, sd, log);
    calc_coherent_cbed_pattern(csd, sd, probe, potential.V.get(), base_name, log);
    dbg_dump_term();
}

} // namespace orvel
