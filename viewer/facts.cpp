#include "viewer/facts.hpp"

#include "viewer/run_info.hpp"

#include <cmath>
#include <cstdio>

namespace orvel {

namespace {

std::string cell_text(const CellConstants &cell) {
    const auto &[a, b, c, alpha, beta, gamma] = cell;
    if (a == b && b == c && alpha == 90.0 && beta == 90.0 && gamma == 90.0) {
        return "a = b = c = " + number_text(a) + " \u00c5";
    }
    return "a, b, c = " + number_text(a) + ", " + number_text(b) + ", " + number_text(c) +
           " \u00c5; \u03b1, \u03b2, \u03b3 = " + number_text(alpha) + ", " + number_text(beta) +
           ", " + number_text(gamma) + "\u00b0";
}

std::string zone_text(const Uvw &t) {
    char text[64];
    std::snprintf(text, sizeof text, "[%d %d %d]", t.u, t.v, t.w);
    return text;
}

// The numbers of a result file have six digits.
bool near(double a, double b) {
    return std::abs(a - b) <= 1e-5 * (1.0 + std::abs(b));
}

bool describes(const RunInfo &info, const CbedPattern &pattern) {
    return info.incidence == pattern.incidence && near(pattern.base_g1.h, info.base_g1.h) &&
           near(pattern.base_g1.k, info.base_g1.k) && near(pattern.base_g1.l, info.base_g1.l) &&
           near(pattern.H_tilt, info.H_tilt) && near(pattern.G_tilt, info.G_tilt);
}

std::string crystal_text(const RunInfo &info) {
    std::string text;
    for (const std::string &element : info.elements) {
        text += (text.empty() ? "" : ", ") + element;
    }
    if (info.space_group > 0) {
        text += text.empty() ? "space group " : ", space group ";
        text += std::to_string(info.space_group);
    }
    return text;
}

} // namespace

std::string hkl_text(const Hkl &g) {
    return std::to_string(g.h) + " " + std::to_string(g.k) + " " + std::to_string(g.l);
}

std::string number_text(double value, int digits) {
    char text[64];
    std::snprintf(text, sizeof text, "%.*g", digits, value);
    return text;
}

Facts facts_of(const KavScript &script, const CbedPattern *pattern,
               std::optional<double> given_kvolts) {
    Facts facts;
    facts.title = base_name_of(script.path);
    std::optional<RunInfo> info = read_run_info(script.path);
    if (info && pattern != nullptr && !describes(*info, *pattern)) {
        info.reset();
    }
    std::optional<CellConstants> cell = info ? info->cell : std::nullopt;
    std::optional<RealHkl> base_g1 = info ? std::optional(info->base_g1) : std::nullopt;
    if (pattern != nullptr) {
        cell = pattern->cell;
        base_g1 = pattern->base_g1;
    }
    if (info && !crystal_text(*info).empty()) {
        facts.lines.emplace_back("Crystal", crystal_text(*info));
    }
    if (cell) {
        facts.lines.emplace_back("Cell", cell_text(*cell));
    }
    if (pattern != nullptr || info) {
        facts.lines.emplace_back(
            "Zone", zone_text(pattern != nullptr ? pattern->incidence : info->incidence));
    }
    if (given_kvolts || info) {
        const double kvolts = given_kvolts ? *given_kvolts : info->acc_voltage;
        facts.lines.emplace_back(
            "Voltage", number_text(kvolts) + " kV (from " +
                           (given_kvolts ? "the command line" : info->parameter_file) + ")");
        facts.wavelength = wavelength(kvolts);
    } else {
        facts.lines.emplace_back("Voltage", pattern != nullptr
                                                ? "not known (kavun --voltage KV gives mrad)"
                                                : "not known");
    }
    if (cell && base_g1) {
        const double length = std::sqrt(sq_abs(*base_g1, bravai(*cell)));
        facts.g1_length =
            std::isfinite(length) && length > 0.0 ? std::optional(length) : std::nullopt;
    }
    return facts;
}

} // namespace orvel
