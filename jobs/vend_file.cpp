#include "jobs/vend_file.hpp"

namespace orvel {

namespace {

// n values and the first one again.
void fprint_periodic_row(std::FILE *file, const double *row, std::size_t n) {
    for (std::size_t k = 0; k < n; ++k) {
        mb_fprintf(file, "%lg  ", row[k]);
    }
    mb_fprintf(file, "%lg\n", row[0]);
}

} // namespace

void fprint_vend(OutputFile &file, const char *header, const CellConstants &cell,
                 const Tensor<double> &values) {
    const std::size_t nx = values.extent(0);
    const std::size_t ny = values.extent(1);
    const std::size_t nz = values.extent(2);
    mb_fprintf(file, "%s", header);
    mb_fprintf(file, "%lg %lg %lg %lg %lg %lg\n", cell.a, cell.b, cell.c, cell.alpha, cell.beta,
               cell.gamma);
    mb_fprintf(file, "%d  %d  %d\n", static_cast<int>(nx) + 1, static_cast<int>(ny) + 1,
               static_cast<int>(nz) + 1);
    for (std::size_t i = 0; i <= nx; ++i) {
        for (std::size_t j = 0; j <= ny; ++j) {
            fprint_periodic_row(file, values[i % nx][j % ny], nz);
        }
    }
}

} // namespace orvel
