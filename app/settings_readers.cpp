#include "app/settings_readers.hpp"

#include "app/mb_mpi.hpp"
#include "app/run_settings.hpp"
#include "input/mb_input.hpp"
#include "input/utils.hpp"

#include <algorithm>
#include <cctype>
#include <cstring>
#include <filesystem>

namespace orvel {

namespace {

constexpr const char *ini_name = "orvel.ini";
constexpr int ini_line_limit = 80;
constexpr int settings_line_limit = 128;

// A key and the field it sets: the one of the two pointers that is not null. New keys go to the
// end of their table, where they cannot take a line from a key that was there before.
template <class Record> struct Key {
    const char *name;
    double Record::*real;
    int Record::*integer;

    constexpr Key(const char *n, double Record::*field) : name(n), real(field), integer(nullptr) {}
    constexpr Key(const char *n, int Record::*field) : name(n), real(nullptr), integer(field) {}
};

constexpr Key<DebugFlags> ini_keys[] = {
    {"eigval_dump_flag", &DebugFlags::eigval_dump_flag},
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
    {"propagation_flag", &DebugFlags::propagation_flag},
};

constexpr Key<EpsilonSettings> settings_keys[] = {
    {"general_eps", &EpsilonSettings::general_eps},
    {"eigen_eps", &EpsilonSettings::eigen_eps},
    {"inv_eps", &EpsilonSettings::inv_eps},
    {"degeneracy_eps", &EpsilonSettings::degeneracy_eps},
    {"perturb_step", &EpsilonSettings::perturb_step},
    {"tol_chisq_abs", &EpsilonSettings::tol_chisq_abs},
    {"tol_chisq_rel", &EpsilonSettings::tol_chisq_rel},
    {"tol_parameter", &EpsilonSettings::tol_parameter},
    {"tol_lambda", &EpsilonSettings::tol_lambda},
    {"marq_lambda_max", &EpsilonSettings::marq_lambda_max},
    {"intensity_scaling", &EpsilonSettings::intensity_scaling},
    {"bc_accuracy", &EpsilonSettings::bc_accuracy},
    {"corr_threshold", &EpsilonSettings::corr_threshold},
    {"w_sq_coef", &EpsilonSettings::w_sq_coef},
    {"w_exponent_coef", &EpsilonSettings::w_exponent_coef},
    {"w_exponent", &EpsilonSettings::w_exponent},
    {"scale_rst_chisq", &EpsilonSettings::scale_rst_chisq},
    {"e_density_gmax_val", &EpsilonSettings::e_density_gmax_val},
    {"vg_select_flag", &EpsilonSettings::vg_select_flag},
    {"eigmat_func", &EpsilonSettings::eigmat_func},
    {"invmat_func", &EpsilonSettings::invmat_func},
    {"bc_invmat_func", &EpsilonSettings::bc_invmat_func},
    {"svd_flag", &EpsilonSettings::svd_flag},
    {"thickwidth_type", &EpsilonSettings::thickwidth_type},
    {"num_thickwidth", &EpsilonSettings::num_thickwidth},
    {"cal_range_flag", &EpsilonSettings::cal_range_flag},
    {"numh", &EpsilonSettings::numh},
    {"auto_multiplicity_off", &EpsilonSettings::auto_multiplicity_off},
    {"flag_modified_marquardt", &EpsilonSettings::flag_modified_marquardt},
};

// A key counts wherever it stands, in a remark as well, and what is glued to it does not. A name
// before it, as of a record, is no remark.
void warn_other_key(const char *line, const char *key) {
    const std::string first = tokens_of(line).front();
    const auto in_name = [](unsigned char c) { return std::isalnum(c) || c == '_' || c == '.'; };
    if ((!first.ends_with(key) || !std::all_of(first.begin(), first.end(), in_name)) &&
        may_warn(Told::line)) {
        mb_fprintf(stdout, "$$ Warning: the line of %s sets %s, to its second word.\n",
                   first.c_str(), key);
    }
}

// A line has one key and its value; what follows is a remark.
template <class Record, std::size_t N>
void warn_second_key(const Key<Record> (&keys)[N], const char *line, const Key<Record> &found) {
    const std::vector<std::string> tokens = tokens_of(line);
    const auto is_second = [&](const Key<Record> &key) {
        return &key != &found && tokens.size() > 2 &&
               std::find(tokens.begin() + 2, tokens.end(), key.name) != tokens.end();
    };
    const auto *second = std::find_if(std::begin(keys), std::end(keys), is_second);
    if (second != std::end(keys) && may_warn(Told::line)) {
        mb_fprintf(stdout, "$$ Warning: %s is a second key on its line: it is not read.\n",
                   second->name);
    }
}

// Sets the field of the first key that the line holds; false when it holds none.
template <class Record, std::size_t N>
bool set_by_key(const Key<Record> (&keys)[N], const char *line, Record &record) {
    for (const Key<Record> &key : keys) {
        if (std::strstr(line, key.name) == nullptr) {
            continue;
        }
        warn_other_key(line, key.name);
        warn_second_key(keys, line, key);
        if (!has_second(line)) {
            input_exit("$$ %s is given no value. Abort.", key.name);
        }
        chk_number_count(1, 1, std::string(line, std::strcspn(line, "\n")), 1);
        if (key.real != nullptr) {
            record.*key.real = chk_finite(second_double(line), key.name);
        } else {
            record.*key.integer = second_int(line);
        }
        return true;
    }
    return false;
}

} // namespace

std::string ini_values() {
    std::string values;
    for (const Key<DebugFlags> &key : ini_keys) {
        values += std::to_string(dbg.*key.integer) + " ";
    }
    return values;
}

void read_ini_file() {
    dbg = DebugFlags{};
    std::error_code ignored;
    if (std::filesystem::status(ini_name, ignored).type() ==
        std::filesystem::file_type::not_found) {
        mb_fprintf(stdout, "Cannot find orvel.ini file.  No options.\n");
        return;
    }
    InputFile stream = fopen_chk_rmode(ini_name);
    mb_fprintf(stdout, "Reading orvel.ini\n");
    mb_fflush(stdout);

    char line[ini_line_limit];
    while (comment_skip_fgets(ini_line_limit, line, stream) != nullptr) {
        if (set_by_key(ini_keys, line, dbg)) {
            continue;
        }
        if (std::strstr(line, "INI_PARAM_END") != nullptr) {
            close_input(stream);
            return;
        }
        mb_fprintf(stdout, "%s is ignored.\n", rm_cr(line));
    }
    mb_fprintf(stdout, "\n$$ No INI_PARAM_END command in orvel.ini. Abort.\n");
    end_run(1);
}

void read_eps_ctrl_params(std::FILE *stream) {
    epsilon = EpsilonSettings{};
    chk_data("EPS_CONTROL_PARAMETERS{", stream);

    char line[settings_line_limit];
    while (comment_skip_fgets(settings_line_limit, line, stream) != nullptr) {
        if (std::strstr(line, "}EPS_CONTROL_PARAMETERS") != nullptr) {
            return;
        }
        if (!set_by_key(settings_keys, line, epsilon)) {
            mb_fprintf(stdout, "$$ The next line could not be recognized.\n%s\n", rm_cr(line));
        }
    }
    input_exit("$$ End of file while reading the settings block: no }EPS_CONTROL_PARAMETERS. "
               "Abort.");
}

void warn_settings() {
    constexpr double largest_eps = 1e-5;
    constexpr double largest_general_eps = 1e-6;
    if (epsilon.eigen_eps > largest_eps) {
        mb_fprintf(stdout, "$$ Warning: eigen_eps = %g costs digits of every result.\n",
                   epsilon.eigen_eps);
    }
    if (epsilon.general_eps > largest_general_eps) {
        mb_fprintf(
            stdout,
            "$$ Warning: general_eps = %g: scattering factors of small s^2 and the rim of the "
            "disk are taken as coarsely.\n",
            epsilon.general_eps);
    }
    if (epsilon.bc_accuracy <= 0.0) {
        mb_fprintf(stdout, "$$ Warning: bc_accuracy = %g keeps one branch.\n", epsilon.bc_accuracy);
    }
    if (epsilon.bc_accuracy > 1.0) {
        mb_fprintf(stdout, "$$ Warning: bc_accuracy = %g keeps all branches.\n",
                   epsilon.bc_accuracy);
    }
    if (epsilon.intensity_scaling <= 0.0) {
        mb_fprintf(stdout, "$$ Warning: intensity_scaling = %g.\n", epsilon.intensity_scaling);
    }
}

void fprintf_eps_ctrl_params(std::FILE *stream) {
    mb_fprintf(stream, "epsilon.vg_select_flag\t\t%d", epsilon.vg_select_flag);
    mb_fprintf(stream, "\t\t# vg selection for each tilt (1:on, 0:off)\n");
    mb_fprintf(stream, "epsilon.svd_flag\t\t%d", epsilon.svd_flag);
    mb_fprintf(stream, "\t\t# 1:svd, 0:gaussjordan\n");
    mb_fprintf(stream, "epsilon.num_thickwidth\t\t%d", epsilon.num_thickwidth);
    mb_fprintf(stream, "\t\t# num_thickwidth*2+1 --> calc. points\n");
    // The two share their comment.
    for (const auto &[name, value] : {std::pair("thickwidth_type", epsilon.thickwidth_type),
                                      std::pair("cal_range_flag", epsilon.cal_range_flag)}) {
        mb_fprintf(stream, "epsilon.%s\t\t%d", name, value);
        mb_fprintf(stream, "\t\t# 0:rectangle, 1:triangle, 2:Gaussian\n");
    }
    mb_fprintf(stream, "epsilon.auto_multiplicity_off\t%d", epsilon.auto_multiplicity_off);
    mb_fprintf(stream, "\t\t# 0:auto_multiplicity 1:manual.\n");
}

} // namespace orvel
