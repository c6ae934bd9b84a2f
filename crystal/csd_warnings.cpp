#include "crystal/csd_warnings.hpp"

#include "app/mb_mpi.hpp"
#include "app/run_settings.hpp"
#include "crystal/atom_positions.hpp"
#include "crystal/equivalents.hpp"
#include "crystal/strct_f.hpp"
#include "input/mb_input.hpp"

#include <algorithm>
#include <cmath>
#include <limits>

namespace orvel {

namespace {

void warn_cell(const Csd &csd) {
    constexpr double visible = 1e-3; // change of a length
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

void warn_site(std::size_t number, const AtomSite &site, double largest_B) {
    constexpr double far = 1000.0; // cell edges
    if ((site.occupancy < 0.0 || site.occupancy > 1.0) && may_warn()) {
        mb_fprintf(stdout, "$$ Warning: the occupancy of atom %zu is %g.\n", number,
                   site.occupancy);
    }
    if ((site.B < 0.0 || site.B > largest_B) && may_warn()) {
        mb_fprintf(stdout,
                   "$$ Warning: B of atom %zu is %g, beyond the table of absorption, which reaches "
                   "from 0 to %g.\n",
                   number, site.B, largest_B);
    }
    if (site.bf == 1 && !is_positive(site.beta) && may_warn()) {
        mb_fprintf(stdout,
                   "$$ Warning: the displacements of atom %zu are imaginary in some "
                   "direction.\n",
                   number);
    }
    for (const double x : site.position()) {
        if (std::fabs(x) > far && may_warn()) {
            mb_fprintf(stdout, "$$ Warning: a coordinate of atom %zu is %g cell edges.\n", number,
                       x);
        }
    }
}

double distance(const Position &p, const Position &q, const Metric &metric) {
    const auto shift = [&](std::size_t i) { return p[i] - q[i] - std::round(p[i] - q[i]); };
    return abs_r_uvw({shift(0), shift(1), shift(2)}, metric);
}

// What shares the place of a site's first atom.
struct Crowd {
    double occupancy = 0.0;                                    // together
    std::size_t other = 0;                                     // the site found there last
    double distance = std::numeric_limits<double>::infinity(); // of its atom, A
};

// Places that hold more than one atom: positions a little off a special one, or a site that is
// listed twice. One is told.
void warn_close_atoms(const Csd &csd) {
    constexpr double nearest = 0.4; // A
    constexpr double most_pairs = 5e7;
    const std::size_t n = csd.sites.size();
    const double pairs =
        static_cast<double>(n) * static_cast<double>(n) * static_cast<double>(csd.group.ops.size());
    std::vector<Crowd> crowds;
    for (const AtomSite &site : csd.sites) {
        crowds.push_back({site.occupancy});
    }
    for (std::size_t i = 0; i < n; ++i) {
        const std::vector<Position> images = newpos_sym_op(csd.sites[i].position(), csd.group.ops);
        // Sites by the ten thousand are compared with themselves alone.
        const std::size_t end = pairs < most_pairs ? n : i + 1;
        for (std::size_t k = i; k < end; ++k) {
            const Position other = csd.sites[k].position();
            for (const Position &image : images) {
                const bool same = k == i && (epsilon.auto_multiplicity_off == 0
                                                 ? judge_two_atom(image, other) == 1
                                                 : &image == images.data());
                const double d = distance(image, other, csd.metric);
                if (!same && d < nearest) {
                    crowds[k] = {crowds[k].occupancy + csd.sites[i].occupancy, i, d};
                    if (k != i) {
                        crowds[i] = {crowds[i].occupancy + csd.sites[k].occupancy, k, d};
                    }
                    break;
                }
            }
        }
    }
    const auto crowd = std::find_if(crowds.begin(), crowds.end(), [](const Crowd &c) {
        return c.occupancy > 1.01 && c.distance < nearest;
    });
    if (crowd != crowds.end()) {
        mb_fprintf(stdout,
                   "$$ Warning: atoms of site %zu and site %zu are %g A apart, with an occupancy "
                   "of %g together.\n",
                   static_cast<std::size_t>(crowd - crowds.begin()) + 1, crowd->other + 1,
                   crowd->distance, crowd->occupancy);
    }
}

// What the operations that leave a site in its place make of its displacements.
void warn_site_symmetry(std::size_t number, const AtomSite &site, const Csd &csd) {
    constexpr double visible = 0.01; // of the largest exponent
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
                if (may_warn()) {
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
    constexpr double visible = 1e-6;
    const auto extinguishes = [&](const SymOp &op) {
        const double turns = g.h * op[9] + g.k * op[10] + g.l * op[11];
        return gen_reflex(g, op) == g && std::fabs(turns - std::round(turns)) > visible;
    };
    return extinction_rule(g, group.lattice_type, group.rhombohedral_flag) != 0 ||
           std::any_of(group.ops.begin(), group.ops.end(), extinguishes);
}

// Given structure factors that the space group does not have, that others given before rule out, or
// that the table of low_order_table has no room for.
void warn_given_factors(const Csd &csd) {
    constexpr double visible = 1e-3;
    ReflectionTable given;
    for (const LowOrderF &entry : csd.low_order) {
        const Hkl &g = entry.hkl;
        const complex F = given_part(entry, csd);
        if (c_abs(F) > visible && is_forbidden(g, csd.group) && may_warn()) {
            mb_fprintf(stdout,
                       "$$ Warning: the space group forbids the reflection %d %d %d, whose "
                       "structure factor is given.\n",
                       g.h, g.k, g.l);
        }
        const int before = search_g_table(g, given);
        if (before >= 0 && c_abs(c_sub(given.F[before], F)) > visible * c_abs(F) && may_warn()) {
            mb_fprintf(stdout,
                       "$$ Warning: the structure factor given for %d %d %d does not count: it "
                       "differs from that of an equivalent before it.\n",
                       g.h, g.k, g.l);
        }
        stock_fg_tbl_sym(g, F, given, csd.group.ops);
        const auto is_known = [&](const SymOp &op) {
            return search_g_table(gen_reflex(g, op), given) >= 0;
        };
        if (!std::all_of(csd.group.ops.begin(), csd.group.ops.end(), is_known)) {
            mb_fprintf(stdout,
                       "$$ Warning: structure factors given from %d %d %d on do not count: with "
                       "their equivalents they are more than %d.\n",
                       g.h, g.k, g.l, given.capacity);
            return;
        }
    }
}

} // namespace

void warn_crystal(const Csd &csd) {
    warn_cell(csd);
    for (std::size_t i = 0; i < csd.sites.size(); ++i) {
        warn_site(i + 1, csd.sites[i], csd.bk[i].gm[5]);
        if (csd.sites[i].bf == 1) {
            warn_site_symmetry(i + 1, csd.sites[i], csd);
        }
    }
    warn_close_atoms(csd);
    warn_given_factors(csd);
}

} // namespace orvel
