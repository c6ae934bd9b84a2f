#include "crystal/csd_warnings.hpp"

#include "app/mb_mpi.hpp"
#include "app/run_settings.hpp"
#include "crystal/atom_positions.hpp"
#include "crystal/constraint.hpp"
#include "crystal/csd_parameters.hpp"
#include "crystal/data_tables.hpp"
#include "crystal/equivalents.hpp"
#include "crystal/low_order_warnings.hpp"
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

void warn_cell(const Csd &csd) {
    constexpr double visible = 1e-3; // of a length
    if (std::any_of(csd.group.ops.begin(), csd.group.ops.end(),
                    [&](const SymOp &op) { return !keeps_lengths(op, csd.metric, visible); })) {
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

// From here on an occupancy is that of more than one atom.
constexpr double one_atom = 1.01;

// The atoms that are with a site's first one in one place, itself among them.
struct Crowd {
    double occupancy = 0.0;                               // together
    std::size_t farthest = 0;                             // site of the farthest of them
    double distance = 0.0;                                // of that one, A
    double own = std::numeric_limits<double>::infinity(); // to the nearest of the same site, A
};

Crowd atoms_around(std::size_t site, std::size_t begin, std::size_t end, const Csd &csd) {
    constexpr double nearest = 0.4; // A
    constexpr double bond = 0.6;    // A, shorter than any, of hydrogen by X-rays too
    const Position place = csd.sites[site].position();
    Crowd crowd = {0.0, site, 0.0};
    for (std::size_t i = begin; i < end; ++i) {
        // Split atoms come near each other; of others, both cannot be there.
        const double both = csd.sites[site].occupancy + csd.sites[i].occupancy;
        const double limit = both > one_atom ? bond : nearest;
        std::vector<Position> near;
        for (const SymOp &op : csd.group.ops) {
            const Position image = gen_pos(csd.sites[i].position(), op);
            if (distance(image, place, csd.metric) < limit) {
                near.push_back(image);
            }
        }
        if (epsilon.auto_multiplicity_off == 0) {
            special_pos_check(near);
        }
        for (const Position &image : near) {
            crowd.occupancy += csd.sites[i].occupancy;
            const double d = distance(image, place, csd.metric);
            if (i == site && judge_two_atom(image, place) != 1) {
                crowd.own = std::min(crowd.own, d);
            }
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
    constexpr double rounded = 0.1; // A: no split atom, but 0.333 for 1/3
    const std::size_t n = csd.sites.size();
    const double pairs =
        static_cast<double>(n) * static_cast<double>(n) * static_cast<double>(csd.group.ops.size());
    // Where there are more, sites are compared with themselves alone.
    const bool with_others = pairs < most_pairs;
    for (std::size_t i = 0; i < n; ++i) {
        const Crowd crowd =
            with_others ? atoms_around(i, 0, n, csd) : atoms_around(i, i, i + 1, csd);
        // A single atom with such an occupancy is told by itself.
        const bool is_crowded = crowd.occupancy > std::max(one_atom, csd.sites[i].occupancy);
        if (is_crowded || (crowd.own < rounded && epsilon.auto_multiplicity_off == 0)) {
            mb_fprintf(stdout,
                       "$$ Warning: atoms of site %zu and site %zu are %g A apart, with an "
                       "occupancy of %g together.\n",
                       i + 1, (is_crowded ? crowd.farthest : i) + 1,
                       is_crowded ? crowd.distance : crowd.own, crowd.occupancy);
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
    if (!is_group(csd.group.ops)) {
        mb_fprintf(stdout,
                   "$$ Warning: the operations of space group %d are no group: its entry in %s is "
                   "damaged.\n",
                   csd.group.number, space_group_table);
    }
    warn_cell(csd);
    for (std::size_t i = 0; i < csd.sites.size(); ++i) {
        warn_site(i + 1, csd.sites[i], csd.bk[i]);
        if (csd.sites[i].bf == 1) {
            warn_site_symmetry(i + 1, csd.sites[i], csd);
        }
    }
    warn_close_atoms(csd);
    warn_constraints(csd);
    warn_low_order_factors(csd);
}

} // namespace orvel
