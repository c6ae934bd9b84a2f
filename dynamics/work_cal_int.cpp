#include "dynamics/work_cal_int.hpp"

namespace orvel {

BetheWork::BetheWork(int n_max) : bb(n_max, n_max), s(n_max, n_max), t(n_max, n_max) {}

PerturbWork::PerturbWork(int n_max)
    : eigvec_inv(n_max, n_max), potential(n_max, n_max), A(n_max, n_max), B(n_max, n_max),
      eigvec(n_max, n_max), eigval(n_max), alpha(n_max), difference(n_max, n_max),
      product(n_max, n_max) {}

WorkCalInt::WorkCalInt(int n_max, int n_out, int n_thick)
    : s(n_max), beta(n_max), beta_selected(n_max), A(n_max, n_max), B(n_max, n_max),
      eigvec(n_max, n_max), eigval(n_max), alpha(n_max), branch_list(n_max), out_rows(n_out),
      index_list(n_max), n_kept(n_max), roots(n_max), boundary(n_max, n_max),
      propagation(n_thick, n_max), branch_amplitudes(n_max), phases(n_max), weights(n_max),
      order(n_max), bethe(n_max), eigmat(n_max), invmat(n_max) {}

WorkCalInt alloc_work_cal_int(int n_max, int n_out, int n_thick) {
    return {n_max, n_out, n_thick};
}

double work_cal_int_bytes(int n_max, int n_thick) {
    // A, B, eigenvectors, boundary, three Bethe blocks and, in the solvers, five more.
    constexpr double matrices = 12.0;
    const double n = n_max;
    const double rows = static_cast<double>(sizeof(void *)) * n_thick; // of the propagation factors
    return sizeof(complex) * (matrices * n * n + (17.5 + n_thick) * n) + rows;
}

} // namespace orvel
