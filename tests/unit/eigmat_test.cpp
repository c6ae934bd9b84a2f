// Both eigen-solvers against residuals, LAPACK, closed forms and each other's builds.
#include "app/run_settings.hpp"
#include "numeric/lb_eigmat.hpp"
#include "numeric/lb_eigmat1.hpp"
#include "numeric/lb_eigmat2.hpp"
#include "numeric/lb_kernels.hpp"
#include "support/matrices.hpp"
#include "support/run_end.hpp"

#include <cstring>
#include <functional>
#include <gtest/gtest.h>
#include <lapacke.h>
#include <vector>

namespace orvel::test {
namespace {

struct Solution {
    explicit Solution(int order)
        : n(order), eigval(index_of(order)), eigvec(index_of(order), index_of(order)) {}
    int n;
    Vector<complex> eigval;
    Matrix<complex> eigvec;
};

class Eigmat : public testing::Test {
protected:
    void TearDown() override {
        epsilon = EpsilonSettings{};
        dbg = DebugFlags{};
        set_kernels(nullptr);
    }
};

Solution solve(const Matrix<complex> &a, int func, double tol) {
    const int n = static_cast<int>(a.rows());
    Solution s(n);
    EigmatWork work(n + 5); // scratch for more than is asked for
    epsilon.eigmat_func = func;
    epsilon.eigen_eps = tol;
    eigmat(n, a.get(), s.eigval.data(), s.eigvec.get(), work);
    return s;
}

// The matrix whose eigenvectors path 0 gives.
Matrix<complex> balanced(const Matrix<complex> &a, double tol) {
    const int n = static_cast<int>(a.rows());
    EigmatWork work(n);
    split_planes(n, a.get(), work.a);
    eps = tol;
    cbal(n, work.a, work.scale);
    return matrix_of(n, [&](int i, int j) { return work.a.at(i, j); });
}

double residual_norm(const Matrix<complex> &a, const Solution &s) {
    Matrix<complex> r = product(s.n, a, s.eigvec);
    for (int i = 0; i < s.n; ++i) {
        for (int j = 0; j < s.n; ++j) {
            const complex right = c_mul(s.eigvec[index_of(i)][j], s.eigval[index_of(j)]);
            r[index_of(i)][j] = c_sub(r[index_of(i)][j], right);
        }
    }
    return frobenius(s.n, r);
}

std::vector<complex> lapack_eigenvalues(const Matrix<complex> &a) {
    const int n = static_cast<int>(a.rows());
    Matrix<complex> copy = matrix_of(n, [&](int i, int j) { return a[index_of(i)][j]; });
    std::vector<complex> w(index_of(n));
    LAPACKE_zgeev(LAPACK_ROW_MAJOR, 'N', 'N', n, reinterpret_cast<lapack_complex_double *>(copy[0]),
                  n, reinterpret_cast<lapack_complex_double *>(w.data()), nullptr, 1, nullptr, 1);
    return w;
}

// Largest distance when each eigenvalue is paired with the nearest one that is left.
double largest_distance(const Solution &s, std::vector<complex> reference) {
    double largest = 0.0;
    for (const complex z : s.eigval) {
        const auto nearest =
            std::min_element(reference.begin(), reference.end(), [z](complex a, complex b) {
                return c_abs(c_sub(a, z)) < c_abs(c_sub(b, z));
            });
        largest = std::max(largest, c_abs(c_sub(*nearest, z)));
        reference.erase(nearest);
    }
    return largest;
}

void expect_unit_columns_in_order(const Solution &s) {
    for (int j = 0; j < s.n; ++j) {
        double square = 0.0;
        for (int i = 0; i < s.n; ++i) {
            square += c_norm(s.eigvec[index_of(i)][j]);
        }
        EXPECT_NEAR(square, 1.0, 1e-13) << "column " << j;
        if (j > 0) {
            EXPECT_GE(s.eigval[index_of(j - 1)].re, s.eigval[index_of(j)].re);
        }
    }
}

// 000 and a ring of n beams that the crystal makes equal: columns of zeros under the reduction, and
// pairs of equal eigenvalues.
Matrix<complex> zone_axis(int n) {
    return matrix_of(n + 1, [n](int i, int j) {
        if (i == 0 || j == 0) {
            return i == j ? complex{0.0, 0.02} : complex{0.09, 0.004};
        }
        const int apart = std::min((i - j + n) % n, (j - i + n) % n);
        const complex ring[] = {{-0.5, 0.02}, {0.06, 0.003}, {0.03, 0.002}};
        return apart < 3 ? ring[apart] : complex{0.01, 0.001};
    });
}

struct MatrixCase {
    const char *name;
    std::function<Matrix<complex>()> make;
    double eigenvalue_error = 1e-9; // of the largest element sum; coarse where ill-conditioned
};

std::vector<MatrixCase> matrix_cases() {
    std::vector<MatrixCase> cases = {
        {"1x1", [] { return random_matrix(1, 1); }},
        {"2x2", [] { return random_matrix(2, 2); }},
        {"7x7", [] { return random_matrix(7, 7); }},
        {"diagonal",
         [] {
             return matrix_of(9, [](int i, int j) { return complex{i == j ? i % 4 : 0.0, 0.0}; });
         }},
        {"upper triangular",
         [] {
             return matrix_of(20, [](int i, int j) {
                 return complex{i <= j ? 1.0 + i : 0.0, 0.1};
             });
         },
         1e-6},
        {"decoupled block",
         [] {
             return matrix_of(12, [](int i, int j) {
                 const bool coupled = (i < 5) == (j < 5);
                 return coupled ? complex{0.1 * (i + 1) * (i == j), 0.03} : complex{};
             });
         }},
        {"degenerate",
         [] { return matrix_of(30, [](int i, int j) {
                  return complex{1.0 + (i == j), 0.0};
              }); }},
        {"cyclic permutation",
         [] {
             return matrix_of(16, [](int i, int j) {
                 return complex{i == (j + 1) % 16 ? 1.0 : 0.0, 0.0};
             });
         }},
        {"near a Jordan block",
         [] {
             return matrix_of(6, [](int i, int j) {
                 return complex{i == j ? 2.0 : j == i + 1 ? 1.0 : i == j + 1 ? 1e-6 : 0.0, 0.0};
             });
         },
         1e-3},
        {"badly scaled",
         [] {
             Matrix<complex> a = random_matrix(25, 25);
             for (int i = 0; i < 25; ++i) {
                 for (int j = 0; j < 25; ++j) {
                     const double factor = std::pow(10.0, (i - j) / 6.0);
                     a[index_of(i)][j] = c_mul(a[index_of(i)][j], {factor, 0.0});
                 }
             }
             return a;
         }},
    };
    for (const int n : {4, 6, 8, 12}) {
        cases.push_back({"zone axis", [n] { return zone_axis(n); }});
    }
    for (const int n : {3, 8, 33, 64, 100, 200, 300}) {
        cases.push_back({"random", [n] { return random_matrix(n, 100u); }});
        cases.push_back({"bloch", [n] { return bloch_like(n); }});
    }
    return cases;
}

double one_norm(const Matrix<complex> &a) {
    double largest = 0.0;
    for (std::size_t j = 0; j < a.cols(); ++j) {
        double sum = 0.0;
        for (std::size_t i = 0; i < a.rows(); ++i) {
            sum += c_abs(a[i][j]);
        }
        largest = std::max(largest, sum);
    }
    return largest;
}

// What a solver neglects, a subdiagonal element of up to tol a column, stands beside rounding.
TEST_F(Eigmat, ResidualsAndEigenvalues) {
    for (const MatrixCase &c : matrix_cases()) {
        const Matrix<complex> a = c.make();
        const int n = static_cast<int>(a.rows());
        const double norm = one_norm(a);
        const auto reference = lapack_eigenvalues(a);
        for (const double tol : {1e-8, 1e-13}) {
            SCOPED_TRACE(testing::Message() << c.name << " n=" << n << " tol=" << tol);
            const Solution s0 = solve(a, 0, tol);
            const Matrix<complex> b = balanced(a, tol);
            EXPECT_LT(residual_norm(b, s0),
                      10 * std::sqrt(n) * tol + 20 * n_eps(n) * frobenius(n, b));
            expect_unit_columns_in_order(s0);
            const double allowed = std::max(c.eigenvalue_error, 100 * tol) * norm;
            EXPECT_LT(largest_distance(s0, reference), allowed);
            testing::internal::CaptureStdout();
            const Solution s1 = solve(a, 1, tol);
            EXPECT_EQ(testing::internal::GetCapturedStdout(),
                      n == 1 ? "$$ (eigmat): eigen_c_mat = 1\n" : "");
            EXPECT_LT(residual_norm(a, s1), (20 * std::sqrt(n) * tol + 100 * n_eps(n)) * norm);
            expect_unit_columns_in_order(s1);
            EXPECT_LT(largest_distance(s1, reference),
                      std::max(c.eigenvalue_error, 1e4 * tol) * norm);
        }
    }
}

TEST_F(Eigmat, AllBuildsOfTheKernelsGiveEqualBits) {
    for (const Kernels *table : {avx2_kernels(), avx512_kernels()}) {
        for (const int n : {2, 5, 8, 23, 64, 101}) {
            const Matrix<complex> a = random_matrix(n, 5u);
            for (const int func : {0, 1}) {
                set_kernels(plain_kernels());
                const Solution plain = solve(a, func, 1e-8);
                set_kernels(table);
                const Solution other = solve(a, func, 1e-8);
                const std::size_t row = index_of(n) * sizeof(complex);
                EXPECT_EQ(std::memcmp(plain.eigval.data(), other.eigval.data(), row), 0);
                EXPECT_EQ(std::memcmp(plain.eigvec[0], other.eigvec[0], row * index_of(n)), 0);
            }
        }
    }
}

TEST_F(Eigmat, ScratchOfAnEarlierMatrixDoesNotMatter) {
    EigmatWork work(40);
    for (const int func : {0, 1}) {
        epsilon.eigmat_func = func;
        Solution large(40), again(7);
        const Matrix<complex> a = random_matrix(7, 3u);
        const Solution fresh = solve(a, func, 1e-8);
        const Matrix<complex> hostile = matrix_of(40, [](int, int) { return complex{NAN, 1.0}; });
        outcome_of(
            [&] { eigmat(40, hostile.get(), large.eigval.data(), large.eigvec.get(), work); });
        eigmat(7, a.get(), again.eigval.data(), again.eigvec.get(), work);
        EXPECT_EQ(std::memcmp(fresh.eigvec[0], again.eigvec[0], 49 * sizeof(complex)), 0);
    }
}

// The factor 4096 follows from the rule: 16^3 brings 1e-4 256^3 over 1e4/16.
TEST_F(Eigmat, EigenvectorsAreThoseOfTheBalancedMatrix) {
    const Matrix<complex> a = matrix_of(2, [](int i, int j) {
        const double values[2][2] = {{1.0, 1e4}, {1e-4, 2.0}};
        return complex{values[i][j], 0.0};
    });
    const Solution s = solve(a, 0, 1e-8);
    for (int j = 0; j < 2; ++j) {
        const double lambda = 1.5 + (j == 0 ? 1.0 : -1.0) * std::sqrt(0.25 + 1.0);
        EXPECT_NEAR(s.eigval[index_of(j)].re, lambda, 1e-8);
        const complex ratio = c_div(s.eigvec[0][j], s.eigvec[1][j]);
        EXPECT_NEAR(ratio.re, (1e4 / 4096) / (lambda - 1.0), 1e-7);
    }
}

// A beam that couples to nothing goes to the end by permutation, which is not undone.
TEST_F(Eigmat, PermutationsAreNotUndone) {
    const Matrix<complex> a = matrix_of(3, [](int i, int j) {
        const double values[3][3] = {{5.0, 0.0, 0.0}, {0.0, 1.0, 0.5}, {0.0, 0.5, 2.0}};
        return complex{values[i][j], 0.0};
    });
    const Solution s = solve(a, 0, 1e-8);
    EXPECT_DOUBLE_EQ(s.eigval[0].re, 5.0);
    EXPECT_NEAR(c_abs(s.eigvec[2][0]), 1.0, 1e-15);
    EXPECT_LT(residual_norm(balanced(a, 1e-8), s), 1e-7);
}

TEST_F(Eigmat, Messages) {
    const Matrix<complex> a = random_matrix(2, 9u);
    epsilon.eigmat_func = 7;
    EigmatWork work(2);
    Solution s(2);
    s.eigval[1] = {3.0, 4.0};
    Outcome o = outcome_of([&] { eigmat(2, a.get(), s.eigval.data(), s.eigvec.get(), work); });
    EXPECT_EQ(o.status, -1);
    EXPECT_EQ(o.out, "$$ Invalid epsilon.eigmat_func=7. Abort.\n");
    EXPECT_EQ(s.eigval[1].im, 4.0);
    dbg.process_mon_flag = dbg.eigval_dump_flag = 1;
    const Matrix<complex> unit = matrix_of(1, [](int, int) { return complex{0.5, 0.25}; });
    o = outcome_of([&] { solve(unit, 1, 1e-8); });
    EXPECT_EQ(o.out, "$$ eigen values and vectors: eigen_c_mat\n"
                     "$$ (eigmat): eigen_c_mat = 1\n eigen values:\n0\t0.5\t0.25\n");
    o = outcome_of([&] { solve(unit, 0, 1e-8); });
    EXPECT_EQ(o.out, "$$ eigen values and vectors: eispack_cg\n eigen values:\n0\t0.5\t0.25\n");
    o = outcome_of([&] {
        EXPECT_EQ(eigen_c_mat(2, 0.0, 1, a.get(), s.eigval.data(), s.eigvec.get(), work), 3);
    });
    EXPECT_EQ(o.err, "$$ (eigen_c_mat) invalid n or epsilon.\n");
}

TEST_F(Eigmat, HostileNumbersEnd) {
    for (const double bad : {double(NAN), double(INFINITY), 1e308, 1e-320, 0.0}) {
        for (const int n : {1, 2, 3, 17}) {
            for (const int place : {0, n / 2, n - 1, -1}) {
                Matrix<complex> a = random_matrix(n, 4u);
                for (int i = 0; i < n; ++i) {
                    a[index_of(i)][place < 0 ? i : place] = {bad, bad};
                }
                for (const int func : {0, 1}) {
                    for (const double tol : {1e-8, 0.0, double(NAN)}) {
                        outcome_of([&] { solve(a, func, tol); }); // must come back
                    }
                }
            }
        }
    }
    EXPECT_EQ(outcome_of([] {
                  solve(matrix_of(2, [](int, int) { return complex{NAN, 0.0}; }), 0, 1e-8);
              }).out,
              "$$ en=2, abort.\n");
}

TEST_F(Eigmat, SortsByDirection) {
    const double re[] = {1.0, -3.0, 2.0};
    for (const int direction : {1, -1}) {
        Solution s(3);
        for (int i = 0; i < 3; ++i) {
            s.eigval[index_of(i)] = {re[i], 0.0};
            s.eigvec[0][i] = {re[i], 0.0};
        }
        re_part_csort(3, s.eigval.data(), s.eigvec.get(), direction);
        EXPECT_EQ(s.eigval[0].re, direction == 1 ? 2.0 : -3.0);
        norm_csort(3, s.eigval.data(), s.eigvec.get(), direction);
        EXPECT_EQ(s.eigval[0].re, direction == 1 ? -3.0 : 1.0);
        for (int i = 0; i < 3; ++i) {
            EXPECT_EQ(s.eigvec[0][i].re, s.eigval[index_of(i)].re);
        }
    }
}

TEST_F(Eigmat, StableSortKeepsEqualRealParts) {
    Solution s(4);
    const complex values[] = {{1.0, 5.0}, {2.0, 1.0}, {1.0, -5.0}, {2.0, 2.0}};
    std::copy_n(values, 4, s.eigval.begin());
    EigmatWork work(4);
    sort_eigval_eigvec(4, s.eigval.data(), s.eigvec.get(), work);
    const double expected[] = {1.0, 2.0, 5.0, -5.0};
    for (std::size_t i = 0; i < 4; ++i) {
        EXPECT_EQ(s.eigval[i].im, expected[i]);
    }
}

TEST_F(Eigmat, ScalarHelpers) {
    EXPECT_EQ(pythag(0.0, 0.0), 0.0);
    EXPECT_NEAR(pythag(3e200, -4e200) / 5e200, 1.0, 1e-15);
    EXPECT_EQ(pythag(INFINITY, 1.0), INFINITY);
    for (const complex z : {complex{3, 4}, {-3, 4}, {-3, -4}, {0, 2}, {-4, 0}, {9, 0}, {0, 0}}) {
        const complex root = csroot(z);
        EXPECT_GE(root.re, 0.0);
        EXPECT_LT(c_abs(c_sub(c_mul(root, root), z)), 1e-14);
    }
    const complex q = cdiv_cg({1e200, 2e200}, {3e200, -4e200});
    EXPECT_NEAR(q.re, -0.2, 1e-15);
    EXPECT_NEAR(q.im, 0.4, 1e-15);
}

} // namespace
} // namespace orvel::test
