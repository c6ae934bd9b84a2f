// Block propagation against the eigen road, closed forms and identities.
#include "app/run_settings.hpp"
#include "crystal/potential_coef.hpp"
#include "dynamics/mbfunc_propagate.hpp"
#include "numeric/lb_chebyshev.hpp"
#include "numeric/lb_kernels.hpp"
#include "support/problem.hpp"

#include <algorithm>
#include <cmath>
#include <complex>
#include <cstring>
#include <gtest/gtest.h>
#include <limits>

namespace orvel::test {
namespace {

using cplx = std::complex<double>;
constexpr double nan = std::numeric_limits<double>::quiet_NaN();

// Reflections of a zone within a cube, by increasing |g|, those of all-even or all-odd indices.
std::vector<Hkl> face_centred(const Uvw &zone, int reach, std::size_t count) {
    std::vector<Hkl> beams;
    for (int h = -reach; h <= reach; ++h) {
        for (int k = -reach; k <= reach; ++k) {
            for (int l = -reach; l <= reach; ++l) {
                const bool same = (h - k) % 2 == 0 && (k - l) % 2 == 0;
                if (same && h * zone.u + k * zone.v + l * zone.w == 0) {
                    beams.push_back({h, k, l});
                }
            }
        }
    }
    const auto square = [](const Hkl &g) { return g.h * g.h + g.k * g.k + g.l * g.l; };
    std::stable_sort(beams.begin(), beams.end(),
                     [&](const Hkl &a, const Hkl &b) { return square(a) < square(b); });
    beams.resize(count);
    return beams;
}

std::vector<RealHkl> tilts_of(const Problem &p, int count) {
    std::vector<RealHkl> K_t;
    for (int i = 0; i < count; ++i) {
        K_t.push_back(p.tilt(1.3 * std::sin(1.0 + 1.7 * i), 0.9 * std::cos(2.3 * i)));
    }
    return K_t;
}

// Amplitudes [tilt][output beam][thickness] of a block, and which tilts it served.
struct Propagated {
    Tensor<complex> psi;
    std::vector<char> served;

