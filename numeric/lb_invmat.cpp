#include "numeric/lb_invmat.hpp"

#include "app/mb_debug.hpp"
#include "app/mb_mpi.hpp"
#include "app/run_settings.hpp"
#include "numeric/lb_invmat1.hpp"
#include "numeric/lb_invmat2.hpp"
#include "numeric/lb_lu.hpp"

namespace orvel {

InvmatWork::InvmatWork(int n)
    : n_max(n), reals(4 * plane_size(n) + 2 * plane_size(lu_block) +
                      2 * static_cast<std::size_t>(round_up_strip(n)) + strip),
      index(2 * static_cast<std::size_t>(n)) {
    PlaneDealer deal(reals);
    a = deal.planes(n);
    x = deal.planes(n);
    block = deal.planes(lu_block);
    xr = deal.vector(n);
    xi = deal.vector(n);
}

int invmat(int n, complex *const *a, InvmatWork &work) {
    assert(n <= work.n_max);
    if (epsilon.invmat_func != 0) {
        mb_fprintf(stdout, "$$ Invalid epsilon.invmat_func=%d. Abort.\n", epsilon.invmat_func);
        end_run(1);
    }
    dbg_mon("$$ invmat: Numpack inv_c_mat()\n");
    const int status = inv_c_mat(n, epsilon.inv_eps, a, work);
    if (status != 0) {
        mb_fprintf(stdout, "$$ (invmat): inv_c_mat = %d\n", status);
    }
    return 0;
}

int bc_invmat(int n, complex *const *m, complex *alpha, InvmatWork &work) {
    assert(n <= work.n_max);
    if (epsilon.bc_invmat_func != 0) {
        mb_fprintf(stdout, "$$ Invalid epsilon.bc_invmat_func=%d. Abort.\n",
                   epsilon.bc_invmat_func);
        end_run(1);
    }
    int status = 0;
    inverse(n, m, alpha, epsilon.inv_eps, status, work);
    return status;
}

} // namespace orvel
