#include "numeric/lb_lu.hpp"

#include "app/mb_debug.hpp"
#include "numeric/lb_kernels.hpp"

#include <algorithm>

namespace orvel {

namespace {

// The largest modulus of a column, given as a row, from k on.
int pivot_row(const LuTask &task, const double *re, const double *im, int k) {
    const int end = task.spare_last_row && k < task.n - 1 ? task.n - 1 : task.n;
    int pivot = k;
    double largest = 0.0;
    for (int i = k; i < end; ++i) {
        const double size = c_norm({re[i], im[i]});
        if (size > largest) {
            largest = size;
            pivot = i;
        }
    }
    return largest == 0.0 && end < task.n ? task.n - 1 : pivot;
}

int row_end(const LuTask &task) {
    return task.n + task.border;
}

int column_end(const LuTask &task) {
    return task.border > 0 ? border_column(task.n) + task.border : task.n;
}

void exchange_rows(const Planes &a, int n, int i, int k) {
    std::swap_ranges(a.re_row(i), a.re_row(i) + n, a.re_row(k));
    std::swap_ranges(a.im_row(i), a.im_row(i) + n, a.im_row(k));
}

// Row c of the panel <-> column k0 + c of the matrix, from row k0 on.
void load_panel(const Planes &a, const Planes &panel, int k0, int k1, int rows) {
    for (int i = k0; i < rows; ++i) {
        for (int k = k0; k < k1; ++k) {
            panel.set(k - k0, i, a.at(i, k));
        }
    }
}
void store_panel(const Planes &a, const Planes &panel, int k0, int k1, int rows) {
    for (int i = k0; i < rows; ++i) {
        for (int k = k0; k < k1; ++k) {
            a.set(i, k, panel.at(k - k0, i));
        }
    }
}

// Columns k0..k1-1 on and below the diagonal, turned over: they are short rows, but long columns.
// Returns k1 or the column without a pivot.
int decompose_panel(const LuTask &task, const Planes &a, const Planes &panel, int k0, int k1,
                    int *interchange) {
    const int rows = row_end(task);
    load_panel(a, panel, k0, k1, rows);
    int k = k0;
    for (; k < k1; ++k) {
        const int p = pivot_row(task, panel.re_row(k - k0), panel.im_row(k - k0), k);
        interchange[k] = p;
        if (c_abs(panel.at(k - k0, p)) < task.tol) {
            break;
        }
        if (p != k) {
            exchange_rows(a, column_end(task), p, k);
            for (int c = 0; c < k1 - k0; ++c) {
                std::swap(panel.re_row(c)[p], panel.re_row(c)[k]);
                std::swap(panel.im_row(c)[p], panel.im_row(c)[k]);
            }
        }
        kernels().panel_step({panel, k - k0, k1 - k0, k, rows});
    }
    store_panel(a, panel, k0, k1, rows);
    return k;
}

// A -= L U right of and below the panel.
void update_rest(const LuTask &task, const Planes &a, int k0, int k1) {
    const int first_column = k1 < task.n ? k1 : border_column(task.n);
    Product p;
    p.rows = row_end(task) - k1;
    p.cols = column_end(task) - first_column;
    if (p.rows <= 0 || p.cols <= 0) {
        return;
    }
    p.inner = p.upper_from = k1 - k0;
    p.subtract = true;
    p.c = a.from(k1, first_column);
    p.ar = a.re_row(k1) + k0;
    p.ai = a.im_row(k1) + k0;
    p.a_row = a.ld;
    p.a_col = 1;
    p.b = a.from(k0, first_column);
    kernels().multiply(p);
}

} // namespace

int lu_decompose(const LuTask &task, const Planes &a, const Planes &panel, int *interchange) {
    for (int k0 = 0; k0 < task.n; k0 += lu_block) {
        chk_interrupt();
        const int k1 = std::min(k0 + lu_block, task.n);
        const int reached = decompose_panel(task, a, panel, k0, k1, interchange);
        if (reached < k1) {
            return reached;
        }
        for (int i = k0 + 1; i < k1; ++i) {
            for (int k = k0; k < i; ++k) {
                kernels().eliminate(a, i, k, k1, column_end(task), a.at(i, k));
            }
        }
        update_rest(task, a, k0, k1);
    }
    return task.n;
}

} // namespace orvel
