// Structure factors shared among equivalents against the sums over all atoms.
#include "crystal/equivalents.hpp"

#include "crystal/potential_coef.hpp"
#include "crystal/strct_f.hpp"
#include "dynamics/mbfunc_potential.hpp"
#include "dynamics/rfsearch.hpp"
#include "support/crystals.hpp"
#include "support/run_end.hpp"

#include <algorithm>

namespace orvel::test {
namespace {

const std::string general_sites =
    "2\n" + iso_site("Si", "0.11\n0.23\n0.37\n", 0.5) +
    "SITE{\nO\n0.4\n0.03\n0.29\nANISO\n0.003\n0.004\n0.005\n0.001\n0.0005\n0.0002\n1\n0\n}SITE\n";

std::string lattice(int group, const char *cell) {
    return std::to_string(group) + "\n" + cell;
}

// Long reflections first: they and their equivalents fill the reflection table.
BeamList box(int m, const Metric &metric) {
    BeamList beams;
    for (int h = -m; h <= m; ++h) {
        for (int k = -m; k <= m; ++k) {
            for (int l = -m; l <= m; ++l) {
                beams.hkl.push_back({h, k, l});
            }
        }
    }
    sort_reflex(beams.hkl, metric);
    std::reverse(beams.hkl.begin(), beams.hkl.end());
    beams.num_exact_beam = static_cast<int>(beams.hkl.size());
    return beams;
}

TEST(Equivalents, ShareOnlyWhatSymmetryGivesExactly) {
    struct Case {
        const char *name;
        std::string lattice;
        std::size_t rotations; // of the point group, or those that give values to rounding
    };
    const Case cases[] = {
        {"Fd-3m", lattice(227, "9\n9\n9\n90\n90\n90\n"), 48},
        {"P6_122", lattice(178, "6\n6\n9\n90\n90\n120\n"), 12},
        {"Pna2_1", lattice(33, "6\n7\n8\n90\n90\n90\n"), 4},
        {"P1", lattice(1, "6\n7\n8\n81\n95\n103\n"), 1},
        // the seven decimals of the centring leave 2/m
        {"R-3m", lattice(166, "6\n6\n15\n90\n90\n120\n"), 4},
        // 4/mmm of the cubic group is left
        {"strained", lattice(221, "6\n6\n6.1\n90\n90\n90\n"), 16},
    };
    WorkFolder folder;
    folder.link_tables();
    for (const Case &c : cases) {
        Csd csd = read_crystal(CrystalText{c.name, c.lattice, general_sites}.block());
        EXPECT_EQ(exact_equivalents(csd).ops.size(), c.rotations) << c.name;

        const BeamList beams = box(6, csd.metric);
        Vector<complex> V;
        PotentialAndDensity elastic;
        outcome_of([&] {
            V = vgv_reim_csd(beams, csd, 200.0);
            elastic = vgv_fxgv_csd(beams, csd, 200.0);
        });
        const double V_000 = c_abs(fg_to_vg(calc_Fg_ela({0, 0, 0}, csd, 200.0).F, csd.metric));
        double worst = 0.0;
        for (std::size_t i = beams.hkl.size() - 300; i < beams.hkl.size(); ++i) {
            const Hkl &g = beams.hkl[i];
            const complex own = fg_to_vg(structure_factor_ext(g, csd, 200.0).F, csd.metric);
            const complex own_elastic = fg_to_vg(calc_Fg_ela(g, csd, 200.0).F, csd.metric);
            worst =
                std::max({worst, c_abs(c_sub(V[i], own)), c_abs(c_sub(elastic.V[i], own_elastic))});
        }
        EXPECT_LT(worst, 1e-13 * V_000) << c.name;
    }
}

} // namespace
} // namespace orvel::test
