// The kernels of lb_kernels for Chebyshev recurrences, as text for each of its builds: ORVEL_ISA is
// the target attribute.
#pragma once

#include "numeric/lb_kernels.hpp"
#include "numeric/lb_lanes.hpp"

namespace orvel {
namespace {

struct PanelRow {
    Lanes v[vectors];
};

// sum over k of a_rk x_k for the rows r of `count` panels and their strips of columns.
template <int count>
ORVEL_INLINE void panel_products(PanelRow (*sum)[block_height], const double *a,
                                 const double *const *x, int inner) {
    for (int p = 0; p < count; ++p) {
        for (PanelRow &row : sum[p]) {
            row = {};
        }
    }
    const std::ptrdiff_t panel = std::ptrdiff_t{inner} * block_height;
    for (int k = 0; k < inner; ++k) {
        for (int p = 0; p < count; ++p) {
            Lanes b[vectors];
            for (int v = 0; v < vectors; ++v) {
                load(b[v], x[p] + k * std::ptrdiff_t{strip} + v * lanes);
            }
            for (int r = 0; r < block_height; ++r) {
                Lanes f;
                spread(f, a[p * panel + k * std::ptrdiff_t{block_height} + r]);
                for (int v = 0; v < vectors; ++v) {
                    sum[p][r].v[v] += f * b[v];
                }
            }
        }
    }
}

// The three real products of a panel; all at once where the registers hold their sums.
ORVEL_INLINE void panel_product(PanelRow (*sum)[block_height], const double *a,
                                const StripVectors &x, int inner) {
    const double *const parts[] = {x.re, x.im, x.sum};
    if constexpr (vectors == 1) {
        panel_products<3>(sum, a, parts, inner);
    } else {
        const std::ptrdiff_t panel = std::ptrdiff_t{inner} * block_height;
        for (int p = 0; p < 3; ++p) {
            panel_products<1>(sum + p, a + p * panel, parts + p, inner);
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
        PanelRow sum[3][block_height];
        panel_product(sum, a, t.x, t.n);
        const int height = t.n - i < block_height ? t.n - i : block_height;
        for (int r = 0; r < height; ++r) {
            for (int v = 0; v < vectors; ++v) {
                const std::ptrdiff_t at = (i + r) * std::ptrdiff_t{strip} + v * lanes;
                const Lanes &p = sum[0][r].v[v];
                const Lanes &q = sum[1][r].v[v];
                recur(t, at, p - q, sum[2][r].v[v] - (p + q), square[v]);
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
    Lanes square[vectors] = {};
    for (int i = 0; i < t.n; i += strip) {
        Lanes re[vectors] = {};
        Lanes im[vectors] = {};
        for (int k = 0; k < t.n; ++k, b += 2 * strip) {
            Lanes xr, xi;
            spread(xr, t.xr[k]);
            spread(xi, t.xi[k]);
            for (int v = 0; v < vectors; ++v) {
                Lanes br, bi;
                load(br, b + v * lanes);
                load(bi, b + strip + v * lanes);
                re[v] += xr * br - xi * bi;
                im[v] += xr * bi + xi * br;
            }
        }
        for (int v = 0; v < vectors; ++v) {
            const int at = i + v * lanes;
            Lanes xr, xi, yr, yi;
            load(xr, t.xr + at);
            load(xi, t.xi + at);
            load(yr, t.yr + at);
            load(yi, t.yi + at);
            yr = s * (re[v] - (cr * xr - ci * xi)) - yr;
            yi = s * (im[v] - (cr * xi + ci * xr)) - yi;
            store(t.yr + at, yr);
            store(t.yi + at, yi);
            square[v] += yr * yr + yi * yi;
        }
    }
    double part[strip];
    for (int v = 0; v < vectors; ++v) {
        store(part + v * lanes, square[v]);
    }
    *t.square =
        ((part[0] + part[1]) + (part[2] + part[3])) + ((part[4] + part[5]) + (part[6] + part[7]));
}

} // namespace
} // namespace orvel
