// CBED and coherent CBED as whole runs: result files, every road of the input, every flag.
#include "support/conditions.hpp"
#include "support/program.hpp"

#include <cmath>
#include <functional>
#include <gtest/gtest.h>

namespace orvel::test {
namespace {

// GaAs [110] with a disk of tilts and an automatic search; many other inputs replace parts of it.
Conditions gaas_disk() {
    return {.crystal = gaas.block(),
            .settings = "",
            .incidence = "1 1 0\n1 1 0\n0 0 2\n",
            .tilt = "0\n0\n",
            .grid = "2\n5\n0.5\n",
            .beams = "2\n100 1.2 0 0\n0.01 0.03 1e6\n"};
}

ProgramRun run_with_flags(const std::string &parameters, const std::string &flags) {
    return run_program(
        {.files = {{"run.txt", parameters}, {"orvel.ini", flags + "INI_PARAM_END\n"}},
         .args = {"run.txt"}});
}

// Values of the RF blocks in their order, `columns` to a line.
std::vector<std::vector<double>> rf_values(const std::string &text) {
    std::vector<std::vector<double>> rows = numbers(text.substr(text.find("# intensities\n")));
    std::erase_if(rows, [](const auto &row) { return row.size() == 3; }); // the lines h k l
    return rows;
}

TEST(Cbed, PointsOutsideTheDiskAreDark) {
    const ProgramRun run = run_parameter_file(gaas_disk().cbed("2\n0 0 0\n0 0 2\n", "1\n300\n"));
    ASSERT_EQ(run.status, 0) << run.out;
    EXPECT_FALSE(run.has("run_rs1.txt"));
    const std::string text = run.read("run_rs0.txt");
    const auto rows = rf_values(text);
    ASSERT_EQ(rows.size(), 50u);
    EXPECT_EQ(rows[0][0], 0.0); // a corner of the square
    EXPECT_GT(rows[12][0], 100.0);
    EXPECT_NE(text.find("-0.5 -0.5 0 0 0\n"), std::string::npos);
    EXPECT_NE(text.find("\n# default gamma [>0]\n1.0\n# defalut magnification (integer only)\n1\n"),
              std::string::npos);
    const double largest = std::stod(text.substr(text.find("[>0]\n") + 5));
    double found = 0.0;
    for (const auto &row : rows) {
        found = std::max(found, row[0]);
    }
    EXPECT_EQ(largest, found);
    EXPECT_NE(text.find("\t0\n# default gamma"), std::string::npos); // the smallest
}

TEST(Cbed, CoherentAmplitudesSquareToTheIntensities) {
    Conditions c = gaas_disk();
    const std::string cbed = c.cbed("0\n", "2\n150\n420\n");
    std::string coherent = cbed;
    coherent.replace(0, std::string("SIM_MODE").size(), "SIM_COHERENT_MODE");
    coherent += "COHERENT{\n1e7\n-400\n0.1 0.2 0.3\n}COHERENT\n";
    const ProgramRun plain = run_parameter_file(cbed);
    const ProgramRun phased = run_parameter_file(coherent);
    ASSERT_EQ(plain.status, 0) << plain.out;
    ASSERT_EQ(phased.status, 0) << phased.out;
    EXPECT_EQ(phased.read("run_kav.txt")
                  .find("KAVUN_SCRIPT\n# script for kavun.\n"
                        "SIM_COHERENT_VISUAL_MODE\n"),
              0u);
    for (const char *name : {"run_rs0.txt", "run_rs1.txt"}) {
        const auto intensity = rf_values(plain.read(name));
        const auto amplitude = rf_values(phased.read(name));
        ASSERT_EQ(intensity.size(), amplitude.size());
        ASSERT_GT(intensity.size(), 100u);
        double turned = 0.0;
        for (std::size_t i = 0; i < intensity.size(); ++i) {
            const double re = amplitude[i][0];
            const double im = amplitude[i][1];
            // Both print six digits.
            EXPECT_NEAR(re * re + im * im, intensity[i][0], 1e-5 * intensity[i][0] + 1e-3);
            turned = std::max(turned, std::fabs(im));
        }
        EXPECT_GT(turned, 1.0);
    }
}

TEST(Cbed, EveryMethodAndKindOfTiltsRuns) {
    for (const char *beams :
         {"0\n3 1\n0 0 0\n0 0 2\n1 -1 1\n0 0 4\n", "10\n3 1\n0 0 0\n0 0 2\n1 -1 1\n0 0 4\n",
          "1\n100 1.2 0 0\n20 100 1e6\n", "11\n100 1.2 0 0\n20 100 1e6\n",
          "2\n100 1.2 0 0\n0.01 0.03 1e6\n", "12\n100 1.2 0 0\n0.01 0.03 1e6\n",
          "3\n200 3.1 0 1\n0.01 0.03 1e6\n0.001 0.003 1e6\n",
          "13\n200 3.1 0 1 9\n0.01 0.03 1e6\n0.001 0.003 1e6\n"}) {
        for (const char *grid : {"0\n1\n0.5\n", "1\n3\n0.5\n", "2\n3\n0.5\n", "3\n2\n0.5\n"}) {
            for (const char *solver : {"", "eigmat_func 1\nbc_accuracy 0.99\n"}) {
                Conditions c = gaas_disk();
                c.beams = beams;
                c.grid = grid;
                c.settings = solver;
                const ProgramRun run = run_parameter_file(c.cbed("1\n0 0 0\n", "1\n0\n"));
                ASSERT_EQ(run.status, 0) << beams << grid << run.out;
                // At thickness 0 the incident beam alone, with all branches.
                if (*solver == '\0') {
                    const auto rows = rf_values(run.read("run_rs0.txt"));
                    EXPECT_NEAR(rows[rows.size() / 2][0], 1e4, 0.1) << beams << grid;
                }
            }
        }
    }
}

TEST(Cbed, FlagsSayWhatTheyAreFor) {
    Conditions c = gaas_disk();
    c.beams = "0\n2 1\n0 0 0\n0 0 2\n0 0 4\n";
    c.grid = "0\n1\n0.5\n";
    const std::string parameters = c.cbed("0\n", "1\n100\n");
    const struct {
        const char *flags;
        std::vector<const char *> expected;
    } cases[] = {
        {"sg_dump_flag 1\n", {"$$ Sg(0 0 2) = -0.00"}},
        {"betag_dump_flag 1\n", {"$$ beta_ge(0 0 0) = 1\n"}},
        {"a_mat_dump_flag 1\n", {"a_matrix:\n0\t0\t0\t", "\n1\t1\t"}},
        {"b_mat_dump_flag 1\n", {"bethe_matrix:\n0\t0\t"}},
        {"b_cond_dump_flag 1\n", {"upper_b_cond:\n0\t"}},
        {"eigval_dump_flag 1\n", {" eigen values:\n0\t"}},
        {"eigvec_dump_flag 1\n", {" eigen vectors\n0\t0\t"}},
        {"chk_data_dump_flag 1\n", {"$$ chk_data: SIM_CALCULATION_CONDITION{ ok.\n"}},
        {"process_mon_flag 1\n",
         {"$$ calc_sg_beta_g\n$$ vg_select\n$$ construct_matrix\n$$ Bethe Approx.\n"
          "$$ invmat: Numpack inv_c_mat()\n$$ eigen values and vectors: eispack_cg\n"
          "$$ upper_b_cond\n",
          "$$ calc_intensity\n"}},
    };
    for (const auto &[flags, expected] : cases) {
        const ProgramRun run = run_with_flags(parameters, flags);
        ASSERT_EQ(run.status, 0) << run.out;
        for (const char *text : expected) {
            EXPECT_NE(run.out.find(text), std::string::npos) << flags << run.out;
        }
    }
    const ProgramRun potential = run_with_flags(parameters, "vg_dump_flag 1\n");
    EXPECT_EQ(potential.err, "100%\nvg_data output ==> run_vg.txt\n");
    EXPECT_EQ(potential.read("run_vg.txt").rfind("Vg: [Volt]\n0\t0\t", 0), 0u);
    const ProgramRun positions = run_with_flags(parameters, "atm_pos_out_flag 1\n");
    EXPECT_NE(positions.read("run_aps.txt").find("* number of atom positions = 4"),
              std::string::npos);
    const ProgramRun list_only = run_with_flags(parameters, "reflex_only_flag 1\n");
    EXPECT_EQ(list_only.status, 0);
    EXPECT_NE(list_only.out.find("$$ reflex_only_flag=1. exit.\n"), std::string::npos);
    EXPECT_FALSE(list_only.has("run_rs0.txt"));
    const ProgramRun full_disk = run_program(
        {.files = {{"run.txt", parameters}, {"orvel.ini", "reflex_only_flag 1\nINI_PARAM_END\n"}},
         .args = {"run.txt"},
         .links = {{"run_log.txt", "/dev/full"}}});
    EXPECT_EQ(full_disk.status, 1);
    EXPECT_EQ(full_disk.err, "$$ Cannot write the log. Abort.\n");
    const ProgramRun check =
        run_with_flags(gaas_disk().cbed("0\n", "1\n100\n"), "vg_sel_chk_flag 1\n");
    EXPECT_NE(check.out.find("$$ chk_sel_vg mode. No intensity calculation.\n"), std::string::npos);
    EXPECT_FALSE(check.has("run_rs0.txt"));
    EXPECT_NE(check.read("run.dbg").find("# ix= 2  iy= 2\n"), std::string::npos);
    EXPECT_EQ(check.out.find("$$ Warning"), std::string::npos);
    Conditions beyond = gaas_disk();
    beyond.tilt = "100000\n0\n";
    EXPECT_NE(run_with_flags(beyond.cbed("0\n", "1\n100\n"), "vg_sel_chk_flag 1\n")
                  .out.find("$$ Warning: in run.dbg, excitation errors of "),
              std::string::npos);
}

TEST(Cbed, InputThatCannotBeUsedEndsTheRun) {
    struct Case {
        const char *message;
        std::function<void(Conditions &, std::string &, std::string &)> spoil;
    };
    const Case cases[] = {
        {"$$ Invalid calc_type(=4)x. Abort.\n",
         [](auto &c, auto &, auto &) { c.grid = "4\n5\n1\n"; }},
        {"$$ Invalid calc_type(=-1)x. Abort.\n",
         [](auto &c, auto &, auto &) { c.grid = "-1\n5\n1\n"; }},
        {"$$ CALC_KXY_RANGE: 0 points", [](auto &c, auto &, auto &) { c.grid = "2\n0\n1\n"; }},
        {"$$ Not enough memory for",
         [](auto &c, auto &, auto &) { c.grid = "2\n2000000000\n1\n"; }},
        {"Invalid flag_bs\n", [](auto &c, auto &, auto &) { c.beams = "4\n"; }},
        {"$$ Invalid format for beam_search. Abort.",
         [](auto &c, auto &, auto &) { c.beams = "3\n100 1.2 0\n"; }},
        {"$$ num_g has exceeded num_g_max.\n$$ Please set a greater value into num_g. Abort.\n",
         [](auto &c, auto &, auto &) { c.beams = "2\n5 2 0 0\n0.1 0.2 1e6\n"; }},
        {"$$ g_max = ", [](auto &c, auto &, auto &) { c.beams = "2\n50 1e9 0 0\n0.1 0.2 1e6\n"; }},
        {"$Error in zolz_ort_base: g2 = 0",
         [](auto &c, auto &, auto &) { c.incidence = "1 1 0\n1 1 0\n1 1 0\n"; }},
        {"$$ cal_g: 9 9 9 is not found in the exact beams. Abort.\n",
         [](auto &, auto &out, auto &) { out = "1\n9 9 9\n"; }},
        {"$$ The number of thicknesses is negative: -2. Abort.\n",
         [](auto &, auto &, auto &t) { t = "-2\n"; }},
        {"$$ Data format error has been found at BEAM_SEARCH{.\n$$ Abort.\n$$ buf=x\n",
         [](auto &c, auto &, auto &) { c.grid += "}CALC_KXY_RANGE\nx\n"; }},
        {"$$ Found nan, expected the tilt along H",
         [](auto &c, auto &, auto &) { c.tilt = "nan\n0\n"; }},
        {"$$ Found inf, expected intensity_scaling",
         [](auto &c, auto &, auto &) { c.settings = "intensity_scaling inf\n"; }},
        {"$$ Beam search: more than 1000000 reflections",
         [](auto &c, auto &, auto &) { c.beams = "2\n9999999 25 -99 99\n1 2 2e10\n"; }},
        {"$$ Invalid epsilon.invmat_func=3. Abort.\n",
         [](auto &c, auto &, auto &) { c.settings = "bc_invmat_func 3\nvg_select_flag 0\n"; }},
        {"$$ Invalid af. Abort.\n",
         [](auto &c, auto &, auto &) { c.crystal.replace(c.crystal.find("1\n}SITE"), 1, "5"); }},
    };
    for (const Case &spoiled : cases) {
        Conditions c = gaas_disk();
        std::string out = "1\n0 0 0\n";
        std::string thicknesses = "1\n100\n";
        spoiled.spoil(c, out, thicknesses);
        const ProgramRun run = run_parameter_file(c.cbed(out, thicknesses));
        EXPECT_EQ(run.status, 1) << spoiled.message;
        EXPECT_NE(run.out.find(spoiled.message), std::string::npos) << spoiled.message << "\n"
                                                                    << run.out;
    }
    // The hint of the tilt range.
    std::string text = gaas_disk().cbed("0\n", "0\n");
    text.replace(text.find("CALC_KXY_RANGE{"), 4, "XXXX");
    EXPECT_NE(run_parameter_file(text).out.find(
                  "$$ Caution!!! CALC_KXY_RANGE must be before BEAM_SEARCH. $$\n"),
              std::string::npos);
}

TEST(Cbed, OddSettingsAreToldAndTheRunGoesOn) {
    Conditions c = gaas_disk();
    c.settings = "eigmat_func 7\n";
    const ProgramRun no_solver = run_parameter_file(c.cbed("1\n0 0 0\n", "1\n100\n"));
    EXPECT_EQ(no_solver.status, 0);
    EXPECT_NE(no_solver.out.find("$$ Invalid epsilon.eigmat_func=7. Abort.\n"), std::string::npos);
    EXPECT_NE(no_solver.out.find("$$ Warning: 13 of 13 tilts gave results that are not finite"),
              std::string::npos);
    c = gaas_disk();
    c.grid = "1\n1\n0.5\n";
    const ProgramRun line = run_parameter_file(c.cbed("1\n0 0 0\n", "1\n100\n"));
    EXPECT_EQ(line.status, 0);
    EXPECT_NE(line.out.find("$$ Warning: a line of tilts needs at least 2 points"),
              std::string::npos);
    // The corners of a square alone.
    c.grid = "2\n2\n0.5\n";
    const ProgramRun dark = run_parameter_file(c.cbed("1\n0 0 0\n", "1\n100\n"));
    EXPECT_EQ(dark.status, 0);
    EXPECT_NE(dark.out.find("$$ Warning: no point of the tilt grid lies within the disk"),
              std::string::npos);
    // Neither reflections nor thicknesses: nothing to write, and nothing to fall over.
    EXPECT_EQ(run_parameter_file(gaas_disk().cbed("-1\n", "1\n100\n")).status, 0);
    EXPECT_EQ(run_parameter_file(gaas_disk().cbed("0\n", "0\n")).status, 0);
    // A table that is left is a warning.
    c = gaas_disk();
    c.tilt = "0\n0\n";
    c.crystal.replace(c.crystal.find("0.66"), 4, "66.0");
    const ProgramRun hot = run_parameter_file(c.cbed("1\n0 0 0\n", "1\n100\n"));
    EXPECT_EQ(hot.status, 0);
    EXPECT_NE(hot.out.find("$$ Error in Fg calc. You should check params.\n"), std::string::npos);
}

} // namespace
} // namespace orvel::test
