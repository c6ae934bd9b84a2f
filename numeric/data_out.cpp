#include "numeric/data_out.hpp"

#include "app/mb_debug.hpp"
#include "app/mb_mpi.hpp"

namespace orvel {

void fprint_complexvec(std::FILE *stream, int n, const complex *v) {
    for (int i = 0; i < n; ++i) {
        mb_fprintf(stream, "%d\t%g\t%g\n", i, v[i].re, v[i].im);
    }
}

void print_complexvec(int n, const complex *v) {
    fprint_complexvec(stdout, n, v);
}

void fprint_doublevec(std::FILE *stream, int n, const double *v) {
    for (int i = 0; i < n; ++i) {
        mb_fprintf(stream, "%d\t%g\n", i, v[i]);
    }
}

void print_doublevec(int n, const double *v) {
    fprint_doublevec(stdout, n, v);
}

void fprint_complexmat(std::FILE *stream, int n, const complex *const *m) {
    for (int j = 0; j < n; ++j) {
        chk_interrupt();
        for (int i = 0; i < n; ++i) {
            mb_fprintf(stream, "%d\t%d\t%g\t%g\n", i, j, m[i][j].re, m[i][j].im);
        }
    }
}

void print_complexmat(int n, const complex *const *m) {
    fprint_complexmat(stdout, n, m);
}

void fprint_doublemat(std::FILE *stream, int n, const double *const *m) {
    for (int j = 0; j < n; ++j) {
        for (int i = 0; i < n; ++i) {
            mb_fprintf(stream, "%d\t%d\t%g\n", i, j, m[i][j]);
        }
    }
}

void print_doublemat(int n, const double *const *m) {
    fprint_doublemat(stdout, n, m);
}

} // namespace orvel
