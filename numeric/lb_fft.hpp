// Fast Fourier transform of single-precision complex data, radix 2, in one, two and three
// dimensions.
//
// Forward: X_k = (1/n) sum_j x_j exp(-2 pi i jk/n) along each axis. Inverse (direction 1, or any
// negative one): x_j = sum_k X_k exp(+2 pi i jk/n), without a factor. Real and imaginary parts
// stand in arrays of their own and are transformed in place (J. W. Cooley & J. W. Tukey, Math.
// Comput. 19 (1965) 297). Accuracy: a few times log2(n) units of the last single-precision place of
// the largest value.
#pragma once

#include "numeric/vecmat.hpp"

namespace orvel {

inline constexpr int fft_inverse = 1;
inline constexpr int fft_forward = 0;

bool is_power_of_two(int n);

// Transforms |n| values, |n| a power of two, and returns 0. Its tables stay for the next call of
// the same thread and are made anew only when |n| differs from the last one; n = 0 releases them.
// Returns 1 with a line on standard error, and leaves the data alone, when the tables cannot be
// allocated or |n| is no power of two.
int fft1d(int direction, int n, float *re, float *im);

// One plane of ny rows of nz values. A failing fft1d ends the run: "$$ error in fft1d\n", status 1.
void fft2d_nxny(int direction, int ny, int nz, float *const *re, float *const *im);

// A grid [nx][ny][nz], plane by plane and then along x. Ends the run as fft2d_nxny does.
void fft3d_nxnynz(int direction, int nx, int ny, int nz, Tensor<float> &re, Tensor<float> &im);

} // namespace orvel
