// The kernel of lb_kernels for the rotations of columns, in tiles of four by four, as text for the
// builds with registers of four doubles: ORVEL_ISA is the target attribute.
#pragma once

#include "numeric/lb_kernels_qr.hpp"

namespace orvel {
namespace {

static_assert(lanes == 4);

// Four columns of four rows, a column a vector, and back.
ORVEL_INLINE void turn_over(Lanes &a, Lanes &b, Lanes &c, Lanes &d) {
    const Lanes ab0 = __builtin_shufflevector(a, b, 0, 4, 2, 6);
    const Lanes ab1 = __builtin_shufflevector(a, b, 1, 5, 3, 7);
    const Lanes cd0 = __builtin_shufflevector(c, d, 0, 4, 2, 6);
    const Lanes cd1 = __builtin_shufflevector(c, d, 1, 5, 3, 7);
    a = __builtin_shufflevector(ab0, cd0, 0, 1, 4, 5);
    b = __builtin_shufflevector(ab1, cd1, 0, 1, 4, 5);
    c = __builtin_shufflevector(ab0, cd0, 2, 3, 6, 7);
    d = __builtin_shufflevector(ab1, cd1, 2, 3, 6, 7);
}

struct Tile {
    Lanes re[lanes];
    Lanes im[lanes];
};

ORVEL_INLINE void load_tile(Tile &t, const Planes &h, int row, int column) {
    for (int r = 0; r < lanes; ++r) {
        load(t.re[r], h.re_row(row + r) + column);
        load(t.im[r], h.im_row(row + r) + column);
    }
    turn_over(t.re[0], t.re[1], t.re[2], t.re[3]);
    turn_over(t.im[0], t.im[1], t.im[2], t.im[3]);
}

ORVEL_INLINE void store_tile(const Planes &h, int row, int column, Tile &t) {
    turn_over(t.re[0], t.re[1], t.re[2], t.re[3]);
    turn_over(t.im[0], t.im[1], t.im[2], t.im[3]);
    for (int r = 0; r < lanes; ++r) {
        store(h.re_row(row + r) + column, t.re[r]);
        store(h.im_row(row + r) + column, t.im[r]);
    }
}

// Rotations j..j+3 on a tile of columns j..j+3: the tile becomes columns j-1..j+2, y goes from
// column j-1 to column j+3.
ORVEL_INLINE void rotate_tile(Tile &t, Lanes &yr, Lanes &yi, const QrSweep &q, int j) {
    for (int k = 0; k < lanes; ++k) {
        Lanes xr, xi, s;
        spread(xr, q.xr[j + k]);
        spread(xi, -q.xi[j + k]);
        spread(s, q.s[j + k]);
        Lanes zr = t.re[k];
        Lanes zi = t.im[k];
        rotate(yr, yi, zr, zi, xr, xi, s);
        t.re[k] = yr;
        t.im[k] = yi;
        yr = zr;
        yi = zi;
    }
}

// Moves the new subdiagonal elements out of the first tile of the rows from `row` on, whose
// rotations start at j.
ORVEL_INLINE void take_subdiagonal(const Hessenberg &m, const QrSweep &q, Tile &t, int row, int j) {
    for (int r = 0; r < lanes; ++r) {
        const int k = row + r; // the element (k, k-1)
        if (k >= j && k <= q.en) {
            m.sub[k] = t.re[k - j][r];
            t.re[k - j][r] = 0.0;
            t.im[k - j][r] = 0.0;
        }
    }
}

ORVEL_ISA void columns_of_rows(const Hessenberg &m, const QrSweep &q, int row) {
    int j = q.l + 1 > row ? q.l + 1 : row;
    Lanes yr = {};
    Lanes yi = {};
    if (j > row) {
        for (int r = 0; r < lanes; ++r) {
            yr[r] = m.h.re_row(row + r)[j - 1];
            yi[r] = m.h.im_row(row + r)[j - 1];
        }
    }
    Tile t;
    load_tile(t, m.h, row, j);
    rotate_tile(t, yr, yi, q, j);
    take_subdiagonal(m, q, t, row, j);
    store_tile(m.h, row, j - 1, t);
    for (j += lanes; j <= q.en; j += lanes) {
        load_tile(t, m.h, row, j);
        rotate_tile(t, yr, yi, q, j);
        store_tile(m.h, row, j - 1, t);
    }
    for (int r = 0; r < lanes; ++r) {
        m.h.set(row + r, j - 1, {yr[r], yi[r]});
    }
}

ORVEL_ISA void qr_columns(const Hessenberg &m, const QrSweep &q) {
    // The last tile runs past en: by rotations that change nothing.
    for (int k = q.en + 1; k < q.en + lanes; ++k) {
        q.xr[k] = 1.0;
        q.xi[k] = 0.0;
        q.s[k] = 0.0;
    }
    for (int row = 0; row <= q.en; row += lanes) {
        columns_of_rows(m, q, row);
    }
}

} // namespace
} // namespace orvel
