// What is known about a run beside its pictures: crystal, zone, voltage and where it is from.
#pragma once

#include "viewer/cbed_result.hpp"
#include "viewer/kav_script.hpp"

#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace orvel {

struct Facts {
    std::string title;                                      // base name of the run
    std::vector<std::pair<std::string, std::string>> lines; // label and value, UTF-8
    std::optional<double> wavelength;                       // A, where the voltage is known
    std::optional<double> g1_length;                        // |base_g1|, 1/A
};

// Facts of a run. `pattern` is that of a CBED run, whose files name crystal and zone, else null.
// `given_kvolts` is the voltage of the command line and goes first; else it is that of the run's
// parameter file, provided that the file still describes the incidence of the results.
Facts facts_of(const KavScript &script, const CbedPattern *pattern,
               std::optional<double> given_kvolts);

// "1 -1 0".
std::string hkl_text(const Hkl &g);

// "%.*g" of a number.
std::string number_text(double value, int digits = 6);

} // namespace orvel
