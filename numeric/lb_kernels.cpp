#include "numeric/lb_kernels.hpp"

namespace orvel {

namespace {

const Kernels *fastest() {
    const Kernels *avx2 = avx2_kernels();
    return avx2 != nullptr ? avx2 : plain_kernels();
}

const Kernels *in_use = fastest();

} // namespace

const Kernels &kernels() {
    return *in_use;
}

void set_kernels(const Kernels *table) {
    in_use = table != nullptr ? table : fastest();
}

} // namespace orvel
