// The kernels for machines with AVX-512: recurrences in whole strips a register, everything else as
// for AVX2.
#include "numeric/lb_kernels.hpp"

#include <cstdint>

#if defined(__x86_64__)
#define ORVEL_ISA __attribute__((target("avx512f")))
#define ORVEL_LANES 8
// g++ settles the registers of a vector type where the type is declared.
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC push_options
#pragma GCC target("avx512f")
#endif
#include "numeric/lb_kernels_block.hpp"
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC pop_options
#endif
#endif

namespace orvel {

#if defined(__x86_64__)
const Kernels *avx512_kernels() {
    const Kernels *avx2 = avx2_kernels();
    if (avx2 == nullptr || !__builtin_cpu_supports("avx512f")) {
        return nullptr;
    }
    static const Kernels table = [avx2] {
        Kernels wide = *avx2;
        wide.block_term = block_term;
        wide.block_sum = block_sum;
        wide.single_term = single_term;
        return wide;
    }();
    return &table;
}
#else
const Kernels *avx512_kernels() {
    return nullptr;
}
#endif

} // namespace orvel
