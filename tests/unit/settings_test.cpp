#include "app/settings_readers.hpp"

#include "app/run_settings.hpp"
#include "support/program.hpp"
#include "support/run_end.hpp"
#include "support/text_stream.hpp"

namespace orvel::test {
namespace {

// Reads "orvel.ini" with these contents in a folder of its own; null: there is none.
Outcome read_ini(const char *text) {
    const TemporaryFolder folder;
    const std::filesystem::path before = std::filesystem::current_path();
    std::filesystem::current_path(folder.path());
    if (text != nullptr) {
        write_file("orvel.ini", text);
    }
    const Outcome o = outcome_of(read_ini_file);
    std::filesystem::current_path(before);
    return o;
}

TEST(IniFile, SetsFlagsFromTheirSecondToken) {
    const struct {
        const char *key;
        int DebugFlags::*flag;
    } keys[] = {{"eigval_dump_flag", &DebugFlags::eigval_dump_flag},
                {"eigvec_dump_flag", &DebugFlags::eigvec_dump_flag},
                {"sg_dump_flag", &DebugFlags::sg_dump_flag},
                {"betag_dump_flag", &DebugFlags::betag_dump_flag},
                {"reflex_dump_flag", &DebugFlags::reflex_dump_flag},
                {"reflex_only_flag", &DebugFlags::reflex_only_flag},
                {"vg_dump_flag", &DebugFlags::vg_dump_flag},
                {"a_mat_dump_flag", &DebugFlags::a_mat_dump_flag},
                {"b_mat_dump_flag", &DebugFlags::b_mat_dump_flag},
                {"b_cond_dump_flag", &DebugFlags::b_cond_dump_flag},
                {"bc_chk_flag", &DebugFlags::bc_chk_flag},
                {"all_int_out_flag", &DebugFlags::all_int_out_flag},
                {"covar_dump_flag", &DebugFlags::covar_dump_flag},
                {"alpha_dump_flag", &DebugFlags::alpha_dump_flag},
                {"beta_dump_flag", &DebugFlags::beta_dump_flag},
                {"obs_cal_dump_flag", &DebugFlags::obs_cal_dump_flag},
                {"ideal_cr_cal_flag", &DebugFlags::ideal_cr_cal_flag},
                {"atm_pos_out_flag", &DebugFlags::atm_pos_out_flag},
                {"vg_sel_chk_flag", &DebugFlags::vg_sel_chk_flag},
                {"process_mon_flag", &DebugFlags::process_mon_flag},
                {"wg_xig_list_flag", &DebugFlags::wg_xig_list_flag},
                {"print_bij_flag", &DebugFlags::print_bij_flag},
                {"chk_data_dump_flag", &DebugFlags::chk_data_dump_flag},
                {"num_threads", &DebugFlags::num_threads},
                {"checkpoint_seconds", &DebugFlags::checkpoint_seconds},
                {"tilt_symmetry_flag", &DebugFlags::tilt_symmetry_flag},
                {"propagation_flag", &DebugFlags::propagation_flag}};
    std::string text;
    int value = 10;
    for (const auto &key : keys) {
        text += key.key + std::string(value % 2 == 0 ? "," : "\t") + std::to_string(value) + "\r\n";
        ++value;
    }
    const Outcome o = read_ini((text + "INI_PARAM_END\nnum_threads 1\n").c_str());
    EXPECT_EQ(o.status, -1);
    EXPECT_EQ(o.out, "Reading orvel.ini\n"
                     "$$ Warning: \"num_threads 1\" and what follows it is not read.\n");
    value = 10;
    for (const auto &key : keys) {
        EXPECT_EQ(dbg.*key.flag, value) << key.key;
        ++value;
    }

    // Defaults return before a file is looked for.
    EXPECT_EQ(read_ini(nullptr).out, "Cannot find orvel.ini file.  No options.\n");
    EXPECT_EQ(dbg.eigval_dump_flag, 0);
    EXPECT_EQ(dbg.print_bij_flag, 1);
}

TEST(IniFile, TellsWhatItIgnoresAndWhatItMisses) {
    const struct {
        const char *text;
        int status;
        const char *out;
    } cases[] = {
        {"# c\nnonsense 1\n\nINI_PARAM_END\n", -1,
         "Reading orvel.ini\nnonsense 1 is ignored.\n is ignored.\n"},
        {"  -> INI_PARAM_END <-", -1, "Reading orvel.ini\n"},
        {"bc_chk_flag 2\n", 1,
         "Reading orvel.ini\n\n$$ No INI_PARAM_END command in orvel.ini. Abort.\n"},
        {"bc_chk_flag\nINI_PARAM_END\n", 1,
         "Reading orvel.ini\n$$ bc_chk_flag is given no value. Abort.\n"},
        {"", 1, "Reading orvel.ini\n\n$$ No INI_PARAM_END command in orvel.ini. Abort.\n"},
    };
    for (const auto &c : cases) {
        const Outcome o = read_ini(c.text);
        EXPECT_EQ(o.status, c.status) << c.text;
        EXPECT_EQ(o.out, c.out) << c.text;
    }
    read_ini("my_vg_sel_chk_flag=1 1\nINI_PARAM_END\n");
    EXPECT_EQ(dbg.vg_sel_chk_flag, 1);
    dbg = DebugFlags{};
}

Outcome read_settings(const std::string &lines) {
    return outcome_of([&] {
        read_eps_ctrl_params(
            stream_of("EPS_CONTROL_PARAMETERS{\n" + lines + "}EPS_CONTROL_PARAMETERS\n"));
    });
}

class Settings : public testing::Test {
protected:
    ~Settings() override { epsilon = EpsilonSettings{}; }
};

TEST_F(Settings, EachKeyReachesItsField) {
    const struct {
        const char *key;
        double EpsilonSettings::*real;
        double standard;
    } reals[] = {{"general_eps", &EpsilonSettings::general_eps, 1e-10},
                 {"eigen_eps", &EpsilonSettings::eigen_eps, 1e-8},
                 {"inv_eps", &EpsilonSettings::inv_eps, 1e-8},
                 {"degeneracy_eps", &EpsilonSettings::degeneracy_eps, 1e-8},
                 {"perturb_step", &EpsilonSettings::perturb_step, 0.001},
                 {"tol_chisq_abs", &EpsilonSettings::tol_chisq_abs, 0.01},
                 {"tol_chisq_rel", &EpsilonSettings::tol_chisq_rel, 0.001},
                 {"tol_parameter", &EpsilonSettings::tol_parameter, 0.01},
                 {"tol_lambda", &EpsilonSettings::tol_lambda, 10},
                 {"marq_lambda_max", &EpsilonSettings::marq_lambda_max, 1e6},
                 {"intensity_scaling", &EpsilonSettings::intensity_scaling, 1e4},
                 {"bc_accuracy", &EpsilonSettings::bc_accuracy, 1},
                 {"corr_threshold", &EpsilonSettings::corr_threshold, 0.5},
                 {"w_sq_coef", &EpsilonSettings::w_sq_coef, 1},
                 {"w_exponent_coef", &EpsilonSettings::w_exponent_coef, 0},
                 {"w_exponent", &EpsilonSettings::w_exponent, 4},
                 {"scale_rst_chisq", &EpsilonSettings::scale_rst_chisq, 1},
                 {"e_density_gmax_val", &EpsilonSettings::e_density_gmax_val, 12}};
    for (const auto &key : reals) {
        EXPECT_EQ(read_settings(std::string("my_") + key.key + "\t7.5\n").out, "") << key.key;
        for (const auto &other : reals) {
            EXPECT_EQ(epsilon.*other.real, &other == &key ? 7.5 : other.standard) << key.key;
        }
    }
    const struct {
        const char *key;
        int EpsilonSettings::*integer;
        int standard;
    } integers[] = {{"vg_select_flag", &EpsilonSettings::vg_select_flag, 1},
                    {"eigmat_func", &EpsilonSettings::eigmat_func, 0},
                    {"invmat_func", &EpsilonSettings::invmat_func, 0},
                    {"svd_flag", &EpsilonSettings::svd_flag, 1},
                    {"thickwidth_type", &EpsilonSettings::thickwidth_type, 2},
                    {"num_thickwidth", &EpsilonSettings::num_thickwidth, 0},
                    {"cal_range_flag", &EpsilonSettings::cal_range_flag, 0},
                    {"numh", &EpsilonSettings::numh, 20},
                    {"auto_multiplicity_off", &EpsilonSettings::auto_multiplicity_off, 0},
                    {"flag_modified_marquardt", &EpsilonSettings::flag_modified_marquardt, 1}};
    for (const auto &key : integers) {
        EXPECT_EQ(read_settings(std::string(key.key) + ",7\r\n").out, "") << key.key;
        for (const auto &other : integers) {
            EXPECT_EQ(epsilon.*other.integer, &other == &key ? 7 : other.standard) << key.key;
        }
    }
    // This key holds another one, which is tried first.
    read_settings("bc_invmat_func 3\n");
    EXPECT_EQ(epsilon.invmat_func, 3);
    EXPECT_EQ(epsilon.bc_invmat_func, 0);
}

TEST_F(Settings, BlockIsRequiredAndEnds) {
    EXPECT_EQ(read_settings("# c\n\nwhat 1\n").out, "$$ The next line could not be recognized.\n\n"
                                                    "$$ The next line could not be recognized.\n"
                                                    "what 1\n");
    const Outcome missing =
        outcome_of([] { read_eps_ctrl_params(stream_of("CRYSTAL_STRUCTURE_DATA{\n")); });
    EXPECT_EQ(missing.status, 1);
    EXPECT_EQ(missing.out, "$$ Data format error has been found at EPS_CONTROL_PARAMETERS{.\n"
                           "$$ Abort.\n$$ buf=CRYSTAL_STRUCTURE_DATA{\n");
    const Outcome open =
        outcome_of([] { read_eps_ctrl_params(stream_of("EPS_CONTROL_PARAMETERS{\nnumh 3\n")); });
    EXPECT_EQ(open.status, 1);
    EXPECT_EQ(open.out.rfind("$$ End of file while reading the settings block", 0), 0u);
}

TEST_F(Settings, AreListed) {
    read_settings("num_thickwidth 5\n");
    EXPECT_EQ(outcome_of([] { fprintf_eps_ctrl_params(stdout); }).out,
              "epsilon.vg_select_flag\t\t1\t\t# vg selection for each tilt (1:on, 0:off)\n"
              "epsilon.svd_flag\t\t1\t\t# 1:svd, 0:gaussjordan\n"
              "epsilon.num_thickwidth\t\t5\t\t# num_thickwidth*2+1 --> calc. points\n"
              "epsilon.thickwidth_type\t\t2\t\t# 0:rectangle, 1:triangle, 2:Gaussian\n"
              "epsilon.cal_range_flag\t\t0\t\t# 0:rectangle, 1:triangle, 2:Gaussian\n"
              "epsilon.auto_multiplicity_off\t0\t\t# 0:auto_multiplicity 1:manual.\n");
}

} // namespace
} // namespace orvel::test
