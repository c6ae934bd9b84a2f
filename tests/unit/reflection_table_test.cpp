// The reflection table: stored equivalents against structure factors summed over all atoms.
#include "crystal/reflection_table.hpp"

#include "support/gemmi_ops.hpp"

#include <gtest/gtest.h>

namespace orvel::test {
namespace {

// Point atoms on all positions of two general sites.
complex direct_sum(const Hkl &h, const std::vector<SymOp> &ops) {
    const Position sites[] = {{0.113, 0.271, 0.382}, {0.431, 0.067, 0.159}};
    complex F;
    for (const Position &site : sites) {
        for (const SymOp &op : ops) {
            const Position r = gen_pos(site, op);
            F = c_add(F, c_exp({0.0, -two_pi * (h.h * r[0] + h.k * r[1] + h.l * r[2])}));
        }
    }
    return F;
}

TEST(ReflectionTable, EquivalentsCarryTheirStructureFactor) {
    struct Case {
        const char *symbol;
        Hkl h;
        int count; // multiplicity of the form in the Laue class or, without a centre, the point
                   // group
    };
    const Case cases[] = {
        {"P 1", {1, 2, 3}, 1},        {"P -1", {1, 2, 3}, 2},        {"P 41 21 2", {1, 2, 3}, 8},
        {"P 61", {1, 2, 1}, 6},       {"R -3 c:H", {1, 1, 3}, 12},   {"F -4 3 m", {1, 1, 1}, 4},
        {"F d -3 m:2", {1, 1, 1}, 8}, {"F d -3 m:2", {3, 1, 5}, 48}, {"I a -3 d", {4, 0, 0}, 6}};
    for (const Case &c : cases) {
        SCOPED_TRACE(c.symbol);
        const std::vector<SymOp> ops = gemmi_ops(c.symbol);
        ReflectionTable table;
        stock_fg_tbl_sym(c.h, direct_sum(c.h, ops), table, ops);
        EXPECT_EQ(table.count(), c.count);
        EXPECT_EQ(search_g_table(c.h, table), 0);
        for (int i = 0; i < table.count(); ++i) {
            const auto n = static_cast<std::size_t>(i);
            const complex F = direct_sum(table.hkl[n], ops);
            EXPECT_NEAR(table.F[n].re, F.re, 1e-10);
            EXPECT_NEAR(table.F[n].im, F.im, 1e-10);
            EXPECT_EQ(search_g_table(table.hkl[n], table), i);
        }
        const Hkl friedel = {-c.h.h, -c.h.k, -c.h.l};
        const bool centric = std::string(c.symbol).find("-3 ") != std::string::npos ||
                             std::string(c.symbol).find("-1") != std::string::npos;
        EXPECT_EQ(search_g_table(friedel, table) >= 0, centric);
    }
}

TEST(ReflectionTable, WhatCameFirstStaysAndAFullTableTakesNothing) {
    const std::vector<SymOp> ops = gemmi_ops("F m -3 m");
    ReflectionTable table(10);
    stock_fg_tbl_sym({2, 0, 0}, {5.0, 0.5}, table, ops); // 6 equivalents
    stock_fg_tbl_sym({1, 1, 1}, {7.0, 0.7}, table, ops); // 4 of its 8
    EXPECT_EQ(table.count(), 10);
    stock_fg_tbl_sym({4, 2, 0}, {1.0, 0.1}, table, ops);
    EXPECT_EQ(table.count(), 10);
    EXPECT_EQ(search_g_table({4, 2, 0}, table), -1);
    EXPECT_EQ(table.F[static_cast<std::size_t>(search_g_table({0, 0, -2}, table))].re, 5.0);
    EXPECT_EQ(search_g_table({1, 1, 1}, ReflectionTable()), -1);

    ReflectionTable alone(1000);
    stock_fg_tbl_sym({1, 1, 1}, {1.0, 0.0}, alone, {});
    EXPECT_EQ(alone.count(), 1);
}

} // namespace
} // namespace orvel::test
