// Geometry, tilt grids, beam search and per-tilt selection.
#include "app/run_settings.hpp"
#include "dynamics/mbfunc_geometry.hpp"
#include "dynamics/mbfunc_select.hpp"
#include "dynamics/mbfunc_tilt.hpp"
#include "dynamics/rfsearch.hpp"
#include "support/problem.hpp"

#include <algorithm>
#include <cmath>
#include <gtest/gtest.h>

namespace orvel::test {
namespace {

Csd crystal_of(const CrystalText &text) {
    const WorkFolder folder;
    folder.link_tables();
    return read_crystal(text.block());
}

IncidentBeam si111_beam() {
    IncidentBeam beam;
    beam.inc_uvw = {1, 1, 1};
    beam.nor_uvw = {1, 1, 1};
    beam.base_g1 = {2, -2, 0};
    beam.acc_voltage = 100.0;
    return beam;
}

TEST(Geometry, ExcitationErrorIsTheDistanceFromTheSphere) {
    const Csd csd = crystal_of(triclinic);
    const double abs_K = calc_abs_K(csd, 100.0);
    EXPECT_GT(abs_K, 1.0 / wavelength(100.0));
    const Uvw zone = {1, 2, -1};
    const double length = abs_uvw(zone, csd.metric);
    // Tangential vectors lie in the zone plane: K_t = g1/3 of a ZOLZ vector.
    const RealHkl K_t = {1.0 / 3.0, 0.0, 1.0 / 3.0};
    const double K_z = calc_K_z(abs_K, K_t, csd.metric);
    EXPECT_LT(K_z, 0.0);
    for (const Hkl g : {Hkl{1, 0, 1}, {0, 1, 2}, {3, -1, 2}, {1, 1, 0}, {-2, 0, 1}}) {
        const double g_z = calc_g_z(g, length, zone);
        // |K + g|^2 with K = K_t + K_z z, z the unit vector of the zone.
        const RealHkl sum = {K_t.h + g.h, K_t.k + g.k, K_t.l + g.l};
        const double in_plane = sq_abs(sum, csd.metric) - g_z * g_z;
        const double k_plus_g = in_plane + (K_z + g_z) * (K_z + g_z);
        EXPECT_NEAR(calc_excitation_error(K_t, K_z, abs_K, g, g_z, csd.metric),
                    (abs_K * abs_K - k_plus_g) / (2.0 * abs_K), 1e-14);
    }
}

TEST(TiltGrid, PointsOfEveryKind) {
    const Csd csd = crystal_of(silicon);
    Sd sd;
    sd.beam = si111_beam();
    sd.beam.H_tilt = 0.5;
    sd.beam.G_tilt = -0.25;
    TiltGrid &grid = sd.grid;
    grid.num_cal_pix_side = 5;
    grid.disksize = 1.0;
    const auto make = [&](int calc_type) {
        grid.calc_type = calc_type;
        calc_kxy_tilt(sd, csd.metric);
    };

    make(0);
    EXPECT_EQ(grid.num_pix, 1);
    EXPECT_EQ(grid.pix[0].h, 0.5);
    make(1);
    EXPECT_EQ(grid.num_pix_in, 5);
    EXPECT_EQ(grid.pix[0].ix, -2);
    EXPECT_EQ(grid.pix[4].h, 1.5);
    EXPECT_EQ(grid.H_range[0], -1.0);
    EXPECT_EQ(grid.G_range[1], 0.0);
    make(2);
    EXPECT_EQ(grid.num_pix, 25);
    EXPECT_EQ(grid.num_pix_in, 13); // |(i, j)| <= 2 on the square net
    EXPECT_EQ(grid.pix[5].iy, 1);
    EXPECT_EQ(grid.pix[5].ix, 0);
    EXPECT_EQ(grid.pix[0].cal_flag, 0);
    EXPECT_EQ(grid.pix[12].g, -0.25);
    make(3);
    EXPECT_EQ(grid.num_pix_in, 25);
    EXPECT_EQ(grid.pix[24].ix, 2);
    EXPECT_EQ(grid.pix[24].h, 0.5); // the half-width of the square is 0
    // One point of a disk stands at the centre; that of a line is 0/0.
    grid.num_cal_pix_side = 1;
    make(2);
    EXPECT_EQ(grid.pix[0].h, 0.5);
    EXPECT_EQ(grid.num_pix_in, 1);
    make(1);
    EXPECT_TRUE(std::isnan(grid.pix[0].h));

    const Outcome o = outcome_of([&] { make(4); });
    EXPECT_EQ(o.status, 1);
    EXPECT_EQ(o.out, "$$ (calc_kxy_tilt) calc_type=4 is invalid. Abort.\n");
}

TEST(TiltGrid, ATiltOfMinusOneIsTheBraggCondition) {
    const Csd csd = crystal_of(silicon);
    Sd sd;
    sd.beam = si111_beam();
    sd.beam.H_tilt = -1.0;
    calc_kxy_tilt(sd, csd.metric);
    const double abs_K = calc_abs_K(csd, 100.0);
    const RealHkl K_t = sd.grid.kxy[0];
    EXPECT_NEAR(calc_excitation_error(K_t, calc_K_z(abs_K, K_t, csd.metric), abs_K, {2, -2, 0}, 0.0,
                                      csd.metric),
                0.0, 1e-15);
}

BeamSearch wide_search() {
    BeamSearch search;
    search.num_g_limit = 1000;
    search.lz_min = 0;
    search.lz_max = 1;
    search.g_max = 2.6;
    search.disksize = 0.9;
    search.sgbmin = search.wgbmin = 0.01;
    search.sgmax = search.wgmax = 0.03;
    search.xigmax = 1e5;
    return search;
}

bool contains(const std::vector<Hkl> &list, const Hkl &g) {
    return std::find(list.begin(), list.end(), g) != list.end();
}

TEST(BeamSearch, FindsSymmetricSetsInOrder) {
    const Csd csd = crystal_of(silicon);
    BeamSearch search = wide_search();
    const FoundBeams found = simple_beam_search_sg(search, si111_beam(), csd);
    EXPECT_EQ(found.exact[0], (Hkl{0, 0, 0}));
    for (const std::vector<Hkl> *list : {&found.exact, &found.bethe}) {
        EXPECT_TRUE(std::is_sorted(list->begin(), list->end(), [&](const Hkl &a, const Hkl &b) {
            return spacing(a, csd.metric) > spacing(b, csd.metric);
        }));
        for (const Hkl &g : *list) {
            // The threefold axis, and the mirrors of -43m through it.
            EXPECT_TRUE(contains(*list, {g.k, g.l, g.h})) << g.h << g.k << g.l;
            EXPECT_TRUE(contains(*list, {g.k, g.h, g.l}));
            EXPECT_EQ(extinction_rule(g, "F", 0), 0);
        }
    }
    EXPECT_GT(found.exact.size(), 20u);
    EXPECT_GT(found.bethe.size(), 5u);

    // A larger disk or threshold loses nothing; zone 1 alone keeps 000.
    search.disksize = 1.2;
    const FoundBeams wider = simple_beam_search_sg(search, si111_beam(), csd);
    for (const Hkl &g : found.exact) {
        EXPECT_TRUE(contains(wider.exact, g));
    }
    search.lz_min = 1;
    for (const Hkl &g : simple_beam_search_sg(search, si111_beam(), csd).exact) {
        EXPECT_TRUE(laue_zone({1, 1, 1}, g) == 1 || g == (Hkl{0, 0, 0}));
    }
}

TEST(BeamSearch, EdgeExcitationErrorIsTheLeastOverTheDiameter) {
    const Csd csd = crystal_of(silicon);
    SearchGeometry geometry;
    geometry.beam = si111_beam();
    geometry.beam.H_tilt = 0.2;
    geometry.beam.base_g2 = zolz_ort_base(geometry.beam.inc_uvw, geometry.beam.base_g1, csd.metric);
    geometry.disksize = 0.7;
    geometry.length_of_inc_uvw = abs_uvw(geometry.beam.inc_uvw, csd.metric);
    geometry.abs_K = calc_abs_K(csd, 100.0);
    geometry.metric = csd.metric;
    // Along base_g1 the diameter is H from -0.5 to 0.9: sampled finely. A sphere crossed counts 0.
    for (const Hkl g : {Hkl{2, -2, 0}, {4, -4, 0}, {6, -6, 0}, {-8, 8, 0}}) {
        double least = 1e9;
        bool positive = false;
        bool negative = false;
        for (int i = 0; i <= 1000; ++i) {
            const double h = 0.2 - 0.7 + 1.4 * i / 1000.0;
            const RealHkl K_t = {h, -h, 0.0};
            const double s = calc_excitation_error(K_t, calc_K_z(geometry.abs_K, K_t, csd.metric),
                                                   geometry.abs_K, g, 0.0, csd.metric);
            least = std::min(least, std::fabs(s));
            (s > 0 ? positive : negative) = true;
        }
        EXPECT_NEAR(abs_edge_s_g_tilt(g, geometry), positive && negative ? 0.0 : least, 1e-12);
    }
}

TEST(BeamSearch, LimitsOfEachMethod) {
    const Csd csd = crystal_of(silicon);
    BeamSearch search = wide_search();
    search.xigmax = 1e10;
    EXPECT_EQ(simple_beam_search_sg(search, si111_beam(), csd).exact.size(), 1u);
    search.xigmax = 2e10; // extinction distances are no longer computed, 222 comes in
    search.g_max = 1.0;
    const FoundBeams all = simple_beam_search_sg(search, si111_beam(), csd);
    EXPECT_EQ(all.exact.size() + all.bethe.size(), 13u); // 000, six 220, six 422
    for (int n = 0; n < 2; ++n) {
        search.sgbmin_lz[n] = search.sgbmin;
        search.sgmax_lz[n] = search.sgmax;
        search.xigmax_lz[n] = search.xigmax;
    }
    EXPECT_EQ(beam_search_sg_multi(search, si111_beam(), csd).exact, all.exact);
    // w = s xi: beams on the sphere are exact whatever the threshold.
    search.wgbmin = 1e-6;
    search.wgmax = 2e-6;
    search.disksize = 1.1;
    const FoundBeams wg = simple_beam_search_wg(search, si111_beam(), csd);
    EXPECT_TRUE(contains(wg.exact, {2, -2, 0}));
    EXPECT_FALSE(contains(wg.exact, {4, -2, -2}));
    search.g_max = 0.6;
    EXPECT_EQ(beam_search_sphere(search, csd).exact.size(), 27u); // 000, 111, 200, 220
}

TEST(BeamSearch, EndsWhereItCannotGoOn) {
    const Csd csd = crystal_of(silicon);
    BeamSearch search = wide_search();
    search.num_g_limit = 1;
    const Outcome full = outcome_of([&] { simple_beam_search_sg(search, si111_beam(), csd); });
    EXPECT_EQ(full.out, "$$ num_g has exceeded num_g_max.\n"
                        "$$ Please set a greater value into num_g. Abort.\n");
    EXPECT_EQ(full.status, 1);
    for (const double g_max : {400.0, 1e300, HUGE_VAL}) {
        search.g_max = g_max;
        const Outcome o = outcome_of([&] { beam_search_sphere(search, csd); });
        EXPECT_EQ(o.status, 1);
        EXPECT_EQ(o.out.rfind("$$ g_max = ", 0), 0u) << o.out;
    }
}

// --- Per-tilt selection
// ----------------------------------------------------------------------------

TEST(Selection, ByTheExcitationErrorsOfTheTilt) {
    Problem p(srtio3, {{0, 0, 1}, {0, 0, 1}, {1, 0, 0}, 200.0},
              {{0, 0, 0}, {1, 0, 0}, {2, 0, 0}, {0, 1, 1}, {3, 0, 0}}, 3);
    p.sd.reflections = {0, 2, 4};
    WorkCalInt w(5, 3, 0);
    for (int i = 0; i < 5; ++i) {
        w.beta[i] = 1.0 + i;
    }
    const auto select = [&](int code, std::array<double, 5> s) {
        std::copy(s.begin(), s.end(), w.s.data());
        p.sd.beam_search.flag_bs = code;
        vg_select_info_ug(p.sd, p.potential.V.get(), w);
        vg_select_trans_ug(p.sd.reflections, w);
        return std::vector<int>(w.index_list.data(), w.index_list.data() + w.n_exact + w.n_bethe);
    };
    using List = std::vector<int>;
    BeamSearch &search = p.sd.beam_search;
    search.sgbmin = search.sgbmin_lz[0] = 0.01;
    search.sgmax = search.sgmax_lz[0] = 0.02;
    search.sgmax_lz[1] = 0.1; // zone 1: Bethe up to here

    // With the flag off the global classification stands.
    EXPECT_EQ(select(2, {9, 9, 9, 9, 9}), (List{0, 1, 2, 3, 4}));
    EXPECT_EQ(w.n_exact, 3);

    const Setting<int> on(epsilon.vg_select_flag, 1);
    // 000 is always exact; a Bethe beam of the search becomes exact on its Bragg condition; limits
    // are strict.
    EXPECT_EQ(select(2, {9, 0.01, -0.005, 0.03, 0.0}), (List{0, 2, 4, 1}));
    EXPECT_EQ(w.n_exact, 3);
    EXPECT_EQ(w.beta_selected[3], 2.0);
    EXPECT_EQ((List{w.out_rows[0], w.out_rows[1], w.out_rows[2]}), (List{0, 1, 2}));
    EXPECT_EQ(select(13, {0, 0.5, 0.015, 0.03, 0.02}), (List{0, 2, 3}));
    EXPECT_EQ((List{w.out_rows[0], w.out_rows[1], w.out_rows[2]}), (List{0, -1, -1}));
    // w = |s| xi: 100 of SrTiO3 is weak, 200 strong (xi near 300 A at 200 kV).
    search.wgbmin = 2.0;
    search.wgmax = 100.0;
    EXPECT_EQ(select(1, {0, 0.002, 0.002, 5.0, 5.0}), (List{0, 2, 1}));

    p.sd.beams.hkl[0] = {1, 1, 1};
    const Outcome o = outcome_of([&] { select(2, {0, 0, 0, 0, 0}); });
    EXPECT_EQ(o.status, 1);
    EXPECT_EQ(o.out, "$$error: reflex_sel[0] must be 000\n");
}

} // namespace
} // namespace orvel::test
