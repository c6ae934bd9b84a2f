// The potential matrix, and a whole tilt beside its eigen-solution alone.
#include "bench/bench_support.hpp"

#include "app/run_settings.hpp"
#include "crystal/strct_f.hpp"
#include "dynamics/mbfunc_intensity.hpp"
#include "dynamics/mbfunc_potential.hpp"
#include "dynamics/mbfunc_propagate.hpp"
#include "dynamics/mbfunc_tilt.hpp"
#include "input/utils.hpp"
#include "jobs/mb_sim_pattern.hpp"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <set>
#include <span>
#include <string>
#include <vector>

namespace orvel::bench {

namespace {

// Twenty general sites in Fm-3m: 192 operations each.
std::string twenty_site_crystal() {
    std::string text = "CRYSTAL_STRUCTURE_DATA{\nLATTICE{\n225\n12\n12\n12\n90\n90\n90\n}LATTICE\n"
                       "ATOM{\n20\n";
    for (int i = 0; i < 20; ++i) {
        char site[160];
        std::snprintf(site, sizeof site, "SITE{\n%s\n%g\n%g\n%g\nISO\n0.5\n0.05\n1\n}SITE\n",
                      i % 2 == 0 ? "Si" : "O", 0.013 + 0.011 * i, 0.12 + 0.007 * i,
                      0.23 + 0.009 * i);
        text += site;
    }
    return text + "}ATOM\nLOW_ORDER_FG{\n0\n}LOW_ORDER_FG\n}CRYSTAL_STRUCTURE_DATA\n";
}

std::string silicon_crystal() {
    return "CRYSTAL_STRUCTURE_DATA{\nLATTICE{\n227\n5.4309\n5.4309\n5.4309\n90\n90\n90\n}LATTICE\n"
           "ATOM{\n1\nSITE{\nSi\n0.125\n0.125\n0.125\nISO\n0.46\n1\n1\n}SITE\n}ATOM\n"
           "LOW_ORDER_FG{\n0\n}LOW_ORDER_FG\n}CRYSTAL_STRUCTURE_DATA\n";
}

Csd crystal_of(const std::string &text) {
    std::FILE *stream = std::tmpfile();
    std::fputs(text.c_str(), stream);
    std::rewind(stream);
    const InputFile file(stream);
    return input_csd_cstr(file, "bench");
}

// The n shortest reflections of the [001] zone that F centring allows, 000 first.
BeamList zone_beams(int n) {
    BeamList beams;
    for (int h = -60; h <= 60; h += 2) {
        for (int k = -60; k <= 60; k += 2) {
            beams.hkl.push_back({h, k, 0});
        }
    }
    std::stable_sort(beams.hkl.begin(), beams.hkl.end(), [](const Hkl &a, const Hkl &b) {
        return a.h * a.h + a.k * a.k < b.h * b.h + b.k * b.k;
    });
    beams.hkl.resize(static_cast<std::size_t>(n));
    beams.num_exact_beam = n;
    return beams;
}

} // namespace

void bench_potential(int n) {
    Csd csd = crystal_of(twenty_site_crystal());
    const BeamList beams = zone_beams(n);
    std::set<std::array<int, 3>> distinct;
    for (const Hkl &a : beams.hkl) {
        for (const Hkl &b : beams.hkl) {
            distinct.insert({a.h - b.h, a.k - b.k, a.l - b.l});
        }
    }
    PotentialMatrix own;
    complex sum;
    const auto nothing = [] {};
    const std::vector<double> t =
        median_seconds({{nothing, [&] { own = potential_matrix_csd(beams, csd, 200.0); }},
                        {nothing,
                         [&] {
                             for (const auto &[h, k, l] : distinct) {
                                 sum = c_add(sum, calc_structure_factor({h, k, l}, csd, 200.0).F);
                             }
                         }}},
                       3);
    print_row("potential/each F once", n, t[0], t[1], 0.0, 0.0);
}

namespace {

// Silicon [001], five thicknesses, the nine shortest reflections given out.
struct SiliconTilts {
    Csd csd = crystal_of(silicon_crystal());
    Sd sd;
    PotentialMatrix potential;

