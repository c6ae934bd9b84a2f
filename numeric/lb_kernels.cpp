#include "numeric/lb_kernels.hpp"

#include "app/mb_debug.hpp"

#include <algorithm>

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

void multiply_in_steps(const Product &p) {
    constexpr int rows_of_step = 240; // whole stacks of rows in every kernel
    for (int i = 0; i < p.rows; i += rows_of_step) {
        chk_interrupt();
        Product step = p;
        step.rows = std::min(rows_of_step, p.rows - i);
        step.c = p.c.from(i, 0);
        step.ar += i * p.a_row;
        step.ai += i * p.a_row;
        kernels().multiply(step);
    }
}

void set_kernels(const Kernels *table) {
    in_use = table != nullptr ? table : fastest();
}

} // namespace orvel
