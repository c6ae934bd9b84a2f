// Every entry of "orvelspg.dat" as orvel expands it, against gemmi's operations.
#include "crystal/lattice.hpp"
#include "crystal/spgroup.hpp"
#include "support/gemmi_ops.hpp"
#include "support/work_folder.hpp"
#include "tools/spg_table.hpp"

#include <cmath>
#include <gtest/gtest.h>
#include <map>
#include <set>

namespace orvel::test {
namespace {

// R, then t modulo 1 in 24ths.
using Key = std::array<int, 12>;

Key key_of(const SymOp &op) {
    Key key;
    for (std::size_t i = 0; i < 12; ++i) {
        const double value = i < 9 ? op[i] : 24.0 * op[i];
        const int rounded = static_cast<int>(std::lround(value));
        EXPECT_NEAR(value, rounded, 1e-5);
        key[i] = i < 9 ? rounded : (rounded % 24 + 24) % 24;
    }
    return key;
}

// The operation q after p.
Key product(const Key &q, const Key &p) {
    Key r;
    for (std::size_t i = 0; i < 3; ++i) {
        int t = q[9 + i];
        for (std::size_t j = 0; j < 3; ++j) {
            r[3 * j + i] = q[i] * p[3 * j] + q[3 + i] * p[3 * j + 1] + q[6 + i] * p[3 * j + 2];
            t += q[3 * j + i] * p[9 + j];
        }
        r[9 + i] = (t % 24 + 24) % 24;
    }
    return r;
}

TEST(ShippedSpaceGroups, EverySettingIsTheGroupOfGemmi) {
    const WorkFolder folder;
    folder.link_tables();
    std::set<int> numbers;
    std::set<int> standard;
    for (int k = 1; k <= tabulated_settings; ++k) {
        const gemmi::SpaceGroup &setting = tabulated_setting(k);
        SCOPED_TRACE(setting.xhm() + " " + setting.hall);
        const int number = spg_table_number(k);
        numbers.insert(number);
        if (number <= 230) {
            standard.insert(number);
            EXPECT_EQ(number, setting.number);
            EXPECT_TRUE(setting.ext == 0 || setting.ext == '2' || setting.ext == 'H');
        }

        const SpaceGroup group = read_sp_group_tbl(number);
        std::set<Key> ours;
        for (const SymOp &op : group.ops) {
            ours.insert(key_of(op));
        }
        std::set<Key> theirs;
        for (const gemmi::Op &op : setting.operations()) {
            theirs.insert(key_of(sym_op_of(op)));
        }
        EXPECT_EQ(ours.size(), group.ops.size()) << "an operation occurs twice";
        EXPECT_EQ(ours, theirs);
        EXPECT_EQ(key_of(group.ops[0]), (Key{1, 0, 0, 0, 1, 0, 0, 0, 1, 0, 0, 0}));
        for (const Key &p : ours) {
            for (const Key &q : ours) {
                ASSERT_TRUE(ours.contains(product(q, p)));
            }
        }
    }
    EXPECT_EQ(numbers.size(), 530u);
    EXPECT_EQ(standard.size(), 230u);
}

// What the lattice letter and the rhombohedral flag remove are the reflections that the centring
// extinguishes, no more and no less.
TEST(ShippedSpaceGroups, CentringExtinctions) {
    const WorkFolder folder;
    folder.link_tables();
    for (int k = 1; k <= tabulated_settings; ++k) {
        const gemmi::GroupOps ops = tabulated_setting(k).operations();
        const SpaceGroup group = read_sp_group_tbl(spg_table_number(k));
        for (int n = 0; n < 125; ++n) {
            const Hkl g = {n % 5 - 2, n / 5 % 5 - 2, n / 25 - 2};
            bool allowed = true;
            for (const auto &c : ops.cen_ops) {
                allowed &= (g.h * c[0] + g.k * c[1] + g.l * c[2]) % gemmi::Op::DEN == 0;
            }
            ASSERT_EQ(extinction_rule(g, group.lattice_type, group.rhombohedral_flag) == 0, allowed)
                << tabulated_setting(k).xhm();
        }
    }
}

// Multiplicities of positions from International Tables A, in the same place of one structure
// described in several settings.
TEST(ShippedSpaceGroups, SpecialPositions) {
    const WorkFolder folder;
    folder.link_tables();
    const auto number_of = [](const char *xhm) {
        for (int k = 1; k <= tabulated_settings; ++k) {
            if (tabulated_setting(k).xhm() == xhm) {
                return spg_table_number(k);
            }
        }
        return 0;
    };
    struct Case {
        const char *symbol;
        Position p;
        std::size_t multiplicity;
    };
    const double x = 0.1234;
    const double y = 0.2718;
    const double z = 0.3719;
    const Case cases[] = {{"F d -3 m:2", {0.125, 0.125, 0.125}, 8},
                          {"F d -3 m:2", {0, 0, 0}, 16},
                          {"F d -3 m:2", {x, x, x}, 32},
                          {"F d -3 m:1", {0, 0, 0}, 8},
                          {"F d -3 m:1", {0.125, 0.125, 0.125}, 16},
                          {"F d -3 m:1", {x, y, z}, 192},
                          {"F -4 3 m", {0.25, 0.25, 0.25}, 4},
                          {"P m -3 m", {0.5, 0.5, 0}, 3},
                          {"I a -3 d", {0, 0, 0}, 16},
                          {"I a -3 d", {0.375, 0, 0.25}, 24},
                          {"I 41/a m d:2", {0, 0.75, 0.125}, 4},
                          {"I 41/a m d:1", {0, 0, 0}, 4},
                          {"P 42/m n m", {x, x, 0}, 4},
                          {"P 63/m m c", {1.0 / 3, 2.0 / 3, 0.25}, 2},
                          {"P 63 m c", {1.0 / 3, 2.0 / 3, z}, 2},
                          {"R -3 c:H", {0, 0, 0.25}, 6},
                          {"R -3 c:H", {x, 0, 0.25}, 18},
                          {"R -3 c:R", {0.25, 0.25, 0.25}, 2},
                          {"R -3 m:R", {x, x, z}, 6},
                          {"P 32 2 1", {x, 0, 2.0 / 3}, 3},
                          {"P 1 21/n 1", {0.5, 0, 0.5}, 2},
                          {"P 1 21/n 1", {x, y, z}, 4},
                          {"P n m a", {x, 0.25, z}, 4},
                          {"P b n m", {x, y, 0.25}, 4},
                          {"C 1 2/c 1", {0, y, 0.25}, 4},
                          {"I 1 2/a 1", {0.25, y, 0}, 4}};
    for (const Case &c : cases) {
        SCOPED_TRACE(c.symbol);
        std::vector<Position> positions;
        for (const SymOp &op : read_sp_group_tbl(number_of(c.symbol)).ops) {
            positions.push_back(gen_pos(c.p, op));
        }
        EXPECT_EQ(special_pos_check(positions), static_cast<int>(c.multiplicity));
    }
}

} // namespace
} // namespace orvel::test
