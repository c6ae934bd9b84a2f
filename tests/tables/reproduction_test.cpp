// The generator makes the shipped files, byte for byte.
#include "support/files.hpp"
#include "tools/bk_table.hpp"
#include "tools/spg_table.hpp"
#include "tools/xdt_table.hpp"

#include <gtest/gtest.h>

namespace orvel::test {
namespace {

const std::string root = ORVEL_SOURCE_DIR;
const std::string sources = root + "/tools/sources";

TEST(TableGenerator, SpaceGroups) {
    EXPECT_EQ(spg_table(), read_file(root + "/data/orvelspg.dat"));
    EXPECT_NE(read_file(root + "/data/README.md").find(spg_settings_list()), std::string::npos);
}

TEST(TableGenerator, XrayFactors) {
    EXPECT_EQ(xdt_table(sources), read_file(root + "/data/orvelxdt.dat"));
}

// A sample: the whole takes minutes.
TEST(TableGenerator, ElectronFactors) {
    const std::string shipped = read_file(root + "/data/orvelbk.dat");
    EXPECT_TRUE(shipped.starts_with(bk_table_head()));
    const TableFit fit(bk_table_grids());
    const auto elements = read_elastic_sources(sources);
    for (const std::size_t Z : {1, 6, 79, 98}) {
        EXPECT_NE(shipped.find(bk_table_block(elements[Z - 1], fit)), std::string::npos)
            << elements[Z - 1].symbol;
    }
}

} // namespace
} // namespace orvel::test
