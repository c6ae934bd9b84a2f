// A small pattern whose runs are compared: the same conditions, solved in one way or another.
#pragma once

#include "support/conditions.hpp"
#include "support/program.hpp"

#include <map>
#include <string>

namespace orvel::test {

// GaAs tilted off [110], with Bethe beams.
inline Conditions small_disk() {
    return {.crystal = gaas.block(),
            .settings = "",
            .incidence = "1 1 0\n1 1 0\n0 0 2\n",
            .tilt = "0.1\n0\n",
            .grid = "2\n7\n0.5\n",
            .beams = "2\n100 1.2 0 0\n0.01 0.03 1e6\n"};
}

// The file of a CBED job turned into that of a coherent one.
inline std::string coherent(std::string cbed) {
    cbed.replace(0, std::string("SIM_MODE").size(), "SIM_COHERENT_MODE");
    return cbed + "COHERENT{\n1e7\n-400\n0.1 0.2 0.3\n}COHERENT\n";
}

// Runs "run.txt" under the keys of an orvel.ini, beside further files.
inline ProgramRun run_with_keys(const std::string &parameters, const std::string &keys,
                                std::map<std::string, std::string> files = {}) {
    files["run.txt"] = parameters;
    files["orvel.ini"] = keys + "INI_PARAM_END\n";
    return run_program({.files = std::move(files), .args = {"run.txt"}});
}

inline void expect_same_results(const ProgramRun &run, const ProgramRun &expected,
                                const std::string &what) {
    ASSERT_EQ(run.status, 0) << what << run.out;
    for (const char *name : {"run_rs0.txt", "run_rs1.txt", "run_kav.txt"}) {
        EXPECT_EQ(run.read(name), expected.read(name)) << what << name;
    }
}

} // namespace orvel::test
