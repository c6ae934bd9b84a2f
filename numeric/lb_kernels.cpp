#include "numeric/lb_kernels.hpp"

namespace orvel {

namespace {

const Kernels *fastest() {
    for (const Kernels *table : {avx512_kernels(), avx2_kernels()}) {
        if (table != nullptr) {
            return table;
        }
    }
    return plain_kernels();
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
