// Thickness fringes, dispersion surfaces and Bloch states: whole runs against closed forms and
// against each other.
#include "jobs/mb_sim_bloch.hpp"
#include "support/conditions.hpp"
#include "support/problem.hpp"
#include "support/program.hpp"

#include <cmath>
#include <complex>
#include <gtest/gtest.h>
#include <numeric>

namespace orvel::test {
namespace {

using cplx = std::complex<double>;

// --- Two beams -----------------------------------------------------------------------------------

// Aluminium with given F(000) and F(200) and no absorption, so that the textbook forms are exact.
constexpr double F_000 = 23.5;
constexpr double F_200 = 6.7;

Conditions two_beams() {
    CrystalText crystal = aluminium;
    crystal.low_order = "2\n1\n0 0 0\n23.5 FIX f0\n0 FIX f0i\n2 0 0\n6.7 FIX f2\n0 FIX f2i\n";
    return {.crystal = crystal.block()};
}

// U = gamma F / (pi V) with CODATA 2018 constants, at 100 kV.
struct TwoBeams {
    double volume = std::pow(4.0496, 3);
    double gamma = 1.0 + 100.0e3 / 510998.95;
    double lambda = 12.2642594 / std::sqrt(100.0e3 * (1.0 + 100.0e3 / (2.0 * 510998.95)));
    double U_g = gamma * F_200 / (pi * volume);
    double g = 2.0 / 4.0496;
    // Normal component of K at the tilt H along g.
    double K_n(double H) const {
        const double U_0 = gamma * F_000 / (pi * volume);
        return std::sqrt(1.0 / (lambda * lambda) + U_0 - 0.25 * H * H * g * g);
    }
};

TEST(ThicknessFringes, HaveTheExtinctionDistanceAsPeriod) {
    const ProgramRun run = run_parameter_file(two_beams().tfringe("401\n0 2000\n"));
    ASSERT_EQ(run.status, 0) << run.out;
    const TwoBeams known;
    const double xi = known.K_n(-1.0) / known.U_g;
    const auto rows = numbers(run.read("run_int.txt"));
    ASSERT_EQ(rows.size(), 401u);
    for (const auto &row : rows) {
        const double sine = std::sin(pi * row[0] / xi);
        ASSERT_NEAR(row[2], 1e4 * sine * sine, 1.0) << row[0];
        ASSERT_NEAR(row[1], 1e4 - row[2], 0.2) << row[0];
    }
}

TEST(DispersionSurface, TwoBeamsPartByTheHyperbola) {
    Conditions c = two_beams();
    c.grid = "1\n81\n1.0\n";
    const ProgramRun run = run_parameter_file(c.dispsurf("1 2\n", "2\n0 0 0\n2 0 0\n", "1\n500\n"));
    ASSERT_EQ(run.status, 0) << run.out;
    const TwoBeams known;
    const auto rows = numbers(run.read("run_ds.txt"));
    ASSERT_EQ(rows.size(), 81u);
    for (const auto &row : rows) {
        const double H = row[0];
        EXPECT_EQ(row[1], H);
        EXPECT_NEAR(row[2], known.K_n(H), 1e-5);
        const double K_s = 0.5 * known.g * known.g * (1.0 + H);
        const double gap = std::hypot(known.U_g, K_s) / known.K_n(H);
        EXPECT_NEAR(row[3] - row[8], gap, 1e-4 * gap) << H;
        EXPECT_NEAR(row[7] + row[12], 1.0, 1e-5) << H;
    }
}

// --- Many beams, tilted, on an inclined surface --------------------------------------------------

Conditions inclined() {
    Conditions c;
    c.crystal = gaas.block();
    c.settings = "vg_select_flag 0\n";
    c.incidence = "1 1 0\n2 3 1\n0 0 2\n";
    c.tilt = "0.3\n-0.2\n";
    c.beams = "2\n200 1.2 0 0\n0.01 0.03 100000\n";
    return c;
}

const std::string four_reflections = "4\n0 0 0\n0 0 2\n1 -1 1\n-1 1 -1\n";

TEST(WaveJobs, AgreeOnTheIntensities) {
    const ProgramRun fringe =
        run_parameter_file(inclined().tfringe("3\n200 800\n", four_reflections));
    const std::string thicknesses = "3\n200\n500\n800\n";
    const ProgramRun surface =
        run_parameter_file(inclined().dispsurf("1 1\n", four_reflections, thicknesses));
    const ProgramRun cbed = run_parameter_file(inclined().cbed(four_reflections, thicknesses));
    ASSERT_EQ(fringe.status, 0) << fringe.out;
    ASSERT_EQ(surface.status, 0) << surface.out;
    ASSERT_EQ(cbed.status, 0) << cbed.out;
    const auto by_thickness = numbers(fringe.read("run_int.txt"));
    const auto one_line = numbers(surface.read("run_int.txt"));
    ASSERT_EQ(by_thickness.size(), 3u);
    ASSERT_EQ(one_line.size(), 1u);
    for (std::size_t k = 0; k < 3; ++k) {
        const std::string pattern = cbed.read("run_rs" + std::to_string(k) + ".txt");
        const auto results = numbers(pattern.substr(pattern.find("# intensities")));
        for (std::size_t o = 0; o < 4; ++o) {
            EXPECT_GT(by_thickness[k][1 + o], 1.0);
            EXPECT_EQ(by_thickness[k][1 + o], one_line[0][2 + 3 * o + k]);
            // Of each block: the indices, then the one tilt.
            EXPECT_EQ(by_thickness[k][1 + o], results.at(2 * o + 1).at(0));
        }
    }
}

TEST(WaveJobs, BranchesAddUpToTheBoundaryConditionAndToTheFringes) {
    const ProgramRun fringe =
        run_parameter_file(inclined().tfringe("3\n0 600\n", four_reflections));
    const std::string list = fringe.read("run_fg0.txt");
    const int n = std::stoi(list.substr(list.find("Exact= ") + 7));
    const ProgramRun surface = run_parameter_file(
        inclined().dispsurf("1 " + std::to_string(n) + "\n", four_reflections, "0\n"));
    ASSERT_EQ(surface.status, 0) << surface.out;
    const std::vector<double> amplitudes = numbers(surface.read("run_amp.txt")).at(0);
    const std::vector<double> branches = numbers(surface.read("run_ds.txt")).at(0);
    const auto psi = numbers(fringe.read("run_re_im.txt"));
    for (std::size_t o = 0; o < 4; ++o) {
        for (const auto &row : psi) {
            cplx sum = 0.0;
            for (std::size_t j = 0; j < static_cast<std::size_t>(n); ++j) {
                const std::size_t at = 2 + 2 * (o * static_cast<std::size_t>(n) + j);
                const cplx lambda(branches[3 + 5 * j + 2], branches[3 + 5 * j + 3]);
                // The beam travels along minus the zone axis: K_n is negative.
                sum += std::polar(amplitudes.at(at), amplitudes.at(at + 1)) *
                       std::exp(cplx(0.0, pi * row[0] / branches[2]) * lambda);
            }
            EXPECT_NEAR(std::abs(100.0 * sum - cplx(row[1 + 2 * o], row[2 + 2 * o])), 0.0, 0.02)
                << o << " at " << row[0];
        }
        EXPECT_NEAR(psi[0][1 + 2 * o], o == 0 ? 100.0 : 0.0, 1e-4);
    }
}

TEST(DispersionSurface, KeepsTheBeamsOfTheSearchAtEveryPointOfTheSquare) {
    Conditions c = inclined();
    c.grid = "2\n5\n0.6\n";
    const auto run = [&](const char *settings) {
        c.settings = settings;
        return run_parameter_file(c.dispsurf("1 9\n", four_reflections, "1\n300\n"));
    };
    const ProgramRun by_tilt = run("vg_select_flag 1\n");
    EXPECT_NE(by_tilt.out.find("(calc_disp_surf_ug) vg_select_flag is set to 0.\n"),
              std::string::npos);
    EXPECT_EQ(numbers(by_tilt.read("run_ds.txt")).size(), 25u);
    const ProgramRun as_searched = run("vg_select_flag 0\n");
    for (const char *file : {"run_ds.txt", "run_amp.txt", "run_int.txt"}) {
        EXPECT_TRUE(by_tilt.read(file) == as_searched.read(file)) << file;
    }
}

TEST(BlochStates, AddUpToTheIncidentWaveAndAreBlochWaves) {
    std::vector<Hkl> beams = {{0, 0, 0}};
    for (int h = -3; h <= 3; ++h) {
        for (int k = -3; k <= 3; ++k) {
            if (h != 0 || k != 0) {
                beams.push_back({h, k, 0});
            }
        }
    }
    const int n = static_cast<int>(beams.size());
    const Problem p(srtio3, {{0, 0, 1}, {1, 2, 9}, {1, 0, 0}, 200.0}, beams, n);
    const RealHkl k = p.tilt(0.37, -0.61);
    WorkCalInt work = p.work();
    solve_tilt(p.tilt_problem(), k, work);
    excite_branches(work);
    const auto b = [&](int j, const RealUvw &r) {
        const complex z = calc_bloch_state_func_ug(j, r, p.sd.beams.hkl, k,
                                                   work.beta_selected.data(), work.eigvec.get());
        return cplx(z.re, z.im);
    };
    for (const RealUvw &r :
         {RealUvw{0.0, 0.0, 0.0}, RealUvw{0.13, 0.72, 0.0}, RealUvw{-0.4, 0.55, 0.3}}) {
        cplx sum = 0.0;
        for (int j = 0; j < n; ++j) {
            sum += cplx(work.alpha[j].re, work.alpha[j].im) * b(j, r);
            const cplx next = b(j, {r.u + 2.0, r.v - 1.0, r.w});
            const cplx phase = std::polar(1.0, two_pi * (2.0 * k.h - k.k));
            EXPECT_NEAR(std::abs(next - phase * b(j, r)), 0.0, 1e-11);
        }
        const cplx incident = std::polar(1.0, two_pi * (k.h * r.u + k.k * r.v));
        EXPECT_NEAR(std::abs(sum - incident), 0.0, 1e-10);
    }
}

// Over one cell, sampled more finely than twice the largest index, sums are exact (Parseval).
TEST(BlochStates, AreNormalisedInTheFileAndThePotentialHasItsMean) {
    Conditions c;
    c.crystal = srtio3.block();
    c.incidence = "0 0 1\n0 0 1\n1 0 0\n";
    c.tilt = "0.2\n0.1\n";
    c.beams = "2\n200 1.6 0 0\n1 1 1e9\n";
    const ProgramRun run = run_parameter_file(c.bloch("16 16\n0 0.9375\n0 0.9375\n", "1 3\n"));
    ASSERT_EQ(run.status, 0) << run.out;
    for (const char *file : {"run_b1.txt", "run_b2.txt", "run_b3.txt"}) {
        double density = 0.0;
        const auto rows = numbers(run.read(file));
        ASSERT_EQ(rows.size(), 256u);
        for (const auto &row : rows) {
            density += row[2] / 256.0;
            EXPECT_NEAR(row[2], row[4] * row[4] + row[5] * row[5], 1e-4 * row[2] + 1e-12);
            EXPECT_NEAR(row[3], std::atan2(row[5], row[4]), 1e-5);
        }
        EXPECT_NEAR(density, 1.0, 1e-5) << file;
    }
    double mean = 0.0;
    for (const auto &row : numbers(run.read("run_pp.txt"))) {
        mean += row[2] / 256.0;
    }
    const auto beams = numbers(run.read("run_fg0.txt"));
    const double F_0 = beams.at(0).at(9);
    // h^2 / (2 pi m_0 e) = 47.87801 V A^2.
    EXPECT_NEAR(mean, 47.87801 * F_0 / std::pow(3.905, 3), 1e-3);
}

TEST(BlochStates, OnePointOfAMapStandsAtTheMinimum) {
    const ProgramRun run =
        run_parameter_file(Conditions().bloch("1 2\n0.25 0.75\n0 0.5\n", "1 1\n"));
    ASSERT_EQ(run.status, 0) << run.out;
    const std::string map = run.read("run_pp.txt");
    EXPECT_NE(map.find("\n0.25\t0\t"), std::string::npos) << map;
    EXPECT_NE(map.find("\n0.25\t0.5\t"), std::string::npos) << map;
    EXPECT_FALSE(run.has("run_b2.txt"));
}

// --- Files ---------------------------------------------------------------------------------------

TEST(WaveJobs, ScriptsNameTheirFiles) {
    const ProgramRun surface =
        run_parameter_file(Conditions().dispsurf("1 2\n", "1\n2 0 0\n", "2\n500\n1000\n"));
    EXPECT_EQ(surface.read("run_kav.txt"),
              "KAVUN_SCRIPT\nDISPSURF_VISUAL_MODE\nHTML_OPEN\nrun_.html\nDISPSURF_VISUAL\n"
              "1  #branch_begin\n2  #branch_end\n1  #num_rf_amp\n2  #num_thick\nrun\nrun_ds.txt\n"
              "run_amp.txt\nrun_int.txt\nHTML_CLOSE\n");
    const ProgramRun fringe = run_parameter_file(Conditions().tfringe("2\n0 100\n"));
    EXPECT_EQ(fringe.read("run.plt"),
              "#\nset xlabel \"thickness [A]\"\nset ylabel \"Intensity\"\n"
              "set title \"Thickness fringes\"\nset term png\nset output \"run_out.png\"\n"
              "plot \"run_int.txt\" using 1:2 title \"0 0 0\" with lines ,\\\n"
              "\"run_int.txt\" using 1:3 title \"2 0 0\" with lines \n#pause -1 \n");
    const ProgramRun bloch = run_parameter_file(Conditions().bloch("2 2\n0 0.5\n0 0.5\n", "2 2\n"));
    EXPECT_EQ(bloch.read("run_kav.txt").substr(0, 128),
              "KAVUN_SCRIPT\nBLOCH_VISUAL_MODE\nHTML_OPEN\nrun_.html\nBLOCH_VISUAL\nrun\n"
              "run_pp.txt\n2    # branch_begin\n2    # branch_end\nrun_b2.txt\n");
    EXPECT_EQ(bloch.read("run_b2.txt").substr(0, 26), "# Bloch state: branch 2)\n#");
}

TEST(ThicknessFringes, OneThicknessIsNotANumberAndToldBefore) {
    const ProgramRun run = run_parameter_file(Conditions().tfringe("1\n100 200\n"));
    EXPECT_EQ(run.status, 0);
    EXPECT_NE(run.out.find("$$ Warning: a range of thicknesses needs at least 2"),
              std::string::npos);
    EXPECT_NE(run.read("run_int.txt").find("nan"), std::string::npos);
}

// Upstream of the surface absorbed waves grow: intensities overflow before amplitudes do.
TEST(ThicknessFringes, IntensitiesBeyondAllNumbersAreTold) {
    const ProgramRun run = run_parameter_file(Conditions().tfringe("2\n0 -2e6\n"));
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.read("run_amp.txt").find("inf"), std::string::npos);
    EXPECT_NE(run.read("run_int.txt").find("inf"), std::string::npos);
    EXPECT_NE(run.out.find("$$ Warning: 1 of 1 tilts gave results that are not finite"),
              std::string::npos);
}

// A beam beyond the scattering-factor table.
TEST(WaveJobs, OnlyTheFringesGoOnWithoutAStructureFactor) {
    Conditions c;
    c.beams = "0\n2 0\n0 0 0\n60 0 0\n";
    const struct {
        std::string text;
        int status;
        const char *table;
    } runs[] = {{c.tfringe("2\n0 100\n"), 0, "run_int.txt"},
                {c.dispsurf("1 1\n", "0\n", "0\n"), 1, "run_ds.txt"},
                {c.bloch("2 2\n0 1\n0 1\n", "1 1\n"), 1, "run_kn.txt"}};
    for (const auto &r : runs) {
        const ProgramRun run = run_parameter_file(r.text);
        EXPECT_EQ(run.status, r.status) << run.out;
        const char *message = "$$ Error in Fg calc. You should check params.\n";
        EXPECT_NE(run.out.find(message), std::string::npos);
        EXPECT_NE(run.read("run_log.txt").find(message), std::string::npos);
        EXPECT_EQ(run.has(r.table), r.status == 0);
    }
}

// --- Input that cannot be used -------------------------------------------------------------------

struct BadInput {
    const char *name;
    std::string text;
    const char *message;
};

std::string replaced(std::string text, const std::string &from, const std::string &to) {
    const std::size_t at = text.find(from);
    EXPECT_NE(at, std::string::npos) << from;
    return text.replace(at, from.size(), to);
}

Conditions with_grid(const char *grid) {
    return {.grid = grid};
}

std::vector<BadInput> bad_inputs() {
    const Conditions ok;
    const std::string fringe = ok.tfringe("2\n0 100\n");
    const std::string surface = ok.dispsurf("1 2\n", "0\n", "0\n");
    const std::string map = "2 2\n0 1\n0 1\n";
    const std::string bloch = ok.bloch(map, "1 2\n");
    // Few beams are exact at the tilt itself, many within the disk.
    Conditions narrow;
    narrow.grid = "0\n1\n1.0\n";
    narrow.tilt = "0\n0\n";
    narrow.beams = "2\n200 1.0 0 0\n1e-5 0.1 1e9\n";
    return {
        {"fringe calc_type", with_grid("4\n1\n0\n").tfringe("2\n0 100\n"),
         "$$ Invalid calc_type=4. Abort.\n"},
        {"surface calc_type", with_grid("-1\n1\n0\n").dispsurf("1 2\n", "0\n", "0\n"),
         "$$ Invalid calc_type=-1. Abort.\n"},
        {"bloch calc_type", with_grid("9\n1\n0\n").bloch(map, "1 1\n"),
         "$$ Invalid calc_type=9. Abort.\n"},
        {"fringe hint", replaced(fringe, "CALC_KXY_RANGE{", "CALC{"),
         "$$$$ Caution!!! CALC_KXY_RANGE must be before BEAM_SEARCH!\n"},
        {"surface hint", replaced(surface, "CALC_KXY_RANGE{", "CALC{"),
         "$$$$ Caution!! CALC_KXY_RANGE must be before BEAM_SEARCH. $$\n"},
        {"bloch hint", replaced(bloch, "CALC_KXY_RANGE{", "CALC{"),
         "$$$$$$$ Caution!!! CALC_KXY_RANGE must be before BEAM_SEARCH. $$$$$\n"},
        {"fringe block", replaced(fringe, "TFRINGE_CALC", "FRINGE_CALC"),
         "$$ Data format error has been found at TFRINGE_CALCULATION_CONDITION{.\n"},
        {"surface block", replaced(surface, "}OUTPUT_BRANCH", "}BRANCH"),
         "$$ Data format error has been found at }OUTPUT_BRANCH.\n"},
        {"bloch block", replaced(bloch, "}BLOCH", "}"),
         "$$ Data format error has been found at }BLOCH_CALCULATION_CONDITION.\n"},
        {"surface branch 0", ok.dispsurf("0 1\n", "0\n", "0\n"),
         "$$ Invalid paramter: branch_begin = 0, branch_end = 1. Abort.\n"},
        {"surface branch order", ok.dispsurf("2 1\n", "0\n", "0\n"),
         "$$ Invalid paramter: branch_begin = 2, branch_end = 1. Abort.\n"},
        {"bloch branch", ok.bloch(map, "1 3\n"),
         "$$ Invalid paramter: branch_begin = 1, branch_end = 3\n"},
        {"bloch branch at the tilt", narrow.bloch(map, "1 2\n"),
         "$$ branch_end = 2: only 1 beams are exact at this tilt. Abort.\n"},
        {"fringe reflection", ok.tfringe("2\n0 100\n", "1\n4 0 0\n"),
         "$$ cal_g: 4 0 0 is not found in the exact beams. Abort.\n"},
        {"fringe reflections", ok.tfringe("2\n0 100\n", "-1\n"),
         "$$ The number of output reflections is negative"},
        {"surface reflection", ok.dispsurf("1 2\n", "1\n1 1 1\n", "0\n"),
         "$$ cal_g: 1 1 1 is not found in the exact beams. Abort.\n"},
        {"surface thicknesses", ok.dispsurf("1 2\n", "0\n", "-2\n"),
         "$$ The number of thicknesses is negative"},
        {"no thicknesses", ok.tfringe("0\n0 100\n"), "$$ CALC_T_RANGE: 0 thicknesses"},
        {"fringe thicknesses", inclined().tfringe("2000000000\n0 100\n"), "$$ "},
        {"map of no points", ok.bloch("0 5\n0 1\n0 1\n", "1 1\n"), "$$ CALC_RXY_RANGE: nx = 0"},
        {"map of too many", ok.bloch("2000000000 2000000000\n0 1\n0 1\n", "1 1\n"),
         "$$ CALC_RXY_RANGE: nx = 2000000000"},
        {"tilt without end", replaced(surface, ok.tilt, "0\n-inf\n"),
         "$$ Found -inf, expected the tilt along G"},
        {"disk without size", with_grid("3\n3\nnan\n").dispsurf("1 2\n", "0\n", "0\n"),
         "$$ Found nan, expected the disk size"},
        {"map without end", ok.bloch("2 2\n0 inf\n0 1\n", "1 1\n"),
         "$$ Found inf, expected two numbers"},
    };
}

TEST(WaveJobs, RefuseWhatCannotBeUsed) {
    for (const BadInput &bad : bad_inputs()) {
        const ProgramRun run = run_parameter_file(bad.text);
        EXPECT_EQ(run.status, 1) << bad.name << "\n" << run.out;
        EXPECT_NE((run.out + run.err).find(bad.message), std::string::npos) << bad.name << "\n"
                                                                            << run.out;
        for (const char *file : {"run_ds.txt", "run_kn.txt", "run_int.txt", "run_pp.txt"}) {
            EXPECT_FALSE(run.has(file)) << bad.name;
        }
    }
}

} // namespace
} // namespace orvel::test
