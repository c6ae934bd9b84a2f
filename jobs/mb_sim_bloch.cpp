// The Bloch-state job: projected potential of the selected beams and wave function and probability
// density of chosen Bloch states at one incidence, over a rectangle of the projected cell.
#include "jobs/mb_sim_bloch.hpp"
#include "app/mb_debug.hpp"
#include "app/mb_mpi.hpp"
#include "crystal/csd.hpp"
#include "dynamics/mbfunc_intensity.hpp"
#include "input/mb_input.hpp"
#include "jobs/fourier_map.hpp"
#include "jobs/jobs.hpp"
#include "jobs/tilt_doubts.hpp"
#include "jobs/tilt_loop.hpp"
#include "jobs/wave_jobs.hpp"

#include <cmath>
#include <vector>

namespace orvel {

namespace {

struct BlochCondition {
    Sd sd;
    RealSpaceBase base;
    MapRange map;
    BranchRange branches;
};

// One solved incidence and where its results go.
struct BlochSolution {
    const BlochCondition &condition;
    const WorkCalInt &work;
    std::vector<Hkl> hkl; // selected exact beams, in matrix-row order
    RealHkl k;            // tangential wave vector
    const std::string &base_name;
    std::FILE *log;
    std::FILE *script;
    NonFinitePoints &non_finite;
};

void read_map(BlochCondition &condition, const Csd &csd, std::FILE *stream) {
    const IncidentBeam &beam = condition.sd.beam;
    chk_data("CALC_RXY_RANGE{", stream);
    condition.base = zolz_ort_base_two_uvw(beam.inc_uvw, beam.base_g1, csd.metric);
    fprint_real_space_base(stdout, condition.base);
    condition.map = fget_map_range(stream);
    chk_data("}CALC_RXY_RANGE", stream);
}

void input_bloch_data(BlochCondition &condition, const Csd &csd, const std::string &base_name,
                      std::FILE *stream) {
    Sd &sd = condition.sd;
    chk_data("BLOCH_CALCULATION_CONDITION{", stream);
    sd.beam = read_incident_beam(stream);
    read_tilt_range(
        sd, wave_range_texts("$$$$$ Caution!!! CALC_KXY_RANGE must be before BEAM_SEARCH. $$$$$"),
        stream);
    mb_fprintf(stdout, "$$disksize = %f\n", sd.grid.disksize);
    read_beam_search(sd, csd, base_name, stream);
    read_map(condition, csd, stream);
    condition.branches = read_output_branch(sd.beams.num_exact_beam, "", stream);
    chk_data("}BLOCH_CALCULATION_CONDITION", stream);
}

// The selection at this tilt may have fewer exact beams than the search.
void chk_selected_branches(BranchRange branches, int n_exact) {
    if (branches.end > n_exact) {
        input_exit("$$ branch_end = %d: only %d beams are exact at this tilt. Abort.", branches.end,
                   n_exact);
    }
}

std::vector<Hkl> selected_hkl(const BeamList &beams, const WorkCalInt &work) {
    std::vector<Hkl> hkl;
    hkl.reserve(work.n_exact);
    for (int i = 0; i < work.n_exact; ++i) {
        hkl.push_back(beams.hkl[work.index_list[i]]);
    }
    return hkl;
}

OutputFile open_bloch_script(const std::string &base_name) {
    OutputFile script = mb_fopen_chk_wmode(base_name + "_kav.txt");
    mb_fprintf(script, "KAVUN_SCRIPT\nBLOCH_VISUAL_MODE\nHTML_OPEN\n%s_.html\n", base_name.c_str());
    mb_fprintf(script, "BLOCH_VISUAL\n%s\n", base_name.c_str());
    return script;
}

void write_kn(const BlochSolution &solution) {
    const WorkCalInt &work = solution.work;
    OutputFile file = mb_fopen_chk_wmode(solution.base_name + "_kn.txt");
    mb_fprintf(file, "%% kn\n");
    mb_fprintf(file, "%% branch_i\tRe_eigenvalue\tIm_eigenvalue\teps^2\n");
    for (int i = 0; i < work.n_exact; ++i) {
        mb_fprintf(file, "%d: %g %g %g\n", i + 1, work.eigval[i].re, work.eigval[i].im,
                   c_norm(work.alpha[i]));
    }
    mb_fclose(file);
    mb_fprintf(solution.log, " k_n ==> %s\n", file.path().c_str());
}

// Calls write(x, y, r) at every point of the map, with an empty line after each row. True stands
// for finite values.
template <class Write>
void write_map(const BlochSolution &solution, OutputFile &file, Write write) {
    const BlochCondition &condition = solution.condition;
    const auto put = [&](double x, double y, const RealUvw &r) {
        solution.non_finite.add(write(x, y, r));
    };
    for_each_map_point(condition.map, condition.base, put, [&] { mb_fprintf(file, "\n"); });
    mb_fprintf(stdout, "100%%.\n");
    mb_fclose(file);
}

void write_projected_potential(const BlochSolution &solution, const complex *const *V) {
    const BlochCondition &condition = solution.condition;
    const WorkCalInt &work = solution.work;
    std::vector<const complex *> rows;
    rows.reserve(work.n_exact);
    for (int i = 0; i < work.n_exact; ++i) {
        rows.push_back(V[work.index_list[i]]);
    }
    OutputFile file = mb_fopen_chk_wmode(solution.base_name + "_pp.txt");
    mb_fprintf(file, "# Projected potential (formed by %d-beams)\n", work.n_exact);
    mb_fprintf(file, "#nx ny\n#%d %d\n", condition.map.nx, condition.map.ny);
    mb_fprintf(file, "#x\ty\t\tpotential.re[V]\tpotential.im[V]\n");
    mb_fprintf(stdout, "Proj. potential\n");
    write_map(solution, file, [&](double x, double y, const RealUvw &r) {
        const complex v = calc_projpot(r, solution.hkl, rows.data());
        mb_fprintf(file, "%g\t%g\t%g\t%g\n", x, y, v.re, v.im);
        return is_finite(v);
    });
    mb_fprintf(solution.log, " Projected potential: ==> %s\n", file.path().c_str());
    mb_fprintf(solution.script, "%s_pp.txt\n%d    # branch_begin\n%d    # branch_end\n",
               solution.base_name.c_str(), condition.branches.begin, condition.branches.end);
}

void write_bloch_state(const BlochSolution &solution, int branch) {
    const MapRange &map = solution.condition.map;
    const WorkCalInt &work = solution.work;
    const int j = branch - 1;
    const double excitation = c_norm(work.alpha[j]);
    OutputFile file =
        mb_fopen_chk_wmode(solution.base_name + "_b" + std::to_string(branch) + ".txt");
    mb_fprintf(solution.log, " Prob. density (branch %d): ==> %s\n", branch, file.path().c_str());
    mb_fprintf(solution.script, "%s\n%d    # branch\n%g    # eps^2\n", file.path().c_str(), branch,
               excitation);
    mb_fprintf(file, "# Bloch state: branch %d)\n", branch);
    mb_fprintf(file, "# branch:%d, eigen_val:%g, excitation(eps^2):%g\n", branch, work.eigval[j].re,
               excitation);
    mb_fprintf(file, "# nx ny\n# %d %d\n#x\ty\tdensity\tangle\tre\tim\n", map.nx, map.ny);
    mb_fprintf(stdout, "Branch %d\n", branch);
    write_map(solution, file, [&](double x, double y, const RealUvw &r) {
        const complex b = calc_bloch_state_func_ug(j, r, solution.hkl, solution.k,
                                                   work.beta_selected.data(), work.eigvec.get());
        mb_fprintf(file, "%g\t%g\t%g\t%g\t%g\t%g\n", x, y, c_norm(b), c_arg(b), b.re, b.im);
        return is_finite(b);
    });
}

void calc_bloch_state_ug(const BlochCondition &condition, const TiltProblem &problem,
                         const RealHkl &K_t, const std::string &base_name, std::FILE *log) {
    const Sd &sd = condition.sd;
    WorkCalInt work = alloc_work_cal_int(sd.beams.size(), 0, 0);
    chk_interrupt(0, 1);
    solve_tilt(problem, K_t, work);
    excite_branches(work);
    chk_selected_branches(condition.branches, work.n_exact);

    OutputFile script = open_bloch_script(base_name);
    NonFinitePoints points;
    const BlochSolution solution = {
        condition, work, selected_hkl(sd.beams, work), K_t, base_name, log, script, points};
    write_kn(solution);
    write_projected_potential(solution, problem.V);
    for (int branch = condition.branches.begin; branch <= condition.branches.end; ++branch) {
        write_bloch_state(solution, branch);
    }
    mb_fprintf(script, "HTML_CLOSE\n");
    mb_fclose(script);
    mb_fprintf(stdout, "\n>> kavun %s_kav.txt\n", base_name.c_str());

    NonFiniteCount non_finite;
    non_finite.add(finite_solution(work));
    non_finite.report(log);
    TiltDoubts doubts;
    doubts.add(doubts_of(work, Branches::single));
    doubts.report(log);
    points.report(log);
}

} // namespace

complex calc_bloch_state_func_ug(int branch, const RealUvw &r, std::span<const Hkl> hkl,
                                 const RealHkl &k, const double *beta_selected,
                                 const complex *const *eigvec) {
    const complex periodic = fourier_sum(r, hkl, [&](std::size_t i) -> complex {
        const double root = std::sqrt(beta_selected[i]);
        return {eigvec[i][branch].re / root, eigvec[i][branch].im / root};
    });
    return c_mul(plane_wave(k, r), periodic);
}

void mb_bloch_state(InputFile &stream, std::FILE *log, const std::string &base_name) {
    Csd csd = input_csd_cstr(stream, base_name);
    BlochCondition condition;
    input_bloch_data(condition, csd, base_name, stream);
    close_input(stream);
    Sd &sd = condition.sd;
    chk_job_memory(sd, 0.0);

    const PotentialMatrix potential = build_wave_potential(csd, sd, "Potential calc.", log);
    if (potential.status != 0) {
        end_run(1);
    }
    const RealHkl K_t = first_tilt(sd, csd.metric, log);
    const TiltProblem problem = tilt_problem(sd, csd, potential.V.get());
    calc_bloch_state_ug(condition, problem, K_t, base_name, log);
}

} // namespace orvel
