// Space-group operations by gemmi, as a second opinion and as ready-made input.
#pragma once

#include "crystal/spgroup.hpp"

#include <gemmi/symmetry.hpp>

namespace orvel::test {

inline SymOp sym_op_of(const gemmi::Op &op) {
    SymOp result;
    for (std::size_t i = 0; i < 3; ++i) {
        for (std::size_t j = 0; j < 3; ++j) {
            result[3 * j + i] = static_cast<double>(op.rot[i][j]) / gemmi::Op::DEN;
        }
        result[9 + i] = static_cast<double>(op.tran[i]) / gemmi::Op::DEN;
    }
    return result;
}

// All operations of a space group by its symbol, such as "F m -3 m".
inline std::vector<SymOp> gemmi_ops(const char *symbol) {
    std::vector<SymOp> ops;
    for (const gemmi::Op &op : gemmi::get_spacegroup_by_name(symbol).operations()) {
        ops.push_back(sym_op_of(op));
    }
    return ops;
}

} // namespace orvel::test
