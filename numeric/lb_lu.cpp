#include "numeric/lb_lu.hpp"

#include "numeric/lb_kernels.hpp"

#include <algorithm>

namespace orvel {

namespace {

// Row from k on whose entry in column k has the largest modulus.
int pivot_row(const LuTask &task, const Planes &a, int k) {
    const int end = task.spare_last_row && k < task.n - 1 ? task.n - 1 : task.n;
    int pivot = k;
    double largest = 0.0;
    for (int i = k; i < end; ++i) {
        const double size = c_norm(a.at(i, k));
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

// Columns k0..k1-1 on and below the diagonal. Returns k1 or the column without a pivot.
int decompose_panel(const LuTask &task, const Planes &a, int k0, int k1, int *interchange) {
    for (int k = k0; k < k1; ++k) {
        const int p = pivot_row(task, a, k);
        interchange[k] = p;
        const complex pivot = a.at(p, k);
        if (c_abs(pivot) < task.tol) {
            return k;
        }
        if (p != k) {
            exchange_rows(a, column_end(task), p, k);
        }
        for (int i = k + 1; i < row_end(task); ++i) {
            const complex factor = c_div(a.at(i, k), pivot);
            a.set(i, k, factor);
            kernels().eliminate(a, i, k, k + 1, k1, factor);
        }
    }
    return k1;
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

int lu_decompose(const LuTask &task, const Planes &a, int *interchange) {
    for (int k0 = 0; k0 < task.n; k0 += lu_block) {
        const int k1 = std::min(k0 + lu_block, task.n);
        const int reached = decompose_panel(task, a, k0, k1, interchange);
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
