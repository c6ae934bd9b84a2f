// The inversions against LAPACK, identities and each other.
#include "app/run_settings.hpp"
#include "numeric/lb_invmat.hpp"
#include "numeric/lb_invmat1.hpp"
#include "numeric/lb_invmat2.hpp"
#include "numeric/lb_kernels.hpp"
#include "support/matrices.hpp"
#include "support/run_end.hpp"

#include <cstring>
#include <gtest/gtest.h>
#include <lapacke.h>
#include <vector>

namespace orvel::test {
namespace {

class Invmat : public testing::Test {
protected:
    void TearDown() override {
        epsilon = EpsilonSettings{};
        dbg = DebugFlags{};
        set_kernels(nullptr);
    }
};

Matrix<complex> copy_of(const Matrix<complex> &a) {
    return matrix_of(static_cast<int>(a.rows()), [&](int i, int j) { return a[index_of(i)][j]; });
}

Matrix<complex> lapack_inverse(const Matrix<complex> &a) {
    const int n = static_cast<int>(a.rows());
    Matrix<complex> b = copy_of(a);
    std::vector<lapack_int> pivots(index_of(n));
    auto *data = reinterpret_cast<lapack_complex_double *>(b[0]);
    LAPACKE_zgetrf(LAPACK_ROW_MAJOR, n, n, data, n, pivots.data());
    LAPACKE_zgetri(LAPACK_ROW_MAJOR, n, data, n, pivots.data());
    return b;
}

TEST_F(Invmat, InverseAgreesWithLapackAndTheColumnSolve) {
    for (const int n : {1, 2, 3, 8, 15, 16, 17, 33, 100, 150, 300}) {
        for (const bool random : {true, false}) {
            SCOPED_TRACE(testing::Message() << "n=" << n << " random=" << random);
            const Matrix<complex> a = random ? random_matrix(n, 11u) : bloch_like(n);
            const Matrix<complex> reference = lapack_inverse(a);
            Matrix<complex> b = copy_of(a);
            InvmatWork work(n + 3);
            EXPECT_EQ(invmat(n, b.get(), work), 0);
            Matrix<complex> residual = product(n, a, b);
            Matrix<complex> difference = copy_of(b);
            for (int i = 0; i < n; ++i) {
                residual[index_of(i)][i].re -= 1.0;
                for (int j = 0; j < n; ++j) {
                    difference[index_of(i)][j] =
                        c_sub(b[index_of(i)][j], reference[index_of(i)][j]);
                }
            }
            const double condition = frobenius(n, a) * frobenius(n, reference);
            EXPECT_LT(frobenius(n, residual), 10 * n_eps(n) * condition);
            EXPECT_LT(frobenius(n, difference), 10 * n_eps(n) * condition * frobenius(n, b));
            Matrix<complex> m = copy_of(a);
            Vector<complex> alpha(index_of(n));
            EXPECT_EQ(bc_invmat(n, m.get(), alpha.data(), work), 0);
            for (int i = 0; i < n; ++i) {
                EXPECT_LT(c_abs(c_sub(alpha[index_of(i)], reference[index_of(i)][0])),
                          10 * n_eps(n) * condition * frobenius(n, b));
            }
        }
    }
}

TEST_F(Invmat, AllBuildsOfTheKernelsGiveEqualBits) {
    const Matrix<complex> a = random_matrix(45, 12u);
    Matrix<complex> b[3] = {copy_of(a), copy_of(a), copy_of(a)};
    Matrix<complex> m[3] = {copy_of(a), copy_of(a), copy_of(a)};
    Vector<complex> alpha[3] = {Vector<complex>(45), Vector<complex>(45), Vector<complex>(45)};
    const Kernels *tables[3] = {plain_kernels(), avx2_kernels(), avx512_kernels()};
    for (int i = 0; i < 3; ++i) {
        set_kernels(tables[i]);
        InvmatWork work(45);
        invmat(45, b[i].get(), work);
        bc_invmat(45, m[i].get(), alpha[i].data(), work);
        EXPECT_EQ(std::memcmp(b[0][0], b[i][0], 45 * 45 * sizeof(complex)), 0);
        EXPECT_EQ(std::memcmp(alpha[0].data(), alpha[i].data(), 45 * sizeof(complex)), 0);
    }
}

// The column whose pivot is missing is what inv_c_mat returns; for the first one that is 0.
TEST_F(Invmat, SingularMatrices) {
    for (const int n : {1, 2, 3, 20}) {
        for (const int bad : {0, n / 2, n - 1}) {
            Matrix<complex> a = random_matrix(n, 13u);
            for (int i = 0; i < n; ++i) {
                a[index_of(i)][bad] = {};
            }
            InvmatWork work(n);
            const Outcome o = outcome_of([&] { EXPECT_EQ(invmat(n, a.get(), work), 0); });
            std::string expected = "$$ Anomalous termination in inv_c_mat.\n";
            if (bad != 0) {
                expected += "$$ (invmat): inv_c_mat = " + std::to_string(bad) + "\n";
            }
            EXPECT_EQ(o.out, expected) << n << " " << bad;
        }
    }
}

TEST_F(Invmat, Messages) {
    Matrix<complex> a = random_matrix(2, 14u);
    Vector<complex> alpha(2);
    InvmatWork work(2);
    EXPECT_EQ(outcome_of([&] { EXPECT_EQ(inv_c_mat(2, 0.0, a.get(), work), 30000); }).out,
              "$$ (inv_c_mat) invalid n or epsilon.\n");
    dbg.process_mon_flag = 1;
    EXPECT_EQ(outcome_of([&] { invmat(2, a.get(), work); }).out,
              "$$ invmat: Numpack inv_c_mat()\n");
    epsilon.invmat_func = 1;
    epsilon.bc_invmat_func = 2;
    Outcome o = outcome_of([&] { invmat(2, a.get(), work); });
    EXPECT_EQ(o.status, 1);
    EXPECT_EQ(o.out, "$$ Invalid epsilon.invmat_func=1. Abort.\n");
    o = outcome_of([&] { bc_invmat(2, a.get(), alpha.data(), work); });
    EXPECT_EQ(o.status, 1);
    EXPECT_EQ(o.out, "$$ Invalid epsilon.bc_invmat_func=2. Abort.\n");
}

TEST_F(Invmat, ColumnSolveOfSpecialMatrices) {
    InvmatWork work(3);
    Vector<complex> alpha(3);
    int status = -1;
    // Without the last row, the first column has no pivot.
    Matrix<complex> m = matrix_of(2, [](int i, int j) {
        return complex{i * j == 1 ? 0.0 : 1.0, 0};
    });
    inverse(2, m.get(), alpha.data(), 1e-8, status, work);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(alpha[0].re, 0.0);
    EXPECT_EQ(alpha[1].re, 1.0);
    Matrix<complex> unit = matrix_of(3, [](int i, int j) {
        return complex{i == j ? 2.0 : 0.0, 0};
    });
    inverse(3, unit.get(), alpha.data(), 1e-8, status, work);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(alpha[0].re, 0.5);
    EXPECT_EQ(alpha[2].re, 0.0);
    for (const double bad : {0.0, double(NAN)}) {
        Matrix<complex> none = matrix_of(3, [bad](int, int) { return complex{bad, 0}; });
        EXPECT_EQ(bc_invmat(3, none.get(), alpha.data(), work), 30000);
    }
}

} // namespace
} // namespace orvel::test
