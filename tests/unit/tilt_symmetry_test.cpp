// Pattern symmetry: the operations of a pattern as group theory has them, and copied tilts against
// the same tilts solved.
#include "jobs/tilt_symmetry.hpp"

#include "dynamics/mbfunc_bcond.hpp"
#include "dynamics/mbfunc_tilt.hpp"
#include "dynamics/rfsearch.hpp"
#include "support/problem.hpp"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <gtest/gtest.h>
#include <set>

namespace orvel::test {
namespace {

std::string cell(int group, const char *lengths, const char *angles) {
    return std::to_string(group) + "\n" + lengths + angles;
}

// Cells by Wyckoff (Crystal Structures, 2nd ed. 1963), rounded; B factors of the usual size.
const CrystalText rutile = {"TiO2", cell(136, "4.594\n4.594\n2.959\n", "90\n90\n90\n"),
                            "2\n" + iso_site("Ti", "0\n0\n0\n", 0.5) +
                                iso_site("O", "0.305\n0.305\n0\n", 0.6)};
const CrystalText quartz = {"SiO2", cell(152, "4.913\n4.913\n5.405\n", "90\n90\n120\n"),
                            "2\n" + iso_site("Si", "0.47\n0\n0.3333333333333333\n", 0.5) +
                                iso_site("O", "0.414\n0.267\n0.786\n", 0.9)};
const CrystalText wurtzite = {
    "ZnO", cell(186, "3.25\n3.25\n5.207\n", "90\n90\n120\n"),
    "2\n" + iso_site("Zn", "0.3333333333333333\n0.6666666666666667\n0\n", 0.6) +
        iso_site("O", "0.3333333333333333\n0.6666666666666667\n0.382\n", 0.6)};
const CrystalText corundum = {"Al2O3", cell(167, "4.759\n4.759\n12.99\n", "90\n90\n120\n"),
                              "2\n" + iso_site("Al", "0\n0\n0.352\n", 0.3) +
                                  iso_site("O", "0.306\n0\n0.25\n", 0.3)};
// Inventions.
const CrystalText monoclinic = {"P21/c", cell(14, "5.1\n4.3\n5.9\n", "90\n107\n90\n"),
                                "1\n" + iso_site("Ti", "0.12\n0.23\n0.31\n", 0.5)};
const CrystalText inverted = {"P-1", cell(2, "4.1\n5.3\n6.7\n", "82\n97\n105\n"),
                              "1\n" + iso_site("Ti", "0.12\n0.23\n0.31\n", 0.5)};
// The operations of silicon in a cell that does not have them all.
const CrystalText strained = {"strained Si", cell(227, "5.4309\n5.44\n5.4309\n", "90\n90\n90\n"),
                              silicon.atoms};

struct Grid {
    int type = 2;
    int side = 5;
    double disksize = 0.3;
    double H = 0.0;
    double G = 0.0;
};

// All beams of a sphere in the zones 0 .. lz_max, to be classified at each tilt.
struct Sphere {
    double g_max = 0.9;
    int lz_max = 0;
};

std::vector<Hkl> beams_of(const Csd &csd, const Uvw &zone, const Sphere &sphere) {
    std::vector<Hkl> beams = {{0, 0, 0}};
    for (int h = -20; h <= 20; ++h) {
        for (int k = -20; k <= 20; ++k) {
            for (int l = -20; l <= 20; ++l) {
                const Hkl g = {h, k, l};
                const int n = laue_zone(zone, g);
                if (g != Hkl{0, 0, 0} && 0 <= n && n <= sphere.lz_max &&
                    sq_abs(hkl2rhkl(g), csd.metric) < sphere.g_max * sphere.g_max &&
                    extinction_rule(g, csd.group.lattice_type, csd.group.rhombohedral_flag) == 0) {
                    beams.push_back(g);
                }
            }
        }
    }
    sort_reflex(beams, csd.metric);
    return beams;
}

// Which beams are exact and which Bethe is chosen at each tilt.
class Pattern {
public:
    Pattern(const CrystalText &crystal, const Incidence &incidence, const Grid &grid,
            const Sphere &sphere) {
        csd = read_with_tables(crystal);
        sd.beam.inc_uvw = incidence.inc_uvw;
        sd.beam.nor_uvw = incidence.nor_uvw;
        sd.beam.base_g1 = incidence.base_g1;
        sd.beam.acc_voltage = incidence.acc_voltage;
        sd.beam.H_tilt = grid.H;
        sd.beam.G_tilt = grid.G;
        sd.grid.calc_type = grid.type;
        sd.grid.num_cal_pix_side = grid.side;
        sd.grid.disksize = grid.disksize;
        sd.beam_search.flag_bs = 2;
        sd.beam_search.sgbmin = 0.012;
        sd.beam_search.sgmax = 0.4;
        sd.thicknesses = {100.0, 700.0};
        set_beams(beams_of(csd, incidence.inc_uvw, sphere));
        calc_kxy_tilt(sd, csd.metric);
    }

