// Lattice geometry against gemmi's unit cell and against identities of the two metrics.
#include "crystal/lattice.hpp"

#include "support/run_end.hpp"

#include <cmath>
#include <complex>
#include <gemmi/unitcell.hpp>
#include <numbers>
#include <vector>

namespace orvel::test {
namespace {

struct Cell {
    const char *name;
    CellConstants cell;
};

const std::vector<Cell> cells = {{"cubic", {4.0, 4.0, 4.0, 90.0, 90.0, 90.0}},
                                 {"hexagonal", {2.46, 2.46, 6.7, 90.0, 90.0, 120.0}},
                                 {"monoclinic", {5.1, 7.3, 9.2, 90.0, 108.5, 90.0}},
                                 {"triclinic", {4.1, 5.3, 6.7, 82.0, 97.0, 105.0}},
                                 {"rhombohedral", {5.0, 5.0, 5.0, 57.0, 57.0, 57.0}}};

gemmi::UnitCell gemmi_cell(const CellConstants &c) {
    return {c.a, c.b, c.c, c.alpha, c.beta, c.gamma};
}

// Cartesian components of g by gemmi.
gemmi::Vec3 cartesian(const gemmi::UnitCell &cell, const RealHkl &g) {
    return cell.frac.mat.left_multiply({g.h, g.k, g.l});
}

gemmi::Vec3 cartesian(const gemmi::UnitCell &cell, const RealUvw &t) {
    return cell.orthogonalize({t.u, t.v, t.w});
}

double dot(const RealUvw &r, const RealHkl &g) {
    return r.u * g.h + r.v * g.k + r.w * g.l;
}

TEST(Lattice, MetricAgreesWithGemmi) {
    for (const auto &[name, cell] : cells) {
        SCOPED_TRACE(name);
        const Metric m = bravai(cell);
        const gemmi::UnitCell ref = gemmi_cell(cell);
        EXPECT_NEAR(m.volume, ref.volume, 1e-12 * ref.volume);
        for (const Hkl &p : {Hkl{1, 0, 0}, Hkl{2, -1, 3}, Hkl{0, 1, 1}, Hkl{-4, 2, 1}}) {
            const Hkl q = {3, 1, -2};
            const gemmi::Vec3 pc = cartesian(ref, hkl2rhkl(p));
            const gemmi::Vec3 qc = cartesian(ref, hkl2rhkl(q));
            EXPECT_NEAR(inner_product(hkl2rhkl(p), hkl2rhkl(q), m), pc.dot(qc), 1e-13);
            EXPECT_NEAR(sq_abs(hkl2rhkl(p), m), ref.calculate_1_d2({{p.h, p.k, p.l}}), 1e-13);
            // the same triples as directions
            const Uvw pt = {p.h, p.k, p.l};
            const Uvw qt = {q.h, q.k, q.l};
            const gemmi::Vec3 ptc = cartesian(ref, uvw2ruvw(pt));
            const gemmi::Vec3 qtc = cartesian(ref, uvw2ruvw(qt));
            EXPECT_NEAR(inner_product_uvw(pt, qt, m), ptc.dot(qtc), 1e-11);
            EXPECT_EQ(inner_product_uvw(pt, qt, m),
                      inner_product_r_uvw(uvw2ruvw(pt), uvw2ruvw(qt), m));
            EXPECT_NEAR(abs_uvw(pt, m), ptc.length(), 1e-12);
            EXPECT_NEAR(abs_r_uvw(uvw2ruvw(pt), m), ptc.length(), 1e-12);
        }
        // The cofactors of G are V^2 G*.
        const double V2 = m.volume * m.volume;
        const auto near = [&](double cofactor, double reciprocal) {
            EXPECT_NEAR(cofactor / V2, reciprocal, 1e-14);
        };
        near(m.cofactor.g11, m.reciprocal.g11);
        near(m.cofactor.g22, m.reciprocal.g22);
        near(m.cofactor.g33, m.reciprocal.g33);
        near(m.cofactor.g12, m.reciprocal.g12);
        near(m.cofactor.g23, m.reciprocal.g23);
        near(m.cofactor.g31, m.reciprocal.g31);
    }
}

TEST(Lattice, ZolzBaseIsOrthogonalRightHandedAndDual) {
    struct Axis {
        Uvw t;
        RealHkl g1;
    };
    const std::vector<Axis> axes = {{{0, 0, 1}, {1, 0, 0}},
                                    {{1, 1, 0}, {1, -1, 0}},
                                    {{1, 1, 1}, {2, -2, 0}},
                                    {{3, -1, 2}, {1, 1, -1}},
                                    {{-1, 2, 0}, {0, 0, 0.5}}};
    for (const auto &[name, cell] : cells) {
        const Metric m = bravai(cell);
        const gemmi::UnitCell ref = gemmi_cell(cell);
        for (const auto &[t, g1] : axes) {
            SCOPED_TRACE(name);
            const RealHkl g2 = zolz_ort_base(t, g1, m);
            const gemmi::Vec3 g1c = cartesian(ref, g1);
            const gemmi::Vec3 g2c = cartesian(ref, g2);
            EXPECT_NEAR(g2c.length(), g1c.length(), 1e-13);
            EXPECT_NEAR(g1c.dot(g2c), 0.0, 1e-13);
            EXPECT_NEAR(inner_product_uvw_hkl(t, g2), 0.0, 1e-13);
            EXPECT_GT(g1c.cross(g2c).dot(cartesian(ref, uvw2ruvw(t))), 0.0);

            const RealSpaceBase r = zolz_ort_base_two_uvw(t, g1, m);
            EXPECT_NEAR(dot(r.r1, g1), 1.0, 1e-12);
            EXPECT_NEAR(dot(r.r1, g2), 0.0, 1e-12);
            EXPECT_NEAR(dot(r.r2, g1), 0.0, 1e-12);
            EXPECT_NEAR(dot(r.r2, g2), 1.0, 1e-12);
            EXPECT_NEAR(abs_r_uvw(r.r1, m) * g1c.length(), 1.0, 1e-12);

            // What the projection drops is normal to the plane.
            const Hkl g = {2, 3, -1};
            const ZolzProjection p = proj_to_zolz(g, t, g1, m);
            const RealHkl rest = {g.h - p.vector.h, g.k - p.vector.k, g.l - p.vector.l};
            EXPECT_NEAR(inner_product(rest, g1, m), 0.0, 1e-13);
            EXPECT_NEAR(inner_product(rest, g2, m), 0.0, 1e-13);
            EXPECT_NEAR(p.a, cartesian(ref, hkl2rhkl(g)).dot(g1c) / g1c.length_sq(), 1e-12);
            EXPECT_NEAR(p.b, cartesian(ref, hkl2rhkl(g)).dot(g2c) / g1c.length_sq(), 1e-12);
        }
    }
}

TEST(Lattice, FailuresOfTheBase) {
    const Metric m = bravai(cells[0].cell);
    Outcome o = outcome_of([&] { zolz_ort_base({0, 0, 1}, {0, 0, 1}, m); });
    EXPECT_EQ(o.status, 1);
    EXPECT_EQ(o.out, "$Error in zolz_ort_base: g2 = 0\n");
    o = outcome_of([&] { zolz_ort_base_uvw({0, 0, 1}, {0, 0, 2}, m); });
    EXPECT_EQ(o.status, 1);
    EXPECT_EQ(o.out, "$Error in zolz_ort_base_uvw: g2 = 0\n");
}

TEST(Lattice, NormalizedVector) {
    const Metric m = bravai(cells[3].cell);
    const RealHkl r = {1, 2, 0};
    EXPECT_NEAR(sq_abs(normalize_vec({0, 3, 5}, r, m), m), sq_abs(r, m), 1e-14);
    EXPECT_EQ(sq_abs(normalize_vec({}, r, m), m), 0.0);
    EXPECT_EQ(sq_abs(normalize_vec({1e-7, 0, 0}, r, m), m), 0.0);
}

// A reflection is extinct when the waves from the lattice points of the cell cancel.
TEST(Lattice, ExtinctionIsTheLatticeSum) {
    using V = std::array<double, 3>;
    struct Centring {
        const char *type;
        int flag;
        std::vector<V> points;
    };
    const double third = 1.0 / 3.0;
    const std::vector<Centring> centrings = {
        {"P", 0, {{0, 0, 0}}},
        {"I", 0, {{0, 0, 0}, {0.5, 0.5, 0.5}}},
        {"F", 0, {{0, 0, 0}, {0, 0.5, 0.5}, {0.5, 0, 0.5}, {0.5, 0.5, 0}}},
        {"A", 0, {{0, 0, 0}, {0, 0.5, 0.5}}},
        {"Bm", 0, {{0, 0, 0}, {0.5, 0, 0.5}}},
        {"C", 1, {{0, 0, 0}, {0.5, 0.5, 0}}},
        {"R", 0, {{0, 0, 0}}},
        {"R", 1, {{0, 0, 0}, {2 * third, third, third}, {third, 2 * third, 2 * third}}}};
    for (const auto &[type, flag, points] : centrings) {
        for (int i = 0; i < 7 * 7 * 7; ++i) {
            const Hkl g = {i % 7 - 3, i / 7 % 7 - 3, i / 49 - 3};
            std::complex<double> sum = 0.0;
            for (const V &p : points) {
                sum +=
                    std::polar(1.0, 2 * std::numbers::pi * (g.h * p[0] + g.k * p[1] + g.l * p[2]));
            }
            EXPECT_EQ(extinction_rule(g, type, flag) == 0, std::abs(sum) > 0.5)
                << type << flag << " " << g.h << g.k << g.l;
        }
    }
    EXPECT_EQ(extinction_rule({-1, 0, 0}, "I", 0), -1);
    EXPECT_EQ(extinction_rule({1, 0, 0}, "F", 0), 2);
    EXPECT_EQ(extinction_rule({1, 0, 0}, "R", 1), -1);
    for (const char *type : {"X", ""}) {
        const Outcome o = outcome_of([&] { extinction_rule({1, 0, 0}, type, 0); });
        EXPECT_EQ(o.status, 1);
        EXPECT_EQ(o.out, "$$ Lattice type " + std::string(type) +
                             " is invalid\n in extinction_rule() of lattice.c\n");
    }
}

TEST(Lattice, IntegerProducts) {
    const Uvw d = incident_direction({1, 2, 3}, {4, 5, 7});
    EXPECT_EQ(d, (Uvw{-1, 5, -3}));
    EXPECT_EQ(laue_zone({1, 1, 2}, {3, -1, 4}), 10);
    // 100000^2 modulo 2^32
    const Metric m = bravai(cells[0].cell);
    EXPECT_EQ(inner_product_uvw({100000, 0, 0}, {100000, 0, 0}, m), 1410065408.0 * 16.0);
}

// SI values of 2019 (CODATA 2018).
TEST(Lattice, ElectronOptics) {
    const double h = 6.62607015e-34;
    const double m0 = 9.1093837015e-31;
    const double e = 1.602176634e-19;
    const double c = 299792458.0;
    for (const double kvolts : {0.1, 60.0, 100.0, 200.0, 300.0, 1000.0}) {
        const double energy = e * 1000.0 * kvolts;
        const double rest = m0 * c * c;
        const double lambda = 1e10 * h / std::sqrt(2 * m0 * energy * (1 + energy / (2 * rest)));
        EXPECT_NEAR(wavelength(kvolts), lambda, 1e-6 * lambda);
        EXPECT_NEAR(relativ_corr(kvolts), 1 + energy / rest, 1e-6);
        // kinetic energy of the same speed: m0 v^2 / 2 times gamma
        const double gamma = 1 + energy / rest;
        const double beta2 = 1 - 1 / (gamma * gamma);
        const double volts = 0.5 * gamma * beta2 * rest / e;
        EXPECT_NEAR(evdash(kvolts), volts, 1e-5 * volts);
    }
    EXPECT_DOUBLE_EQ(relativ_corr(200.0), 1.39139014);
    EXPECT_EQ(evdash(0.0), 0.0);
}

} // namespace
} // namespace orvel::test
