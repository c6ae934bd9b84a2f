// The reader of the crystal block: what it fills, what it refuses, and the record's own functions.
#include "crystal/csd.hpp"

#include "support/crystals.hpp"
#include "support/run_end.hpp"

#include <cmath>

namespace orvel::test {
namespace {

std::string replaced(std::string text, const std::string &what, const std::string &by) {
    const std::size_t place = text.find(what);
    EXPECT_NE(place, text.npos) << what;
    return text.replace(place, what.size(), by);
}

class CrystalReader : public testing::Test {
protected:
    CrystalReader() { folder.link_tables(); }
    WorkFolder folder;
};

TEST_F(CrystalReader, ReadyMadeCrystals) {
    struct Case {
        const CrystalText &text;
        std::size_t num_ops;
        double atoms; // in the cell, by multiplicity
        double volume;
    };
    const double deg = std::acos(-1.0) / 180.0;
    const double ca = std::cos(82 * deg);
    const double cb = std::cos(97 * deg);
    const double cg = std::cos(105 * deg);
    const double skew = std::sqrt(1 - ca * ca - cb * cb - cg * cg + 2 * ca * cb * cg);
    const Case cases[] = {
        {silicon, 192, 8, std::pow(5.4309, 3)},   {gaas, 96, 8, std::pow(5.6533, 3)},
        {srtio3, 48, 5, std::pow(3.905, 3)},      {aluminium, 192, 4, std::pow(4.0496, 3)},
        {magnesia, 192, 8, std::pow(4.2117, 3)},  {anisotropic, 16, 1, 4.5 * 4.5 * 6.2},
        {triclinic, 1, 2, 4.1 * 5.3 * 6.7 * skew}};
    for (const Case &c : cases) {
        SCOPED_TRACE(c.text.name);
        const Csd csd = read_crystal(c.text.block());
        EXPECT_EQ(csd.group.ops.size(), c.num_ops);
        double atoms = 0.0;
        for (const AtomSite &site : csd.sites) {
            atoms += site.w * static_cast<double>(c.num_ops);
        }
        EXPECT_NEAR(atoms, c.atoms, 1e-12);
        EXPECT_NEAR(csd.metric.volume, c.volume, 1e-9 * c.volume);
        EXPECT_EQ(csd.lof_type, 0);
        EXPECT_EQ(csd.xray.size(), csd.sites.size());
        EXPECT_EQ(csd.bk.size(), csd.sites.size());
    }
    const Csd csd = read_crystal(gaas.block());
    EXPECT_EQ(csd.xray[0].Z, 31.0);
    EXPECT_EQ(csd.xray[1].Z, 33.0);
    EXPECT_EQ(csd.sites[1].element, "As");
    EXPECT_EQ(csd.sites[1].B, 0.57);
    EXPECT_EQ(csd.sites[1].af, 1);
    EXPECT_EQ(csd.site_pars[1][par_occupancy].name, "occ");
}

TEST_F(CrystalReader, AnisotropicSite) {
    for (const char *token : {"ANISO", "1"}) {
        const Csd csd = read_crystal(replaced(anisotropic.block(), "ANISO", token));
        const AtomSite &site = csd.sites[0];
        EXPECT_EQ(site.bf, 1);
        EXPECT_EQ(site.beta, (std::array<double, 6>{0.011, 0.012, 0.013, 0.001, 0.002, 0.003}));
        EXPECT_EQ(csd.site_pars[0][par_beta13].name, "b13");
        EXPECT_EQ(csd.site_pars[0][par_beta23].name, "b23");
        EXPECT_EQ(csd.site_pars[0][par_beta23].flag, 2);
        EXPECT_EQ(site.occupancy, 0.9);
        EXPECT_EQ(site.af, 0);
        // tetragonal: (4/3)(0.011 a^2 + 0.012 a^2 + 0.013 c^2)
        EXPECT_NEAR(site.B, 4.0 / 3.0 * (0.023 * 4.5 * 4.5 + 0.013 * 6.2 * 6.2), 1e-14);
    }
}

// beta_ij = B a_i*.a_j* / 4 is an isotropic tensor in any cell.
TEST(EquivalentB, OfAnIsotropicTensorIsItsB) {
    const double B = 0.83;
    const Metric m = bravai({4.1, 5.3, 6.7, 82.0, 97.0, 105.0});
    const MetricTensor &G = m.reciprocal;
    AtomSite site;
    site.bf = 1;
    const double entries[] = {G.g11, G.g22, G.g33, G.g12, G.g31, G.g23};
    for (std::size_t i = 0; i < 6; ++i) {
        site.beta[i] = entries[i] * B / 4.0;
    }
    EXPECT_NEAR(bij_to_beq(m, site), B, 1e-14);
    site.bf = 0;
    site.B = 0.5;
    EXPECT_EQ(bij_to_beq(m, site), 0.5);
}

TEST_F(CrystalReader, LowOrderEntries) {
    CrystalText text = gaas;
    text.low_order = "2\n1\n1 1 1\n6.1 ADJ re\n0.2*re CST im\n2 0 0\n0.4\n0.01\n";
    Csd csd = read_crystal(text.block());
    EXPECT_EQ(csd.lof_type, 1);
    ASSERT_EQ(csd.low_order.size(), 2U);
    EXPECT_EQ(csd.low_order[0].hkl, (Hkl{1, 1, 1}));
    EXPECT_EQ(csd.low_order[0].total.re, 6.1);
    EXPECT_DOUBLE_EQ(csd.low_order[0].total.im, 1.22);
    EXPECT_EQ(csd.low_order[1].total.im, 0.01);

    text.low_order = "1\n2\n1 1 1\n6.1 ADJ re\n-0.2 ADJ im\n";
    csd = read_crystal(text.block());
    EXPECT_EQ(csd.low_order[0].elastic.re, 6.1);
    EXPECT_EQ(csd.low_order[0].elastic.im, -0.2);
    EXPECT_EQ(csd.low_order[0].pars[3].name, "im");

    for (const char *type : {"3", "4"}) {
        text.low_order = std::string("1\n") + type + "\n1 1 1\n5\n0.5\n6 ADJ f2\n=f2-5 CST i2\n";
        csd = read_crystal(text.block());
        EXPECT_EQ(csd.low_order[0].elastic_f, (std::vector<double>{5, 6}));
        EXPECT_EQ(csd.low_order[0].inelastic_f, (std::vector<double>{0.5, 1}));
        Csd copy;
        cpy_csd(copy, csd);
        csd.low_order[0].elastic_f[1] = 0.0;
        EXPECT_EQ(copy.low_order[0].elastic_f[1], 6.0);
    }
    free_csd(csd);
    EXPECT_TRUE(csd.sites.empty());
    EXPECT_TRUE(csd.low_order.empty());
}

TEST_F(CrystalReader, ConstraintsReachTheGeometry) {
    CrystalText text = silicon;
    text.lattice = "227\n5.4 FIX a\na CST b\n=a CST c\n90 FIX angle\nangle CST be\nangle CST ga\n";
    const Csd csd =
        read_crystal(replaced(text.block(), "0.125\n0.125\n", "0.125 FIX x\nx CST y\n"));
    EXPECT_NEAR(csd.metric.volume, std::pow(5.4, 3), 1e-10);
    EXPECT_DOUBLE_EQ(csd.sites[0].w, 8.0 / 192.0);
}

TEST_F(CrystalReader, Refusals) {
    struct Case {
        const char *what;
        const char *by;
        const char *message;
    };
    const auto misplaced = [](const std::string &keyword, const std::string &found) {
        return "$$ Data format error has been found at " + keyword +
               ".\n$$ Abort.\n$$ buf=" + found + "\n";
    };
    const std::string block = triclinic.block();
    for (const char *keyword :
         {"CRYSTAL_STRUCTURE_DATA{", "LATTICE{", "}LATTICE", "ATOM{", "SITE{", "}SITE", "}ATOM",
          "LOW_ORDER_FG{", "}LOW_ORDER_FG", "}CRYSTAL_STRUCTURE_DATA"}) {
        const Outcome o = outcome_of([&] { read_crystal(replaced(block, keyword, "WRONG")); });
        EXPECT_EQ(o.status, 1);
        EXPECT_EQ(o.out, misplaced(keyword, "WRONG"));
    }
    const Case cases[] = {
        {"ISO", "iso", "$$ Invalid bf. Abort.\n"},
        {"Si\n", "Siliconium\n",
         "$$ Element symbol Siliconium is longer than 7 characters. Abort.\n"},
        {"ATOM{\n2\n", "ATOM{\n-2\n", "$$ "},
        {"ATOM{\n2\n", "ATOM{\n2000000000\n", "$$ "},
        {"ATOM{\n2\n", "ATOM{\n0\n",
         "$$ Number of atom sites = 0: a crystal has at least one. "
         "Abort.\n"},
        {"FG{\n0\n", "FG{\n1\n5\n", "$$ Sorry, lof_type = 5 is not available. Abort.\n"},
        {"FG{\n0\n", "FG{\n1\n7\n", "$$(fget_low_g_cst) Invalid lof_type(=7). Abort.\n"},
        {"FG{\n0\n", "FG{\n-1\n", "$$ "},
        {"0.22\n", "x3 CST y\n", "$$error: $$ (val_search_csd) constraint x3 not found\n"},
        {"0.22\n", "inf FIX y\n", "$$ Parameter y of the crystal is inf. Abort.\n"},
        {"4.1\n", "0\n", "$$ The lattice parameters span no cell"},
        {"82\n", "5\n", "$$ The lattice parameters span no cell"},
        {"4.1\n", "1e-300\n", "$$ The lattice parameters span no cell"}};
    for (const Case &c : cases) {
        SCOPED_TRACE(c.by);
        const Outcome o = outcome_of([&] { read_crystal(replaced(block, c.what, c.by)); });
        EXPECT_EQ(o.status, 1);
        EXPECT_EQ(o.out.substr(0, std::string(c.message).size()), c.message);
    }
}

// Cut off after any line, the block ends the run with a message.
TEST_F(CrystalReader, TruncatedAnywhere) {
    CrystalText text = anisotropic;
    text.low_order = "1\n3\n1 1 1\n5\n0.5\n";
    const std::string block = text.block();
    for (std::size_t end = block.find('\n'); end + 1 < block.size();
         end = block.find('\n', end + 1)) {
        const Outcome o = outcome_of([&] { read_crystal(block.substr(0, end + 1)); });
        EXPECT_EQ(o.status, 1) << end;
        EXPECT_TRUE(o.out.starts_with("$$")) << o.out;
    }
}

TEST(CrystalRecord, SizesAndCopies) {
    Csd csd;
    alloc_csd(4, 3, 2, csd);
    alloc_csd_sub_cstr(3, 2, 4, csd);
    EXPECT_EQ(csd.group.ops.size(), 4U);
    EXPECT_EQ(csd.site_pars.size(), 3U);
    EXPECT_EQ(csd.low_order[1].inelastic_pars.size(), 3U);
    csd.lof_type = 6;
    Csd copy;
    const Outcome o = outcome_of([&] { cpy_csd(copy, csd); });
    EXPECT_EQ(o.status, 1);
    EXPECT_EQ(o.out, "$$ Invalid lof_type 6. Abort.\n");
}

} // namespace
} // namespace orvel::test
