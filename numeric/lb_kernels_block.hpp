// The kernels of lb_kernels for Chebyshev recurrences, as text for each of its builds: ORVEL_ISA is
// the target attribute.
#pragma once

#include "numeric/lb_kernels_qr.hpp"

namespace orvel {
namespace {

struct PanelRow {
    Lanes v[vectors];
};

// sum over k of a_rk x_k for the rows r of one panel and a strip of columns.
ORVEL_INLINE void panel_product(PanelRow (&sum)[block_height], const double *a, const double *x,
                                int inner) {
    for (PanelRow &row : sum) {
        row = {};
    }
    for (int k = 0; k < inner; ++k, a += block_height, x += strip) {
        Lanes b[vectors];
        for (int v = 0; v < vectors; ++v) {
            load(b[v], x + v * lanes);
        }
        for (int r = 0; r < block_height; ++r) {
            Lanes f;
            spread(f, a[r]);
            for (int v = 0; v < vectors; ++v) {
                sum[r].v[v] += f * b[v];
            }
        }
    }
}

// Elements `at`.. of y <- scale (p + diag x) - y, p being the product of the matrix with x; adds
// their squares.
ORVEL_INLINE void recur(const BlockTerm &t, std::ptrdiff_t at, const Lanes &pr, const Lanes &pi_,
                        Lanes &square) {
    Lanes xr, xi, yr, yi, dr, di, s;
    load(xr, t.x.re + at);
    load(xi, t.x.im + at);
    load(yr, t.y.re + at);
    load(yi, t.y.im + at);
    load(dr, t.diag_re + at);
    load(di, t.diag_im + at);
    load(s, t.scale + at);
    yr = s * (pr + (dr * xr - di * xi)) - yr;
    yi = s * (pi_ + (dr * xi + di * xr)) - yi;
    store(t.y.re + at, yr);
    store(t.y.im + at, yi);
    store(t.y.sum + at, yr + yi);
    square += yr * yr + yi * yi;
}

ORVEL_ISA void block_term(const BlockTerm &t) {
    const std::ptrdiff_t plane = static_cast<std::ptrdiff_t>(t.n) * block_height;
    const double *a = t.packed;
    Lanes square[vectors] = {};
    for (int i = 0; i < t.n; i += block_height, a += 3 * plane) {
        PanelRow rr[block_height], ii[block_height], both[block_height];
        panel_product(rr, a, t.x.re, t.n);
        panel_product(ii, a + plane, t.x.im, t.n);
        panel_product(both, a + 2 * plane, t.x.sum, t.n);
        const int height = t.n - i < block_height ? t.n - i : block_height;
        for (int r = 0; r < height; ++r) {
            for (int v = 0; v < vectors; ++v) {
                const std::ptrdiff_t at = (i + r) * std::ptrdiff_t{strip} + v * lanes;
                recur(t, at, rr[r].v[v] - ii[r].v[v], both[r].v[v] - (rr[r].v[v] + ii[r].v[v]),
                      square[v]);
            }
        }
    }
    for (int v = 0; v < vectors; ++v) {
        store(t.square + v * lanes, square[v]);
    }
}

ORVEL_ISA void block_sum(const BlockSum &s) {
    double *sum = s.sum;
    for (int o = 0; o < s.n_out; ++o) {
        const std::ptrdiff_t at = s.rows[o] * std::ptrdiff_t{strip};
        const double *weight = s.weights;
        for (int k = 0; k < s.n_sets; ++k, weight += strip, sum += 2 * strip) {
            for (int v = 0; v < strip; v += lanes) {
                Lanes w, xr, xi, re, im;
                load(w, weight + v);
                load(xr, s.x.re + at + v);
                load(xi, s.x.im + at + v);
                load(re, sum + v);
                load(im, sum + strip + v);
                store(sum + v, re + w * xr);
                store(sum + strip + v, im + w * xi);
            }
        }
    }
}

ORVEL_ISA void single_term(const SingleTerm &t) {
    const double *b = t.packed;
    Lanes cr, ci, s;
    spread(cr, t.centre.re);
    spread(ci, t.centre.im);
    spread(s, t.scale);
    Lanes square = {};
    for (int i = 0; i < t.n; i += strip) {
        StripRow sum = {};
        for (int k = 0; k < t.n; ++k, b += 2 * strip) {
            Lanes xr, xi;
            spread(xr, t.xr[k]);
            spread(xi, t.xi[k]);
            for (int v = 0; v < vectors; ++v) {
                Lanes br, bi;
                load(br, b + v * lanes);
                load(bi, b + strip + v * lanes);
                sum.re[v] += xr * br - xi * bi;
                sum.im[v] += xr * bi + xi * br;
            }
        }
        for (int v = 0; v < vectors; ++v) {
            const int at = i + v * lanes;
            Lanes xr, xi, yr, yi;
            load(xr, t.xr + at);
            load(xi, t.xi + at);
            load(yr, t.yr + at);
            load(yi, t.yi + at);
            yr = s * (sum.re[v] - (cr * xr - ci * xi)) - yr;
            yi = s * (sum.im[v] - (cr * xi + ci * xr)) - yi;
            store(t.yr + at, yr);
            store(t.yi + at, yi);
            square += yr * yr + yi * yi;
        }
    }
    *t.square = (square[0] + square[1]) + (square[2] + square[3]);
}

} // namespace
} // namespace orvel
