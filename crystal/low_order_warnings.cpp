#include "crystal/low_order_warnings.hpp"

#include "app/mb_debug.hpp"
#include "app/mb_mpi.hpp"
#include "app/run_settings.hpp"
#include "crystal/equivalents.hpp"
#include "crystal/strct_f.hpp"
#include "input/mb_input.hpp"

#include <algorithm>
#include <cmath>
#include <limits>

namespace orvel {

namespace {

bool is_forbidden(const Hkl &g, const SpaceGroup &group) {
    constexpr double visible = 1e-3; // the table has translations of seven digits
    const auto extinguishes = [&](const SymOp &op) {
        const double turns = g.h * op[9] + g.k * op[10] + g.l * op[11];
        return gen_reflex(g, op) == g && std::fabs(turns - std::round(turns)) > visible;
    };
    return extinction_rule(g, group.lattice_type, group.rhombohedral_flag) != 0 ||
           std::any_of(group.ops.begin(), group.ops.end(), extinguishes);
}

// By more than two decimals leave open.
bool differ(complex F, complex other) {
    constexpr double visible = 0.02; // A; of a larger one, its fraction
    return c_abs(c_sub(F, other)) > visible * std::max(1.0, c_abs(F));
}

// Given structure factors with all their equivalents, in the same order.
struct GivenFactors {
    ReflectionTable total;
    ReflectionTable elastic;
};

// A potential has both of a Friedel pair, and its elastic part is real. A pair is told of once.
// most_absorptive: A.
void warn_friedel_mate(const Hkl &g, const GivenFactors &given, int lof_type,
                       double most_absorptive) {
    const Hkl mate = {-g.h, -g.k, -g.l};
    const int at = search_g_table(g, given.total);
    const int at_mate = search_g_table(mate, given.total);
    const auto tell = [&](const char *format) {
        if (may_warn(Told::structure_factor)) {
            mb_fprintf(stdout, format, g.h, g.k, g.l, mate.h, mate.k, mate.l);
        }
    };
    if (at_mate < 0) {
        tell("$$ Warning: a structure factor is given for %d %d %d, but none for %d %d %d, which "
             "keeps that of the tables.\n");
    }
    if (at < 0 || at_mate < at) {
        return;
    }
    const bool is_origin = g == mate;
    if (lof_type != 1 && differ(given.elastic.F[at_mate], c_conj(given.elastic.F[at]))) {
        tell(is_origin ? "$$ Warning: the elastic structure factor of %d %d %d is not real.\n"
                       : "$$ Warning: the elastic structure factors of %d %d %d and %d %d %d are "
                         "not conjugate: no real potential has them.\n");
    }
    // F_g - conj(F_-g) is twice the part of absorption.
    const complex twice = c_sub(given.total.F[at], c_conj(given.total.F[at_mate]));
    if (lof_type == 1 && 0.5 * c_abs(twice) > most_absorptive) {
        tell(
            is_origin
                ? "$$ Warning: the imaginary part of the structure factor of %d %d %d is more than "
                  "absorption explains.\n"
                : "$$ Warning: the structure factors of %d %d %d and %d %d %d differ by more than "
                  "absorption explains.\n");
    }
}

// kV, where that of the run, which is read later, makes little difference.
constexpr double usual_voltage = 100.0;

bool is_tabled(const Csd &csd) {
    return std::all_of(csd.sites.begin(), csd.sites.end(), [](const AtomSite &site) {
        return site.af == 0 || site.af == 1; // any other ends the run where it is needed
    });
}

// Of a structure factor, A, generously: twice that at the lowest voltage of use.
double largest_absorptive_part(const Hkl &g, const Csd &csd) {
    return is_tabled(csd) ? std::max(1.0, 2.0 * c_abs(calc_Fg_inela(g, csd, 20.0)))
                          : std::numeric_limits<double>::infinity();
}

// Bonds change structure factors by less, and mistakes by more: another sign or unit, a modulus,
// another cell or temperature factor. F: the given one, total (lof_type 1) or elastic; F_0: that of
// 000.
void warn_far_from_tables(const Hkl &g, complex F, const Csd &csd, double F_0) {
    constexpr double far = 0.5;        // of the tables' own
    constexpr double noticeable = 0.1; // of F_0
    if (!is_tabled(csd)) {
        return;
    }
    const auto [tabled, status] = calc_Fg_ela(g, csd, usual_voltage);
    const double off = c_abs(c_sub(F, tabled));
    const double absorptive = csd.lof_type == 1 ? largest_absorptive_part(g, csd) : 0.0;
    if (status == 0 && off > far * c_abs(tabled) && off > std::max(noticeable * F_0, absorptive) &&
        may_warn(Told::structure_factor)) {
        mb_fprintf(stdout,
                   "$$ Warning: the structure factor given for %d %d %d, %.4g %+.4g i A, is far "
                   "from that of the tables, %.4g %+.4g i A.\n",
                   g.h, g.k, g.l, F.re, F.im, tabled.re, tabled.im);
    }
}

// Of an absorptive part that is given apart (lof_type 3 and 4); both in A. most_of_000: the largest
// that counts for 000.
void warn_absorption(const Hkl &g, double given, const Csd &csd, double most_of_000) {
    // Where those of the sites cancel, what is left of them does not measure them.
    const double most = std::max(largest_absorptive_part(g, csd), 0.25 * most_of_000);
    if (given > most && may_warn(Told::structure_factor)) {
        mb_fprintf(stdout,
                   "$$ Warning: the absorptive part of the structure factor given for %d %d %d, %g "
                   "A, is more than absorption explains.\n",
                   g.h, g.k, g.l, given);
    }
}

} // namespace

void warn_low_order_factors(const Csd &csd) {
    if (csd.low_order.empty()) {
        return;
    }
    constexpr double visible = 1e-3; // A
    GivenFactors given;
    const double F_0 = calc_F_0_re(csd);
    const double most_absorptive = largest_absorptive_part({}, csd);
    int number = 0;
    for (const LowOrderF &entry : csd.low_order) {
        chk_interrupt(number++, static_cast<int>(csd.low_order.size())); // sums over all atoms
        const Hkl &g = entry.hkl;
        const complex F = given_part(entry, csd);
        const complex elastic = given_elastic_part(entry, csd);
        if (c_abs(F) > F_0 && g != Hkl{} && may_warn(Told::structure_factor)) {
            mb_fprintf(stdout,
                       "$$ Warning: the structure factor given for %d %d %d is larger than that of "
                       "0 0 0, %g A.\n",
                       g.h, g.k, g.l, F_0);
        }
        if (c_abs(F) > visible && is_forbidden(g, csd.group) && may_warn(Told::structure_factor)) {
            mb_fprintf(stdout,
                       "$$ Warning: the space group forbids the reflection %d %d %d, whose "
                       "structure factor is given.\n",
                       g.h, g.k, g.l);
        }
        const int before = search_g_table(g, given.total);
        if (before >= 0 && differ(given.total.F[before], F) && may_warn(Told::structure_factor)) {
            mb_fprintf(stdout,
                       "$$ Warning: the structure factor given for %d %d %d does not count: it "
                       "differs from that of an equivalent before it.\n",
                       g.h, g.k, g.l);
        }
        stock_fg_tbl_sym(g, F, given.total, csd.group.ops);
        stock_fg_tbl_sym(g, elastic, given.elastic, csd.group.ops);
        warn_far_from_tables(g, csd.lof_type == 1 ? F : elastic, csd, F_0);
        if (csd.lof_type >= 3) {
            warn_absorption(g, c_abs(c_sub(F, elastic)), csd, most_absorptive);
        }
        const auto is_known = [&](const SymOp &op) {
            return search_g_table(gen_reflex(g, op), given.total) >= 0;
        };
        if (!std::all_of(csd.group.ops.begin(), csd.group.ops.end(), is_known)) {
            mb_fprintf(stdout,
                       "$$ Warning: structure factors given from %d %d %d on do not count: with "
                       "their equivalents they are more than %d.\n",
                       g.h, g.k, g.l, given.total.capacity);
            return;
        }
    }
    for (const LowOrderF &entry : csd.low_order) {
        warn_friedel_mate(entry.hkl, given, csd.lof_type, most_absorptive);
    }
}

void warn_gain(const Csd &csd, double voltage) {
    for (const LowOrderF &entry : csd.low_order) {
        if (entry.hkl == Hkl{}) {
            const complex F = lofg_to_fg(entry, csd, voltage);
            if (c_sub(F, given_elastic_part(entry, csd)).im < 0.0) {
                mb_fprintf(stdout, "$$ Warning: the absorptive part of the structure factor of 0 0 "
                                   "0 is negative: the crystal gives electrons.\n");
            }
            return; // an equivalent behind it does not count
        }
    }
}

} // namespace orvel
