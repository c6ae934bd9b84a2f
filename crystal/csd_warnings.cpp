#include "crystal/csd_warnings.hpp"

#include "app/mb_mpi.hpp"
#include "app/run_settings.hpp"
#include "crystal/atom_positions.hpp"
#include "crystal/equivalents.hpp"
#include "input/mb_input.hpp"

#include <algorithm>
#include <cmath>

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

// Two places that hold more than one atom are too near: positions a little off a special one, or
// a site that is listed twice. One pair is told.
void warn_close_atoms(const Csd &csd) {
    constexpr double nearest = 0.4; // A
    constexpr double most_pairs = 5e7;
    const std::size_t n = csd.sites.size();
    const double pairs =
        static_cast<double>(n) * static_cast<double>(n) * static_cast<double>(csd.group.ops.size());
    for (std::size_t i = 0; i < n; ++i) {
        const Position first = csd.sites[i].position();
        const std::vector<Position> images = newpos_sym_op(first, csd.group.ops);
        // Sites by the ten thousand are compared with themselves alone.
        const std::size_t end = pairs < most_pairs ? n : i + 1;
        for (std::size_t k = i; k < end; ++k) {
            if (csd.sites[i].occupancy + csd.sites[k].occupancy <= 1.01) {
                continue;
            }
            const Position other = csd.sites[k].position();
            for (const Position &image : images) {
                const bool same = k == i && (epsilon.auto_multiplicity_off == 0
                                                 ? judge_two_atom(image, other) == 1
                                                 : &image == images.data());
                const double d = distance(image, other, csd.metric);
                if (!same && d < nearest) {
                    mb_fprintf(stdout,
                               "$$ Warning: atoms of site %zu and site %zu are %g A apart.\n",
                               i + 1, k + 1, d);
                    return;
                }
            }
        }
    }
}

} // namespace

void warn_crystal(const Csd &csd) {
    warn_cell(csd);
    for (std::size_t i = 0; i < csd.sites.size(); ++i) {
        warn_site(i + 1, csd.sites[i], csd.bk[i].gm[5]);
    }
    warn_close_atoms(csd);
}

} // namespace orvel
