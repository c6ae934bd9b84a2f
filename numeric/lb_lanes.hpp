// Vector registers for the kernels of lb_kernels, as text for each of their builds: ORVEL_ISA is
// the target attribute, ORVEL_LANES the doubles of a register.
#pragma once

#include "numeric/lb_planes.hpp"

#include <cstdint>

namespace orvel {
namespace {

using Lanes = double __attribute__((vector_size(8 * ORVEL_LANES)));
// The same anywhere in a row of doubles. A typedef: in an alias clang drops the alignment.
typedef double UnalignedLanes __attribute__((vector_size(8 * ORVEL_LANES), aligned(8), may_alias));
using LaneMask = std::int64_t __attribute__((vector_size(8 * ORVEL_LANES)));
constexpr int lanes = ORVEL_LANES;
constexpr int vectors = strip / lanes;

#define ORVEL_INLINE ORVEL_ISA inline __attribute__((always_inline))

ORVEL_INLINE void load(Lanes &v, const double *p) {
    v = *reinterpret_cast<const UnalignedLanes *>(p);
}
ORVEL_INLINE void store(double *p, const Lanes &v) {
    *reinterpret_cast<UnalignedLanes *>(p) = v;
}
ORVEL_INLINE void spread(Lanes &v, double x) {
    v = x - Lanes{}; // -0 stays -0
}

} // namespace
} // namespace orvel
