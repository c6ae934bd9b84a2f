// The fast Fourier transform against the sum that defines it.
#include "numeric/lb_fft.hpp"

#include "numeric/complex.hpp"
#include "support/run_end.hpp"

#include <cstdlib>
#include <random>
#include <vector>

namespace orvel::test {
namespace {

struct Signal {
    explicit Signal(std::size_t n) : re(n), im(n) {
        std::uniform_real_distribution<float> uniform(-1.0F, 1.0F);
        for (std::size_t i = 0; i < n; ++i) {
            re[i] = uniform(random);
            im[i] = uniform(random);
        }
    }
    complex at(std::size_t i) const { return {re[i], im[i]}; }
    double norm() const {
        double sum = 0.0;
        for (std::size_t i = 0; i < re.size(); ++i) {
            sum += c_norm(at(i));
        }
        return sum;
    }
    std::vector<float> re;
    std::vector<float> im;
    static inline std::mt19937 random{20110530};
};

// sum_j x_j exp(sign 2 pi i jk/n)
complex direct_sum(const Signal &x, std::size_t k, int sign) {
    const std::size_t n = x.re.size();
    complex sum;
    for (std::size_t j = 0; j < n; ++j) {
        const double turns = static_cast<double>(j * k % n) / static_cast<double>(n);
        sum = c_add(sum, c_mul(x.at(j), c_exp({0.0, sign * two_pi * turns})));
    }
    return sum;
}

TEST(Fft, IsTheDirectSum) {
    // lengths down and up again, so that the kept tables have to change both ways
    for (const int n : {128, 1, 2, 4, 8, 16, 32, 64, 128, 4, -8}) {
        for (const int direction : {fft_inverse, -1, -5, fft_forward, 2}) {
            const bool inverse = direction == 1 || direction < 0;
            const auto size = static_cast<std::size_t>(std::abs(n));
            const Signal x(size);
            Signal y = x;
            ASSERT_EQ(fft1d(direction, n, y.re.data(), y.im.data()), 0);
            const double scale = inverse ? 1.0 : static_cast<double>(size);
            double worst = 0.0;
            for (std::size_t k = 0; k < size; ++k) {
                const complex expected = direct_sum(x, k, inverse ? 1 : -1);
                worst = std::max(worst, c_abs(c_sub({y.re[k] * scale, y.im[k] * scale}, expected)));
            }
            // a few units of the last single-precision place of |x| sqrt(n)
            EXPECT_LT(worst, 3e-7 * std::sqrt(x.norm() * static_cast<double>(size)))
                << n << " in direction " << direction;
            // Parseval
            EXPECT_NEAR(y.norm() * scale * scale / static_cast<double>(size), x.norm(),
                        1e-6 * x.norm());
        }
    }
}

TEST(Fft, RefusesOtherLengths) {
    EXPECT_EQ(fft1d(1, 0, nullptr, nullptr), 0);
    for (int n = 1; n <= 128; ++n) {
        if (is_power_of_two(n)) {
            continue;
        }
        Signal x(static_cast<std::size_t>(n));
        const Signal before = x;
        int code = 0;
        const Outcome o = outcome_of([&] { code = fft1d(1, n, x.re.data(), x.im.data()); });
        EXPECT_EQ(code, 1) << n;
        EXPECT_TRUE(o.err.starts_with("$$ fft1d: ")) << o.err;
        EXPECT_EQ(x.re, before.re);
        EXPECT_EQ(x.im, before.im);
    }
    const Outcome end = outcome_of([] {
        Tensor<float> re(2, 3, 4);
        Tensor<float> im(2, 3, 4);
        fft3d_nxnynz(1, 2, 3, 4, re, im);
    });
    EXPECT_EQ(end.status, 1);
    EXPECT_EQ(end.out, "$$ error in fft1d\n");
}

// A single coefficient gives a plane wave along all three axes, each of its own length.
TEST(Fft, ThreeDimensionsSynthesisePlaneWaves) {
    constexpr std::size_t n[] = {4, 2, 8};
    for (const auto &[h, k, l] : {std::array<std::size_t, 3>{1, 0, 3}, {3, 1, 7}, {0, 1, 2}}) {
        Tensor<float> re(n[0], n[1], n[2]);
        Tensor<float> im(n[0], n[1], n[2]);
        re[h][k][l] = 0.5F;
        fft3d_nxnynz(fft_inverse, 4, 2, 8, re, im);
        for (std::size_t x = 0; x < n[0]; ++x) {
            for (std::size_t y = 0; y < n[1]; ++y) {
                for (std::size_t z = 0; z < n[2]; ++z) {
                    const double turns = static_cast<double>(h * x) / 4.0 +
                                         static_cast<double>(k * y) / 2.0 +
                                         static_cast<double>(l * z) / 8.0;
                    EXPECT_NEAR(re[x][y][z], 0.5 * std::cos(two_pi * turns), 1e-6);
                    EXPECT_NEAR(im[x][y][z], 0.5 * std::sin(two_pi * turns), 1e-6);
                }
            }
        }
    }
}

} // namespace
} // namespace orvel::test
