// What is fed with arbitrary bytes: whole runs of each job, the settings file, the tables, and the
// small languages of constraints and symmetry operators.
#pragma once

#include <span>
#include <string>

namespace orvel::fuzz {

struct Target {
    const char *name;
    void (*run)(const std::string &input);
};

// One for each folder of the corpus.
std::span<const Target> targets();

// Null when there is none of that name.
const Target *find_target(const std::string &name);

// Enters a fresh working folder that holds the data tables, silences standard output, and bounds
// the memory that a run may ask for. Once, at the start.
void enter_work_folder();

// Leaves that folder and removes it.
void leave_work_folder();

// One run on the input. Fatal ends of the run are caught; process-wide settings are as at the
// start of the program. A run of more than a fraction of a second is interrupted at its next step.
void run_input(const Target &target, const std::string &input);

} // namespace orvel::fuzz
