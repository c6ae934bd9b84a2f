// The kernels of lb_kernels for reflections, eliminations, triangles and products, as text for each
// of its builds: ORVEL_ISA is the target attribute.
#pragma once

#include "numeric/lb_kernels_block.hpp"
#include "numeric/lb_kernels_qr.hpp"

namespace orvel {
namespace {

// The sum of a strip of numbers, in one order on every machine.
ORVEL_INLINE double strip_sum(const Lanes (&v)[vectors]) {
    double half[strip / 2];
    for (int i = 0; i < strip / 2; ++i) {
        half[i] = v[0][i] + v[vectors - 1][i + strip / 2 - (vectors - 1) * lanes];
    }
    return (half[0] + half[1]) + (half[2] + half[3]);
}

// sum over k of conj(u_k) a_k (conjugate) or u_k a_k over whole strips from..to.
template <bool conjugate>
ORVEL_INLINE complex sum_along(const double *ar, const double *ai, const double *ur,
                               const double *ui, int from, int to) {
    Lanes re[vectors] = {};
    Lanes im[vectors] = {};
    for (int c = from; c < to; c += strip) {
        for (int v = 0; v < vectors; ++v) {
            Lanes xr, xi, yr, yi;
            load(xr, ur + c + v * lanes);
            load(xi, ui + c + v * lanes);
            load(yr, ar + c + v * lanes);
            load(yi, ai + c + v * lanes);
            if constexpr (conjugate) {
                re[v] += xr * yr + xi * yi;
                im[v] += xr * yi - xi * yr;
            } else {
                re[v] += xr * yr - xi * yi;
                im[v] += xr * yi + xi * yr;
            }
        }
    }
    return {strip_sum(re), strip_sum(im)};
}

// a <- a - f u over whole strips
ORVEL_INLINE void subtract_multiple(double *ar, double *ai, const double *ur, const double *ui,
                                    complex f, int from, int to) {
    Lanes fr, fi;
    spread(fr, f.re);
    spread(fi, f.im);
    for (int c = from; c < to; c += lanes) {
        Lanes xr, xi, yr, yi;
        load(xr, ur + c);
        load(xi, ui + c);
        load(yr, ar + c);
        load(yi, ai + c);
        yr -= fr * xr - fi * xi;
        yi -= fr * xi + fi * xr;
        store(ar + c, yr);
        store(ai + c, yi);
    }
}

ORVEL_ISA void reflect_rows(const Planes &a, int r0, int r1, const Reflector &r) {
    const int from = r.first / strip * strip;
    const int to = round_up_strip(r.last + 1);
    for (int i = r0; i <= r1; ++i) {
        complex f = sum_along<true>(a.re_row(i), a.im_row(i), r.ur, r.ui, from, to);
        f.re /= r.norm;
        f.im /= r.norm;
        subtract_multiple(a.re_row(i), a.im_row(i), r.ur, r.ui, f, from, to);
    }
}

// f <- u^H A / norm on the columns from the strip of `first` on
ORVEL_INLINE void project_columns(const Planes &a, int n, const Reflector &r) {
    Lanes norm;
    spread(norm, r.norm);
    for (int c = r.first / strip * strip; c < n; c += strip) {
        StripRow f = {};
        for (int i = r.last; i >= r.first; --i) {
            Lanes xr, xi;
            spread(xr, r.ur[i]);
            spread(xi, r.ui[i]);
            StripRow y;
            load_strip(y, a, i, c);
            for (int v = 0; v < vectors; ++v) {
                f.re[v] += xr * y.re[v] + xi * y.im[v];
                f.im[v] += xr * y.im[v] - xi * y.re[v];
            }
        }
        for (int v = 0; v < vectors; ++v) {
            store(r.fr + c + v * lanes, f.re[v] / norm);
            store(r.fi + c + v * lanes, f.im[v] / norm);
        }
    }
    for (int c = r.first / strip * strip; c < r.first; ++c) {
        r.fr[c] = 0.0;
        r.fi[c] = 0.0;
    }
}

ORVEL_ISA void reflect_both(const Planes &a, int n, const Reflector &r) {
    project_columns(a, n, r);
    const int from = r.first / strip * strip;
    const int to = round_up_strip(r.last + 1);
    for (int i = 0; i <= r.last; ++i) {
        double *re = a.re_row(i);
        double *im = a.im_row(i);
        if (i >= r.first) {
            subtract_multiple(re, im, r.fr, r.fi, {r.ur[i], r.ui[i]}, from, round_up_strip(n));
        }
        complex g = sum_along<false>(re, im, r.ur, r.ui, from, to);
        g.re /= r.norm;
        g.im /= r.norm;
        // a <- a - g conj(u), by -u in the imaginary part
        Lanes gr, gi;
        spread(gr, g.re);
        spread(gi, g.im);
        for (int c = from; c < to; c += lanes) {
            Lanes xr, xi, yr, yi;
            load(xr, r.ur + c);
            load(xi, r.ui + c);
            load(yr, re + c);
            load(yi, im + c);
            yr -= gr * xr + gi * xi;
            yi -= gi * xr - gr * xi;
            store(re + c, yr);
            store(im + c, yi);
        }
    }
}

ORVEL_ISA void upper_row(const Planes &t, int n, int i, double *tr, double *ti) {
    for (int j = i + 1; j < n; ++j) {
        tr[j] = t.re_row(i)[j];
        ti[j] = t.im_row(i)[j];
    }
    for (int c = (i + 1) / strip * strip; c < n; c += strip) {
        StripRow sum = {};
        const int last = c + strip < n ? c + strip : n;
        for (int j = i + 1; j < last; ++j) {
            Lanes xr, xi;
            spread(xr, tr[j]);
            spread(xi, ti[j]);
            StripRow x;
            load_strip(x, t, j, c);
            for (int v = 0; v < vectors; ++v) {
                sum.re[v] += xr * x.re[v] - xi * x.im[v];
                sum.im[v] += xr * x.im[v] + xi * x.re[v];
            }
        }
        store_strip(t, i, c, sum);
    }
}

ORVEL_INLINE void magnitude(Lanes &m, const Lanes &x) {
    m = x < 0.0 ? -x : x;
}

ORVEL_ISA bool divide_row(const Planes &t, int n, int i, const double *wr, const double *wi,
                          double least, double tiny) {
    LaneMask large = {};
    for (int c = (i + 1) / strip * strip; c < n; c += lanes) {
        Lanes yr, yi, ar, ai, size, other;
        load(yr, wr + c);
        load(yi, wi + c);
        yr -= wr[i];
        yi -= wi[i];
        magnitude(size, yr);
        magnitude(other, yi);
        Lanes instead;
        spread(instead, tiny);
        yr = ((size <= least) & (other <= least)) != 0 ? instead : yr;
        load(ar, t.re_row(i) + c);
        load(ai, t.im_row(i) + c);
        // cdiv_cg, a vector at a time
        magnitude(size, yr);
        magnitude(other, yi);
        size += other;
        ar /= size;
        ai /= size;
        yr /= size;
        yi /= size;
        const Lanes square = yr * yr + yi * yi;
        const Lanes qr = (ar * yr + ai * yi) / square;
        const Lanes qi = (ai * yr - ar * yi) / square;
        store(t.re_row(i) + c, qr);
        store(t.im_row(i) + c, qi);
        magnitude(size, qr);
        magnitude(other, qi);
        size += other;
        large |= size + 1.0 / size <= size;
    }
    std::int64_t any = 0;
    for (int lane = 0; lane < lanes; ++lane) {
        any |= large[lane];
    }
    return any != 0;
}

ORVEL_ISA void eliminate(const Planes &a, int i, int p, int from, int n, complex multiplier) {
    double *__restrict re = a.re_row(i);
    double *__restrict im = a.im_row(i);
    const double *__restrict pr = a.re_row(p);
    const double *__restrict pi_row = a.im_row(p);
    const double mr = multiplier.re;
    const double mi = multiplier.im;
    for (int c = from; c < n; ++c) {
        re[c] -= mr * pr[c] - mi * pi_row[c];
        im[c] -= mr * pi_row[c] + mi * pr[c];
    }
}

ORVEL_ISA complex row_sum(const Planes &a, int i, int from, int n, const double *ur,
                          const double *ui) {
    return sum_along<false>(a.re_row(i), a.im_row(i), ur, ui, from / strip * strip,
                            round_up_strip(n));
}

// Rows of a product whose sums stay in registers together.
constexpr int tall = lanes == strip ? 6 : 2;

// `height` rows of one strip of a product.
template <int height, bool subtract>
ORVEL_INLINE void multiply_strip(const Product &p, int i, int c, int inner) {
    StripRow sum[height];
    for (int r = 0; r < height; ++r) {
        load_strip(sum[r], p.c, i + r, c);
    }
    for (int k = 0; k < inner; ++k) {
        StripRow b;
        load_strip(b, p.b, k, c);
        for (int r = 0; r < height; ++r) {
            Lanes xr, xi;
            spread(xr, p.ar[(i + r) * p.a_row + k * p.a_col]);
            spread(xi, p.ai[(i + r) * p.a_row + k * p.a_col]);
            for (int v = 0; v < vectors; ++v) {
                const Lanes re = xr * b.re[v] - xi * b.im[v];
                const Lanes im = xr * b.im[v] + xi * b.re[v];
                sum[r].re[v] = subtract ? sum[r].re[v] - re : sum[r].re[v] + re;
                sum[r].im[v] = subtract ? sum[r].im[v] - im : sum[r].im[v] + im;
            }
        }
    }
    for (int r = 0; r < height; ++r) {
        store_strip(p.c, i + r, c, sum[r]);
    }
}

template <bool subtract> ORVEL_INLINE void multiply_as(const Product &p) {
    for (int c = 0; c < p.cols; c += strip) {
        const int used = p.upper_from + c + strip;
        const int inner = used < p.inner ? used : p.inner;
        int i = 0;
        for (; i + tall <= p.rows; i += tall) {
            multiply_strip<tall, subtract>(p, i, c, inner);
        }
        for (; i < p.rows; ++i) {
            multiply_strip<1, subtract>(p, i, c, inner);
        }
    }
}

ORVEL_ISA void multiply(const Product &p) {
    if (p.subtract) {
        multiply_as<true>(p);
    } else {
        multiply_as<false>(p);
    }
}

// f <- y / pivot, element by element from `from` on, as c_div divides.
ORVEL_INLINE void divide_all(double *__restrict re, double *__restrict im, complex pivot, int from,
                             int to) {
    const bool by_re = std::fabs(pivot.re) >= std::fabs(pivot.im);
    const double r = by_re ? pivot.im / pivot.re : pivot.re / pivot.im;
    const double d = by_re ? pivot.re + r * pivot.im : pivot.im + r * pivot.re;
    if (by_re) {
        for (int i = from; i < to; ++i) {
            const double x = re[i];
            const double y = im[i];
            re[i] = (x + r * y) / d;
            im[i] = (y - r * x) / d;
        }
    } else {
        for (int i = from; i < to; ++i) {
            const double x = re[i];
            const double y = im[i];
            re[i] = (r * x + y) / d;
            im[i] = (r * y - x) / d;
        }
    }
}

ORVEL_ISA void panel_step(const PanelStep &p) {
    divide_all(p.panel.re_row(p.column), p.panel.im_row(p.column), p.panel.at(p.column, p.pivot),
               p.pivot + 1, p.rows);
    const double *__restrict fr = p.panel.re_row(p.column);
    const double *__restrict fi = p.panel.im_row(p.column);
    for (int c = p.column + 1; c < p.columns; ++c) {
        double *__restrict re = p.panel.re_row(c);
        double *__restrict im = p.panel.im_row(c);
        const double ur = re[p.pivot];
        const double ui = im[p.pivot];
        for (int i = p.pivot + 1; i < p.rows; ++i) {
            re[i] -= fr[i] * ur - fi[i] * ui;
            im[i] -= fr[i] * ui + fi[i] * ur;
        }
    }
}

// The table of this build, with a kernel for the rotations of columns.
constexpr Kernels table_with(void (*qr_columns)(const Hessenberg &, const QrSweep &)) {
    return {qr_rows,    qr_columns, rotate_vectors, reflect_both, reflect_rows,
            upper_row,  divide_row, eliminate,      row_sum,      multiply,
            panel_step, block_term, block_sum,      single_term};
}

} // namespace
} // namespace orvel
