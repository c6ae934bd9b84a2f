// Symmetry-equivalent reflections, and one of them that stands for all.
#pragma once

#include "crystal/csd.hpp"

#include <vector>

namespace orvel {

// Largest relative change of a product of reciprocal base vectors that is one of rounding alone.
inline constexpr double metric_eps = 1e-12;

// True when the rotation leaves all products of reciprocal base vectors as they are: a cell need
// not have the symmetry of its space group.
bool keeps_lengths(const SymOp &op, const Metric &metric, double tolerance = metric_eps);

// The operations of a crystal by which structure factors of equivalents follow from one another to
// rounding: F(h R) = F(h) exp(+2 pi i h.t). That holds for an operation (R, t) which maps the set
// of all operations onto itself and keeps the lengths of reflections. Rhombohedral centring, whose
// translations have seven decimals, keeps few such operations, and so does a cell that lacks the
// symmetry of its space group. One operation for each distinct rotation, the identity among them.
struct Equivalents {
    std::vector<SymOp> ops;
};
Equivalents exact_equivalents(const Csd &csd);

// F(g) = F(hkl) exp(2 pi i turns), |turns| at most 1/2.
struct Representative {
    Hkl hkl;
    double turns = 0.0;
};

// The same one for all equivalents of g: the one whose indices come last in order.
Representative representative(const Hkl &g, const Equivalents &equivalents);

} // namespace orvel
