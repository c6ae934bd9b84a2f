// Complex arithmetic, array storage and listings.
#include "numeric/cmatutil.hpp"
#include "numeric/complex.hpp"
#include "numeric/data_out.hpp"
#include "numeric/vecmat.hpp"
#include "support/matrices.hpp"
#include "support/run_end.hpp"

#include <complex>
#include <gtest/gtest.h>

namespace orvel::test {
namespace {

using Reference = std::complex<double>;

TEST(Complex, AgreesWithTheLibrary) {
    struct Function {
        const char *name;
        complex (*own)(complex);
        Reference (*library)(Reference);
    };
    const Function functions[] = {
        {"exp", c_exp, [](Reference z) { return std::exp(z); }},
        {"log", c_log, [](Reference z) { return std::log(z); }},
        {"sin", c_sin, [](Reference z) { return std::sin(z); }},
        {"cos", c_cos, [](Reference z) { return std::cos(z); }},
        {"tan", c_tan, [](Reference z) { return std::tan(z); }},
        {"sinh", c_sinh, [](Reference z) { return std::sinh(z); }},
        {"cosh", c_cosh, [](Reference z) { return std::cosh(z); }},
        {"tanh", c_tanh, [](Reference z) { return std::tanh(z); }},
        {"sqrt", c_sqrt, [](Reference z) { return std::sqrt(z); }},
    };
    for (const Function &f : functions) {
        for (const complex z : {complex{0.3, 0.7}, {-1.2, 0.4}, {0.9, -1.1}, {-0.5, -0.6}}) {
            const Reference r = {z.re, z.im};
            const Reference expected = f.library(r);
            const complex own = f.own(z);
            EXPECT_NEAR(own.re, expected.real(), 1e-14) << f.name;
            EXPECT_NEAR(own.im, expected.imag(), 1e-14) << f.name;
        }
    }
    const complex p = c_pow({0.3, 0.7}, {1.1, -0.2});
    const Reference q = std::pow(Reference{0.3, 0.7}, Reference{1.1, -0.2});
    EXPECT_LT(std::abs(Reference{p.re, p.im} - q), 1e-14);
    const complex d = c_div({1, 2}, {3, -4});
    EXPECT_DOUBLE_EQ(d.re, -0.2);
    EXPECT_DOUBLE_EQ(d.im, 0.4);
}

TEST(Complex, Edges) {
    EXPECT_EQ(c_sqrt({-4.0, 0.0}).re, 0.0);
    EXPECT_NEAR(c_sqrt({-4.0, 0.0}).im, 2.0, 1e-15);
    EXPECT_NEAR(c_sqrt({-4.0, -0.0}).im, 2.0, 1e-15);
    EXPECT_LT(c_sqrt({-4.0, -1e-300}).im, 0.0);
    EXPECT_EQ(c_sqrt({0.0, 0.0}).re, 0.0);
    EXPECT_TRUE(std::isnan(c_sqrt({0.0, 0.0}).im));
    EXPECT_DOUBLE_EQ(c_abs({3e200, 4e200}), 5e200);
    EXPECT_DOUBLE_EQ(c_abs({4e200, -3e200}), 5e200);
    EXPECT_EQ(c_abs({0.0, -2.0}), 2.0);
    EXPECT_EQ(c_abs({-2.0, 0.0}), 2.0);
    EXPECT_EQ(c_log({3e200, 4e200}).re, INFINITY);
    EXPECT_FALSE(std::isfinite(c_div({1.0, 1.0}, {0.0, 0.0}).re));
    EXPECT_EQ(c_arg({-1.0, 0.0}), pi);
    EXPECT_STREQ(c_string({0.5, -2.0}), "0.5-2i");
    EXPECT_STREQ(c_string({-1e-300, 1e300}), "-1e-300+1e+300i");
}

TEST(Cmatutil, Products) {
    const complex i_unit = {0.0, 1.0};
    EXPECT_EQ(c_innerproduct(1, &i_unit, &i_unit).re, -1.0);
    EXPECT_EQ(c_innerproduct(0, &i_unit, &i_unit).re, 0.0);
    const Matrix<complex> a = random_matrix(4, 1u), b = random_matrix(4, 2u);
    const Matrix<complex> expected = product(4, a, b);
    Matrix<complex> c(4, 4), d(4, 4);
    c_matmult(4, 4, 4, c.get(), a.get(), b.get());
    c_matcopy2(4, a.get(), d.get());
    c_matmult2(4, d.get(), b.get());
    c_matsub2(4, c.get(), expected.get());
    c_matsub2(4, d.get(), expected.get());
    EXPECT_LT(frobenius(4, c) + frobenius(4, d), 1e-14);
    c_matunit(4, c.get());
    c_matadd2(4, c.get(), c.get());
    EXPECT_EQ(c[0][3].re, 2.0);
    EXPECT_EQ(c[2][2].im, 0.0);
}

TEST(Vecmat, RowsLieInOneBlock) {
    void ****p = mmmmalloc(2, 3, 4, 5);
    chk_tensor4(p);
    for (std::size_t i = 0; i < 2; ++i) {
        for (std::size_t j = 0; j < 3; ++j) {
            for (std::size_t q = 0; q < 4; ++q) {
                EXPECT_EQ(static_cast<char *>(p[i][j][q]) - static_cast<char *>(p[0][0][0]),
                          static_cast<std::ptrdiff_t>(((i * 3 + j) * 4 + q) * 5));
            }
        }
    }
    free_tensor4(p);
    void **empty = mmalloc(0, 16);
    EXPECT_NE(empty, nullptr);
    free_matrix(empty);
    void ***none = mmmalloc(2, 0, 16);
    EXPECT_NE(none, nullptr);
    free_tensor(none);
    free_matrix(nullptr);
    free_tensor(nullptr);
    free_tensor4(nullptr);
}

TEST(Vecmat, OutOfMemory) {
    EXPECT_EQ(mmalloc(SIZE_MAX / 2, 16), nullptr);
    EXPECT_EQ(mmmalloc(SIZE_MAX / 2, 3, 16), nullptr);
    const std::pair<void (*)(const void *), const char *> checks[] = {{chk_vector, "vector"},
                                                                      {chk_matrix, "matrix"},
                                                                      {chk_tensor, "tensor"},
                                                                      {chk_tensor4, "tensor4"}};
    for (const auto &[check, name] : checks) {
        const Outcome o = outcome_of([c = check] { c(nullptr); });
        EXPECT_EQ(o.status, 1);
        EXPECT_EQ(o.err, std::string("Not enough memory for ") + name + ".\n");
    }
}

TEST(DataOut, Listings) {
    const Matrix<complex> m = matrix_of(2, [](int i, int j) {
        return complex{i + 0.5, static_cast<double>(-j)};
    });
    EXPECT_EQ(outcome_of([&] { print_complexmat(2, m.get()); }).out,
              "0\t0\t0.5\t0\n1\t0\t1.5\t0\n0\t1\t0.5\t-1\n1\t1\t1.5\t-1\n");
    EXPECT_EQ(outcome_of([&] { print_complexvec(2, m[0]); }).out, "0\t0.5\t0\n1\t0.5\t-1\n");
    const double values[] = {1.0, 2e-9};
    const double *rows[] = {values, values};
    EXPECT_EQ(outcome_of([&] { print_doublevec(2, values); }).out, "0\t1\n1\t2e-09\n");
    EXPECT_EQ(outcome_of([&] { print_doublemat(2, rows); }).out,
              "0\t0\t1\n1\t0\t1\n0\t1\t2e-09\n1\t1\t2e-09\n");
    EXPECT_EQ(outcome_of([&] { c_vecprint(2, 2, "(%g,%g)", m[0]); }).out, "(0.5,0)(0.5,-1)\n");
    EXPECT_EQ(outcome_of([&] { c_vecprint(2, 3, "(%g,%g)", m[0]); }).out, "(0.5,0)(0.5,-1)\n");
}

} // namespace
} // namespace orvel::test
