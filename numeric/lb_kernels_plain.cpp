// The kernels for any machine.
#define ORVEL_ISA
#define ORVEL_LANES 4
#include "numeric/lb_kernels_columns.hpp"
#include "numeric/lb_kernels_dense.hpp"

namespace orvel {

const Kernels *plain_kernels() {
    static constexpr Kernels table = table_with(qr_columns);
    return &table;
}

} // namespace orvel
