// The spine: the output family, the console aids of long loops, and whole runs up to the job.
#include "app/mb_debug.hpp"
#include "app/mb_mpi.hpp"
#include "app/orvel.hpp"

#include "support/program.hpp"
#include "support/run_end.hpp"

#include <cstdio>
#include <sstream>

namespace orvel::test {
namespace {

const std::string settings = "EPS_CONTROL_PARAMETERS{\n}EPS_CONTROL_PARAMETERS\n";

bool contains(const std::string &text, const std::string &part) {
    return text.find(part) != std::string::npos;
}

TEST(OutputFamily, EndsRunsWithItsPrefixes) {
    const Outcome error = outcome_of([] { mb_error_exit(stdout, "%d beams", 3); });
    EXPECT_EQ(error.status, 1);
    EXPECT_EQ(error.out, "$$error: 3 beams\n");
    EXPECT_EQ(outcome_of([] { error_exit(stderr, "%s", "x"); }).err, "$$ERROR: x\n");
    const Outcome unwritable = outcome_of([] { mb_fopen_chk_wmode("/nowhere/x"); });
    EXPECT_EQ(unwritable.status, 1);
    EXPECT_EQ(unwritable.err, "$$ Cannot open /nowhere/x. Abort.\n");
    const Outcome full = outcome_of([] {
        OutputFile file = mb_fopen_chk_wmode("/dev/full");
        mb_fprintf(file, "x");
        mb_fclose(file);
    });
    EXPECT_EQ(full.status, 1);
    EXPECT_EQ(full.err, "$$ Cannot write /dev/full. Abort.\n");
    EXPECT_EQ(outcome_of([] { mb_fprintf_stdo(stderr, "%d", 1); }).out, "1");
    EXPECT_EQ(outcome_of([] { two_fprintf(stdout, stdout, "%d", 1); }).out, "11");
}

TEST(Progress, WritesEachMarkOnce) {
    const std::string marks = "5%10%15%20%25%30%35%40%45%50%55%60%65%70%75%80%85%90%95%";
    // A single step is over before a mark is due, and so needs no blanks.
    for (const int n : {1, 2, 7, 20, 100, 1000}) {
        const Outcome o = outcome_of([&] {
            for (int i = 0; i < n; ++i) {
                progress_indicator(i, n);
            }
        });
        EXPECT_EQ(o.out, (n == 1 ? "" : "    ") + marks) << n;
    }
}

TEST(Forecast, StartsForecastsAndEnds) {
    const Outcome o = outcome_of([] {
        exec_time_forecast(-1);
        exec_time_forecast(100);
        exec_time_forecast(0);
    });
    // The middle is " Maybe not so long.", or a time on a machine that stood still for a while.
    EXPECT_TRUE(o.out.starts_with("  Estimating exec. time ....  ")) << o.out;
    double minutes = -1.0;
    double hours = -1.0;
    const std::string end = o.out.substr(o.out.find("100%\n"));
    EXPECT_EQ(std::sscanf(end.c_str(), "100%%\n    elapsed time: %lg [min] = %lg [hour]\n",
                          &minutes, &hours),
              2)
        << o.out;
    EXPECT_NEAR(hours, minutes / 60.0, 1e-5 * minutes);
}

TEST(Titles, BannersAreFramed) {
    const std::string banner = outcome_of(opening_title).out;
    const std::string in_log = outcome_of([] { opening_title_log(stdout); }).out;
    std::istringstream lines(banner);
    for (std::string line; std::getline(lines, line);) {
        EXPECT_TRUE(line.starts_with("#####")) << line;
    }
    EXPECT_TRUE(contains(banner, "#####\n#####  [Single CPU version]\n#####\n"));
    const auto without_blanks = [](std::string text) {
        std::erase(text, ' ');
        return text;
    };
    EXPECT_EQ(without_blanks(banner), without_blanks(in_log));
    const std::string ending = outcome_of([] { ending_title(stdout); }).out;
    EXPECT_EQ(ending[0], '\n');
    EXPECT_TRUE(ending.ends_with("\n\nSee you again!!!\n"));
}

TEST(Program, DispatchesEveryJob) {
    const struct {
        const char *keyword;
        const char *title;
    } cases[] = {
        {"SIM_MODE", "##### Many-beam dynamical simulation #####\n"},
        {"SIM_COHERENT_MODE", "##### Many-beam dyn. sim. of coherent CBED patterns #####\n"},
        {"DISPSURF_MODE", "##### Calculation of dispersion surface #####\n"},
        {"BLOCH_MODE", "##### Calculation of Bloch states #####\n"},
        {"TFRINGE_MODE more words", "##### Calculation of thickness fringes #####\n"},
        {"E_DENSITY_PROJ_MODE", "##### Calculation of projected electron density #####\n"},
        {"POTENTIAL_REIM_PROJ_MODE", "##### Calculation of projected potential #####\n"},
        {"E_DENSITY_3D_UNITCELL_MODE", "##### Calculation of 3D electron density #####\n"},
        {"POTENTIAL_REIM_3D_UNITCELL_MODE",
         "##### Calculation of 3D electrostatic potential #####\n"},
    };
    for (const auto &c : cases) {
        // The job finds no block of its own.
        const ProgramRun run = run_parameter_file(std::string(c.keyword) + "\r\n" + settings);
        const std::string head = "parameter_file: run.txt\n" + std::string(c.title);
        EXPECT_TRUE(contains(run.out, head)) << run.out;
        EXPECT_TRUE(contains(run.read("run_log.txt"), head)) << run.read("run_log.txt");
        EXPECT_TRUE(run.read("run_log.txt").starts_with("#####  Ver. 3.7v4e updated on 110530\n"));
        EXPECT_TRUE(run.out.starts_with("\n#####  Welcome to ORVEL\n"
                                        "#####  Ver. 3.7v4e updated on 110530\n#####\n"));
    }
}

TEST(Program, EndsWithOneMessageOnWhatItCannotRun) {
    const std::string no_settings = "$$ Data format error has been found at "
                                    "EPS_CONTROL_PARAMETERS{.\n$$ Abort.\n$$ buf=\n";
    const struct {
        const char *name;
        ProgramInput input;
        std::string out_end;
        std::string err;
    } cases[] = {
        {"keyword in lower case",
         {.files = {{"a.txt", "sim_mode\n" + settings}}, .args = {"a.txt"}},
         "##### Job mode sim_mode is not supported. Abort.\n",
         ""},
        {"keyword with a tail",
         {.files = {{"a.txt", "SIM_MODES\n" + settings}}, .args = {"a.txt"}},
         "##### Job mode SIM_MODES is not supported. Abort.\n",
         ""},
        {"no settings", {.files = {{"a.txt", "NO_MODE\n"}}, .args = {"a.txt"}}, no_settings, ""},
        {"empty file",
         {.files = {{"a.txt", ""}}, .args = {"a.txt"}},
         "$$ End of file while reading the job keyword. Abort.\n",
         ""},
        {"two arguments",
         {.args = {"a", "b"}},
         "Usage: orvel parameter_file (with extension)\n",
         ""},
        {"missing file",
         {.args = {"a.txt"}},
         "parameter_file: a.txt\n",
         "$$ (fopen_chk_rmode) Cannot open a.txt. Abort.\n"},
        {"directory",
         {.files = {{"d/x", ""}}, .args = {"d"}},
         "parameter_file: d\n",
         "$$ (fopen_chk_rmode) Cannot open d. Abort.\n"},
        {"no base name",
         {.args = {"..."}},
         "$$ \"...\" has no part before an extension to name the results by. Abort.\n",
         ""},
        {"long name",
         {.args = {std::string(300, 'x')}},
         "$$ File name of 300 characters: at most 255 can be used. Abort.\n",
         ""},
        {"long typed name",
         {.standard_input = std::string(300, 'x') + "\n"},
         "$$ File name of 300 characters: at most 255 can be used. Abort.\n",
         ""},
        {"long log name",
         {.args = {std::string(250, 'x')}},
         "$$ File name of 258 characters: at most 255 can be used. Abort.\n",
         ""},
        {"nothing typed",
         {},
         ">>$$ End of file while reading the name of the parameter file. Abort.\n",
         ""},
        {"full output",
         {.args = {"a.txt"}, .standard_output = "/dev/full"},
         "",
         "$$ Cannot write standard output. Abort.\n"},
    };
    for (const auto &c : cases) {
        const ProgramRun run = run_program(c.input);
        EXPECT_EQ(run.status, 1) << c.name;
        EXPECT_TRUE(run.out.ends_with(c.out_end)) << c.name << ":\n" << run.out;
        EXPECT_EQ(run.err, c.err) << c.name;
    }
}

TEST(Program, PromptsForTheName) {
    const ProgramRun run = run_program({.files = {{"data.run.txt", "X\n" + settings}},
                                        .standard_input = "# comment\n data.run.txt rest\n"});
    EXPECT_TRUE(contains(run.out, "Cannot find orvel.ini file.  No options.\n"
                                  "Parameter file (with file extension) >>"
                                  "parameter_file: data.run.txt\n"));
    EXPECT_TRUE(contains(run.read("data_log.txt"), "parameter_file: data.run.txt\n"));
}

TEST(Program, ReadsItsFlagsFirst) {
    const ProgramRun run =
        run_program({.files = {{"orvel.ini", "chk_data_dump_flag 1\nINI_PARAM_END\n"},
                               {"a.txt", "X\n" + settings}},
                     .args = {"a.txt"}});
    EXPECT_TRUE(contains(run.out, "Reading orvel.ini\nparameter_file: a.txt\n"
                                  "$$ chk_data: EPS_CONTROL_PARAMETERS{ ok.\n"));
}

} // namespace
} // namespace orvel::test
