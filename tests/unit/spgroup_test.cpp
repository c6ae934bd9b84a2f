// Decoding and completion of space-group operations against gemmi, site multiplicities against
// International Tables A, and the listing of positions.
#include "crystal/spgroup.hpp"

#include "app/run_settings.hpp"
#include "crystal/atom_positions.hpp"
#include "support/gemmi_ops.hpp"
#include "support/run_end.hpp"
#include "support/work_folder.hpp"

#include <cmath>
#include <set>

namespace orvel::test {
namespace {

// The table that the tests write. The numbers count the entries.
const char *const table = "# comment\n"
                          "1 0 1 1 P\nX,Y,Z\n"
                          "1 1 2 1 P\nX,Y,Z\n"
                          "\n"
                          "2,0,3,2,C\nX,Y,Z\n# between operators\n-X,Y,-Z\n"
                          "4\t0\t4\t4\tI\r\nX,Y,Z\r\n-X,-Y,Z\r\n-X,Y,-Z\r\nX,-Y,-Z\r\n"
                          "2 0 5 3 A\nX,Y,Z\n-X,-Y,Z\n"
                          "2 0 6 3 B\nX,Y,Z\n-X,-Y,Z\n"
                          "4 1 7 4 F\nX,Y,Z\n3/4-X,3/4-Y,Z\n3/4-X,Y,3/4-Z\nX,3/4-Y,3/4-Z\n"
                          "3 0 8 9 R\nX,Y,Z\n-Y,X-Y,Z\n-X+Y,-X,Z\n"
                          "3 0 9 8 R\nX,Y,Z\nZ,X,Y\nY,Z,X\n"
                          "6 1 10 11 R\nX,Y,Z\n-Y,X-Y,Z\n-X+Y,-X,Z\nY,X,-Z\nX-Y,-Y,-Z\n-X,-X+Y,-Z\n"
                          "4 0 11 5 P\nX,Y,Z\n-X,-Y,Z+1/2\n-Y,X,Z+1/4\nY,-X,Z+3/4\n"
                          "1 0 12 1 Q\nX,Y,Z\n";

// R and t modulo 1 in 24ths, so that sets of operations can be compared.
std::multiset<std::array<long, 12>> comparable(const std::vector<SymOp> &ops) {
    std::multiset<std::array<long, 12>> set;
    for (const SymOp &op : ops) {
        std::array<long, 12> key;
        for (std::size_t i = 0; i < 12; ++i) {
            key[i] = std::lround(24 * op[i]);
            key[i] = i < 9 ? key[i] : (key[i] % 24 + 24) % 24;
        }
        set.insert(key);
    }
    return set;
}

TEST(SpaceGroupTable, OperationsAgreeWithGemmi) {
    const WorkFolder folder;
    write_file("orvelspg.dat", table);
    struct Case {
        int number;
        const char *symbol;
        int centrosymmetric;
        int rhombohedral;
    };
    const Case cases[] = {{1, "P 1", 0, 0},       {2, "P -1", 1, 0},    {3, "C 1 2 1", 0, 0},
                          {4, "I 2 2 2", 0, 0},   {5, "A 1 1 2", 0, 0}, {6, "B 1 1 2", 0, 0},
                          {7, "F d d d:2", 1, 0}, {8, "R 3:H", 0, 1},   {9, "R 3:R", 0, 0},
                          {10, "R -3 m:H", 1, 1}, {11, "P 41", 0, 0}};
    for (const Case &c : cases) {
        SCOPED_TRACE(c.symbol);
        const SpaceGroup group = read_sp_group_tbl(c.number);
        EXPECT_EQ(group.number, c.number);
        EXPECT_EQ(group.centrosymmetric, c.centrosymmetric);
        EXPECT_EQ(group.rhombohedral_flag, c.rhombohedral);
        EXPECT_EQ(group.lattice_type, std::string(1, c.symbol[0]));
        EXPECT_EQ(read_latt_type(c.number), group.lattice_type);
        EXPECT_EQ(comparable(group.ops), comparable(gemmi_ops(c.symbol)));
    }
    // What was added stands behind what it was added to, unreduced, with seven decimals.
    const std::vector<SymOp> ops = read_sp_group_tbl(10).ops;
    EXPECT_EQ(ops[6][9], 0.6666667);
    EXPECT_EQ(ops[12][10], 0.6666667);
    EXPECT_EQ(ops[18 + 6][9], -0.6666667);
}

TEST(SpaceGroupTable, Failures) {
    const WorkFolder folder;
    Outcome o = outcome_of([] { read_sp_group_tbl(1); });
    EXPECT_EQ(o.status, 1);
    EXPECT_EQ(o.err, "Cannot open orvelspg.dat.\n");

    write_file("orvelspg.dat", table);
    o = outcome_of([] { read_sp_group_tbl(231); });
    EXPECT_EQ(o.status, 1);
    EXPECT_EQ(o.out, "$$ Space group no. = 231 is not found in the table.\n");
    o = outcome_of([] { read_sp_group_tbl(12); });
    EXPECT_EQ(o.status, 1);
    EXPECT_EQ(o.err, "Invalid lattice type in space-group table.\n");
    o = outcome_of([] { EXPECT_EQ(read_latt_type(231), ""); });
    EXPECT_EQ(o.status, -1);
    EXPECT_EQ(o.out, "Not found.\n");

    const char *const malformed[] = {"-1 0 5 1 P\nX,Y,Z\n",
                                     "0 0 5 1 P\n",
                                     "2000000000 0 5 1 P\nX,Y,Z\n",
                                     "1 0 5 1\nX,Y,Z\n",
                                     "2 0 5 1 P\nX,Y,Z\n",
                                     "1 0 5 1 P\n\n",
                                     "1 0 5 1 P\nX,Y\n",
                                     "1 0 5 1 P\nX,Y,Z,X\n",
                                     "1 0 5 1 P\nX,X,Z\n",
                                     "1 0 5 1 P\nx,y,z\n",
                                     "1 0 5 1 P\n/2X,Y,Z\n",
                                     "1 0 5 1 P\nX+1/,Y,Z\n",
                                     "1 0 5 1 P\nX+1/0,Y,Z\n",
                                     "1 0 5 1 P\nX,Y,Z+0.5\n",
                                     "1 0 5 1 P\nX,Y,Z+1\n",
                                     "1 0 5 1 P\nX,Y,Z+1/2/3\n",
                                     "1 0 5 1 P\nX,Y,Z # 1/2\n",
                                     "1 0 4 1 P\n"};
    for (const char *text : malformed) {
        write_file("orvelspg.dat", text);
        o = outcome_of([] { read_sp_group_tbl(5); });
        EXPECT_EQ(o.status, 1) << text;
        EXPECT_TRUE(o.out.starts_with("$$ ")) << text << o.out;
    }
}

TEST(SymmetryOperation, Decoding) {
    for (const char *text :
         {"X,Y,Z", "-X,Y+1/2,-Z", "X-Y,X,Z+1/6", "Y+3/4,X+1/4,-Z+5/6", "1/3+X,2/3-X+Y,-Z"}) {
        EXPECT_EQ(comparable({decode_sym_op(text)}),
                  comparable({sym_op_of(gemmi::parse_triplet(text))}))
            << text;
    }
    // Only the first minus sign of a component is seen, and never that of a fraction.
    EXPECT_EQ(decode_sym_op("-X-Y,Y,Z"), (SymOp{-1, 0, 0, 1, 1, 0, 0, 0, 1, 0, 0, 0}));
    EXPECT_EQ(decode_sym_op("X,-1/2+Y,1/4-Z"), (SymOp{1, 0, 0, 0, 1, 0, 0, 0, -1, 0, 0.5, 0.25}));
    EXPECT_EQ(outcome_of([] { decode_sym_op("X,Y,Z-1/4"); }).out,
              "$$ Warning: the minus before the fraction in \"X,Y,Z-1/4\" is not read.\n");
    EXPECT_EQ(inv_sym_op(decode_sym_op("X,Y+1/2,-Z")),
              (SymOp{-1, 0, 0, 0, -1, 0, 0, 0, 1, 0, -0.5, 0}));
}

// h'.p + h.t = h.(R p + t), which is what makes F(h') = F(h) exp(2 pi i h.t).
TEST(SymmetryOperation, IndicesTransformAgainstPositions) {
    const Hkl h = {3, -1, 2};
    const Position p = {0.12, 0.34, -0.77};
    for (const char *symbol : {"P 41 21 2", "P 61", "F d -3 m:2", "R -3 c:H"}) {
        for (const SymOp &op : gemmi_ops(symbol)) {
            const Hkl g = gen_reflex(h, op);
            const Position q = gen_pos(p, op);
            EXPECT_NEAR(g.h * p[0] + g.k * p[1] + g.l * p[2] + h.h * op[9] + h.k * op[10] +
                            h.l * op[11],
                        h.h * q[0] + h.k * q[1] + h.l * q[2], 1e-12)
                << symbol;
        }
    }
}

TEST(SymmetryOperation, GroupsAreKnown) {
    for (const char *symbol : {"P 1", "P 61", "F d -3 m:2", "R -3 c:H", "I a -3 d"}) {
        std::vector<SymOp> ops = gemmi_ops(symbol);
        EXPECT_TRUE(is_group(ops)) << symbol;
        ops.push_back(ops.back());
        EXPECT_FALSE(is_group(ops)) << symbol;
        ops.pop_back();
        ops.back()[11] += 0.25;
        EXPECT_FALSE(is_group(ops)) << symbol;
    }
}

TEST(Positions, Coincidence) {
    struct Case {
        Position p;
        Position q;
        int same;
    };
    const Case cases[] = {
        {{0, 0, 0}, {0.99995, 0, 0}, 1},      {{0, 0, 0}, {0, 0.00005, -3}, 1},
        {{0, 0, 0}, {0.0002, 0, 0}, 0},       {{0.5, 0.5, 0.5}, {-0.5, 2.5, 0.5}, 1},
        {{0, 0, 0}, {0, 0, 0.9998}, 0},       {{0, 0, -1e-20}, {0, 0, 0}, 1},
        {{0.1, 0.2, 0.3}, {0.1, 0.2, 0.4}, 0}};
    for (const Case &c : cases) {
        EXPECT_EQ(judge_two_atom(c.p, c.q), c.same);
        EXPECT_EQ(judge_two_atom(c.q, c.p), c.same);
    }
    EXPECT_EQ(fractional(-1e-20), 0.0);
    EXPECT_EQ(fractional(-0.25), 0.75);
    std::vector<Position> positions = {{1.25, 0, 0}, {0.25, 0, 0}, {-0.5, 0, 0}, {0.25, 1, 1}};
    EXPECT_EQ(special_pos_check(positions), 2);
    EXPECT_EQ(positions, (std::vector<Position>{{1.25, 0, 0}, {-0.5, 0, 0}}));
}

// Wyckoff multiplicities of Fm-3m and P-6m2 (International Tables A).
TEST(Positions, MultiplicityOfSites) {
    struct Case {
        const char *symbol;
        Position p;
        double w;
    };
    const Case cases[] = {{"F m -3 m", {0, 0, 0}, 4 / 192.0},
                          {"F m -3 m", {0.25, 0.25, 0.25}, 8 / 192.0},
                          {"F m -3 m", {0, 0.25, 0.25}, 24 / 192.0},
                          {"F m -3 m", {0.13, 0, 0}, 24 / 192.0},
                          {"F m -3 m", {0.13, 0.13, 0.13}, 32 / 192.0},
                          {"F m -3 m", {0.13, 0.13, 0.31}, 96 / 192.0},
                          {"F m -3 m", {0.13, 0.21, 0.41}, 1.0},
                          {"P -6 m 2", {0.3333333, 0.6666667, 0}, 1 / 12.0},
                          {"P -6 m 2", {0.1, 0.27, 0}, 0.5}};
    for (const Case &c : cases) {
        AtomSite site;
        std::tie(site.x, site.y, site.z) = std::tuple_cat(c.p);
        std::vector<AtomSite> sites = {site};
        atom_multiplicity(sites, gemmi_ops(c.symbol));
        EXPECT_EQ(sites[0].w, c.w) << c.symbol;
    }
}

TEST(Positions, MultiplicitySwitch) {
    const int before = epsilon.auto_multiplicity_off;
    std::vector<AtomSite> sites(1);
    const std::vector<SymOp> ops = {decode_sym_op("X,Y,Z"), decode_sym_op("-X,-Y,Z")};
    epsilon.auto_multiplicity_off = 1;
    atom_multiplicity(sites, ops);
    EXPECT_EQ(sites[0].w, 1.0);
    epsilon.auto_multiplicity_off = 2;
    Outcome o = outcome_of([&] { atom_multiplicity(sites, ops); });
    EXPECT_EQ(o.status, 1);
    EXPECT_EQ(o.out, "$$ invalid auto_multiplicity_off=2\n. Abort.\n");
    o = outcome_of([&] { fprint_gen_atom_pos(stdout, ops, sites); });
    EXPECT_EQ(o.status, 1);
    EXPECT_EQ(o.out, "$$ Invalid epsilon.auto_multiplicity_off. Abort.\n");
    epsilon.auto_multiplicity_off = before;
}

TEST(Positions, Listing) {
    const int before = epsilon.auto_multiplicity_off;
    Csd csd;
    csd.group.ops = {decode_sym_op("X,Y,Z"), decode_sym_op("-X,-Y,Z+1/2")};
    csd.group.ops.push_back(csd.group.ops[0]);
    csd.sites.resize(1);
    csd.sites[0].element = "Si";
    csd.sites[0].x = 0.25;
    csd.sites[0].occupancy = 0.5;
    const std::string head = "* All atom positions\n*\n* Atom[1]: Si\n";
    const std::string first_two = "no:\tx\ty\tz\n0\t0.25\t0\t0\n1\t-0.25\t0\t0.5\n";
    const WorkFolder folder;
    for (const int off : {0, 1}) {
        epsilon.auto_multiplicity_off = off;
        dbg.atm_pos_out_flag = 1;
        const Outcome o = outcome_of([&] { dbg_atm_pos_out(csd, "base"); });
        EXPECT_EQ(o.out, "$$ Generated atom positions ==> base_aps.txt\n");
        const std::string counts =
            off == 0 ? "2  (multiplicity = 2/3 = 0.666667)\n" : "3  (multiplicity = 3/3 = 1)\n";
        EXPECT_EQ(read_file("base_aps.txt"), head + "* number of atom positions = " + counts +
                                                 first_two + (off == 0 ? "" : "2\t0.25\t0\t0\n") +
                                                 " Occupancy = 0.5\n");
    }
    dbg.atm_pos_out_flag = 0;
    epsilon.auto_multiplicity_off = before;
    dbg_atm_pos_out(csd, "none");
    EXPECT_EQ(read_file("none_aps.txt"), "");
}

TEST(AnisotropicIndex, OfAPairOfAxes) {
    const int pairs[] = {11, 22, 33, 12, 23, 13};
    for (int i = 0; i < 6; ++i) {
        EXPECT_EQ(ij_to_i(pairs[i]), i);
    }
    const Outcome o = outcome_of([] { ij_to_i(21); });
    EXPECT_EQ(o.status, 1);
    EXPECT_EQ(o.out, "$$ Invalid ij. Abort.\n");
}

} // namespace
} // namespace orvel::test
