// Parameter files of whole runs, put together from their parts.
#pragma once

#include "support/crystals.hpp"

#include <sstream>
#include <string>
#include <vector>

namespace orvel::test {

// Parameter files of the jobs that solve tilts, over the same crystal and incidence.
struct Conditions {
    std::string crystal = aluminium.block();
    std::string settings = "";
    std::string incidence = "0 0 1\n0 0 1\n2 0 0\n"; // zone axis, surface normal, tilt axis
    std::string tilt = "-1\n0\n";
    std::string grid = "0\n1\n0\n";
    std::string beams = "0\n2 0\n0 0 0\n2 0 0\n";

    std::string job(const std::string &mode, const std::string &name,
                    const std::string &rest) const {
        return mode + "\nEPS_CONTROL_PARAMETERS{\n" + settings + "}EPS_CONTROL_PARAMETERS\n" +
               crystal + name + "_CALCULATION_CONDITION{\nINCIDENT_BEAM{\n" + incidence + tilt +
               "100\n}INCIDENT_BEAM\nCALC_KXY_RANGE{\n" + grid + "}CALC_KXY_RANGE\nBEAM_SEARCH{\n" +
               beams + "}BEAM_SEARCH\n" + rest + "}" + name + "_CALCULATION_CONDITION\n";
    }
    static std::string reflections(const std::string &list) {
        return "OUTPUT_REFLEX{\n" + list + "}OUTPUT_REFLEX\n";
    }
    std::string tfringe(const std::string &range, const std::string &out = "0\n") const {
        return job("TFRINGE_MODE", "TFRINGE",
                   "CALC_T_RANGE{\n" + range + "}CALC_T_RANGE\n" + reflections(out));
    }
    std::string with_thicknesses(const std::string &mode, const std::string &name,
                                 const std::string &branches, const std::string &out,
                                 const std::string &thicknesses) const {
        return job(mode, name,
                   branches + reflections(out) + "OUTPUT_THICKNESS{\n" + thicknesses +
                       "}OUTPUT_THICKNESS\n");
    }
    std::string dispsurf(const std::string &branches, const std::string &out,
                         const std::string &thicknesses) const {
        return with_thicknesses("DISPSURF_MODE", "DISPSURF",
                                "OUTPUT_BRANCH{\n" + branches + "}OUTPUT_BRANCH\n", out,
                                thicknesses);
    }
    std::string cbed(const std::string &out, const std::string &thicknesses) const {
        return with_thicknesses("SIM_MODE", "SIM", "", out, thicknesses);
    }
    std::string bloch(const std::string &map, const std::string &branches) const {
        return job("BLOCH_MODE", "BLOCH",
                   "CALC_RXY_RANGE{\n" + map + "}CALC_RXY_RANGE\nOUTPUT_BRANCH{\n" + branches +
                       "}OUTPUT_BRANCH\n");
    }
};

// The structure factor of one of a Friedel pair alone, both beams at resonance: a matrix without a
// full set of eigenvectors.
inline Conditions without_eigenvectors() {
    Conditions conditions;
    conditions.crystal =
        CrystalText{"", "1\n4\n4\n4\n90\n90\n90\n", "1\n" + iso_site("Al", "0\n0\n0\n", 0.5),
                    "2\n1\n1 0 0\n3\n0\n-1 0 0\n0\n0\n"}
            .block();
    conditions.settings = "eigmat_func 1\n";
    conditions.incidence = "0 0 1\n0 0 1\n1 0 0\n";
    conditions.beams = "0\n2 0\n0 0 0\n1 0 0\n";
    return conditions;
}

// The lines of a table that begin with a number, as numbers.
inline std::vector<std::vector<double>> numbers(const std::string &text) {
    std::vector<std::vector<double>> rows;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        std::istringstream fields(line);
        std::vector<double> row;
        for (double x = 0.0; fields >> x;) {
            row.push_back(x);
        }
        if (!row.empty()) {
            rows.push_back(row);
        }
    }
    return rows;
}

} // namespace orvel::test
