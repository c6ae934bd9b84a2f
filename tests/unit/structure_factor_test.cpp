// Structure factors against sums over the atoms of the cell, and what is made of them.
#include "crystal/potential_coef.hpp"
#include "crystal/strct_f.hpp"
#include "dynamics/mbfunc_potential.hpp"
#include "support/crystals.hpp"
#include "support/problem.hpp"

#include <cmath>
#include <complex>
#include <gtest/gtest.h>
#include <set>

namespace orvel::test {
namespace {

using cplx = std::complex<double>;

Csd crystal_of(const CrystalText &text) {
    const WorkFolder folder;
    folder.link_tables();
    return read_crystal(text.block());
}

double s_of(const Hkl &g, const Csd &csd) {
    return std::sqrt(sq_abs(hkl2rhkl(g), csd.metric)) / 2.0;
}

cplx value(complex z) {
    return {z.re, z.im};
}

// An atom of the cell, as a textbook lists it.
struct Atom {
    int site;
    double x, y, z;
};

// The sum over listed atoms, each by its own factors: no symmetry operations involved.
cplx sum_over_atoms(const Hkl &g, const Csd &csd, const std::vector<Atom> &atoms, double voltage) {
    const double s = s_of(g, csd);
    cplx F;
    for (const Atom &atom : atoms) {
        const AtomSite &site = csd.sites[atom.site];
        ScatteringFactors f;
        atom_bk(csd.bk[atom.site], s, site.B, f, voltage);
        const double phase = -two_pi * (g.h * atom.x + g.k * atom.y + g.l * atom.z);
        F += cplx(f.f, f.f_abs) * std::exp(-site.B * s * s) * std::polar(1.0, phase);
    }
    return F;
}

TEST(StructureFactor, IsTheSumOverTheAtomsOfTheCell) {
    std::vector<Atom> zincblende;
    for (const auto &[x, y, z] :
         {std::array{0.0, 0.0, 0.0}, {0.0, 0.5, 0.5}, {0.5, 0.0, 0.5}, {0.5, 0.5, 0.0}}) {
        zincblende.push_back({0, x, y, z});
        zincblende.push_back({1, x + 0.25, y + 0.25, z + 0.25});
    }
    const std::vector<Atom> perovskite = {
        {0, 0, 0, 0}, {1, 0.5, 0.5, 0.5}, {2, 0.5, 0.5, 0}, {2, 0.5, 0, 0.5}, {2, 0, 0.5, 0.5}};
    const struct {
        const CrystalText &text;
        const std::vector<Atom> &atoms;
    } cases[] = {{gaas, zincblende}, {srtio3, perovskite}};
    for (const auto &[text, atoms] : cases) {
        const Csd csd = crystal_of(text);
        for (const Hkl g : {Hkl{0, 0, 0},
                            {1, 1, 1},
                            {-1, -1, -1},
                            {2, 0, 0},
                            {3, -1, 1},
                            {4, 2, -2},
                            {5, 3, 1}}) {
            const StructureFactor F = structure_factor_ext(g, csd, 200.0);
            EXPECT_EQ(F.status, 0);
            EXPECT_LT(std::abs(value(F.F) - sum_over_atoms(g, csd, atoms, 200.0)), 1e-12)
                << text.name << g.h << g.k << g.l;
            const complex both = c_add(calc_Fg_ela(g, csd, 200.0).F, calc_Fg_inela(g, csd, 200.0));
            EXPECT_LT(c_abs(c_sub(both, F.F)), 1e-12);
        }
    }
}

TEST(StructureFactor, ExtinctReflectionsSumToNothing) {
    for (const CrystalText *text : {&silicon, &gaas, &magnesia, &aluminium}) {
        const Csd csd = crystal_of(*text);
        for (const Hkl g : {Hkl{1, 0, 0}, {2, 1, 0}, {3, 2, 2}, {-1, 2, 4}}) {
            const StructureFactor F = structure_factor_ext(g, csd, 100.0);
            EXPECT_EQ(F.F.re, 0.0);
            EXPECT_EQ(F.F.im, 0.0);
            EXPECT_LT(c_abs(calc_structure_factor(g, csd, 100.0).F), 1e-12) << text->name;
        }
    }
    // The diamond glide is no matter of the centring, but the sum is as good as nothing.
    EXPECT_LT(c_abs(structure_factor_ext({2, 0, 0}, crystal_of(silicon), 100.0).F), 1e-12);
}

TEST(StructureFactor, AnisotropicTemperatureFactorOfEachOperation) {
    // One atom at the origin of P1 and beta_ij: the factor is exp(-h.beta.h).
    Csd csd = crystal_of(anisotropic);
    csd.group.ops.resize(1);
    csd.sites[0].w = 1.0;
    const Hkl g = {2, -1, 3};
    const auto &b = csd.sites[0].beta; // 11 22 33 12 13 23
    const double exponent = 4 * b[0] + b[1] + 9 * b[2] + 2 * (-2 * b[3] + 6 * b[4] - 3 * b[5]);
    const double s = s_of(g, csd);
    ScatteringFactors f;
    atom_bk(csd.bk[0], s, csd.sites[0].B, f, 100.0);
    const cplx expected = cplx(atomsf_xdt(s * s, csd.xray[0]), f.f_abs) * 0.9 * std::exp(-exponent);
    EXPECT_LT(std::abs(value(calc_structure_factor(g, csd, 100.0).F) - expected), 1e-14);
    // Isotropic betas give back the isotropic factor.
    AtomSite &site = csd.sites[0];
    const double B = 0.7;
    const MetricTensor &r = csd.metric.reciprocal;
    site.beta = {B * r.g11 / 4, B * r.g22 / 4, B * r.g33 / 4,
                 B * r.g12 / 4, B * r.g31 / 4, B * r.g23 / 4};
    EXPECT_NEAR(bij_to_beq(csd.metric, site), B, 1e-14);
}

TEST(StructureFactor, TableOutOfRangeIsTold) {
    const Csd csd = crystal_of(magnesia);
    EXPECT_EQ(calc_structure_factor({60, 0, 0}, csd, 100.0).status, 1);
    EXPECT_EQ(calc_structure_factor({6, 0, 0}, csd, 0.0).status, 1);
}

TEST(StructureFactor, InvalidCodesEndTheRun) {
    Csd csd = crystal_of(magnesia);
    csd.sites[0].af = 2;
    const auto af = "$$ Invalid af. Abort.\n";
    EXPECT_EQ(outcome_of([&] { calc_structure_factor({2, 0, 0}, csd, 100.0); }).out, af);
    EXPECT_EQ(outcome_of([&] { calc_Fg_inela({2, 0, 0}, csd, 100.0); }).out, af);
    EXPECT_EQ(outcome_of([&] { calc_Fg_ela({2, 0, 0}, csd, 100.0); }).status, -1);
    csd.sites[0].bf = 7;
    EXPECT_EQ(outcome_of([&] {
                  calc_Fg_ela({2, 0, 0}, csd, 100.0);
              }).out,
              "ERROR: Invalid atom.bf. Abort.\n");
    csd.lof_type = 6;
    EXPECT_EQ(outcome_of([&] { lofg_to_fg({}, csd, 100.0); }).out, "$$ Invalid lof_type. Abort.\n");
}

TEST(LowOrder, GivenValuesReachEveryEquivalent) {
    CrystalText text = gaas;
    text.low_order = "1\n1\n1 1 1\n-3.5 ADJ re\n2.25 ADJ im\n";
    Csd csd = crystal_of(text);
    BeamList beams = {3, 0, {{0, 0, 0}, {-1, -1, 1}, {-1, 1, 1}}};
    PotentialMatrix m;
    outcome_of([&] { m = potential_matrix_csd(beams, csd, 200.0); });
    const complex expected = fg_to_vg({-3.5, 2.25}, csd.metric);
    EXPECT_DOUBLE_EQ(m.V[1][0].re, expected.re); // -1 -1 1 is an equivalent of 1 1 1
    EXPECT_DOUBLE_EQ(m.V[1][0].im, expected.im);
    EXPECT_GT(std::fabs(m.V[2][0].re - expected.re), 0.1); // -1 1 1 is not
}

TEST(LowOrder, EveryKindGivesItsStructureFactor) {
    const Csd plain = crystal_of(srtio3);
    const Hkl g = {1, 1, 0};
    const double s = s_of(g, plain);
    std::string per_site;
    for (std::size_t i = 0; i < plain.sites.size(); ++i) {
        ScatteringFactors f;
        atom_bk(plain.bk[i], s, plain.sites[i].B, f, 200.0);
        char line[96];
        std::snprintf(line, sizeof line, "%.15g FIX e\n%.15g FIX i\n", f.f, f.f_abs);
        per_site += line;
    }
    const complex total = calc_structure_factor(g, plain, 200.0).F;
    const complex inela = calc_Fg_inela(g, plain, 200.0);
    const struct {
        int lof_type;
        std::string lines;
        complex expected;
    } cases[] = {{1, "7.5 FIX r\n0.25 FIX i\n", {7.5, 0.25}},
                 {2, "7.5 FIX r\n0.25 FIX i\n", c_add({7.5, 0.25}, inela)},
                 {3, per_site, total},
                 {4, per_site, c_add(total, inela)}};
    for (const auto &[lof_type, lines, expected] : cases) {
        CrystalText text = srtio3;
        text.low_order = "1\n" + std::to_string(lof_type) + "\n1 1 0\n" + lines;
        const Csd csd = crystal_of(text);
        const StructureFactorTable known = low_order_table(csd, 200.0);
        const int position = search_g_table({0, -1, 1}, known.table);
        ASSERT_GE(position, 0);
        EXPECT_LT(c_abs(c_sub(known.table.F[position], expected)), 1e-12) << lof_type;
    }
}

TEST(PotentialMatrix, ManyReflectionsKeepTheirValues) {
    // More distinct differences than the reflection table holds: every element is still V(g_i-g_j).
    Csd csd = crystal_of(triclinic);
    BeamList beams;
    for (int h = -3; h <= 3; ++h) {
        for (int k = -3; k <= 3; ++k) {
            beams.hkl.push_back({h, k, (h * k) % 5});
        }
    }
    beams.num_exact_beam = static_cast<int>(beams.hkl.size());
    std::set<std::array<int, 3>> distinct;
    PotentialMatrix m;
    outcome_of([&] { m = potential_matrix_csd(beams, csd, 100.0); });
    for (int i = 0; i < beams.size(); ++i) {
        for (int j = 0; j < beams.size(); ++j) {
            const Hkl &a = beams.hkl[i];
            const Hkl &b = beams.hkl[j];
            const Hkl g = {a.h - b.h, a.k - b.k, a.l - b.l};
            distinct.insert({g.h, g.k, g.l});
            const complex V = fg_to_vg(calc_structure_factor(g, csd, 100.0).F, csd.metric);
            EXPECT_LT(c_abs(c_sub(m.V[i][j], V)), 1e-12);
        }
    }
    EXPECT_GT(distinct.size(), 1000u);
}

TEST(Conversions, AreInversesAndGiveExtinctionDistances) {
    const Csd csd = crystal_of(silicon);
    const complex F = {14.2, 0.3};
    const double gamma = relativ_corr(100.0);
    const double lambda = wavelength(100.0);
    const complex V = fg_to_vg(F, csd.metric);
    const complex U = fg_to_ug(F, 100.0, csd.metric);
    for (const complex z : {vg_to_fg(V, csd.metric), ug_to_fg(U, 100.0, csd.metric)}) {
        EXPECT_LT(c_abs(c_sub(z, F)), 1e-13);
    }
    // V to U is gamma 2 m0 e / h^2 = gamma 0.0066484 / (V A^2); both constants are rounded apart.
    EXPECT_NEAR(vg_to_ug(V, gamma).re / U.re, 1.0, 1e-8);
    EXPECT_LT(c_abs(c_sub(ug_to_vg(vg_to_ug(V, gamma), gamma), V)), 1e-13);
    const double xi = pi * csd.metric.volume / (lambda * gamma * c_abs(F));
    EXPECT_NEAR(fg_to_xig(F, 100.0, csd.metric) / xi, 1.0, 1e-12);
    EXPECT_NEAR(fg_to_xig2(F, gamma, lambda, csd.metric) / xi, 1.0, 1e-12);
    EXPECT_NEAR(vg_to_xig(V, gamma, lambda) / xi, 1.0, 1e-7);
    EXPECT_EQ(fg_to_xig({0.0, 0.0}, 100.0, csd.metric), 1e10);
}

TEST(ExtinctionDistance, OfSiliconAndAluminiumAsPublished) {
    // Two-beam extinction distances at 100 kV in A, atoms at rest: P. Hirsch, A. Howie, R.
    // Nicholson, D. Pashley & M. Whelan, Electron Microscopy of Thin Crystals (1965), table of
    // chapter 3.
    const struct {
        const CrystalText &text;
        Hkl g;
        double xi;
    } cases[] = {{aluminium, {1, 1, 1}, 556.0},
                 {aluminium, {2, 0, 0}, 673.0},
                 {aluminium, {2, 2, 0}, 1057.0},
                 {silicon, {1, 1, 1}, 602.0},
                 {silicon, {2, 2, 0}, 757.0}};
    for (const auto &[text, g, xi] : cases) {
        Csd csd = crystal_of(text);
        csd.sites[0].B = 0.0;
        EXPECT_NEAR(fg_to_xig(calc_Fg_ela(g, csd, 100.0).F, 100.0, csd.metric) / xi, 1.0, 0.04)
            << text.name << g.h << g.k << g.l;
    }
}

} // namespace
} // namespace orvel::test
