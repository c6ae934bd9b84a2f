// The program's spine: start-up, titles and the dispatch of the job that a parameter file names.
#pragma once

#include <cstdio>
#include <string>

namespace orvel {

// A whole run: titles, "orvel.ini", parameter-file name (argument or prompt), log, job, closing
// lines. Returns 0; every error ends the run with status 1.
int run_orvel(int argc, char **argv);

// Opens the parameter file, reads the job keyword and the settings block, writes the job's title
// to log and console and runs it. An unknown keyword ends the run with
// "##### Job mode %s is not supported. Abort.\n", after its settings block was read.
void mb_job(const std::string &param_file, const std::string &base_name, std::FILE *log);

// The banners, and the closing lines of the log.
void opening_title();
void opening_title_log(std::FILE *log);
void ending_title(std::FILE *log);

} // namespace orvel
