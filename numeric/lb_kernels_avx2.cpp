// The kernels for machines with AVX2.
//
// Only the kernels themselves are compiled for it: every header that they need comes first, so that
// no inline function of these, which other files share, asks for more than any machine has.
#include "numeric/lb_eigmat1_scalar.hpp"
#include "numeric/lb_kernels.hpp"

#include <cmath>
#include <cstdint>

#if defined(__x86_64__)
#define ORVEL_ISA __attribute__((target("avx2")))
#define ORVEL_LANES 4
// g++ settles the registers of a vector type where the type is declared.
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC push_options
#pragma GCC target("avx2")
#endif
#include "numeric/lb_kernels_columns.hpp"
#include "numeric/lb_kernels_dense.hpp"
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC pop_options
#endif
#endif

namespace orvel {

const Kernels *avx2_kernels() {
#if defined(__x86_64__)
    static constexpr Kernels table = table_with(qr_columns);
    return __builtin_cpu_supports("avx2") ? &table : nullptr;
#else
    return nullptr;
#endif
}

} // namespace orvel
