// The inner loops of the dense solvers, compiled for any machine, for AVX2 and for AVX-512; the
// table of the machine at hand is chosen at the first use.
//
// All tables give the same bits: every element is worked on by the same operations in the same
// order, sums across a row run in a fixed set of lanes, and no operations are fused. Matrices are
// padded planes (numeric/lb_planes.hpp); kernels may read and rewrite the padding.
#pragma once

#include "numeric/lb_planes.hpp"

namespace orvel {

// The plane rotations of one QR sweep over the active block l..en (indices from 0). Rotation k
// combines rows k-1 and k; its entries are
//     | conj(x) s |
//     |   -s    x |,  x = xr + i xi, s real, |x|^2 + s^2 = 1.
// The arrays are indexed by k and have room for half a strip beyond n.
struct QrSweep {
    int l = 0;
    int en = 0;
    double *xr = nullptr;
    double *xi = nullptr;
    double *s = nullptr;
    complex phase; // made the last diagonal element of R real; 1 where it was real
};

// An upper Hessenberg matrix with real subdiagonal: everything below the diagonal of h is exactly
// zero, the subdiagonal element (k, k-1) is sub[k].
struct Hessenberg {
    int n = 0;
    Planes h;
    double *sub = nullptr;
};

// A Householder vector u with zeros outside first..last, its reflection I - u u^H / norm, and a
// zeroed scratch pair f of the same length.
struct Reflector {
    int first = 0;
    int last = 0;
    double norm = 0.0;
    double *ur = nullptr;
    double *ui = nullptr;
    double *fr = nullptr;
    double *fi = nullptr;
};

// C <- C + A B or C - A B. a_row and a_col are the steps between the elements of A, so that A may
// be a transpose; b_rows_of says how many rows of B count (see below).
struct Product {
    int rows = 0; // of C
    int cols = 0; // of C; C and B are padded to whole strips
    int inner = 0;
    // Rows of B from `upper_from` + c on are zero in column c (an upper triangle); inner or more
    // for a full B.
    int upper_from = 0;
    bool subtract = false;
    Planes c;
    const double *ar = nullptr;
    const double *ai = nullptr;
    std::ptrdiff_t a_row = 0;
    std::ptrdiff_t a_col = 0;
    Planes b;
};

// One step of the elimination in a panel of columns, each given as a row: the entries of row
// `column` behind `pivot` are divided by its entry there and become multipliers f_i; then
// y_i -= f_i y_pivot in the rows behind it up to `columns`, for i up to `rows`.
struct PanelStep {
    Planes panel;
    int column = 0;
    int columns = 0;
    int pivot = 0;
    int rows = 0;
};

// Rows of a panel of a packed block matrix.
inline constexpr int block_height = 4;

// A strip of vectors side by side, one a column: element i of column c is re[i strip + c] + i im[],
// and sum = re + im.
struct StripVectors {
    double *re = nullptr;
    double *im = nullptr;
    double *sum = nullptr;
};

// One step of a three-term recurrence on a strip of columns under a common matrix M of order n:
//     y_i <- scale_i (sum_k m_ik x_k + diag_i x_i) - y_i,
// scale (real) and diag of each row and column. The complex product is three real ones: with
// p = Re M re(x), q = Im M im(x) and r = (Re M + Im M) (re(x) + im(x)) it is p - q + i (r - p - q).
// packed: n rows in panels of block_height, the last one filled up with zeros; a panel holds the
// three real matrices one after the other, column by column. No column of the strip has a part in
// the result of another.
struct BlockTerm {
    int n = 0;
    double *packed = nullptr;
    StripVectors x;
    StripVectors y;          // in: the term before x; out: the term after it
    double *scale = nullptr; // n x strip each
    double *diag_re = nullptr;
    double *diag_im = nullptr;
    double *square = nullptr; // strip; out: squared length of each column of y
};

// sum[o][k] += weights[k] x[rows[o]], column by column: real weights, n_sets x strip; sums of
// n_out x n_sets x (re, im) x strip.
struct BlockSum {
    int n_out = 0;
    const int *rows = nullptr;
    int n_sets = 0;
    const double *weights = nullptr;
    StripVectors x;
    double *sum = nullptr;
};

// The same step for a single vector under its own matrix: y <- scale (M x - centre x) - y.
// packed: the rows in panels of a strip, the last one filled up with zeros; a panel holds one
// column after the other, real parts, then imaginary ones. The vectors have whole strips.
struct SingleTerm {
    int n = 0;
    const double *packed = nullptr;
    const double *xr = nullptr;
    const double *xi = nullptr;
    double *yr = nullptr;
    double *yi = nullptr;
    double scale = 0.0;
    complex centre;
    double *square = nullptr; // out: squared length of y
};

struct Kernels {
    // R <- Q^H H: finds the rotations of the sweep from the shifted matrix and applies them to the
    // rows l..en, columns l..n-1. The subdiagonal of the block is gone afterwards.
    void (*qr_rows)(const Hessenberg &m, const QrSweep &q);
    // H <- R Q, rows 0..en; fills the subdiagonal of the block.
    void (*qr_columns)(const Hessenberg &m, const QrSweep &q);
    // The columns of Z times the rotations (and phases) of `count` sweeps, oldest first. Z is held
    // transposed: column k of Z is row k of zt. cols: length of those rows.
    void (*rotate_vectors)(const Planes &zt, int cols, const QrSweep *sweeps, int count);
    // A <- (I - u u^H / norm) A on columns first..n-1, then A (I - u u^H / norm) on all rows.
    void (*reflect_both)(const Planes &a, int n, const Reflector &r);
    // Rows r0..r1 of A become a - (sum over k of conj(u_k) a_k / norm) u.
    void (*reflect_rows)(const Planes &a, int r0, int r1, const Reflector &r);
    // Row i of the vectors of an upper triangular T: row i right of the diagonal becomes
    // sum over j = i+1..c of t_ij x_jc, where rows i+1.. of the same matrix hold x already (their
    // diagonal being whatever x_jj is). tr, ti: scratch of one row.
    void (*upper_row)(const Planes &t, int n, int i, double *tr, double *ti);
    // row_c <- row_c / (w - w_c) by cdiv_cg for c = i+1..n-1, where the real part of a difference
    // of at most `least` in both parts is replaced by tiny. True where an element came out so large
    // that its reciprocal is lost beside it.
    bool (*divide_row)(const Planes &t, int n, int i, const double *wr, const double *wi,
                       double least, double tiny);
    // Row i of A, columns from..n-1: a - (mr + i mi) row p.
    void (*eliminate)(const Planes &a, int i, int p, int from, int n, complex multiplier);
    // sum over k = from..n-1 of u_k a_ik.
    complex (*row_sum)(const Planes &a, int i, int from, int n, const double *ur, const double *ui);
    void (*multiply)(const Product &p);
    void (*panel_step)(const PanelStep &p);
    void (*block_term)(const BlockTerm &t);
    void (*block_sum)(const BlockSum &s);
    void (*single_term)(const SingleTerm &t);
};

// The tables by name, for the comparison of one with the other; null for one that this machine
// cannot run.
const Kernels *plain_kernels();
const Kernels *avx2_kernels();
const Kernels *avx512_kernels();

// The table in use: the fastest of this machine, or the one that was set.
const Kernels &kernels();

// A product of any size by kernels().multiply, some rows after the other, between which the run
// looks for interrupts.
void multiply_in_steps(const Product &p);
// Puts a table in use; null goes back to the fastest. Not while a solver runs.
void set_kernels(const Kernels *table);

} // namespace orvel