    int num_served() const { return static_cast<int>(std::count(served.begin(), served.end(), 1)); }
};

Propagated propagated(const Problem &p, const std::vector<RealHkl> &K_t) {
    const TiltProblem problem = p.tilt_problem();
    WorkCalInt tilt = p.work();
    PropagationWork work(problem, static_cast<int>(K_t.size()));
    Propagated result;
    result.psi = Tensor<complex>(K_t.size(), p.sd.reflections.size(), p.sd.thicknesses.size());
    std::vector<complex *const *> tables;
    for (std::size_t i = 0; i < K_t.size(); ++i) {
        std::fill_n(result.psi[i][0], p.sd.reflections.size() * p.sd.thicknesses.size(),
                    complex{nan, nan});
        tables.push_back(result.psi[i]);
    }
    propagate_tilts(problem, K_t, tilt, work, tables);
    result.served = work.served;
    return result;
}

double largest_deviation(const Problem &p, const std::vector<RealHkl> &K_t,
                         const Propagated &result) {
    const Setting<double> tolerance(epsilon.eigen_eps, 1e-13);
    WorkCalInt w = p.work();
    Matrix<complex> psi(p.sd.reflections.size(), p.sd.thicknesses.size());
    double largest = 0.0;
    for (std::size_t i = 0; i < K_t.size(); ++i) {
        solve_tilt(p.tilt_problem(), K_t[i], w);
        excite_branches(w);
        calc_amplitudes(p.tilt_problem(), w, psi.get());
        for (std::size_t o = 0; o < psi.rows(); ++o) {
            for (std::size_t k = 0; k < psi.cols(); ++k) {
                const double d = c_abs(c_sub(psi[o][k], result.psi[i][o][k]));
                largest = d <= largest ? largest : d;
            }
        }
    }
    return largest;
}

bool same_bits(const Tensor<complex> &a, std::size_t i, const Tensor<complex> &b, std::size_t j) {
    return std::memcmp(a[i][0], b[j][0],
                       sizeof(complex) * static_cast<std::size_t>(a.extent(1) * a.extent(2))) == 0;
}

TEST(Chebyshev, SeriesIsTheExponential) {
    for (const double z : {0.0, 1e-300, 1e-17, 1e-9, 0.3, -0.3, 7.0, 31.4, -250.0, 1999.5}) {
        const int terms = chebyshev_terms(z, 1e-16, 4000);
        ASSERT_LE(terms, 4000);
        std::vector<double> c(static_cast<std::size_t>(terms + 3), nan);
        chebyshev_coefficients(z, terms, terms + 3, c.data(), 1);
        for (const double x : {-1.0, -0.77, -0.1, 0.0, 0.4, 0.999, 1.0}) {
            cplx sum;
            for (int k = 0; k < terms + 3; ++k) {
                const cplx factor = k % 2 == 0 ? cplx(1.0, 0.0) : cplx(0.0, -1.0);
                sum += factor * c[static_cast<std::size_t>(k)] * std::cos(k * std::acos(x));
            }
            EXPECT_LT(std::abs(sum - std::exp(cplx(0.0, -z * x))), 1e-14 * (10.0 + std::fabs(z)))
                << z << " " << x;
        }
    }
    EXPECT_EQ(chebyshev_terms(500.0, 1e-16, 400), 401);
    EXPECT_EQ(chebyshev_terms(395.0, 1e-16, 400), 401);
    EXPECT_EQ(chebyshev_terms(nan, 1e-16, 400), 401);
}

struct RoadCase {
    const char *name;
    const CrystalText *crystal;
    Incidence incidence;
    std::size_t n_exact;
    std::size_t n_bethe;
    int flag_bs; // 0 generalized, 10 simple
};
const Incidence si_001 = {{0, 0, 1}, {0, 0, 1}, {2, 2, 0}, 200.0};
const Incidence gaas_110 = {{1, 1, 0}, {2, 3, 1}, {0, 0, 2}, 100.0}; // an inclined surface
const RoadCase roads[] = {{"one beam", &silicon, si_001, 1, 0, 0},
                          {"Si", &silicon, si_001, 69, 0, 0},
                          {"Si generalized", &silicon, si_001, 37, 44, 0},
                          {"Si simple", &silicon, si_001, 37, 44, 10},
                          {"GaAs inclined", &gaas, gaas_110, 45, 0, 0},
                          {"GaAs inclined generalized", &gaas, gaas_110, 31, 24, 0},
                          {"GaAs inclined simple", &gaas, gaas_110, 31, 24, 10}};

struct RoadProblem : Problem {
    explicit RoadProblem(const RoadCase &c)
        : Problem(*c.crystal, c.incidence,
                  face_centred(c.incidence.inc_uvw, 12, c.n_exact + c.n_bethe),
                  static_cast<int>(c.n_exact)) {
        sd.beam_search.flag_bs = c.flag_bs;
        sd.thicknesses = {0.0, 1e-20, 3.0, 150.0, 777.0, 1500.0, -60.0};
    }
};

TEST(Propagate, IsTheEigenRoad) {
    for (const RoadCase &c : roads) {
        const RoadProblem p(c);
        const std::vector<RealHkl> K_t = tilts_of(p, 11);
        const Propagated result = propagated(p, K_t);
        EXPECT_EQ(result.num_served(), 11) << c.name;
        EXPECT_LT(largest_deviation(p, K_t, result), 1e-10) << c.name;
    }
}

// Beams change their class from tilt to tilt, also those that are given out.
TEST(Propagate, SelectsAsTheEigenRoad) {
    for (const double sgmax : {0.05, 0.02}) { // the second leaves no Bethe beams
        Problem p(silicon, si_001, face_centred({0, 0, 1}, 12, 81), 81);
        p.sd.thicknesses = {500.0, 900.0};
        p.sd.beam_search.flag_bs = 12;
        p.sd.beam_search.sgbmin = 0.02;
        p.sd.beam_search.sgmax = sgmax;
        const Setting<int> select(epsilon.vg_select_flag, 1);
        const std::vector<RealHkl> K_t = tilts_of(p, 9);
        const Propagated result = propagated(p, K_t);
        EXPECT_EQ(result.num_served(), 9);
        EXPECT_LT(largest_deviation(p, K_t, result), 1e-10) << sgmax;
    }
}

TEST(Propagate, ATiltDoesNotSeeItsNeighbours) {
    for (const double sgmax : {0.05, 0.02}) {
        Problem p(gaas, si_001, face_centred({0, 0, 1}, 12, 81), 81);
        p.sd.thicknesses = {0.0, 310.0, 1200.0};
        p.sd.beam_search.flag_bs = 2;
        p.sd.beam_search.sgbmin = 0.02;
        p.sd.beam_search.sgmax = sgmax;
        const Setting<int> select(epsilon.vg_select_flag, 1);
        std::vector<RealHkl> K_t = tilts_of(p, 13);
        K_t[4] = p.tilt(30.0, 0.0); // far off: few beams, long excitation errors
        const Propagated block = propagated(p, K_t);
        const Propagated reversed = propagated(p, {K_t.rbegin(), K_t.rend()});
        EXPECT_EQ(block.num_served(), 13);
        for (const Kernels *table : {plain_kernels(), avx2_kernels()}) {
            set_kernels(table);
            const Propagated other = propagated(p, K_t);
            for (std::size_t i = 0; i < K_t.size(); ++i) {
                EXPECT_TRUE(same_bits(block.psi, i, other.psi, i)) << i;
            }
        }
        set_kernels(nullptr);
        for (std::size_t i = 0; i < K_t.size(); ++i) {
            const Propagated alone = propagated(p, {K_t[i]});
            EXPECT_TRUE(same_bits(block.psi, i, alone.psi, 0)) << i;
            EXPECT_TRUE(same_bits(block.psi, i, reversed.psi, K_t.size() - 1 - i)) << i;
        }
    }
}

TEST(Propagate, FluxIsKeptWithoutAbsorption) {
    for (const std::size_t n_bethe : {0u, 20u}) {
        Problem p(gaas, gaas_110, face_centred({1, 1, 0}, 12, 61), 61 - static_cast<int>(n_bethe));
        p.drop_absorption();
        p.sd.thicknesses = {0.0, 90.0, 2000.0};
        const std::vector<RealHkl> K_t = tilts_of(p, 5);
        const Propagated result = propagated(p, K_t);
        ASSERT_EQ(result.num_served(), 5);
        for (std::size_t i = 0; i < K_t.size(); ++i) {
            WorkCalInt w = p.work();
            select_tilt(p.tilt_problem(), K_t[i], w);
            for (std::size_t k = 0; k < p.sd.thicknesses.size(); ++k) {
                double flux = 0.0;
                for (std::size_t o = 0; o < p.sd.reflections.size(); ++o) {
                    flux += w.beta_selected[o] * c_norm(result.psi[i][o][k]);
                }
                EXPECT_NEAR(flux, 1.0, 1e-12);
            }
        }
    }
}

TEST(Propagate, WithoutCouplingsTheBeamIsDampedByTheMeanAbsorption) {
    const Setting<int> without_permutations(epsilon.eigmat_func, 1);
    Problem p(silicon, si_001, face_centred({0, 0, 1}, 6, 21), 21);
    for (int i = 0; i < 21; ++i) {
        for (int j = 0; j < 21; ++j) {
            p.potential.V[i][j] = i == j ? complex{13.0, 0.7} : complex{};
        }
    }
    p.sd.thicknesses = {0.0, 500.0, 4000.0};
    const std::vector<RealHkl> K_t = tilts_of(p, 3);
    const Propagated result = propagated(p, K_t);
    ASSERT_EQ(result.num_served(), 3);
    for (std::size_t i = 0; i < K_t.size(); ++i) {
        WorkCalInt w = p.work();
        select_tilt(p.tilt_problem(), K_t[i], w);
        const double U0 = vg_to_ug({13.0, 0.7}, relativ_corr(200.0)).im;
        for (std::size_t k = 0; k < 3; ++k) {
            const double damped = std::exp(pi * p.sd.thicknesses[k] * U0 / w.K_n);
            EXPECT_NEAR(result.psi[i][0][k].re, damped, 1e-12);
            EXPECT_NEAR(result.psi[i][0][k].im, 0.0, 1e-12);
            for (std::size_t o = 1; o < 21; ++o) {
                EXPECT_EQ(c_abs(result.psi[i][o][k]), 0.0);
            }
        }
    }
}

// What cannot be propagated is handed back with its table as it was; the rest of the block is not.
struct HandBack {
    const char *name;
    int n_bethe;
    void (*spoil)(Problem &);
    int served; // of three tilts
};
void weaken_couplings_to(Problem &p, int beam) {
    for (int i = 0; i < 21; ++i) {
        complex &v = p.potential.V[beam][i];
        v = i == beam ? v : complex{v.re / 40.0, v.im / 40.0};
    }
}
const HandBack hand_backs[] = {
    {"potential not finite", 0, [](Problem &p) { p.potential.V[3][5].re = nan; }, 0},
    {"mean potential not finite", 0, [](Problem &p) { p.potential.V[0][0].im = INFINITY; }, 0},
    {"potential beyond all bounds", 0, [](Problem &p) { p.potential.V[0][1].re = 1e300; }, 0},
    {"infinite thickness", 0, [](Problem &p) { p.sd.thicknesses[1] = INFINITY; }, 0},
    {"huge thickness", 0, [](Problem &p) { p.sd.thicknesses[1] = 1e12; }, 0},
    {"surface along the beam", 0,
     [](Problem &p) {
         p.sd.beam.nor_uvw = {1, 1, 0};
     },
     0},
    {"a crystal that feeds the beam", 0,
     [](Problem &p) {
         for (int i = 0; i < 21; ++i) {
             p.potential.V[i][i].im = -40.0;
         }
         p.sd.thicknesses[1] = 5000.0;
     },
     0},
    {"folded potential not finite", 6, [](Problem &p) { p.potential.V[3][20].im = nan; }, 0},
    {"folded, huge thickness", 6, [](Problem &p) { p.sd.thicknesses[1] = -1e12; }, 0},
    {"a beam that couples to nothing", 0,
     [](Problem &p) {
         for (int i = 0; i < 21; ++i) {
             p.potential.V[4][i] = i == 4 ? p.potential.V[4][4] : complex{1e-12, 0.0};
         }
     },
     0},
    {"a beam that the eigen-solver scales", 0, [](Problem &p) { weaken_couplings_to(p, 4); }, 0},
    {"folded, a beam that it scales", 6, [](Problem &p) { weaken_couplings_to(p, 4); }, 0},
    {"one weak coupling", 0,
     [](Problem &p) {
         p.potential.V[4][3] = {1e-3, 0.0};
     },
     3},
    {"nothing", 6, [](Problem &) {}, 3}};

TEST(Propagate, HandsBackWhatItCannotServe) {
    for (const HandBack &c : hand_backs) {
        Problem p(silicon, si_001, face_centred({0, 0, 1}, 6, 21), 21 - c.n_bethe);
        p.sd.beam_search.flag_bs = 10;
        p.sd.thicknesses = {100.0, 200.0};
        c.spoil(p);
        const Propagated result = propagated(p, tilts_of(p, 3));
        EXPECT_EQ(result.num_served(), c.served) << c.name;
        for (std::size_t i = 0; i < 3; ++i) {
            EXPECT_EQ(result.served[i] == 0, std::isnan(result.psi[i][0][0].re)) << c.name;
        }
    }
}

// A potential that spoils one tilt only: the others do not select its beam.
TEST(Propagate, ServesTheRestOfABlock) {
    Problem p(silicon, si_001, face_centred({0, 0, 1}, 6, 21), 21);
    p.sd.thicknesses = {100.0, 200.0};
    p.sd.beam_search.flag_bs = 2;
    p.sd.beam_search.sgbmin = p.sd.beam_search.sgmax = 0.008;
    const Setting<int> select(epsilon.vg_select_flag, 1);
    const std::vector<RealHkl> K_t = {p.tilt(0.0, 0.0), p.tilt(4.0, 0.3), p.tilt(-4.0, 0.1)};
    const Propagated sound = propagated(p, K_t);
    ASSERT_EQ(sound.num_served(), 3);
    // A beam that is exact at the second tilt and not at the first.
    WorkCalInt w = p.work();
    const auto selected = [&](const RealHkl &K) {
        select_tilt(p.tilt_problem(), K, w);
        return std::vector<int>(w.index_list.data(), w.index_list.data() + w.n_exact);
    };
    const std::vector<int> at_first = selected(K_t[0]);
    const std::vector<int> at_second = selected(K_t[1]);
    const auto own = std::find_if(at_second.begin(), at_second.end(), [&](int g) {
        return std::find(at_first.begin(), at_first.end(), g) == at_first.end();
    });
    ASSERT_NE(own, at_second.end());
    p.potential.V[*own][0].re = nan;
    const Propagated result = propagated(p, K_t);
    EXPECT_EQ(result.served[0], 1);
    EXPECT_EQ(result.served[1], 0);
    for (std::size_t o = 0; o < 21; ++o) {
        EXPECT_LT(c_abs(c_sub(result.psi[0][o][1], sound.psi[0][o][1])), 1e-12);
    }
}

} // namespace
} // namespace orvel::test
