// The kernels for machines with AVX-512: a strip a register; the rotations of columns as for AVX2.
//
// Only the kernels themselves are compiled for it: every header that they need comes first.
#include "numeric/lb_eigmat1_scalar.hpp"
#include "numeric/lb_kernels.hpp"

#include <cmath>
#include <cstdint>

#if defined(__x86_64__)
#define ORVEL_ISA __attribute__((target("avx512f")))
#define ORVEL_LANES 8
// g++ settles the registers of a vector type where the type is declared.
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC push_options
#pragma GCC target("avx512f")
#endif
#include "numeric/lb_kernels_dense.hpp"
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
    static const Kernels table = table_with(avx2->qr_columns);
    return &table;
}
#else
const Kernels *avx512_kernels() {
    return nullptr;
}
#endif

} // namespace orvel
