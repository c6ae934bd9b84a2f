#include "numeric/lb_schur.hpp"

#include "app/mb_debug.hpp"
#include "numeric/lb_eigmat1_scalar.hpp"

#include <cmath>

namespace orvel {

namespace {

// Turns a row by conj(phase) from column `from` to `to`.
void turn_row(const Planes &m, int i, int from, int to, complex phase) {
    double *re = m.re_row(i);
    double *im = m.im_row(i);
    for (int j = from; j <= to; ++j) {
        const double turned = phase.re * im[j] - phase.im * re[j];
        re[j] = phase.re * re[j] + phase.im * im[j];
        im[j] = turned;
    }
}

// Turns rows 0..last of a column by phase.
void turn_column(const Planes &m, int j, int last, complex phase) {
    for (int i = 0; i <= last; ++i) {
        m.set(i, j, c_mul(phase, m.at(i, j)));
    }
}

// Largest |re| + |im| of the upper triangle.
double triangle_norm(int n, const Planes &t) {
    double norm = 0.0;
    for (int i = 0; i < n; ++i) {
        const double *re = t.re_row(i);
        const double *im = t.im_row(i);
        for (int j = i; j < n; ++j) {
            norm = dmax1(std::fabs(re[j]) + std::fabs(im[j]), norm);
        }
    }
    return norm;
}

// Overflow control of the back-substitution: the columns whose element in row i has grown out of
// proportion are divided by it.
void scale_columns(const Planes &t, int n, int i) {
    for (int j = i + 1; j < n; ++j) {
        const complex x = t.at(i, j);
        const double size = std::fabs(x.re) + std::fabs(x.im);
        if (size == 0.0 || size + 1.0 / size > size) {
            continue;
        }
        for (int k = i; k <= j; ++k) {
            t.re_row(k)[j] /= size;
            t.im_row(k)[j] /= size;
        }
    }
}

// Takes the place of the difference of two equal eigenvalues: the last c norm, c = 0.01, 0.0001,
// ..., that is lost beside norm.
double smallest_difference(double norm) {
    double y = norm;
    do {
        y *= 0.01;
    } while (norm + y > norm);
    return y;
}

// The columns of the upper triangle become its eigenvectors.
void back_substitute(int n, double norm, Coinciding rule, EigmatWork &work) {
    const Kernels &kernel = kernels();
    const double tiny = smallest_difference(norm);
    const double least = rule == Coinciding::rounded ? tiny : 0.0;
    for (int i = n - 1; i >= 0; --i) {
        chk_interrupt();
        kernel.upper_row(work.a, n, i, work.ur, work.ui);
        const bool large = kernel.divide_row(work.a, n, i, work.wr, work.wi, least, tiny);
        work.a.set(i, i, {1.0, 0.0});
        for (int j = i / strip * strip; j < i; ++j) {
            work.a.set(i, j, {});
        }
        if (large) {
            scale_columns(work.a, n, i);
        }
    }
}

// What is left of a triangle that is zero or of order 1: the unit vectors.
void unit_triangle(int n, EigmatWork &work) {
    for (int i = 0; i < n; ++i) {
        work.a.set(i, i, {1.0, 0.0});
    }
}

// work.v <- Z X on rows and inner indices of the range; rows outside are those of X.
void multiply_back(int n, Range range, EigmatWork &work) {
    zero_planes(work.v, n);
    for (int i = 0; i < n; ++i) {
        if (i < range.low || i > range.high) {
            for (int j = i; j < n; ++j) {
                work.v.set(i, j, work.a.at(i, j));
            }
        }
    }
    const int first = range.low / strip * strip;
    Product p;
    p.rows = p.inner = range.high - range.low + 1;
    p.cols = n - first;
    p.upper_from = first - range.low;
    p.c = work.v.from(range.low, first);
    const Planes z = work.zt.from(range.low, range.low);
    p.ar = z.re;
    p.ai = z.im;
    p.a_row = 1;
    p.a_col = z.ld;
    p.b = work.a.from(range.low, first);
    multiply_in_steps(p);
}

// eigvec <- columns of work.v, normalised.
void store_vectors(int n, double shortest, complex *const *eigvec, EigmatWork &work) {
    double *length = work.fr;
    for (int j = 0; j < n; ++j) {
        length[j] = 0.0;
    }
    for (int i = 0; i < n; ++i) {
        const double *re = work.v.re_row(i);
        const double *im = work.v.im_row(i);
        for (int j = 0; j < n; ++j) {
            length[j] += re[j] * re[j] + im[j] * im[j];
        }
    }
    for (int j = 0; j < n; ++j) {
        length[j] = length[j] >= shortest ? std::sqrt(length[j]) : 1.0;
    }
    for (int i = 0; i < n; ++i) {
        const double *re = work.v.re_row(i);
        const double *im = work.v.im_row(i);
        for (int j = 0; j < n; ++j) {
            eigvec[i][j] = {re[j] / length[j], im[j] / length[j]};
        }
    }
}

} // namespace

void unit_transformations(int n, EigmatWork &work) {
    zero_planes(work.zt, n);
    for (int i = 0; i < n; ++i) {
        work.zt.set(i, i, {1.0, 0.0});
    }
}

void make_subdiagonal_real(int n, Range range, double smallest, EigmatWork &work) {
    const Planes &h = work.a;
    for (int i = range.low + 1; i <= range.high; ++i) {
        const complex below = h.at(i, i - 1);
        if (below.im == 0.0 || std::fabs(below.im) < smallest) {
            continue;
        }
        const double norm = pythag(below.re, below.im);
        const complex phase = {below.re / norm, below.im / norm};
        h.set(i, i - 1, {norm, 0.0});
        turn_row(h, i, i, n - 1, phase);
        turn_column(h, i, min0(i + 1, range.high), phase);
        turn_row(work.zt, i, range.low, range.high, c_conj(phase));
    }
    for (int i = 0; i < n; ++i) {
        work.sub[i] = i > range.low && i <= range.high ? h.re_row(i)[i - 1] : 0.0;
        zero_elements(h.re_row(i), static_cast<std::size_t>(i));
        zero_elements(h.im_row(i), static_cast<std::size_t>(i));
    }
    work.num_sweeps = 0;
}

complex trailing_shift(int en, complex (*root)(complex), const EigmatWork &work) {
    const complex last = work.a.at(en, en);
    const complex above = work.a.at(en - 1, en);
    const complex x = {above.re * work.sub[en], above.im * work.sub[en]};
    if (x.re == 0.0 && x.im == 0.0) {
        return last;
    }
    const complex first = work.a.at(en - 1, en - 1);
    const complex y = {(first.re - last.re) / 2.0, (first.im - last.im) / 2.0};
    const complex square = {y.re * y.re - y.im * y.im + x.re, 2.0 * y.re * y.im + x.im};
    complex z;
    if (square.re != 0.0 || square.im != 0.0) {
        z = root(square);
    }
    if (y.re * z.re + y.im * z.im < 0.0) {
        z = {-z.re, -z.im};
    }
    return c_sub(last, cdiv_cg(x, c_add(y, z)));
}

void flush_rotations(int n, EigmatWork &work) {
    kernels().rotate_vectors(work.zt, n, work.sweeps, work.num_sweeps);
    work.num_sweeps = 0;
}

void qr_step(int n, int low, int l, int en, complex shift, EigmatWork &work) {
    chk_interrupt();
    const Hessenberg m = {n, work.a, work.sub};
    for (int i = low; i <= en; ++i) {
        m.h.set(i, i, c_sub(m.h.at(i, i), shift));
    }
    QrSweep &q = work.sweeps[work.num_sweeps];
    q.l = l;
    q.en = en;
    q.phase = {1.0, 0.0};
    kernels().qr_rows(m, q);
    const complex last = m.h.at(en, en);
    if (last.im != 0.0) {
        const double norm = pythag(last.re, last.im);
        q.phase = {last.re / norm, last.im / norm};
        m.h.set(en, en, {norm, 0.0});
        turn_row(m.h, en, en + 1, n - 1, q.phase);
    }
    kernels().qr_columns(m, q);
    if (last.im != 0.0) {
        turn_column(m.h, en, en, q.phase);
    }
    if (++work.num_sweeps == EigmatWork::sweeps_max) {
        flush_rotations(n, work);
    }
}

void schur_vectors(int n, Range range, double shortest, Coinciding rule, complex *const *eigvec,
                   EigmatWork &work) {
    flush_rotations(n, work);
    const double norm = triangle_norm(n, work.a);
    if (n > 1 && norm != 0.0) {
        back_substitute(n, norm, rule, work);
    } else {
        unit_triangle(n, work);
    }
    multiply_back(n, range, work);
    store_vectors(n, shortest, eigvec, work);
}

} // namespace orvel
