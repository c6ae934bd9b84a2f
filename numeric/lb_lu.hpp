// LU decomposition with row interchanges on planes, which both inversions share.
#pragma once

#include "numeric/lb_planes.hpp"

namespace orvel {

// Rows and columns that are worked on together: the sums of a block stay in registers.
inline constexpr int lu_block = 2 * strip;

struct LuTask {
    int n = 0;
    // A largest modulus of a column below this ends the decomposition; 0 for none.
    double tol = 0.0;
    // Keeps the last row out of the choice of pivots while another one is not zero.
    bool spare_last_row = false;
    // Rows below the n x n block, and as many columns from border_column(n) on, which are
    // eliminated along with it and never hold a pivot: what is left where they meet is their own
    // block minus rows A^-1 columns. The columns between n and border_column(n) have to be zero.
    int border = 0;
};

// Where the columns of the border begin: at a whole strip.
inline constexpr int border_column(int n) {
    return round_up_strip(n);
}

// A <- L and U of P A: L unit lower, U upper triangular. The pivot of a column is its entry of
// largest modulus on or below the diagonal; interchange[k] is the row that row k was exchanged
// with at step k. Each element is updated by the earlier columns in their order, as in Crout's
// form, but block by block. Returns n, or the column (from 0) that had no pivot. panel: scratch of
// lu_block rows for n + border columns.
int lu_decompose(const LuTask &task, const Planes &a, const Planes &panel, int *interchange);

} // namespace orvel
