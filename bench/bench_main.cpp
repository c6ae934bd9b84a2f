// The benchmarks as one table: each row is a time beside that of a reference, measured in turns in
// the same run, with the residuals of both.
#include "bench/bench_support.hpp"

#include "numeric/lb_kernels.hpp"

#include <cstdio>
#include <unistd.h>

extern "C" {
void openblas_set_num_threads(int);
char *openblas_get_config();
}

namespace orvel::bench {

void bench_eigmat(int n);
void bench_invmat(int n);
void bench_potential(int n);
void bench_tilt(int n);
void bench_threads(int n, int threads);
void bench_propagation(int n, int n_bethe, int flag_bs, const char *name);

} // namespace orvel::bench

int main() {
    using namespace orvel::bench;
    openblas_set_num_threads(1);
    std::printf("Reference: %s, one thread\n\n", openblas_get_config());
    std::fflush(stdout);
    set_table_stream(fdopen(dup(fileno(stdout)), "w"));
    if (std::freopen("/dev/null", "w", stdout) == nullptr) {
        return 1;
    }
    print_header("Linear algebra. Residuals in n*eps");
    for (const int n : {25, 50, 100, 200, 300}) {
        bench_eigmat(n);
    }
    for (const int n : {50, 100, 200, 300}) {
        bench_invmat(n);
    }
    print_header("\nJobs (Si [001] with as many Bethe as exact beams; 20 sites x 192 operations)");
    for (const int n : {50, 100, 200}) {
        bench_tilt(n);
    }
    for (const int n : {50, 100}) {
        bench_threads(n, 2);
    }
    for (const int n : {100, 500, 1000}) {
        bench_potential(n);
    }
    print_header(
        "\nBlock propagation of 32 tilts (Si [001], per tilt; residual: largest deviation of "
        "intensities\nfrom eigen-solutions at eigen_eps 1e-13)");
    for (const int n : {50, 100, 200}) {
        bench_propagation(n, 0, 0, "propagation/eigen road");
        orvel::set_kernels(orvel::avx2_kernels());
        bench_propagation(n, 0, 0, "the same, AVX2");
        orvel::set_kernels(nullptr);
    }
    for (const int n : {20, 50, 100, 200}) {
        bench_propagation(n, n, 0, "the same, n Bethe beams");
        bench_propagation(n, n, 10, "the same, n simple ones");
    }
    return 0;
}
