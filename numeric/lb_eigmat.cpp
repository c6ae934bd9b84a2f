#include "numeric/lb_eigmat.hpp"

#include "app/mb_debug.hpp"
#include "app/mb_mpi.hpp"
#include "app/run_settings.hpp"
#include "numeric/lb_eigmat1.hpp"
#include "numeric/lb_eigmat2.hpp"

#include <utility>

namespace orvel {

namespace {

// Planes, rows of scratch and rotations that EigmatWork deals out.
constexpr std::size_t num_planes = 6;
constexpr std::size_t num_rows = 10 + 3 * EigmatWork::sweeps_max;

std::size_t doubles_for(int n) {
    return num_planes * plane_size(n) +
           num_rows * static_cast<std::size_t>(round_up_strip(n + strip)) + strip;
}

// Brings the pairs into decreasing order of their keys.
template <class Key> void csort(int n, complex *eigval, complex *const *eigvec, const Key &key) {
    for (int i = 0; i + 1 < n; ++i) {
        int largest = i;
        for (int j = i + 1; j < n; ++j) {
            if (key(eigval[j]) > key(eigval[largest])) {
                largest = j;
            }
        }
        if (largest != i) {
            std::swap(eigval[i], eigval[largest]);
            for (int r = 0; r < n; ++r) {
                std::swap(eigvec[r][i], eigvec[r][largest]);
            }
        }
    }
}

} // namespace

EigmatWork::EigmatWork(int n)
    : n_max(n), reals(doubles_for(n)), vec(static_cast<std::size_t>(n)),
      index(static_cast<std::size_t>(n)) {
    PlaneDealer deal(reals);
    a = deal.planes(n);
    zt = deal.planes(n);
    v = deal.planes(n);
    for (double **row : {&sub, &wr, &wi, &ortr, &orti, &scale, &ur, &ui, &fr, &fi}) {
        *row = deal.vector(n + strip);
    }
    for (QrSweep &q : sweeps) {
        q.xr = deal.vector(n + strip);
        q.xi = deal.vector(n + strip);
        q.s = deal.vector(n + strip);
    }
}

int eigmat(int n, const complex *const *a, complex *eigval, complex *const *eigvec,
           EigmatWork &work) {
    assert(n <= work.n_max);
    work.is_balanced = false;
    if (epsilon.eigmat_func == 0) {
        dbg_mon("$$ eigen values and vectors: eispack_cg\n");
        eispack_cg(n, epsilon.eigen_eps, a, eigval, eigvec, work);
    } else if (epsilon.eigmat_func == 1) {
        dbg_mon("$$ eigen values and vectors: eigen_c_mat\n");
        const int status = eigen_c_mat(n, epsilon.eigen_eps, 1, a, eigval, eigvec, work);
        if (status != 0) {
            mb_fprintf(stdout, "$$ (eigmat): eigen_c_mat = %d\n", status);
        }
    } else {
        mb_fprintf(stdout, "$$ Invalid epsilon.eigmat_func=%d. Abort.\n", epsilon.eigmat_func);
    }
    dbg_dump_complexvec(dbg.eigval_dump_flag, " eigen values:", n, eigval);
    dbg_dump_complexmat(dbg.eigvec_dump_flag, " eigen vectors", n, eigvec);
    return 0;
}

void sort_eigval_eigvec(int n, complex *eigval, complex *const *eigvec, EigmatWork &work) {
    complex *const copy = work.vec.data();
    int *const from = work.index.data(); // where each place gets its pair
    for (int i = 0; i < n; ++i) {
        int place = 0;
        while (place < i && !(eigval[from[place]].re < eigval[i].re)) {
            ++place;
        }
        for (int j = i; j > place; --j) {
            from[j] = from[j - 1];
        }
        from[place] = i;
    }
    const auto rearrange = [&](complex *row) {
        for (int i = 0; i < n; ++i) {
            copy[i] = row[i];
        }
        for (int i = 0; i < n; ++i) {
            row[i] = copy[from[i]];
        }
    };
    rearrange(eigval);
    for (int i = 0; i < n; ++i) {
        rearrange(eigvec[i]);
    }
}

void re_part_csort(int n, complex *eigval, complex *const *eigvec, int direction) {
    const double f = direction < 0 ? -1.0 : 1.0;
    csort(n, eigval, eigvec, [f](complex z) { return f * z.re; });
}

void norm_csort(int n, complex *eigval, complex *const *eigvec, int direction) {
    const double f = direction < 0 ? -1.0 : 1.0;
    csort(n, eigval, eigvec, [f](complex z) { return f * c_norm(z); });
}

} // namespace orvel
