// Volumetric text files ("VEND", ".3ed"): values over one unit cell with its periodic edge.
#pragma once

#include "app/mb_mpi.hpp"
#include "crystal/lattice.hpp"
#include "numeric/vecmat.hpp"

namespace orvel {

// Writes the header line (with its line end), the cell constants, the numbers of points along a, b
// and c (each one more than the grid has) and the values [x][y][z] with z fastest, a line for each
// (x, y); index n of an axis of n values repeats index 0. Every axis must have a value.
void fprint_vend(OutputFile &file, const char *header, const CellConstants &cell,
                 const Tensor<double> &values);

} // namespace orvel
