#include "numeric/lb_eigmat1.hpp"

#include "app/mb_debug.hpp"
#include "app/mb_mpi.hpp"

#include <cmath>

namespace orvel {

thread_local double eps = 0.0;

namespace {

// True where cbal has exchanged or scaled rows: its scale holds partners outside the range and
// factors inside it.
bool has_balanced(int n, Range range, const double *scale) {
    for (int i = 0; i < n; ++i) {
        const bool is_scaled = i >= range.low && i <= range.high && range.low < range.high;
        if (scale[i] != (is_scaled ? 1.0 : i)) {
            return true;
        }
    }
    return false;
}

// A Householder vector of corth is kept where its first element and, below the diagonal, the rest
// of it were left; work.ur, ui receive it.
Reflector kept_reflection(Range range, int i, EigmatWork &work) {
    const Planes &h = work.a;
    const complex below = h.at(i, i - 1);
    work.ur[i] = work.ortr[i];
    work.ui[i] = work.orti[i];
    for (int k = i + 1; k <= range.high; ++k) {
        work.ur[k] = h.re_row(k)[i - 1];
        work.ui[k] = h.im_row(k)[i - 1];
    }
    const double norm = -(below.re * work.ortr[i] + below.im * work.orti[i]);
    return {i, range.high, norm, work.ur, work.ui, work.fr, work.fi};
}

// work.zt <- the product of the reflections.
void form_transformations(int n, Range range, EigmatWork &work) {
    unit_transformations(n, work);
    zero_elements(work.ur, static_cast<std::size_t>(round_up_strip(n)));
    zero_elements(work.ui, static_cast<std::size_t>(round_up_strip(n)));
    for (int i = range.high - 1; i > range.low; --i) {
        chk_interrupt();
        if (std::fabs(work.ortr[i]) < eps && std::fabs(work.orti[i]) < eps) {
            continue;
        }
        const complex below = work.a.at(i, i - 1);
        if (below.re == 0.0 && below.im == 0.0) {
            continue;
        }
        const Reflector r = kept_reflection(range, i, work);
        kernels().reflect_rows(work.zt, i, range.high, r);
        work.ur[i] = 0.0;
        work.ui[i] = 0.0;
    }
}

// First row of the block that ends in row en: below it a subdiagonal element is negligible.
int block_start(int low, int en, const EigmatWork &work) {
    int l = en;
    while (l > low && !(std::fabs(work.sub[l]) < eps)) {
        --l;
    }
    return l;
}

complex exceptional_shift(int en, const EigmatWork &work) {
    if (en < 2) {
        mb_fprintf(stdout, "$$ en=%d, abort.\n", en + 1);
        end_run(1);
    }
    return {std::fabs(work.sub[en]) + std::fabs(work.sub[en - 1]), 0.0};
}

void store_eigenvalue(int i, complex value, complex *eigval, EigmatWork &work) {
    work.wr[i] = value.re;
    work.wi[i] = value.im;
    work.a.set(i, i, value);
    eigval[i] = value;
}

// All eigenvalues of the range; false when the budget of iterations is used up.
bool find_eigenvalues(int n, Range range, complex *eigval, EigmatWork &work) {
    complex total; // the shifts so far
    int left = 30 * n;
    for (int en = range.high; en >= range.low; --en) {
        for (int its = 0;; ++its) {
            const int l = block_start(range.low, en, work);
            if (l == en) {
                break;
            }
            if (left == 0) {
                return false;
            }
            const complex shift = its == 10 || its == 20 ? exceptional_shift(en, work)
                                                         : trailing_shift(en, csroot, work);
            total = c_add(total, shift);
            qr_step(n, range.low, l, en, shift, work);
            --left;
        }
        store_eigenvalue(en, c_add(work.a.at(en, en), total), eigval, work);
    }
    return true;
}

} // namespace

void comqr2(int n, Range range, complex *eigval, complex *const *eigvec, EigmatWork &work) {
    form_transformations(n, range, work);
    make_subdiagonal_real(n, range, eps, work);
    for (int i = 0; i < n; ++i) {
        if (i < range.low || i > range.high) {
            store_eigenvalue(i, work.a.at(i, i), eigval, work);
        }
    }
    if (find_eigenvalues(n, range, eigval, work)) {
        schur_vectors(n, range, eps, Coinciding::exact, eigvec, work);
    }
}

void eispack_cg(int n, double tol, const complex *const *a, complex *eigval, complex *const *eigvec,
                EigmatWork &work) {
    eps = tol;
    split_planes(n, a, work.a);
    const Range range = cbal(n, work.a, work.scale);
    work.is_balanced = has_balanced(n, range, work.scale);
    corth(n, work.a, range, work);
    comqr2(n, range, eigval, eigvec, work);
    sort_eigval_eigvec(n, eigval, eigvec, work);
}

} // namespace orvel
