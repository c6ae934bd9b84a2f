// One tilt against closed forms and identities.
#include "app/run_settings.hpp"
#include "crystal/potential_coef.hpp"
#include "dynamics/mbfunc_bcond.hpp"
#include "dynamics/mbfunc_matrix.hpp"
#include "dynamics/mbfunc_perturb.hpp"
#include "dynamics/perturb.hpp"
#include "jobs/tilt_doubts.hpp"
#include "numeric/cmatutil.hpp"
#include "support/problem.hpp"

#include <algorithm>
#include <cmath>
#include <complex>
#include <gtest/gtest.h>
#include <random>

namespace orvel::test {
namespace {

using cplx = std::complex<double>;

const std::vector<Hkl> al_two_beams = {{0, 0, 0}, {2, 0, 0}};

// Beams of the [001] zone of SrTiO3 by increasing |g|, 000 first.
std::vector<Hkl> square_net(int reach) {
    std::vector<Hkl> beams;
    for (int h = -reach; h <= reach; ++h) {
        for (int k = -reach; k <= reach; ++k) {
            beams.push_back({h, k, 0});
        }
    }
    std::stable_sort(beams.begin(), beams.end(), [](const Hkl &a, const Hkl &b) {
        return a.h * a.h + a.k * a.k < b.h * b.h + b.k * b.k;
    });
    return beams;
}

// ψ_g(t) of two beams at the surface's unit beta: the second component of
// exp(-i pi t A / K_n) (1, 0) for a 2 x 2 matrix, by the Cayley-Hamilton theorem.
cplx two_beam_amplitude(const complex *const *A, double t, double K_n) {
    const auto c = [](complex z) { return cplx(z.re, z.im); };
    const cplx half_trace = 0.5 * (c(A[0][0]) + c(A[1][1]));
    const cplx half_difference = 0.5 * (c(A[0][0]) - c(A[1][1]));
    const cplx root = std::sqrt(half_difference * half_difference + c(A[0][1]) * c(A[1][0]));
    const cplx x(0.0, -pi * t / K_n);
    return std::exp(x * half_trace) * std::sinh(x * root) / root * c(A[1][0]);
}

class BothSolvers : public testing::TestWithParam<int> {
    const Setting<int> solver_{epsilon.eigmat_func, GetParam()};
};
INSTANTIATE_TEST_SUITE_P(EigmatFunc, BothSolvers, testing::Values(0, 1));

TEST_P(BothSolvers, TwoBeamsFollowTheRockingCurve) {
    for (const bool absorption : {false, true}) {
        Problem p(aluminium, {{0, 1, 3}, {0, 1, 3}, {2, 0, 0}}, al_two_beams, 2);
        if (!absorption) {
            p.drop_absorption();
        }
        p.sd.thicknesses = {100.0, 673.0, 2500.0};
        for (int i = 0; i <= 20; ++i) {
            const RealHkl K_t = p.tilt(-1.5 + 0.05 * i, 0.0);
            const Matrix<double> table = p.intensities(K_t);
            WorkCalInt w = p.work();
            solve_tilt(p.tilt_problem(), K_t, w);
            // Textbook form without absorption: sin^2(pi t s_eff) / (1 + w^2).
            const double abs_U = c_abs(w.A[1][0]);
            const double two_K_s = w.A[1][1].re;
            const double root = std::hypot(two_K_s, 2.0 * abs_U);
            for (int k = 0; k < 3; ++k) {
                const double t = p.sd.thicknesses[k];
                const double expected = std::norm(two_beam_amplitude(w.A.get(), t, w.K_n));
                EXPECT_NEAR(table[1][k], expected, 1e-9);
                if (!absorption) {
                    const double sine = std::sin(pi * t * root / (2.0 * w.K_n));
                    EXPECT_NEAR(table[1][k], std::pow(2.0 * abs_U / root * sine, 2), 1e-9);
                }
            }
        }
    }
}

TEST_P(BothSolvers, FluxIsKeptWithoutAbsorption) {
    Problem p(srtio3, {{0, 0, 1}, {1, 0, 4}, {1, 0, 0}, 200.0}, square_net(3), 49);
    p.drop_absorption();
    p.sd.thicknesses = {0.0, 50.0, 400.0, 3000.0};
    const Setting<double> tolerance(epsilon.eigen_eps, 1e-13);
    for (const auto &[h, g] : {std::pair{0.0, 0.0}, {0.31, -0.17}, {-0.8, 0.55}}) {
        WorkCalInt w = p.work();
        Matrix<double> table(49, 4);
        calc_intensity_with_perturb_ug(p.tilt_problem(), p.tilt(h, g), w, table.get());
        for (int k = 0; k < 4; ++k) {
            // The flux through the surface: each beam counts by its normal component.
            double flux = 0.0;
            for (int o = 0; o < 49; ++o) {
                flux += w.beta_selected[o] * table[o][k];
            }
            EXPECT_NEAR(flux, 1.0, 1e-10);
        }
    }
}

TEST_P(BothSolvers, ThicknessZeroIsTheIncidentBeam) {
    Problem p(gaas, {{1, 1, 0}, {1, 1, 1}, {0, 0, 2}, 200.0},
              {{0, 0, 0}, {0, 0, 2}, {0, 0, -2}, {1, -1, 1}, {-1, 1, 1}, {2, -2, 0}}, 6);
    p.sd.thicknesses = {0.0};
    const Matrix<double> table = p.intensities(p.tilt(0.1, 0.2));
    EXPECT_NEAR(table[0][0], 1.0, 1e-10);
    for (int o = 1; o < 6; ++o) {
        EXPECT_NEAR(table[o][0], 0.0, 1e-12);
    }
}

TEST_P(BothSolvers, ZoneAxisKeepsTheSymmetryOfTheCrystal) {
    // SrTiO3 [001] is 4mm: intensities at tilts that an operation maps onto one another are those
    // of the mapped reflections.
    Problem p(srtio3, {{0, 0, 1}, {0, 0, 1}, {1, 0, 0}, 200.0}, square_net(2), 25);
    p.sd.thicknesses = {300.0, 700.0};
    const Setting<double> tolerance(epsilon.eigen_eps, 1e-13);
    const Matrix<double> at = p.intensities(p.tilt(0.3, 0.1));
    const Matrix<double> turned = p.intensities(p.tilt(-0.1, 0.3));
    const Matrix<double> mirrored = p.intensities(p.tilt(0.3, -0.1));
    const auto find = [&](Hkl g) {
        return std::find(p.sd.beams.hkl.begin(), p.sd.beams.hkl.end(), g) - p.sd.beams.hkl.begin();
    };
    EXPECT_GT(at[0][0], 0.01); // there is something to compare
    for (std::size_t o = 0; o < 25; ++o) {
        const Hkl g = p.sd.beams.hkl[o];
        for (int k = 0; k < 2; ++k) {
            EXPECT_NEAR(at[o][k], turned[find({-g.k, g.h, 0})][k], 1e-9);
            EXPECT_NEAR(at[o][k], mirrored[find({g.h, -g.k, 0})][k], 1e-9);
        }
    }
}

TEST(Friedel, LawIsKeptBySiliconAndBrokenByGaAs) {
    const std::vector<Hkl> beams = {{0, 0, 0},  {1, -1, 1},  {-1, 1, -1}, {0, 0, 2},
                                    {0, 0, -2}, {1, -1, -1}, {-1, 1, 1}};
    const auto difference = [&](const CrystalText &crystal) {
        Problem p(crystal, {{1, 1, 0}, {1, 1, 0}, {0, 0, 2}, 200.0}, beams, 7);
        p.sd.thicknesses = {500.0};
        const Matrix<double> table = p.intensities(p.tilt(0.0, 0.0));
        return std::fabs(table[1][0] - table[2][0]);
    };
    EXPECT_LT(difference(silicon), 1e-10);
    EXPECT_GT(difference(gaas), 1e-3);
}

// --- Bethe approximations ------------------------------------------------------------------------

Matrix<complex> random_matrix(int n, unsigned seed) {
    std::mt19937 generator(seed);
    std::uniform_real_distribution<double> uniform(-1.0, 1.0);
    Matrix<complex> m(n, n);
    for (int i = 0; i < n; ++i) {
        for (int j = 0; j < n; ++j) {
            m[i][j] = {uniform(generator) + (i == j ? 4.0 : 0.0), uniform(generator)};
        }
    }
    return m;
}

TEST(BetheFolding, GeneralizedFormIsTheBlockOfTheInverse) {
    // (A^-1)_ee is the inverse of the folded matrix.
    for (const auto &[n, m] : {std::pair{7, 5}, {1, 1}, {3, 20}, {20, 16}, {19, 33}, {33, 2}}) {
        const Matrix<complex> A = random_matrix(n + m, 11);
        BetheWork bethe(n + m);
        InvmatWork invmat_work(n + m);
        Matrix<complex> B(n, n);
        g_bethe(n, m, A.get(), B.get(), bethe, invmat_work);
        Matrix<complex> inverse(n + m, n + m);
        c_matcopy2(n + m, A.get(), inverse.get());
        invmat(n + m, inverse.get(), invmat_work);
        Matrix<complex> product(n, n);
        c_matmult(n, n, n, product.get(), B.get(), inverse.get());
        for (int i = 0; i < n; ++i) {
            for (int j = 0; j < n; ++j) {
                EXPECT_NEAR(product[i][j].re, i == j ? 1.0 : 0.0, 1e-12) << n << ' ' << m;
                EXPECT_NEAR(product[i][j].im, 0.0, 1e-12) << n << ' ' << m;
            }
        }
    }
}

TEST(BetheFolding, SingularBlockIsToldAndFoldedWithWhatTheInversionLeft) {
    constexpr int n = 2;
    for (const int m : {3, 20}) {
        // The last Bethe beam repeats the one before it.
        Matrix<complex> A = random_matrix(n + m, 3);
        for (int j = 0; j < n + m; ++j) {
            A[n + m - 1][j] = A[n + m - 2][j];
        }
        WorkCalInt w(n + m, 0, 0);
        Matrix<complex> left(m, m);
        for (int i = 0; i < m; ++i) {
            std::copy_n(A[n + i] + n, m, left[i]);
        }
        testing::internal::CaptureStdout();
        invmat(m, left.get(), w.invmat);
        const std::string told = testing::internal::GetCapturedStdout();
        Matrix<complex> B(n, n);
        testing::internal::CaptureStdout();
        g_bethe(n, m, A.get(), B.get(), w.bethe, w.invmat);
        EXPECT_EQ(testing::internal::GetCapturedStdout(), told);
        EXPECT_NE(told.find("$$ Anomalous termination in inv_c_mat.\n$$ (invmat): inv_c_mat = " +
                            std::to_string(m - 1)),
                  std::string::npos);
        complex sum = A[1][0];
        for (int a = 0; a < m; ++a) {
            for (int b = 0; b < m; ++b) {
                sum = c_sub(sum, c_mul(c_mul(A[1][n + a], left[a][b]), A[n + b][0]));
            }
        }
        EXPECT_NEAR(B[1][0].re, sum.re, 1e-10);
        EXPECT_NEAR(B[1][0].im, sum.im, 1e-10);
    }
}

// Two eigenvectors that nearly are one: (1, 0) as the difference of them, over their distance.
TEST(TiltDoubts, OfExcitationsThatCancel) {
    epsilon.inv_eps = 1e-12;
    WorkCalInt work(2, 0, 0);
    work.n_exact = 2;
    work.beta_selected[0] = work.beta_selected[1] = 1.0;
    for (const auto &[distance, gap, single, all] : {std::tuple{2.0, 0.1, false, false},
                                                     {2.0, 1e-9, true, false},
                                                     {0.5, 0.01, false, false},
                                                     {1e-3, 0.1, true, false},
                                                     {1e-10, 0.1, true, true}}) {
        work.eigval[0] = {-0.5, 0.01};
        work.eigval[1] = {-0.5 - gap, 0.01};
        const double root = std::sqrt(1.0 + distance * distance);
        const complex columns[2][2] = {{{0.0, 0.0}, {distance / root, 0.0}},
                                       {{1.0, 0.0}, {1.0 / root, 0.0}}};
        for (int i = 0; i < 2; ++i) {
            std::copy_n(columns[i], 2, work.eigvec[i]);
        }
        upper_b_cond(2, work.beta_selected.data(), work.eigvec.get(), work.alpha.data(),
                     work.boundary.get(), work.invmat);
        EXPECT_FALSE(work.invmat.is_singular);
        EXPECT_EQ(doubts_of(work, Branches::single), single ? singular_mark : 0) << distance;
        EXPECT_EQ(doubts_of(work, Branches::all), all ? singular_mark : 0) << distance;
    }
    epsilon = EpsilonSettings{};
}

TEST(BetheFolding, FormsAgreeWithoutCouplingOfBetheBeams) {
    constexpr int n = 4;
    for (const auto &[m, coupling, agree] :
         {std::tuple{0, 1.0, true}, {1, 1.0, true}, {3, 0.0, true}, {3, 1.0, false}}) {
        Matrix<complex> A = random_matrix(n + m, 5);
        for (int a = n; a < n + m; ++a) {
            for (int b = n; b < n + m; ++b) {
                if (a != b) {
                    A[a][b] = {coupling * A[a][b].re, coupling * A[a][b].im};
                }
            }
        }
        BetheWork bethe(n + m);
        InvmatWork invmat_work(n + m);
        Matrix<complex> generalized(n, n);
        Matrix<complex> simple(n, n);
        g_bethe(n, m, A.get(), generalized.get(), bethe, invmat_work);
        simple_bethe(n, m, A.get(), simple.get(), bethe, invmat_work);
        double largest = 0.0;
        for (int i = 0; i < n; ++i) {
            for (int j = 0; j < n; ++j) {
                largest = std::max(largest, c_abs(c_sub(generalized[i][j], simple[i][j])));
                if (m == 0) {
                    EXPECT_EQ(simple[i][j].re, A[i][j].re);
                }
            }
        }
        EXPECT_EQ(largest < 1e-14, agree) << m << " Bethe beams, coupling " << coupling;
    }
}

TEST(BetheFolding, MethodCodeChoosesTheForm) {
    constexpr int n = 3;
    constexpr int m = 3;
    const Matrix<complex> A = random_matrix(n + m, 8);
    WorkCalInt w(n + m, 0, 0);
    Matrix<complex> expected(n, n);
    Matrix<complex> B(n, n);
    for (const int code : {0, 1, 2, 3, 9, 10, 11, 12, 13}) {
        fold_bethe_beams(code, n, m, A.get(), B.get(), w);
        if (code <= 9) {
            g_bethe(n, m, A.get(), expected.get(), w.bethe, w.invmat);
        } else {
            simple_bethe(n, m, A.get(), expected.get(), w.bethe, w.invmat);
        }
        EXPECT_EQ(B[1][2].re, expected[1][2].re) << code;
    }
}

TEST(BetheFolding, WeakBeamsMendTheIntensities) {
    // With the outer beams folded in, intensities come nearer to those of all beams exact.
    const auto solve = [](std::vector<Hkl> beams, int num_exact) {
        Problem p(srtio3, {{0, 0, 1}, {0, 0, 1}, {1, 0, 0}, 200.0}, beams, num_exact);
        p.sd.reflections = {0, 1, 5};
        p.sd.thicknesses = {200.0};
        return p.intensities(p.tilt(0.2, 0.1));
    };
    const Matrix<double> exact = solve(square_net(3), 49);
    const Matrix<double> folded = solve(square_net(3), 37);
    std::vector<Hkl> inner = square_net(3);
    inner.resize(37);
    const Matrix<double> dropped = solve(inner, 37);
    for (int o = 0; o < 3; ++o) {
        EXPECT_LT(std::fabs(folded[o][0] - exact[o][0]), std::fabs(dropped[o][0] - exact[o][0]));
    }
}

// --- Dynamical matrix
// ------------------------------------------------------------------------------

TEST(DynamicalMatrix, ElementsFromPotentialAndGeometry) {
    Problem p(gaas, {{1, 1, 0}, {1, 1, 1}, {0, 0, 2}, 200.0},
              {{0, 0, 0}, {0, 0, 2}, {1, -1, 1}, {2, 0, 0}}, 4);
    WorkCalInt w = p.work();
    select_tilt(p.tilt_problem(), p.tilt(0.2, -0.3), w);
    construct_ug_mat_slct(200.0, p.potential.V.get(), w, w.A.get());
    const double gamma = relativ_corr(200.0);
    const complex U0 = vg_to_ug(p.potential.V[0][0], gamma);
    const double K = std::sqrt(std::pow(1.0 / wavelength(200.0), 2) + U0.re);
    for (int i = 0; i < 4; ++i) {
        // |K + g|^2 = K^2 - 2 K s_g for the wave vector of the tilt.
        EXPECT_NEAR(w.A[i][i].re * w.beta[i], 2.0 * K * w.s[i], 1e-14);
        EXPECT_NEAR(w.A[i][i].im * w.beta[i], U0.im, 1e-16);
        for (int j = 0; j < i; ++j) {
            const complex U = vg_to_ug(p.potential.V[i][j], gamma);
            EXPECT_NEAR(w.A[i][j].re, U.re / std::sqrt(w.beta[i] * w.beta[j]), 1e-16);
        }
    }
    EXPECT_EQ(w.beta[0], 1.0);
}

// --- Branches
// --------------------------------------------------------------------------------------

TEST(LimitedBranch, KeepsTheFewestThatCarryTheShare) {
    const complex alpha[] = {{0.1, 0.0}, {0.0, 0.8}, {0.5, 0.0}, {0.3, 0.1}};
    int list[4];
    double weights[4];
    int order[4];
    struct Case {
        double accuracy;
        int kept;
        std::vector<int> branches;
    };
    // Shares 0.01, 0.64, 0.25, 0.10.
    for (const Case &c : {Case{1.0, 4, {0, 1, 2, 3}}, Case{0.6, 1, {1}}, Case{0.88, 2, {1, 2}},
                          Case{0.985, 3, {1, 2, 3}}, Case{1.5, -7, {}}}) {
        int kept = -7;
        limited_branch(c.accuracy, 4, alpha, kept, list, weights, order);
        EXPECT_EQ(kept, c.kept);
        EXPECT_EQ(std::vector<int>(list, list + c.branches.size()), c.branches);
    }
}

TEST(LimitedBranch, LeftOutBranchesHardlyChangeTheIntensity) {
    Problem p(srtio3, {{0, 0, 1}, {0, 0, 1}, {1, 0, 0}, 200.0}, square_net(3), 49);
    p.sd.thicknesses = {300.0};
    const Matrix<double> all = p.intensities(p.tilt(0.1, 0.2));
    const Setting<double> accuracy(epsilon.bc_accuracy, 0.999);
    WorkCalInt w = p.work();
    Matrix<double> few(49, 1);
    calc_intensity_with_perturb_ug(p.tilt_problem(), p.tilt(0.1, 0.2), w, few.get());
    EXPECT_LT(w.n_kept, 20);
    for (int o = 0; o < 49; ++o) {
        EXPECT_NEAR(few[o][0], all[o][0], 0.02);
    }
}

TEST(Amplitude, OfABeamOutsideTheMatrixIsZero) {
    Problem p(aluminium, {{0, 1, 3}, {0, 1, 3}, {2, 0, 0}}, al_two_beams, 2);
    p.sd.thicknesses = {300.0};
    WorkCalInt w = p.work();
    solve_tilt(p.tilt_problem(), p.tilt(-1.0, 0.0), w);
    excite_branches(w);
    EXPECT_EQ(psi_to_intensity_limited_ug(-1, 300.0, w), 0.0);
    EXPECT_EQ(psi_to_intensity_limited_ug(2, 300.0, w), 0.0);
    // The hoisted table of a job and the plain sum are the same to the last bit.
    Matrix<double> table(2, 1);
    calc_intensities(p.tilt_problem(), w, table.get());
    EXPECT_EQ(table[1][0], psi_to_intensity_limited_ug(1, 300.0, w));
    w.n_kept = 0;
    EXPECT_EQ(psi_to_intensity_limited_ug(0, 300.0, w), 0.0);
}

TEST(Amplitude, CoherentTwinCarriesThePhase) {
    Problem p(gaas, {{1, 1, 0}, {1, 1, 0}, {0, 0, 2}, 200.0}, {{0, 0, 0}, {0, 0, 2}, {1, -1, 1}},
              3);
    p.sd.thicknesses = {250.0, 700.0};
    const Matrix<double> intensity = p.intensities(p.tilt(0.1, 0.0));
    WorkCalInt w = p.work();
    Matrix<complex> plain(3, 2);
    Matrix<complex> turned(3, 2);
    const complex phase = c_exp({0.0, 1.1});
    calc_intensity_ug_coherent(p.tilt_problem(), p.tilt(0.1, 0.0), {1.0, 0.0}, w, plain.get());
    calc_intensity_ug_coherent(p.tilt_problem(), p.tilt(0.1, 0.0), phase, w, turned.get());
    for (int o = 0; o < 3; ++o) {
        for (int k = 0; k < 2; ++k) {
            EXPECT_NEAR(c_norm(turned[o][k]), intensity[o][k], 1e-13);
            EXPECT_NEAR(c_abs(c_sub(turned[o][k], c_mul(phase, plain[o][k]))), 0.0, 1e-13);
        }
    }
    const Outcome refused = outcome_of([&] {
        calc_intensity_ug_coherent(p.tilt_problem(), p.tilt(0.1, 0.0), phase, w, plain.get(), 1);
    });
    EXPECT_EQ(refused.out, "$$error: perturbation is not available in coherent mode.\n");
    EXPECT_EQ(refused.status, 1);
}

// --- Perturbation
// ----------------------------------------------------------------------------------

TEST(Perturbation, FirstOrderIntensitiesConvergeQuadratically) {
    Problem p(gaas, {{1, 1, 0}, {1, 1, 0}, {0, 0, 2}, 200.0},
              {{0, 0, 0}, {0, 0, 2}, {1, -1, 1}, {-1, 1, 1}, {2, -2, 0}, {0, 0, 4}}, 5);
    p.sd.thicknesses = {150.0};
    const Setting<double> tolerance(epsilon.eigen_eps, 1e-13);
    const RealHkl K_t = p.tilt(0.23, 0.11);
    std::vector<double> errors;
    for (const double size : {1e-2, 1e-3}) {
        Tensor<complex> stack(1, 6, 6);
        Problem changed(gaas, {{1, 1, 0}, {1, 1, 0}, {0, 0, 2}, 200.0}, p.sd.beams.hkl, 5);
        changed.sd.thicknesses = p.sd.thicknesses;
        for (int i = 0; i < 6; ++i) {
            for (int j = 0; j < 6; ++j) {
                const double factor = i == j ? 1.0 : 1.0 + size * std::cos(i * j + 0.3);
                changed.potential.V[i][j] = c_mul(p.potential.V[i][j], {factor, 0.0});
                stack[0][i][j] = changed.potential.V[i][j];
            }
        }
        WorkCalInt w = p.work();
        PerturbWork perturb(6);
        Matrix<double> table(5, 1);
        Tensor<double> perturbed(1, 5, 1);
        double *const *rows = perturbed[0];
        const complex *const *set = stack[0];
        calc_intensity_with_perturb_ug(p.tilt_problem(), K_t, w, table.get(),
                                       {1, &set, &rows, &perturb});
        const Matrix<double> exact = changed.intensities(K_t);
        double error = 0.0;
        for (int o = 0; o < 5; ++o) {
            error = std::max(error, std::fabs(rows[o][0] - exact[o][0]));
        }
        errors.push_back(error);
    }
    EXPECT_LT(errors[0], 1e-3);
    EXPECT_LT(errors[1], 0.03 * errors[0]); // 0.01 in the limit
}

TEST(Perturbation, DegeneratePairsDoNotMix) {
    Matrix<complex> B0(2, 2);
    Matrix<complex> B1(2, 2);
    B0[0][0] = B0[1][1] = {1.0, 0.1};
    B1[0][0] = {1.0, 0.1};
    B1[1][1] = {1.5, 0.1};
    B1[0][1] = B1[1][0] = {0.3, 0.0};
    Matrix<complex> unit(2, 2);
    unit[0][0] = unit[1][1] = {1.0, 0.0};
    const complex eigval[] = {{1.0, 0.1}, {1.0, 0.1}};
    complex changed[2];
    Matrix<complex> vectors(2, 2);
    PerturbWork work(2);
    perturbation2({eigval, unit.get(), unit.get()}, 2, B0.get(), B1.get(), 1e-8, changed,
                  vectors.get(), work);
    EXPECT_DOUBLE_EQ(changed[1].re, 1.5);
    EXPECT_EQ(vectors[0][1].re, 0.0);
    EXPECT_EQ(vectors[0][0].re, 1.0);
}

} // namespace
} // namespace orvel::test
