#include "dynamics/perturb.hpp"

#include "app/mb_debug.hpp"
#include "numeric/cmatutil.hpp"

#include <cmath>

namespace orvel {

void perturbation2(const EigenSolution &unperturbed, int n, const complex *const *B0,
                   const complex *const *B1, double degeneracy_eps, complex *eigval,
                   complex *const *eigvec, PerturbWork &work) {
    const auto &[eigval0, C, C_inv] = unperturbed;
    complex *const *product = work.product.get();
    complex *const *b = work.difference.get();

    dbg_mon("$$ p-diff-mat\n");
    c_matcopy2(n, B1, b);
    c_matsub2(n, b, B0);

    dbg_mon("$$ p-b_ij\n");
    c_matmult(n, n, n, product, b, C);
    c_matmult(n, n, n, b, C_inv, product);

    dbg_mon("$$ p-eigen_val\n");
    for (int i = 0; i < n; ++i) {
        eigval[i] = c_add(eigval0[i], b[i][i]);
    }

    dbg_mon("$$ p-eigen_vec\n");
    complex *const *P = product;
    for (int i = 0; i < n; ++i) {
        for (int j = 0; j < n; ++j) {
            if (i == j) {
                P[i][j] = {1.0, 0.0};
            } else if (std::fabs(eigval0[i].re - eigval0[j].re) < degeneracy_eps) {
                P[i][j] = {0.0, 0.0};
            } else {
                P[i][j] = c_div(b[i][j], c_sub(eigval0[j], eigval0[i]));
            }
        }
    }
    c_matmult(n, n, n, eigvec, C, P);
}

} // namespace orvel
