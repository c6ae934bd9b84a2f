// The benchmarks as one table: each row is a time beside that of a reference, measured in turns in
// the same run, with the residuals of both.
#include "bench/bench_support.hpp"

#include <cstdio>

extern "C" {
void openblas_set_num_threads(int);
char *openblas_get_config();
}

namespace orvel::bench {

void bench_eigmat(int n);
void bench_invmat(int n);

} // namespace orvel::bench

int main() {
    using namespace orvel::bench;
    openblas_set_num_threads(1);
    std::printf("Reference: %s, one thread\n\n", openblas_get_config());
    print_header("Linear algebra. Residuals in n*eps");
    for (const int n : {25, 50, 100, 200, 300}) {
        bench_eigmat(n);
    }
    for (const int n : {50, 100, 200, 300}) {
        bench_invmat(n);
    }
    return 0;
}