    void set_beams(const std::vector<Hkl> &beams) {
        sd.beams.hkl = beams;
        sd.beams.num_exact_beam = static_cast<int>(beams.size());
        sd.beams.num_bethe_beam = 0;
        sd.reflections.clear();
        for (const int i : {0, 1, 2, 3, 5, 8, 10, 13}) {
            if (i < sd.beams.size()) {
                sd.reflections.push_back(i);
            }
        }
        outcome_of([&] { potential = potential_matrix_csd(sd.beams, csd, sd.beam.acc_voltage); });
    }

    TiltProblem problem() const { return orvel::tilt_problem(sd, csd, potential.V.get()); }
    TiltSymmetry symmetry() const { return find_tilt_symmetry(problem(), csd.group.ops); }

    Csd csd;
    Sd sd;
    PotentialMatrix potential;
};

struct ZoneCase {
    const char *name;
    const CrystalText &crystal;
    Incidence incidence;
    int lz_max;
    std::size_t operations;
    int used; // of them, by a grid of squares about the zone axis
};

// The operations of the point group that leave the zone axis as it is; for ZOLZ beams alone those
// of the plane group of the projection.
const ZoneCase zone_cases[] = {
    {"Si [001], 4mm", silicon, {{0, 0, 1}, {0, 0, 1}, {2, 2, 0}}, 1, 8, 7},
    {"Si [111], 3m", silicon, {{1, 1, 1}, {1, 1, 1}, {2, -2, 0}}, 1, 6, 1},
    {"Si [111] in projection, p6mm", silicon, {{1, 1, 1}, {1, 1, 1}, {2, -2, 0}}, 0, 12, 3},
    {"Si [110], mm2", silicon, {{1, 1, 0}, {1, 1, 0}, {0, 0, 4}}, 2, 4, 3},
    {"GaAs [001], mm2", gaas, {{0, 0, 1}, {0, 0, 1}, {2, 2, 0}}, 1, 4, 3},
    {"GaAs [001] in projection, p4mm", gaas, {{0, 0, 1}, {0, 0, 1}, {2, 2, 0}}, 0, 8, 7},
    {"GaAs [110], m", gaas, {{1, 1, 0}, {1, 1, 0}, {0, 0, 2}}, 2, 2, 1},
    {"MgO [001]", magnesia, {{0, 0, 1}, {0, 0, 1}, {2, 0, 0}}, 1, 8, 7},
    {"Al [112], m", aluminium, {{1, 1, 2}, {1, 1, 2}, {1, 1, -1}}, 2, 2, 1},
    {"Al [112] in projection, p2mm", aluminium, {{1, 1, 2}, {1, 1, 2}, {1, 1, -1}}, 1, 4, 3},
    {"rutile [001], 4mm by screws and glides", rutile, {{0, 0, 1}, {0, 0, 1}, {1, 1, 0}}, 1, 8, 7},
    {"quartz [001], 3", quartz, {{0, 0, 1}, {0, 0, 1}, {1, 0, 0}}, 1, 3, 0},
    {"wurtzite [001], 6mm", wurtzite, {{0, 0, 1}, {0, 0, 1}, {1, 0, 0}}, 1, 12, 3},
    {"corundum [001], 3m by glides", corundum, {{0, 0, 1}, {0, 0, 1}, {1, 1, 0}}, 1, 6, 1},
    {"monoclinic [010], 2", monoclinic, {{0, 1, 0}, {0, 1, 0}, {1, 0, 0}}, 1, 2, 1},
    {"triclinic", triclinic, {{0, 0, 1}, {0, 0, 1}, {1, 0, 0}}, 1, 1, 0},
    {"triclinic with a centre, in projection",
     inverted,
     {{0, 0, 1}, {0, 0, 1}, {1, 0, 0}},
     0,
     2,
     1},
    {"Si [001], normal in a mirror plane", silicon, {{0, 0, 1}, {1, 1, 9}, {2, 2, 0}}, 1, 2, 1},
    {"Si [001], general normal", silicon, {{0, 0, 1}, {1, 3, 9}, {2, 2, 0}}, 1, 1, 0},
    {"Si [001], axis of tilts in no mirror", silicon, {{0, 0, 1}, {0, 0, 1}, {2, 1, 0}}, 1, 8, 3},
    {"strained Si [001], mm2", strained, {{0, 0, 1}, {0, 0, 1}, {2, 0, 0}}, 1, 4, 3},
    // The sum over all operations averages the tensor over the symmetry of its site.
    {"a tensor that its site forbids", anisotropic, {{0, 0, 1}, {0, 0, 1}, {1, 0, 0}}, 1, 8, 7},
};

TEST(TiltSymmetry, OperationsOfTheZone) {
    for (const ZoneCase &c : zone_cases) {
        const Pattern pattern(c.crystal, c.incidence, {2, 7, 0.3}, {1.0, c.lz_max});
        const TiltSymmetry symmetry = pattern.symmetry();
        EXPECT_EQ(symmetry.operations.size(), c.operations) << c.name;
        EXPECT_EQ(symmetry.num_used, c.used) << c.name;
        // One after the other, two operations are a third.
        for (const TiltOperation &a : symmetry.operations) {
            for (const TiltOperation &b : symmetry.operations) {
                std::vector<int> ab(a.beam.size());
                std::transform(b.beam.begin(), b.beam.end(), ab.begin(),
                               [&](int i) { return a.beam[i]; });
                EXPECT_TRUE(std::any_of(symmetry.operations.begin(), symmetry.operations.end(),
                                        [&](const TiltOperation &o) { return o.beam == ab; }))
                    << c.name;
            }
        }
    }
}

// Values of the reflections of sd at point p. The kept count that a tilt may take over is none.
Matrix<complex> solved(const Sd &sd, const TiltProblem &problem, int p, WorkCalInt &work) {
    Matrix<complex> table(sd.reflections.size(), sd.thicknesses.size());
    work.n_kept = -1;
    calc_intensity_ug_coherent(problem, sd.grid.kxy[p], {1.0, 0.0}, work, table.get());
    return table;
}

struct Comparison {
    double amplitude = 0.0; // largest deviation of the copies
    double intensity = 0.0;
    int copied = 0;
    int left = 0; // other points: a selection of their own, or kept branches that are not settled
    int bethe_beams = 0;      // at most, of a copied tilt
    double diffracted = 0.0;  // largest amplitude of an output reflection but the first
    std::set<int> operations; // by which was copied
};

// Copies every orbit and solves it as well.
Comparison compare(const Pattern &pattern, const TiltSymmetry &symmetry) {
    Comparison result;
    const Sd &sd = pattern.sd;
    const TiltProblem problem = pattern.problem();
    Sd extended;
    extended.beam = sd.beam;
    extended.grid = sd.grid;
    extended.beam_search = sd.beam_search;
    extended.beams = sd.beams;
    extended.thicknesses = sd.thicknesses;
    extended.reflections = symmetry.solved_reflections;
    const TiltProblem first_problem =
        tilt_problem(extended, pattern.csd, pattern.potential.V.get());
    const auto n_thick = static_cast<int>(sd.thicknesses.size());
    WorkCalInt first =
        alloc_work_cal_int(sd.beams.size(), static_cast<int>(extended.reflections.size()), n_thick);
    WorkCalInt image =
        alloc_work_cal_int(sd.beams.size(), static_cast<int>(sd.reflections.size()), n_thick);
    for (const TiltOrbit &orbit : symmetry.orbits) {
        const Matrix<complex> psi = solved(extended, first_problem, orbit.first, first);
        Matrix<double> I(extended.reflections.size(), sd.thicknesses.size());
        calc_intensities(first_problem, first, I.get());
        const bool settled = kept_branches_settled(first);
        for (const ImageTilt &other : orbit.others) {
            const Matrix<complex> expected = solved(sd, problem, other.point, image);
            if (!settled || !same_selection(symmetry.operations[other.operation],
                                            selection_of(first), selection_of(image))) {
                ++result.left;
                continue;
            }
            ++result.copied;
            result.bethe_beams = std::max(result.bethe_beams, image.n_bethe);
            result.operations.insert(other.operation);
            Matrix<complex> psi_copy(sd.reflections.size(), sd.thicknesses.size());
            Matrix<double> I_copy(sd.reflections.size(), sd.thicknesses.size());
            copy_tilt(symmetry.sources[other.operation], sd.thicknesses.size(), psi.get(),
                      psi_copy.get());
            copy_tilt(symmetry.sources[other.operation], sd.thicknesses.size(), I.get(),
                      I_copy.get());
            for (std::size_t o = 0; o < sd.reflections.size(); ++o) {
                for (std::size_t k = 0; k < sd.thicknesses.size(); ++k) {
                    const complex e = expected[o][k];
                    result.diffracted = std::max(result.diffracted, o > 0 ? c_abs(e) : 0.0);
                    result.amplitude = std::max(result.amplitude, c_abs(c_sub(psi_copy[o][k], e)));
                    result.intensity =
                        std::max(result.intensity, std::fabs(I_copy[o][k] - c_norm(e)));
                }
            }
        }
    }
    return result;
}

TEST(TiltSymmetry, CopiedTiltsAreTheSolvedOnes) {
    const Setting<double> accurate(epsilon.eigen_eps, 1e-13);
    for (const double bc_accuracy : {1.0, 0.99}) {
        const Setting<double> branches(epsilon.bc_accuracy, bc_accuracy);
        for (const ZoneCase &c : zone_cases) {
            const Pattern pattern(c.crystal, c.incidence, {2, 6, 0.37}, {0.95, c.lz_max});
            const TiltSymmetry symmetry = pattern.symmetry();
            const Comparison result = compare(pattern, symmetry);
            EXPECT_LT(result.amplitude, 1e-9) << c.name;
            EXPECT_LT(result.intensity, 1e-9) << c.name;
            EXPECT_EQ(result.operations.size(), c.used) << c.name;
            EXPECT_TRUE(c.used == 0 || result.bethe_beams > 0) << c.name;
            EXPECT_TRUE(c.used == 0 || result.diffracted > 0.05) << c.name;
            if (std::getenv("ORVEL_TEST_RESIDUALS") != nullptr) {
                printf("%-45s %3d beams, %d of them Bethe, %2d copied, %2d left, %.1e %.1e\n",
                       c.name, pattern.sd.beams.size(), result.bethe_beams, result.copied,
                       result.left, result.amplitude, result.intensity);
            }
        }
    }
}

struct GridCase {
    const char *name;
    Grid grid;
    std::size_t orbits;
    std::size_t points;
};

TEST(TiltSymmetry, OrbitsOfGrids) {
    const GridCase cases[] = {
        {"one incidence", {0, 9, 0.3}, 1, 1},
        {"line through the axis, odd", {1, 5, 0.3}, 3, 5},
        {"line through the axis, even", {1, 4, 0.3}, 2, 4},
        {"line beside the axis", {1, 5, 0.3, 0.0, 0.2}, 3, 5},
        {"line whose images meet it in part", {1, 5, 0.5, 0.25, 0.0}, 4, 5},
        {"line shifted by a third of the spacing", {1, 5, 0.6, 0.1, 0.0}, 5, 5},
        {"line of no length", {1, 5, 0.0, 0.1, 0.0}, 1, 5},
        {"disk", {2, 5, 0.3}, 4, 13},
        {"disk of one point", {2, 1, 0.3}, 1, 1},
        {"disk of no size", {2, 3, 0.0}, 1, 9},
        {"disk off the axis along a mirror", {2, 5, 0.3, 0.11, 0.0}, 9, 13},
        {"disk off the axis along the other mirror", {2, 5, 0.3, 0.11, 0.11}, 8, 13},
        {"disk off the axis", {2, 5, 0.3, 0.11, 0.07}, 13, 13},
        {"disk that a quarter turn about the axis moves by whole spacings",
         {2, 3, 0.1, 0.1, 0.0},
         4,
         5},
        {"square, whose points are all at its centre", {3, 4, 0.3, 0.1, 0.2}, 1, 16},
    };
    for (const GridCase &c : cases) {
        const Pattern pattern(aluminium, {}, c.grid, {0.75, 0});
        const TiltSymmetry symmetry = pattern.symmetry();
        EXPECT_EQ(symmetry.operations.size(), 8u) << c.name;
        EXPECT_EQ(symmetry.orbits.size(), c.orbits) << c.name;
        std::set<int> points;
        int before = -1;
        for (const TiltOrbit &orbit : symmetry.orbits) {
            EXPECT_LT(before, orbit.first) << c.name;
            before = orbit.first;
            EXPECT_TRUE(points.insert(orbit.first).second) << c.name;
            for (const ImageTilt &image : orbit.others) {
                EXPECT_TRUE(points.insert(image.point).second) << c.name;
                EXPECT_EQ(pattern.sd.grid.pix[image.point].cal_flag, 1) << c.name;
            }
        }
        EXPECT_EQ(points.size(), c.points) << c.name;
        EXPECT_LT(compare(pattern, symmetry).amplitude, 1e-7) << c.name;
    }
    // The only point of a line of one divides 0 by 0.
    const Pattern no_number(aluminium, {}, {1, 1, 0.3}, {0.75, 0});
    EXPECT_EQ(no_number.symmetry().orbits.size(), 1u);
}

const Incidence si_001 = {{0, 0, 1}, {0, 0, 1}, {2, 2, 0}};

TEST(TiltSymmetry, OneElementOfThePotentialTakesItsOperations) {
    struct ElementCase {
        Hkl g;
        double change; // of V(g), of the largest potential
        std::size_t operations;
    };
    for (const ElementCase &c :
         {ElementCase{{2, 2, 0}, 1e-14, 8}, ElementCase{{2, 2, 0}, 1e-10, 2},
          ElementCase{{4, 2, 0}, 1e-10, 1}, ElementCase{{2, 2, 0}, std::nan(""), 1}}) {
        Pattern pattern(silicon, si_001, {}, {1.0, 0});
        const int g = find_n_g(c.g, pattern.sd.beams.hkl);
        ASSERT_GT(g, 0);
        pattern.potential.V[g][0].im += c.change * pattern.potential.V[0][0].re;
        EXPECT_EQ(pattern.symmetry().operations.size(), c.operations) << c.change;
    }
}

// A given value where the glides extinguish contradicts them; what is left is F-43m.
TEST(TiltSymmetry, GivenForbiddenReflectionTakesTheGlides) {
    const Setting<double> accurate(epsilon.eigen_eps, 1e-13);
    CrystalText given = silicon;
    given.low_order = "1\n1\n2 0 0\n0.5 FIX re\n0.05 FIX im\n";
    const Pattern pattern(given, si_001, {2, 6, 0.3}, {0.75, 1});
    const TiltSymmetry symmetry = pattern.symmetry();
    EXPECT_EQ(symmetry.operations.size(), 4u);
    const Comparison result = compare(pattern, symmetry);
    EXPECT_EQ(result.copied, 12);
    EXPECT_LT(result.amplitude, 1e-9);
}

// With a threshold at the very excitation error of a beam, rounding decides its class.
TEST(TiltSymmetry, BeamsOnABorderLeaveTheirTiltsToBeSolved) {
    const Setting<double> accurate(epsilon.eigen_eps, 1e-13);
    Pattern pattern(wurtzite, {{0, 0, 1}, {0, 0, 1}, {1, 0, 0}}, {2, 6, 0.37}, {0.75, 1});
    const TiltSymmetry symmetry = pattern.symmetry();
    WorkCalInt work = alloc_work_cal_int(pattern.sd.beams.size(),
                                         static_cast<int>(pattern.sd.reflections.size()), 2);
    int copied = 0;
    int left = 0;
    for (std::size_t i = 0; i < 3; ++i) {
        select_tilt(pattern.problem(), pattern.sd.grid.kxy[symmetry.orbits[i].first], work);
        for (int beam = 1; beam < 20; ++beam) {
            pattern.sd.beam_search.sgbmin = std::fabs(work.s[beam]);
            const Comparison result = compare(pattern, symmetry);
            EXPECT_LT(result.amplitude, 1e-9);
            copied += result.copied;
            left += result.left;
        }
    }
    EXPECT_GT(left, 0);
    EXPECT_GT(copied, left);
}

TEST(TiltSymmetry, EveryRuleOfSelectionAndFolding) {
    const Setting<double> accurate(epsilon.eigen_eps, 1e-13);
    Pattern pattern(rutile, {{0, 0, 1}, {0, 0, 1}, {1, 1, 0}}, {2, 6, 0.37}, {0.75, 1});
    BeamSearch &search = pattern.sd.beam_search;
    search.wgbmin = 2.0;
    search.wgmax = 500.0;
    search.sgbmin_lz = {0.006, 0.36};
    search.sgmax_lz = {0.02, 0.4};
    const TiltSymmetry symmetry = pattern.symmetry();
    for (const int flag_bs : {1, 2, 3, 11, 12, 13}) {
        search.flag_bs = flag_bs;
        const Comparison result = compare(pattern, symmetry);
        EXPECT_EQ(result.copied, 13) << flag_bs;
        EXPECT_GT(result.bethe_beams, 0) << flag_bs;
        EXPECT_LT(result.amplitude, 1e-9) << flag_bs;
        EXPECT_LT(result.intensity, 1e-9) << flag_bs;
    }
}

TEST(TiltSymmetry, TheListOfBeamsDecides) {
    struct ListCase {
        const char *name;
        std::vector<Hkl> beams;
        int num_exact;
        int select; // vg_select_flag
        std::size_t operations;
        Uvw normal = {0, 0, 1};
    };
    const std::vector<Hkl> star = {{0, 0, 0}, {2, 0, 0}, {-2, 0, 0}, {0, 2, 0}, {0, -2, 0}};
    const std::vector<Hkl> row = {{0, 0, 0}, {2, 0, 0}, {-2, 0, 0}};
    const std::vector<Hkl> cube = {{0, 0, 0},  {1, 1, 1},   {-1, -1, -1}, {1, -1, 1}, {-1, 1, -1},
                                   {1, 1, -1}, {-1, -1, 1}, {1, -1, -1},  {-1, 1, 1}};
    for (const ListCase &c :
         {ListCase{"star", star, 5, 0, 8}, ListCase{"classes that stand are kept", star, 3, 0, 4},
          ListCase{"classes that are chosen anew do not matter", star, 3, 1, 8},
          ListCase{"row, in the plane of tilts", row, 3, 1, 4},
          ListCase{"row, normal inclined at right angles to it", row, 3, 1, 2, {0, 1, 9}},
          ListCase{"half a row", {{0, 0, 0}, {2, 0, 0}}, 2, 1, 2},
          ListCase{"a beam twice", {{0, 0, 0}, {2, 0, 0}, {-2, 0, 0}, {2, 0, 0}}, 4, 0, 1},
          ListCase{"zones above and below", cube, 9, 1, 4}}) {
        Pattern pattern(gaas, {{0, 0, 1}, c.normal, {2, 2, 0}}, {}, {0.1, 0});
        pattern.set_beams(c.beams);
        pattern.sd.beams.num_exact_beam = c.num_exact;
        pattern.sd.beams.num_bethe_beam = static_cast<int>(c.beams.size()) - c.num_exact;
        const Setting<int> select(epsilon.vg_select_flag, c.select);
        EXPECT_EQ(pattern.symmetry().operations.size(), c.operations) << c.name;
    }
}

TEST(TiltSymmetry, OutputReflectionsAndTheirImages) {
    Pattern pattern(silicon, si_001, {2, 7, 0.3}, {0.75, 0});
    const std::vector<Hkl> &beams = pattern.sd.beams.hkl;
    const int g220 = find_n_g({2, 2, 0}, beams);
    pattern.sd.reflections = {g220, 0, g220};
    const TiltSymmetry symmetry = pattern.symmetry();
    EXPECT_TRUE(std::equal(pattern.sd.reflections.begin(), pattern.sd.reflections.end(),
                           symmetry.solved_reflections.begin()));
    const std::set<int> solved(symmetry.solved_reflections.begin(),
                               symmetry.solved_reflections.end());
    EXPECT_EQ(solved, std::set<int>({0, g220, find_n_g({-2, -2, 0}, beams),
                                     find_n_g({2, -2, 0}, beams), find_n_g({-2, 2, 0}, beams)}));
    EXPECT_EQ(symmetry.solved_reflections.size(), 6u);
    pattern.sd.reflections.clear();
    EXPECT_EQ(pattern.symmetry().num_used, 7);

    const Outcome told = outcome_of([&] { report_tilt_symmetry(symmetry, stderr); });
    EXPECT_EQ(told.out, "$$ tilt_symmetry: 7 of 29 tilts are solved (8 operations, 7 of them lead "
                        "from tilt to tilt).\n");
    EXPECT_EQ(told.err, told.out);
}

TEST(TiltSymmetry, SelectionsAreComparedAsSets) {
    const TiltOperation swap = {{0, 2, 1, 3, 4}, std::vector<complex>(5, {1.0, 0.0}), {}};
    struct SelectionCase {
        std::vector<int> exact1, bethe1, exact2, bethe2;
        bool same;
    };
    for (const SelectionCase &c : {SelectionCase{{0, 1}, {3}, {0, 2}, {3}, true},
                                   SelectionCase{{0, 1, 3}, {2}, {0, 2, 3}, {1}, true},
                                   SelectionCase{{0, 1}, {3}, {0, 1}, {3}, false},
                                   SelectionCase{{0, 1}, {3}, {0, 2, 3}, {}, false},
                                   SelectionCase{{0, 1}, {3}, {0, 2}, {}, false},
                                   SelectionCase{{0, 1}, {3}, {0, 2}, {4}, false}}) {
        EXPECT_EQ(same_selection(swap, {c.exact1, c.bethe1}, {c.exact2, c.bethe2}), c.same);
    }
}

TEST(TiltSymmetry, BranchesAreSettledWhereTheCutIsClear) {
    struct CutCase {
        const char *name;
        double bc_accuracy;
        std::vector<double> weights; // descending
        double gap;                  // of the eigenvalues
        bool settled;
    };
    for (const CutCase &c :
         {CutCase{"all are kept", 1.0, {0.5, 0.5}, 0.0, true},
          CutCase{"clear", 0.8, {0.6, 0.3, 0.1}, 0.1, true},
          CutCase{"reached to rounding", 0.9, {0.6, 0.3, 0.1}, 0.1, false},
          CutCase{"missed to rounding", 0.6 + 1e-12, {0.6, 0.3, 0.1}, 0.1, false},
          CutCase{"equal weights", 0.7, {0.5, 0.25, 0.25}, 0.1, false},
          CutCase{"degenerate", 0.8, {0.6, 0.3, 0.1}, 1e-12, false},
          CutCase{"never reached", 1.5, {0.6, 0.3, 0.1}, 0.1, false},
          CutCase{"no number", 0.8, {std::nan(""), 0.3, 0.1}, 0.1, false}}) {
        const Setting<double> accuracy(epsilon.bc_accuracy, c.bc_accuracy);
        const int n = static_cast<int>(c.weights.size());
        WorkCalInt work = alloc_work_cal_int(n, 1, 1);
        work.n_exact = n;
        for (int i = 0; i < n; ++i) {
            work.alpha[i] = {std::sqrt(c.weights[i]), 0.0};
            work.eigval[i] = {-c.gap * i, 0.01};
        }
        limited_branch(c.bc_accuracy, n, work.alpha.data(), work.n_kept, work.branch_list.data(),
                       work.weights.data(), work.order.data());
        EXPECT_EQ(kept_branches_settled(work), c.settled) << c.name;
    }
}

} // namespace
} // namespace orvel::test
