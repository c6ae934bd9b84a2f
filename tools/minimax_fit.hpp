// Fit of table values through which a linear interpolation passes.
#pragma once

#include <cstddef>
#include <vector>

namespace orvel {

// sum_n row[n] v[n] = target, to be met as well as the other equations allow. All equations of a
// fit must count their deviation in the same unit.
struct FitEquation {
    std::vector<double> row;
    double target = 0.0;
};

// The v for which the largest deviation is least, to 1 % of it: the linear program "t least with
// |deviation| <= t" by a logarithmic barrier (S. Boyd & L. Vandenberghe, Convex Optimization, 2004,
// chapter 11), which also keeps the lesser deviations away from t. A weak pull to `start` settles
// values on which the equations have no hold. Throws std::runtime_error when the equations are
// singular all the same.
std::vector<double> minimax_fit(const std::vector<FitEquation> &equations,
                                const std::vector<double> &start);

} // namespace orvel