    SiliconTilts(int n, int n_bethe) {
        sd.beam.inc_uvw = {0, 0, 1};
        sd.beam.nor_uvw = {0, 0, 1};
        sd.beam.base_g1 = {2.0, 2.0, 0.0};
        sd.beam.acc_voltage = 200.0;
        sd.beams = zone_beams(n + n_bethe);
        sd.beams.num_exact_beam = n;
        sd.beams.num_bethe_beam = n_bethe;
        sd.reflections = {0, 1, 2, 3, 4, 5, 6, 7, 8};
        sd.thicknesses = {200.0, 400.0, 600.0, 800.0, 1000.0};
        epsilon.vg_select_flag = 0;
        potential = potential_matrix_csd(sd.beams, csd, 200.0);
    }
    TiltProblem problem() const {
        return {sd, csd.metric, potential.V.get(), pre_calc_intensity(sd.beam, csd.metric),
                calc_abs_K(csd, 200.0)};
    }
};

} // namespace

void bench_tilt(int n) {
    const SiliconTilts tilts(n, n);
    const TiltProblem problem = tilts.problem();
    WorkCalInt work = alloc_work_cal_int(2 * n, 9, 5);
    Matrix<double> table(9, 5);
    const RealHkl K_t = {0.31, 0.17, 0.0};
    solve_tilt(problem, K_t, work);
    const auto nothing = [] {};
    const std::vector<double> t = median_seconds(
        {{nothing, [&] { calc_intensity_with_perturb_ug(problem, K_t, work, table.get()); }},
         {nothing,
          [&] { eigmat(n, work.B.get(), work.eigval.data(), work.eigvec.get(), work.eigmat); }}},
        n <= 50 ? 101 : 21);
    print_row("whole tilt/eigmat alone", n, t[0], t[1], 0.0, 0.0);
}

void bench_threads(int n, int threads) {
    SiliconTilts tilts(n, n);
    tilts.sd.grid.calc_type = 2;
    tilts.sd.grid.num_cal_pix_side = n <= 50 ? 21 : 11;
    tilts.sd.grid.disksize = 0.4;
    calc_kxy_tilt(tilts.sd, tilts.csd.metric);
    const TiltProblem problem = tilts.problem();
    const auto pattern = [&](int number) {
        Tensor<double> values = alloc_pattern(tilts.sd, {});
        dbg.num_threads = number;
        calc_pattern(problem, tilts.csd.group.ops, {}, values, stdout, [] {});
    };
    const auto nothing = [] {};
    const std::vector<double> t =
        median_seconds({{nothing, [&] { pattern(threads); }}, {nothing, [&] { pattern(1); }}}, 11);
    const std::string name = std::to_string(threads) + " threads/1 thread, pattern";
    print_row(name.c_str(), n, t[0], t[1], 0.0, 0.0);
}

namespace {

// Amplitudes [tilt][output beam][thickness] of the eigen road.
void solve_amplitudes(const TiltProblem &problem, std::span<const RealHkl> K_t, WorkCalInt &work,
                      Tensor<complex> &psi) {
    for (std::size_t i = 0; i < K_t.size(); ++i) {
        solve_tilt(problem, K_t[i], work);
        excite_branches(work);
        calc_amplitudes(problem, work, psi[i]);
    }
}

// Largest deviation of intensities, in units of the incident one.
double largest_deviation(const Tensor<complex> &a, const Tensor<complex> &b) {
    double largest = 0.0;
    for (std::size_t i = 0; i < a.extent(0); ++i) {
        for (std::size_t o = 0; o < a.extent(1); ++o) {
            for (std::size_t k = 0; k < a.extent(2); ++k) {
                largest = std::max(largest, std::fabs(c_norm(a[i][o][k]) - c_norm(b[i][o][k])));
            }
        }
    }
    return largest;
}

} // namespace

void bench_propagation(int n, int n_bethe, int flag_bs, const char *name) {
    constexpr int width = 32;
    SiliconTilts tilts(n, n_bethe);
    tilts.sd.beam_search.flag_bs = flag_bs;
    const TiltProblem problem = tilts.problem();
    std::vector<RealHkl> K_t;
    for (int i = 0; i < width; ++i) {
        const double h = 0.9 * std::sin(1.0 + 1.3 * i);
        const double g = 0.9 * std::cos(2.2 * i);
        K_t.push_back({h + g, h - g, 0.0});
    }
    WorkCalInt work = alloc_work_cal_int(n + n_bethe, 9, 5);
    PropagationWork propagation(problem, width);
    Tensor<complex> psi(width, 9, 5), eigen(width, 9, 5), exact(width, 9, 5);
    std::vector<complex *const *> tables;
    for (std::size_t i = 0; i < width; ++i) {
        tables.push_back(psi[i]);
    }
    const auto nothing = [] {};
    const std::vector<double> t = median_seconds(
        {{nothing, [&] { propagate_tilts(problem, K_t, work, propagation, tables); }},
         {nothing, [&] { solve_amplitudes(problem, K_t, work, eigen); }}},
        n <= 50 ? 21 : 7);
    epsilon.eigen_eps = 1e-13;
    solve_amplitudes(problem, K_t, work, exact);
    epsilon.eigen_eps = EpsilonSettings{}.eigen_eps;
    print_row(name, n, t[0] / width, t[1] / width, largest_deviation(psi, exact),
              largest_deviation(eigen, exact));
}

} // namespace orvel::bench
