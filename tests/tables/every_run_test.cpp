// Whole CBED runs of the program in every tabulated setting and with every element.
#include "support/conditions.hpp"
#include "support/program.hpp"
#include "tools/spg_table.hpp"

#include <cmath>
#include <gemmi/elem.hpp>
#include <gemmi/symmetry.hpp>
#include <gtest/gtest.h>
#include <numbers>

namespace orvel::test {
namespace {

// A cell with the symmetry of the setting and no other: the metric tensor of a triclinic one,
// averaged over the rotations.
std::string cell_of(const gemmi::GroupOps &group) {
    const double triclinic[3][3] = {{16.0, -1.1, -0.9}, {-1.1, 25.0, -1.7}, {-0.9, -1.7, 36.0}};
    double metric[3][3] = {};
    for (const gemmi::Op &op : group.sym_ops) {
        for (std::size_t n = 0; n < 81; ++n) {
            const std::size_t k = n / 3 % 3;
            const std::size_t l = n % 3;
            metric[n / 27][n / 9 % 3] += op.rot[k][n / 27] * triclinic[k][l] *
                                         op.rot[l][n / 9 % 3] /
                                         (576.0 * static_cast<double>(group.sym_ops.size()));
        }
    }
    std::string lines;
    for (int i = 0; i < 3; ++i) {
        lines += std::to_string(std::sqrt(metric[i][i])) + "\n";
    }
    for (int i = 0; i < 3; ++i) {
        const int j = (i + 1) % 3;
        const int k = (i + 2) % 3;
        const double cosine = metric[j][k] / std::sqrt(metric[j][j] * metric[k][k]);
        lines += std::to_string(std::acos(cosine) * 180.0 / std::numbers::pi) + "\n";
    }
    return lines;
}

// One tilt along [001] with the beams that the search finds; the pattern holds light, and no more
// than came in.
void expect_pattern(const std::string &crystal) {
    const Conditions conditions = {.crystal = crystal, .beams = "2\n300 0.7 0 0\n0.02 0.05 1e7\n"};
    const ProgramRun run = run_parameter_file(conditions.cbed("0\n", "1\n150\n"));
    ASSERT_EQ(run.status, 0) << run.out << run.err;
    const std::string pattern = run.read("run_rs0.txt");
    double sum = 0.0;
    for (const auto &row : numbers(pattern.substr(pattern.find("# intensities\n")))) {
        sum += row.size() == 1 ? row[0] : 0.0; // other lines tell of the reflection
    }
    EXPECT_GT(sum, 100.0);
    EXPECT_LT(sum, 10000.0);
}

TEST(EveryRun, Settings) {
    for (int k = 1; k <= tabulated_settings; ++k) {
        const gemmi::SpaceGroup &setting = tabulated_setting(k);
        SCOPED_TRACE(setting.xhm());
        const CrystalText crystal = {
            "", std::to_string(spg_table_number(k)) + "\n" + cell_of(setting.operations()),
            "1\n" + iso_site("C", "0.11\n0.23\n0.37\n", 0.5)};
        expect_pattern(crystal.block());
    }
}

// On one site elastic factors from "orvelbk.dat", on the other by the Mott formula.
TEST(EveryRun, Elements) {
    for (int Z = 1; Z <= 98; ++Z) {
        const char *element = gemmi::element_name(static_cast<gemmi::El>(Z));
        SCOPED_TRACE(element);
        std::string mott = iso_site(element, "0.5\n0.5\n0.4\n", 0.5);
        mott[mott.find("1\n}SITE")] = '0';
        const CrystalText crystal = {"", cubic(1, 4.0),
                                     "2\n" + iso_site(element, "0\n0\n0\n", 0.5) + mott};
        expect_pattern(crystal.block());
    }
}

} // namespace
} // namespace orvel::test
