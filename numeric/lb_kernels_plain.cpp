// The kernels for any machine.
#define ORVEL_ISA
#define ORVEL_LANES 4
#include "numeric/lb_kernels_dense.hpp"

namespace orvel {

const Kernels *plain_kernels() {
    return &table;
}

} // namespace orvel
