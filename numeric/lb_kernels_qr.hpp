// The QR kernels of lb_kernels, as text for each of its builds: ORVEL_ISA is the target attribute.
//
// A sweep reads and writes each element of the matrix once. Rows are combined in strips of columns:
// all rotations run down a strip while the lower of the two rows stays in registers; where the
// strip crosses the diagonal, the next rotations are found on the way. Columns are combined four
// rows at a time, turned over in registers, so that these loops too run along whole vectors.
#pragma once

#include "numeric/lb_eigmat1_scalar.hpp"
#include "numeric/lb_kernels.hpp"
#include "numeric/lb_lanes.hpp"

#include <cmath>
#include <cstdint>

namespace orvel {
namespace {

// One strip of a row: both planes.
struct StripRow {
    Lanes re[vectors];
    Lanes im[vectors];
};

ORVEL_INLINE void load_strip(StripRow &row, const Planes &m, int i, int c) {
    for (int v = 0; v < vectors; ++v) {
        load(row.re[v], m.re_row(i) + c + v * lanes);
        load(row.im[v], m.im_row(i) + c + v * lanes);
    }
}

ORVEL_INLINE void store_strip(const Planes &m, int i, int c, const StripRow &row) {
    for (int v = 0; v < vectors; ++v) {
        store(m.re_row(i) + c + v * lanes, row.re[v]);
        store(m.im_row(i) + c + v * lanes, row.im[v]);
    }
}

// (y, z) <- (conj(x) y + s z, x z - s y), the pair of rows of a rotation; with -xi the pair of
// columns.
ORVEL_INLINE void rotate(Lanes &yr, Lanes &yi, Lanes &zr, Lanes &zi, const Lanes &xr,
                         const Lanes &xi, const Lanes &s) {
    const Lanes ar = xr * yr + xi * yi + s * zr;
    const Lanes ai = xr * yi - xi * yr + s * zi;
    const Lanes br = xr * zr - xi * zi - s * yr;
    const Lanes bi = xr * zi + xi * zr - s * yi;
    yr = ar;
    yi = ai;
    zr = br;
    zi = bi;
}

ORVEL_INLINE void rotate_strip(StripRow &y, StripRow &z, double x_re, double x_im, double sine) {
    Lanes xr, xi, s;
    spread(xr, x_re);
    spread(xi, x_im);
    spread(s, sine);
    for (int v = 0; v < vectors; ++v) {
        rotate(y.re[v], y.im[v], z.re[v], z.im[v], xr, xi, s);
    }
}

// y <- phase y
ORVEL_INLINE void turn_strip(StripRow &y, complex phase) {
    Lanes c, s;
    spread(c, phase.re);
    spread(s, phase.im);
    for (int v = 0; v < vectors; ++v) {
        const Lanes re = c * y.re[v] - s * y.im[v];
        y.im[v] = c * y.im[v] + s * y.re[v];
        y.re[v] = re;
    }
}

// sqrt(|d|^2 + b^2); by pythag where the squares would overflow or lose digits.
ORVEL_INLINE double rotation_norm(complex d, double b) {
    const double square = d.re * d.re + d.im * d.im + b * b;
    if (square > 1e-280 && square < 1e280) {
        return std::sqrt(square);
    }
    return pythag(pythag(d.re, d.im), b);
}

// Rotation k, which takes the subdiagonal element (k, k-1) away; the diagonal element above it
// becomes the norm that is returned.
ORVEL_INLINE double find_rotation(const Hessenberg &m, const QrSweep &q, int k) {
    const complex d = m.h.at(k - 1, k - 1);
    const double below = m.sub[k];
    const double norm = rotation_norm(d, below);
    q.xr[k] = d.re / norm;
    q.xi[k] = d.im / norm;
    q.s[k] = below / norm;
    m.sub[k] = 0.0;
    return norm;
}

// Clears what lies left of column c0 + below + 1 in a row of the strip at c0.
ORVEL_INLINE void clear_below(StripRow &row, int below) {
    for (int v = 0; v < vectors; ++v) {
        LaneMask column;
        for (int i = 0; i < lanes; ++i) {
            column[i] = v * lanes + i;
        }
        const LaneMask keep = column > std::int64_t{below};
        row.re[v] = reinterpret_cast<Lanes>(reinterpret_cast<LaneMask>(row.re[v]) & keep);
        row.im[v] = reinterpret_cast<Lanes>(reinterpret_cast<LaneMask>(row.im[v]) & keep);
    }
}

ORVEL_ISA void qr_rows(const Hessenberg &m, const QrSweep &q) {
    for (int c = q.l / strip * strip; c < m.n; c += strip) {
        StripRow y, z;
        load_strip(y, m.h, q.l, c);
        const int known = q.en < c ? q.en : c; // rotations that earlier strips have found
        int k = q.l + 1;
        for (; k <= known; ++k) {
            load_strip(z, m.h, k, c);
            rotate_strip(y, z, q.xr[k], q.xi[k], q.s[k]);
            store_strip(m.h, k - 1, c, y);
            y = z;
        }
        const int last = q.en < c + strip ? q.en : c + strip;
        for (; k <= last; ++k) {
            store_strip(m.h, k - 1, c, y);
            const double norm = find_rotation(m, q, k);
            if (k < c + strip) {
                load_strip(z, m.h, k, c);
                rotate_strip(y, z, q.xr[k], q.xi[k], q.s[k]);
                store_strip(m.h, k - 1, c, y);
                clear_below(z, k - 1 - c);
                y = z;
            }
            m.h.set(k - 1, k - 1, {norm, 0.0});
        }
        if (k - 1 < c + strip) {
            store_strip(m.h, k - 1, c, y);
        }
    }
}

ORVEL_ISA void rotate_vectors(const Planes &zt, int cols, const QrSweep *sweeps, int count) {
    // All sweeps on one strip while it is in the cache.
    for (int c = 0; c < cols; c += strip) {
        for (int i = 0; i < count; ++i) {
            const QrSweep &q = sweeps[i];
            StripRow y, z;
            load_strip(y, zt, q.l, c);
            for (int k = q.l + 1; k <= q.en; ++k) {
                load_strip(z, zt, k, c);
                rotate_strip(y, z, q.xr[k], -q.xi[k], q.s[k]);
                store_strip(zt, k - 1, c, y);
                y = z;
            }
            turn_strip(y, q.phase);
            store_strip(zt, q.en, c, y);
        }
    }
}

} // namespace
} // namespace orvel
