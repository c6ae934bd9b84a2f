#include "crystal/equivalents.hpp"

#include <algorithm>
#include <cmath>
#include <tuple>

namespace orvel {

namespace {

// Translations that differ by more, in cell edges, would show in the value of a reflection.
constexpr double translation_eps = 1e-12;

constexpr std::array<Hkl, 3> axes = {{{1, 0, 0}, {0, 1, 0}, {0, 0, 1}}};

bool same_rotation(const SymOp &a, const SymOp &b) {
    return std::equal(a.begin(), a.begin() + 9, b.begin());
}

bool same_translation(const SymOp &a, const SymOp &b) {
    return std::equal(a.begin() + 9, a.end(), b.begin() + 9, [](double t, double u) {
        return std::fabs(t - u - std::round(t - u)) < translation_eps;
    });
}

// First b, then a.
SymOp product(const SymOp &a, const SymOp &b) {
    SymOp rotation = a;
    std::fill(rotation.begin() + 9, rotation.end(), 0.0);
    SymOp ab = {};
    for (std::size_t column = 0; column < 12; column += 3) {
        const Position moved =
            gen_pos({b[column], b[column + 1], b[column + 2]}, column < 9 ? rotation : a);
        std::copy(moved.begin(), moved.end(), ab.begin() + static_cast<std::ptrdiff_t>(column));
    }
    return ab;
}

bool maps_onto_itself(const SymOp &op, const std::vector<SymOp> &ops) {
    std::vector<char> taken(ops.size(), 0);
    return std::all_of(ops.begin(), ops.end(), [&](const SymOp &other) {
        const SymOp image = product(op, other);
        for (std::size_t i = 0; i < ops.size(); ++i) {
            if (taken[i] == 0 && same_rotation(image, ops[i]) && same_translation(image, ops[i])) {
                taken[i] = 1;
                return true;
            }
        }
        return false;
    });
}

} // namespace

bool keeps_lengths(const SymOp &op, const Metric &metric, double tolerance) {
    for (const Hkl &a : axes) {
        for (const Hkl &b : axes) {
            const double before = inner_product(hkl2rhkl(a), hkl2rhkl(b), metric);
            const double after =
                inner_product(hkl2rhkl(gen_reflex(a, op)), hkl2rhkl(gen_reflex(b, op)), metric);
            const double scale =
                std::sqrt(sq_abs(hkl2rhkl(a), metric) * sq_abs(hkl2rhkl(b), metric));
            if (!(std::fabs(after - before) <= tolerance * scale)) {
                return false;
            }
        }
    }
    return true;
}

Equivalents exact_equivalents(const Csd &csd) {
    Equivalents equivalents;
    for (const SymOp &op : csd.group.ops) {
        const auto has_rotation = [&](const SymOp &other) { return same_rotation(op, other); };
        if (std::none_of(equivalents.ops.begin(), equivalents.ops.end(), has_rotation) &&
            keeps_lengths(op, csd.metric) && maps_onto_itself(op, csd.group.ops)) {
            equivalents.ops.push_back(op);
        }
    }
    return equivalents;
}

Representative representative(const Hkl &g, const Equivalents &equivalents) {
    const auto order = [](const Hkl &a) { return std::tie(a.h, a.k, a.l); };
    Representative last = {g, 0.0};
    for (const SymOp &op : equivalents.ops) {
        const Hkl equivalent = gen_reflex(g, op);
        if (order(last.hkl) < order(equivalent)) {
            const double turns = -(g.h * op[9] + g.k * op[10] + g.l * op[11]);
            last = {equivalent, turns - std::round(turns)};
        }
    }
    return last;
}

} // namespace orvel
