// The eigen-solvers and the inversion beside LAPACK on OpenBLAS.
#include "bench/bench_support.hpp"

#include "app/run_settings.hpp"
#include "numeric/cmatutil.hpp"
#include "numeric/lb_eigmat.hpp"
#include "numeric/lb_invmat.hpp"

#include <lapacke.h>

namespace orvel::bench {

namespace {

lapack_complex_double *lapack(complex *p) { return reinterpret_cast<lapack_complex_double *>(p); }

int turns_for(int n) { return n <= 50 ? 201 : n <= 100 ? 61 : 21; }

struct EigenProblem {
    explicit EigenProblem(int order)
        : n(order), a(bloch_matrix(order)), copy(order_size(), order_size()),
          eigvec(order_size(), order_size()), eigval(order_size()), work(order) {}
    std::size_t order_size() const { return static_cast<std::size_t>(n); }

    int n;
    Matrix<complex> a;
    Matrix<complex> copy;
    Matrix<complex> eigvec;
    Vector<complex> eigval;
    EigmatWork work;
};

void solve_by_zgeev(EigenProblem &p) {
    LAPACKE_zgeev(LAPACK_ROW_MAJOR, 'N', 'V', p.n, lapack(p.copy[0]), p.n,
                  lapack(p.eigval.data()), nullptr, 1, lapack(p.eigvec[0]), p.n);
}

double residual_of(const EigenProblem &p) {
    return eigen_residual(p.n, p.a, p.eigval.data(), p.eigvec);
}

} // namespace

void bench_eigmat(int n) {
    EigenProblem own0(n), own1(n), reference(n);
    const auto solve = [](EigenProblem &p, int func) {
        epsilon.eigmat_func = func;
        eigmat(p.n, p.a.get(), p.eigval.data(), p.eigvec.get(), p.work);
    };
    const auto nothing = [] {};
    const std::vector<double> seconds = median_seconds(
        {{[&] { c_matcopy2(n, reference.a.get(), reference.copy.get()); },
          [&] { solve_by_zgeev(reference); }},
         {nothing, [&] { solve(own0, 0); }},
         {nothing, [&] { solve(own1, 1); }}},
        turns_for(n));
    const double residual = residual_of(reference);
    print_row("eigmat_func 0 / zgeev", n, seconds[1], seconds[0], residual_of(own0), residual);
    print_row("eigmat_func 1 / zgeev", n, seconds[2], seconds[0], residual_of(own1), residual);
    epsilon.eigmat_func = 0;
}

void bench_invmat(int n) {
    const auto size = static_cast<std::size_t>(n);
    const Matrix<complex> a = bloch_matrix(n);
    Matrix<complex> own(size, size), reference(size, size);
    Vector<int> pivots(size);
    InvmatWork work(n);
    const std::vector<double> seconds = median_seconds(
        {{[&] { c_matcopy2(n, a.get(), reference.get()); },
          [&] {
              LAPACKE_zgetrf(LAPACK_COL_MAJOR, n, n, lapack(reference[0]), n, pivots.data());
              LAPACKE_zgetri(LAPACK_COL_MAJOR, n, lapack(reference[0]), n, pivots.data());
          }},
         {[&] { c_matcopy2(n, a.get(), own.get()); }, [&] { invmat(n, own.get(), work); }}},
        turns_for(n));
    print_row("invmat / zgetrf + zgetri", n, seconds[1], seconds[0], inverse_residual(n, a, own),
              inverse_residual(n, a, reference));
}

} // namespace orvel::bench
