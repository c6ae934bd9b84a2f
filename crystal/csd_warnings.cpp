#include "crystal/csd_warnings.hpp"

#include "app/mb_mpi.hpp"
#include "app/run_settings.hpp"
#include "crystal/atom_positions.hpp"
#include "crystal/constraint.hpp"
#include "crystal/csd_parameters.hpp"
#include "crystal/equivalents.hpp"
#include "crystal/strct_f.hpp"
#include "input/mb_input.hpp"

#include <algorithm>
#include <cmath>
#include <limits>
#include <string_view>
#include <unordered_map>
#include <utility>

namespace orvel {

namespace {

constexpr double visible_change = 1e-3; // of a length, of a structure factor

void warn_cell(const Csd &csd) {
    if (std::any_of(csd.group.ops.begin(), csd.group.ops.end(), [&](const SymOp &op) {
            return !keeps_lengths(op, csd.metric, visible_change);
        })) {
        mb_fprintf(stdout, "$$ Warning: the cell lacks the symmetry of its space group: "
                           "reflections of different length are taken as equivalent.\n");
    }
}

// T = exp(-h beta h) must fall in every direction.
bool is_positive(const std::array<double, 6> &beta) {
    const auto &[b11, b22, b33, b12, b13, b23] = beta;
    const double minor = b11 * b22 - b12 * b12;
    const double determinant =
        b33 * minor + 2.0 * b12 * b13 * b23 - b11 * b23 * b23 - b22 * b13 * b13;
    return b11 >= 0.0 && b22 >= 0.0 && b33 >= 0.0 && minor >= 0.0 && determinant >= 0.0;
}

void warn_site(std::size_t number, const AtomSite &site, const BkTable &table) {
    constexpr double far = 1000.0; // cell edges
    if ((site.occupancy < 0.0 || site.occupancy > 1.0) && may_warn(Told::site)) {
        mb_fprintf(stdout, "$$ Warning: the occupancy of atom %zu is %g.\n", number,
                   site.occupancy);
    }
    const double least_B = table.gm[0];
    const double largest_B = table.gm[5];
    if (site.B > largest_B && may_warn(Told::site)) {
        mb_fprintf(stdout,
                   "$$ Warning: B of atom %zu is %g, beyond the table of absorption, which ends at "
                   "%g.\n",
                   number, site.B, largest_B);
    }
    // An atom that does not move absorbs nothing.
    if (site.B < least_B && site.B != 0.0 && may_warn(Told::site)) {
        mb_fprintf(stdout,
                   "$$ Warning: B of atom %zu is %g, below the table of absorption, which begins "
                   "at %g: none is taken.\n",
                   number, site.B, least_B);
    }
    if (site.bf == 1 && !is_positive(site.beta) && may_warn(Told::site)) {
        mb_fprintf(stdout,
                   "$$ Warning: the displacements of atom %zu are imaginary in some "
                   "direction.\n",
                   number);
    }
    for (const double x : site.position()) {
        if (std::fabs(x) > far && may_warn(Told::site)) {
            mb_fprintf(stdout, "$$ Warning: a coordinate of atom %zu is %g cell edges.\n", number,
                       x);
        }
    }
}

double distance(const Position &p, const Position &q, const Metric &metric) {
    const auto shift = [&](std::size_t i) { return p[i] - q[i] - std::round(p[i] - q[i]); };
    return abs_r_uvw({shift(0), shift(1), shift(2)}, metric);
}

// The atoms within a small distance of a site's first one, itself among them.
struct Crowd {
    double occupancy = 0.0;   // together
    std::size_t farthest = 0; // site of the farthest of them
    double distance = 0.0;    // of that one, A
};

Crowd atoms_around(std::size_t site, std::size_t begin, std::size_t end, const Csd &csd) {
    constexpr double nearest = 0.4; // A
    const Position place = csd.sites[site].position();
    Crowd crowd = {0.0, site, 0.0};
    for (std::size_t i = begin; i < end; ++i) {
        std::vector<Position> near;
        for (const SymOp &op : csd.group.ops) {
            const Position image = gen_pos(csd.sites[i].position(), op);
            if (distance(image, place, csd.metric) < nearest) {
                near.push_back(image);
            }
        }
        if (epsilon.auto_multiplicity_off == 0) {
            special_pos_check(near);
        }
        for (const Position &image : near) {
            crowd.occupancy += csd.sites[i].occupancy;
            const double d = distance(image, place, csd.metric);
            if (d > crowd.distance || (i != site && !(d < crowd.distance))) {
                crowd.farthest = i;
                crowd.distance = d;
            }
        }
    }
    return crowd;
}

// Places that hold more than one atom: positions a little off a special one, or a site that is
// listed twice. One is told.
void warn_close_atoms(const Csd &csd) {
    constexpr double most_pairs = 5e7;
    const std::size_t n = csd.sites.size();
    const double pairs =
        static_cast<double>(n) * static_cast<double>(n) * static_cast<double>(csd.group.ops.size());
    // Where there are more, sites are compared with themselves alone.
    const bool with_others = pairs < most_pairs;
    for (std::size_t i = 0; i < n; ++i) {
        const Crowd crowd =
            with_others ? atoms_around(i, 0, n, csd) : atoms_around(i, i, i + 1, csd);
        // A single atom with such an occupancy is told by itself.
        if (crowd.occupancy > std::max(1.01, csd.sites[i].occupancy)) {
            mb_fprintf(stdout,
                       "$$ Warning: atoms of site %zu and site %zu are %g A apart, with an "
                       "occupancy of %g together.\n",
                       i + 1, crowd.farthest + 1, crowd.distance, crowd.occupancy);
            return;
        }
    }
}

// What the operations that leave a site in its place make of its displacements.
void warn_site_symmetry(std::size_t number, const AtomSite &site, const Csd &csd) {
    constexpr double visible = 0.05; // of the largest exponent: coefficients may have two digits
    constexpr std::array<Hkl, 6> independent = {
        {{1, 0, 0}, {0, 1, 0}, {0, 0, 1}, {1, 1, 0}, {1, 0, 1}, {0, 1, 1}}};
    double largest = 0.0;
    for (const Hkl &g : independent) {
        largest = std::max(largest, std::fabs(displacement_exponent(g, site)));
    }
    const Position place = site.position();
    for (const SymOp &op : csd.group.ops) {
        if (judge_two_atom(gen_pos(place, op), place) != 1) {
            continue;
        }
        for (const Hkl &g : independent) {
            const double change =
                displacement_exponent(gen_reflex(g, op), site) - displacement_exponent(g, site);
            if (std::fabs(change) > visible * largest) {
                if (may_warn(Told::site)) {
                    mb_fprintf(stdout,
                               "$$ Warning: the displacements of atom %zu lack the symmetry of its "
                               "site.\n",
                               number);
                }
                return;
            }
        }
    }
}

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
    if (lof_type != 1 && differ(given.elastic.F[at_mate], c_conj(given.elastic.F[at]))) {
        tell(
            "$$ Warning: the elastic structure factors of %d %d %d and %d %d %d are not conjugate: "
            "no real potential has them.\n");
    }
    // F_g - conj(F_-g) is twice the part of absorption.
    const complex twice = c_sub(given.total.F[at], c_conj(given.total.F[at_mate]));
    if (lof_type == 1 && 0.5 * c_abs(twice) > most_absorptive) {
        tell("$$ Warning: the structure factors of %d %d %d and %d %d %d differ by more than "
             "absorption explains.\n");
    }
}

// Of a structure factor, A, generously: twice that of 000, by the tables of one voltage.
double largest_absorptive_part(const Csd &csd) {
    const bool is_tabled =
        std::all_of(csd.sites.begin(), csd.sites.end(), [](const AtomSite &site) {
            return site.af == 0 || site.af == 1; // any other ends the run where it is needed
        });
    return is_tabled ? std::max(1.0, 2.0 * c_abs(calc_Fg_inela({0, 0, 0}, csd, 100.0)))
                     : std::numeric_limits<double>::infinity();
}

// Given structure factors that the space group does not have, that others given before rule out,
// that the table of low_order_table has no room for, or that no atoms have.
void warn_given_factors(const Csd &csd) {
    if (csd.low_order.empty()) {
        return;
    }
    GivenFactors given;
    const double F_0 = calc_F_0_re(csd);
    for (const LowOrderF &entry : csd.low_order) {
        const Hkl &g = entry.hkl;
        const complex F = given_part(entry, csd);
        if (c_abs(F) > F_0 && g != Hkl{} && may_warn(Told::structure_factor)) {
            mb_fprintf(stdout,
                       "$$ Warning: the structure factor given for %d %d %d is larger than that of "
                       "0 0 0, %g A.\n",
                       g.h, g.k, g.l, F_0);
        }
        if (c_abs(F) > visible_change && is_forbidden(g, csd.group) &&
            may_warn(Told::structure_factor)) {
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
        stock_fg_tbl_sym(g, given_elastic_part(entry, csd), given.elastic, csd.group.ops);
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
    const double most_absorptive = largest_absorptive_part(csd);
    for (const LowOrderF &entry : csd.low_order) {
        warn_friedel_mate(entry.hkl, given, csd.lof_type, most_absorptive);
    }
}

// Constraints that take a value before it is there, or one of several by its name. One of each kind
// is told.
void warn_constraints(const Csd &csd) {
    struct Named {
        std::size_t place = 0; // in resolution order, of the first
        bool is_constrained = false;
        int count = 0;
    };
    std::unordered_map<std::string_view, Named> by_name;
    const auto visit_all = [&csd](auto visit) {
        std::size_t place = 0;
        const auto numbered = [&](const FitPar &par, const double &) { visit(par, place++); };
        visit_cell_parameters(csd, numbered);
        visit_site_parameters(csd, numbered);
        visit_low_order_parameters(csd, numbered);
    };
    bool has_any = false;
    visit_all([&](const FitPar &par, std::size_t) { has_any = has_any || par.flag == -1; });
    if (!has_any) {
        return;
    }
    visit_all([&](const FitPar &par, std::size_t place) {
        Named &named = by_name.try_emplace(par.name, Named{place, par.flag == -1}).first->second;
        ++named.count;
    });
    bool early = false;
    bool ambiguous = false;
    visit_all([&](const FitPar &par, std::size_t place) {
        if (par.flag != -1) {
            return;
        }
        if (!is_complete(par.value_text) && may_warn(Told::constraint)) {
            mb_fprintf(stdout,
                       "$$ Warning: in the constraint \"%s\" a number or a name is missing: 0 is "
                       "taken.\n",
                       par.value_text.c_str());
        }
        for (const std::string &name : constraint_names(par.value_text)) {
            const Named &named = by_name[name];
            if (named.count > 1 && !std::exchange(ambiguous, true)) {
                mb_fprintf(stdout,
                           "$$ Warning: the constraint \"%s\" refers to the first of %d parameters "
                           "of the name %s.\n",
                           par.value_text.c_str(), named.count, name.c_str());
            }
            if (named.is_constrained && named.place >= place && !std::exchange(early, true)) {
                mb_fprintf(stdout,
                           "$$ Warning: the constraint \"%s\" refers to itself or to one that is "
                           "resolved after it: 0 is taken.\n",
                           par.value_text.c_str());
            }
        }
    });
}

} // namespace

void warn_crystal(const Csd &csd) {
    warn_cell(csd);
    for (std::size_t i = 0; i < csd.sites.size(); ++i) {
        warn_site(i + 1, csd.sites[i], csd.bk[i]);
        if (csd.sites[i].bf == 1) {
            warn_site_symmetry(i + 1, csd.sites[i], csd);
        }
    }
    warn_close_atoms(csd);
    warn_constraints(csd);
    warn_given_factors(csd);
}

} // namespace orvel
