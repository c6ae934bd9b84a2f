// The wave function of a Bloch state in real space.
#pragma once

#include "crystal/lattice.hpp"
#include "numeric/complex.hpp"

#include <span>

namespace orvel {

// b_j(r) = exp(2 pi i k.r) sum_g (C_gj / sqrt(beta_g)) exp(2 pi i g.r) for the branch j (from 0) at
// r in direct-lattice components; k in reciprocal-lattice components. hkl and beta_selected run
// over the rows of eigvec. The state has unit excitation.
complex calc_bloch_state_func_ug(int branch, const RealUvw &r, std::span<const Hkl> hkl,
                                 const RealHkl &k, const double *beta_selected,
                                 const complex *const *eigvec);

} // namespace orvel
