// The potential matrix, and a whole tilt beside its eigen-solution alone.
#include "bench/bench_support.hpp"

#include "app/run_settings.hpp"
#include "crystal/strct_f.hpp"
#include "dynamics/mbfunc_intensity.hpp"
#include "dynamics/mbfunc_potential.hpp"
#include "dynamics/mbfunc_tilt.hpp"
#include "input/utils.hpp"
#include "jobs/mb_sim_pattern.hpp"

#include <algorithm>
#include <cstdio>
#include <set>
#include <string>

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

// Silicon [001] with as many Bethe as exact beams, five thicknesses.
struct SiliconTilts {
    Csd csd = crystal_of(silicon_crystal());
    Sd sd;
    PotentialMatrix potential;

    explicit SiliconTilts(int n) {
        sd.beam.inc_uvw = {0, 0, 1};
        sd.beam.nor_uvw = {0, 0, 1};
        sd.beam.base_g1 = {2.0, 2.0, 0.0};
        sd.beam.acc_voltage = 200.0;
        sd.beams = zone_beams(2 * n);
        sd.beams.num_exact_beam = sd.beams.num_bethe_beam = n;
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
    const SiliconTilts tilts(n);
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
    SiliconTilts tilts(n);
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

} // namespace orvel::bench
