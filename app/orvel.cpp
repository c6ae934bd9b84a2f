#include "app/orvel.hpp"

#include "app/mb_debug.hpp"
#include "app/mb_mpi.hpp"
#include "app/ranks.hpp"
#include "app/run_settings.hpp"
#include "app/settings_readers.hpp"
#include "app/surroundings.hpp"
#include "crystal/data_tables.hpp"
#include "input/mb_input.hpp"
#include "input/utils.hpp"
#include "jobs/jobs.hpp"
#include "jobs/tilt_checkpoint.hpp"

#include <cstdio>
#include <filesystem>

namespace orvel {

namespace {

constexpr const char *version_text = "#####  Ver. 3.7v4e updated on 110530";

// Length limit of the parameter-file name, the base name and the log name, with the closing zero.
constexpr std::size_t name_limit = 256;

// A typed line is read this far, so that a name that is too long is seen to be so.
constexpr int prompt_limit = 4096;

constexpr struct {
    const char *keyword;
    const char *title;
    JobDriver driver;
    bool shared = false; // among ranks; rank 0 does the others alone
} jobs[] = {
    {"SIM_MODE", "##### Many-beam dynamical simulation #####\n", mb_simulation, true},
    {"SIM_COHERENT_MODE", "##### Many-beam dyn. sim. of coherent CBED patterns #####\n",
     mb_sim_coherent, true},
    {"DISPSURF_MODE", "##### Calculation of dispersion surface #####\n", mb_dispersion_surface},
    {"BLOCH_MODE", "##### Calculation of Bloch states #####\n", mb_bloch_state},
    {"TFRINGE_MODE", "##### Calculation of thickness fringes #####\n", mb_tfringe},
    {"E_DENSITY_PROJ_MODE", "##### Calculation of projected electron density #####\n",
     mb_electron_density_proj},
    {"POTENTIAL_REIM_PROJ_MODE", "##### Calculation of projected potential #####\n",
     mb_potential_reim_proj},
    {"E_DENSITY_3D_UNITCELL_MODE", "##### Calculation of 3D electron density #####\n",
     mb_electron_density_3d_unitcell},
    {"POTENTIAL_REIM_3D_UNITCELL_MODE", "##### Calculation of 3D electrostatic potential #####\n",
     mb_potential_reim_3d_unitcell},
};

void chk_name_length(const std::string &name) {
    if (name.size() >= name_limit) {
        input_exit("$$ File name of %zu characters: at most %zu can be used. Abort.", name.size(),
                   name_limit - 1);
    }
}

// As rank 0 was told it.
std::string parameter_file_name(int argc, char **argv) {
    if (ranks().rank() != 0) {
        return ranks().share({});
    }
    if (argc > 2) {
        mb_fprintf(stdout, "Usage: orvel parameter_file (with extension)\n");
        end_run(1);
    }
    if (argc == 2) {
        return ranks().share(argv[1]);
    }
    mb_fprintf(stdout, "Parameter file (with file extension) >>");
    mb_fflush(stdout);
    return ranks().share(fget_1s(stdin, "the name of the parameter file", prompt_limit));
}

std::string base_name_of(const std::string &param_file) {
    std::string base_name = remove_extention(param_file);
    if (base_name.empty()) {
        input_exit("$$ \"%s\" has no part before an extension to name the results by. Abort.",
                   param_file.c_str());
    }
    return base_name;
}

// What a pipe holds comes to one reader: the other ranks would wait for it.
void chk_every_rank_can_read(const std::string &param_file) {
    std::error_code ignored;
    if (ranks().size() > 1 && std::filesystem::is_fifo(param_file, ignored)) {
        input_exit("$$ %s is a pipe, which %d ranks cannot all read. Abort.", param_file.c_str(),
                   ranks().size());
    }
}

void write_banner(std::FILE *stream, const char *gap) {
    mb_fprintf(stream, "#####\n");
    mb_fprintf(stream, "#####%sORVEL: many-beam dynamical electron diffraction by Bloch waves\n",
               gap);
    mb_fprintf(stream, "#####\n");
    mb_fprintf(stream, "#####%sWritten and maintained by the orvel developers.\n", gap);
    mb_fprintf(stream, "#####%sMethods and data: the publications cited in the sources.\n", gap);
    mb_fprintf(stream, "#####\n#####  [Single CPU version]\n#####\n");
}

} // namespace

void opening_title() {
    write_banner(stdout, "  ");
}

void opening_title_log(std::FILE *log) {
    write_banner(log, " ");
}

void ending_title(std::FILE *log) {
    mb_fprintf(log, "\n");
    mb_fprintf(log, "If these results enter a publication, please cite the reference publication\n"
                    "of orvel and give the version at the head of this file.\n");
    mb_fprintf(log, "\nSee you again!!!\n");
}

void mb_job(const std::string &param_file, const std::string &base_name, std::FILE *log) {
    dbg.base_name = base_name;
    restart_unnamed();
    restart_warnings();
    InputFile stream = fopen_chk_rmode(param_file);
    const std::string keyword = fget_1s(stream, "the job keyword");
    chk_same_as_rank_0(keyword, "The job of the parameter file");
    read_eps_ctrl_params(stream);
    warn_settings();
    for (const auto &job : jobs) {
        if (keyword == job.keyword) {
            mb_fprintf_stdo(log, "%s", job.title);
            if (job.shared || ranks().rank() == 0) {
                job.driver(stream, log, base_name);
            }
            return;
        }
    }
    if (keyword.starts_with("\xef\xbb\xbf")) {
        mb_fprintf(stdout,
                   "$$ The parameter file begins with a byte order mark, which is not seen: "
                   "save it without.\n");
    }
    mb_fprintf(stdout, "##### Job mode %s is not supported. Abort.\n", keyword.c_str());
    end_run(1);
}

int run_orvel(int argc, char **argv) {
    settle_surroundings();
    mb_fprintf(stdout, "\n#####  Welcome to ORVEL\n");
    mb_fprintf(stdout, "%s\n", version_text);
    opening_title();
    chk_standard_output();

    read_ini_file();
    chk_same_as_rank_0(ini_values(), "orvel.ini");
    const std::string param_file = parameter_file_name(argc, argv);
    catch_interrupts(); // from the first file on; the question for a name ends at once
    chk_name_length(param_file);
    chk_every_rank_can_read(param_file);
    const std::string base_name = base_name_of(param_file);
    const std::string log_name = base_name + "_log.txt";
    chk_name_length(log_name);

    protect_input(param_file);
    for (const char *table : {space_group_table, electron_table, xray_table}) {
        protect_data_file(table);
    }
    protect_checkpoint(base_name);
    OutputFile log = mb_fopen_chk_wmode(log_name, Writing::in_place);
    std::setvbuf(log, nullptr, _IOLBF, BUFSIZ); // a run that is killed is told of too
    protect_input(log_name);                    // from what else the run writes
    mb_fprintf(log, "%s\n", version_text);
    opening_title_log(log);
    mb_fprintf_stdo(log, "parameter_file: %s\n", param_file.c_str());
    mb_job(param_file, base_name, log);

    ending_title(log);
    mb_fclose(log);
    mb_fprintf(stdout, "See \"%s\".  See you again!!\n\n", log_name.c_str());
    chk_standard_output();
    return 0;
}

} // namespace orvel
