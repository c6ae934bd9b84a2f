// Whole runs of the map jobs: closed forms, agreement among the jobs, refusals.
#include "crystal/potential_coef.hpp"
#include "crystal/strct_f.hpp"
#include "support/crystals.hpp"
#include "support/program.hpp"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <sstream>

namespace orvel::test {
namespace {

// No symmetry, three different edges and no centre: no index or sign can be taken for another.
const CrystalText orthogonal = {"orthogonal", "1\n4\n5\n6.5\n90\n90\n90\n",
                                "2\n" + iso_site("Si", "0.1\n0.22\n0.31\n", 0.9) +
                                    iso_site("O", "0.45\n0.63\n0.84\n", 1.2)};

std::string run_text(const std::string &job, const std::string &settings,
                     const CrystalText &crystal, const std::string &conditions) {
    return job + "\nEPS_CONTROL_PARAMETERS{\n" + settings + "}EPS_CONTROL_PARAMETERS\n" +
           crystal.block() + "E_DENSITY_CALCULATION_CONDITION{\n" +
           "INCIDENT_BEAM{\n0 0 1\n0 0 1\n1 0 0\n0\n0\n200\n}INCIDENT_BEAM\n" + conditions +
           "}E_DENSITY_CALCULATION_CONDITION\n";
}

std::string block_3d(const std::string &range, const std::string &search = "0\n1 0\n0 0 0\n") {
    return "BEAM_SEARCH_3D{\n" + search + "}BEAM_SEARCH_3D\nCALC_RXY_RANGE_3D{\n" + range +
           "}CALC_RXY_RANGE_3D\n";
}

std::string block_proj(const std::string &search, const std::string &range,
                       const std::string &area) {
    return "BEAM_SEARCH{\n" + search + "}BEAM_SEARCH\nCALC_RXY_RANGE{\n" + range +
           "}CALC_RXY_RANGE\nAREA_PROJ_CELL{\n" + area + "}AREA_PROJ_CELL\n";
}

const std::string density_3d = "E_DENSITY_3D_UNITCELL_MODE";
const std::string potential_3d = "POTENTIAL_REIM_3D_UNITCELL_MODE";
const std::string density_proj = "E_DENSITY_PROJ_MODE";
const std::string potential_proj = "POTENTIAL_REIM_PROJ_MODE";

struct Volume {
    std::string header;
    double cell[6] = {};
    int n[3] = {}; // points of the file
    std::vector<double> values;

    double at(int i, int j, int k) const {
        return values[static_cast<std::size_t>((i * n[1] + j) * n[2] + k)];
    }
    // over the points of the grid, without the periodic edge
    double mean() const {
        double sum = 0.0;
        for (int i = 0; i + 1 < n[0]; ++i) {
            for (int j = 0; j + 1 < n[1]; ++j) {
                for (int k = 0; k + 1 < n[2]; ++k) {
                    sum += at(i, j, k);
                }
            }
        }
        return sum / ((n[0] - 1) * (n[1] - 1) * (n[2] - 1));
    }
    double largest() const { return *std::max_element(values.begin(), values.end()); }
    double smallest() const { return *std::min_element(values.begin(), values.end()); }
};

Volume read_volume(const std::string &text) {
    std::istringstream in(text);
    Volume volume;
    std::getline(in, volume.header);
    for (double &c : volume.cell) {
        in >> c;
    }
    in >> volume.n[0] >> volume.n[1] >> volume.n[2];
    for (double v = 0.0; in >> v;) {
        volume.values.push_back(v);
    }
    EXPECT_EQ(volume.values.size(),
              static_cast<std::size_t>(volume.n[0] * volume.n[1] * volume.n[2]));
    return volume;
}

void expect_periodic(const Volume &v) {
    const auto wrapped = [&](int i, int axis) { return i == v.n[axis] - 1 ? 0 : i; };
    int broken = 0;
    for (int i = 0; i < v.n[0]; ++i) {
        for (int j = 0; j < v.n[1]; ++j) {
            for (int k = 0; k < v.n[2]; ++k) {
                broken +=
                    v.at(i, j, k) == v.at(wrapped(i, 0), wrapped(j, 1), wrapped(k, 2)) ? 0 : 1;
            }
        }
    }
    EXPECT_EQ(broken, 0);
}

// Rows of numbers; comments and empty lines left out.
std::vector<std::vector<double>> read_rows(const std::string &text) {
    std::vector<std::vector<double>> rows;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);) {
        if (line.empty() || line[0] == '#') {
            continue;
        }
        std::istringstream fields(line);
        rows.emplace_back();
        for (double v = 0.0; fields >> v;) {
            rows.back().push_back(v);
        }
    }
    return rows;
}

bool contains(const std::string &text, const std::string &part) {
    return text.find(part) != std::string::npos;
}

TEST(UnitCellMaps, DensityCountsElectronsAndPotentialAveragesToV000) {
    const ProgramRun run = run_parameter_file(
        run_text(density_3d, "", magnesia, block_3d("UNITCELL_XYZ of any size\n16 8 32\n")));
    ASSERT_EQ(run.status, 0) << run.out << run.err;
    EXPECT_TRUE(contains(run.out, "$$disksize = 1.000000\n"));
    EXPECT_TRUE(contains(run.out, "$$ number of reflections for FFT = 3255\nPotential.\n"));
    EXPECT_TRUE(contains(run.out, "$$ Threshold gmax = 12.000000.\n$$ All reflections are within "
                                  "gmax$$ Fourier coef. transfering...\nElectron density...\n"
                                  "Electrostatic potential...\n"
                                  "Electron density (VEND-format): ==> run_ed.3ed\n"
                                  "Potential.re (VEND-format):        ==> run_pt.3ed\n"));
    const Volume rho = read_volume(run.read("run_ed.3ed"));
    EXPECT_EQ(rho.header, "#Electron density [e/A^3]");
    EXPECT_EQ(rho.n[0], 17);
    EXPECT_EQ(rho.n[1], 9);
    EXPECT_EQ(rho.n[2], 33);
    EXPECT_EQ(rho.cell[2], 4.2117);
    EXPECT_EQ(rho.cell[5], 90.0);
    expect_periodic(rho);
    // four formula units of 12 + 8 electrons
    EXPECT_NEAR(rho.mean() * std::pow(4.2117, 3), 80.0, 1e-3);
    EXPECT_EQ(rho.at(0, 0, 0), rho.largest()); // Mg
    const Volume phi = read_volume(run.read("run_pt.3ed"));
    EXPECT_EQ(phi.header, "#Electrostatic potential [V]");
    expect_periodic(phi);
    WorkFolder folder;
    folder.link_tables();
    const Csd csd = read_crystal(magnesia.block());
    const double V_000 = fg_to_vg({calc_F_0_re(csd), 0.0}, csd.metric).re;
    EXPECT_NEAR(phi.mean(), V_000, 1e-4 * V_000);
}

TEST(UnitCellMaps, FileIsWrittenInRowsAlongC) {
    const ProgramRun run = run_parameter_file(
        run_text(potential_3d, "", orthogonal, block_3d("UNITCELL_XYZ\n2 1 2\n")));
    ASSERT_EQ(run.status, 0) << run.out << run.err;
    // an axis of one point has no reflection beside its Nyquist plane
    std::string expected = "#Imaginary potential [V]\n4 5 6.5 90 90 90\n3  2  3\n";
    for (int row = 0; row < 6; ++row) {
        expected += "0  0  0\n";
    }
    EXPECT_EQ(run.read("run_ptim.3ed"), expected);
}

TEST(UnitCellMaps, AreConstantAlongAnAxisOfTwoPoints) {
    const ProgramRun run = run_parameter_file(
        run_text(potential_3d, "", orthogonal, block_3d("UNITCELL_XYZ\n8 2 4\n")));
    ASSERT_EQ(run.status, 0) << run.out << run.err;
    EXPECT_TRUE(contains(run.out, "the maps are constant along it.")) << run.out;
    const Volume v = read_volume(run.read("run_pt.3ed"));
    expect_periodic(v);
    for (int i = 0; i < v.n[0]; ++i) {
        for (int k = 0; k < v.n[2]; ++k) {
            EXPECT_EQ(v.at(i, 0, k), v.at(i, 1, k));
        }
    }
    EXPECT_GT(v.largest(), v.smallest());
}

TEST(UnitCellMaps, JobsAgreeOnTheElasticPotential) {
    const std::string range = block_3d("UNITCELL_XYZ\n8 16 16\n");
    for (const CrystalText *crystal : {&orthogonal, &silicon, &anisotropic}) {
        const ProgramRun density = run_parameter_file(run_text(density_3d, "", *crystal, range));
        const ProgramRun reim = run_parameter_file(run_text(potential_3d, "", *crystal, range));
        ASSERT_EQ(density.status, 0) << density.out;
        ASSERT_EQ(reim.status, 0) << reim.out;
        EXPECT_FALSE(contains(reim.out, "Threshold"));
        const Volume a = read_volume(density.read("run_pt.3ed"));
        const Volume b = read_volume(reim.read("run_pt.3ed"));
        ASSERT_EQ(a.values.size(), b.values.size());
        double worst = 0.0;
        for (std::size_t i = 0; i < a.values.size(); ++i) {
            worst = std::max(worst, std::fabs(a.values[i] - b.values[i]));
        }
        EXPECT_LT(worst, 3e-6 * a.largest()) << crystal->name;
        // absorption is positive on average, and small
        const double absorption = read_volume(reim.read("run_ptim.3ed")).mean();
        EXPECT_GT(absorption, 0.0);
        EXPECT_LT(absorption, 0.2 * b.mean());
    }
}

TEST(UnitCellMaps, BeyondGmaxNothingIsLeftButTheMean) {
    const ProgramRun run =
        run_parameter_file(run_text(density_3d, "e_density_gmax_val 0.1\n", magnesia,
                                    block_3d("UNITCELL_XYZ\n8 8 8\n", "2\n50 0.5 0 0\n1 1 1\n")));
    ASSERT_EQ(run.status, 0) << run.out;
    EXPECT_TRUE(contains(run.out, "Beam search (sg)... Exact = 15, Bethe = 0\n")) << run.out;
    EXPECT_TRUE(contains(run.out, "$$ gmax filtered.$$ Fourier coef. transfering...\n"));
    const Volume rho = read_volume(run.read("run_ed.3ed"));
    EXPECT_NEAR(rho.largest(), 80.0 / std::pow(4.2117, 3), 1e-5);
    EXPECT_EQ(rho.largest(), rho.smallest());
}

// The zone axis is c: x in units of a, y in units of a along b.
TEST(ProjectedMaps, AreTheAverageAlongTheZoneAxis) {
    std::string search = "0\n105 0\n";
    for (int h = -3; h <= 3; ++h) {
        for (int k = -7; k <= 7; ++k) {
            search += std::to_string(h) + " " + std::to_string(k) + " 0\n";
        }
    }
    const std::string flat = block_proj(search, "8 16\n0 0.875\n0 1.171875\n", "20\n");
    const std::string cube = block_3d("UNITCELL_XYZ\n8 16 4\n");
    const ProgramRun density = run_parameter_file(run_text(density_proj, "", orthogonal, flat));
    const ProgramRun reim = run_parameter_file(run_text(potential_proj, "", orthogonal, flat));
    const ProgramRun density3 = run_parameter_file(run_text(density_3d, "", orthogonal, cube));
    const ProgramRun reim3 = run_parameter_file(run_text(potential_3d, "", orthogonal, cube));
    for (const ProgramRun *run : {&density, &reim, &density3, &reim3}) {
        ASSERT_EQ(run->status, 0) << run->out;
    }
    EXPECT_TRUE(density.err.starts_with(
        "$$disksize = 1.000000\nreal-space base-vector ( length = 1/|zolzbase1| )\nx1 = 1 "));
    struct Case {
        const ProgramRun *flat, *cube;
        const char *flat_name, *cube_name;
        std::size_t column;
        double factor; // of the average: the density per area is that per volume times c
    };
    const Case cases[] = {{&density, &density3, "run_pp.txt", "run_pt.3ed", 2, 1.0},
                          {&density, &density3, "run_ed.txt", "run_ed.3ed", 2, 6.5},
                          {&reim, &reim3, "run_pp.txt", "run_pt.3ed", 2, 1.0},
                          {&reim, &reim3, "run_pp.txt", "run_ptim.3ed", 3, 1.0}};
    for (const Case &c : cases) {
        const auto rows = read_rows(c.flat->read(c.flat_name));
        const Volume v = read_volume(c.cube->read(c.cube_name));
        ASSERT_EQ(rows.size(), 128U);
        double worst = 0.0;
        for (int i = 0; i < 8; ++i) {
            for (int j = 0; j < 16; ++j) {
                const double sum = v.at(i, j, 0) + v.at(i, j, 1) + v.at(i, j, 2) + v.at(i, j, 3);
                const auto &row = rows[static_cast<std::size_t>(16 * i + j)];
                worst = std::max(worst, std::fabs(row[c.column] - c.factor * sum / 4.0));
            }
        }
        EXPECT_LT(worst, 2e-5 * c.factor * v.largest()) << c.flat_name << " " << c.cube_name;
    }
}

TEST(ProjectedMaps, FilesAndScripts) {
    const ProgramRun run = run_parameter_file(run_text(
        density_proj, "", magnesia, block_proj("0\n1 0\n0 0 0\n", "1 2\n-1 3\n5 7\n", "0\n")));
    ASSERT_EQ(run.status, 0) << run.out;
    EXPECT_TRUE(contains(run.out, "$$ Warning: AREA_PROJ_CELL is 0"));
    EXPECT_EQ(run.read("run_ed.txt"),
              "# Projected electron density (formed by 1 beams)\n# nx  ny\n# 1  2\n"
              "# x\ty\tpotential.re[V])\n-1\t5\tinf\n-1\t7\tinf\n\n");
    EXPECT_EQ(run.read("run_ed.plt"),
              "#\nset pm3d\nset nosurface\nset view 0,0\nset size square\nset term png crop\n"
              "set output \"run_ed.png\"\n#set zrange [0:3]\n"
              "splot \"run_ed.txt\" using 1:2:3 with lines\npause -1\n");
    const ProgramRun reim = run_parameter_file(run_text(
        potential_proj, "", magnesia, block_proj("0\n1 0\n0 0 0\n", "1 1\n0 1\n0 1\n", "1\n")));
    ASSERT_EQ(reim.status, 0) << reim.out;
    EXPECT_TRUE(reim.read("run_pp.txt")
                    .starts_with("# Projected potential (formed by 1 beams)\n# nx  ny\n# 1  1\n"
                                 "# x\ty\tpot.re[V]\tpot.im[V])\n0\t0\t"));
    EXPECT_EQ(reim.read("run_im_pp.plt"),
              "#Imaginary (inelastic) potential plot\nset pm3d\nset nosurface\nset view 0,0\n"
              "set size square\nset term png crop\nset output \"run_im_pp.png\"\n"
              "#set zrange [-3:3]\nsplot \"run_pp.txt\" using 1:2:4 with lines\npause -1\n");
    EXPECT_TRUE(reim.read("run_re_pp.plt").starts_with("#Real (elastic) potential plot\n"));
}

TEST(MapJobs, CountThePointsThatAreNotNumbers) {
    // exp(-B s^2) overflows: every sum has an infinite term.
    const CrystalText swollen = {"swollen", orthogonal.lattice,
                                 "1\n" + iso_site("Si", "0.1\n0.22\n0.31\n", -1e9)};
    const std::string plane = block_proj("0\n2 0\n0 0 0\n1 0 0\n", "3 2\n0 1\n0 1\n", "20\n");
    const std::string cell = block_3d("UNITCELL_XYZ\n4 4 4\n");
    const struct {
        std::string job;
        std::string conditions;
        std::string count;
    } cases[] = {{density_3d, cell, "128 of 128"},
                 {potential_3d, cell, "128 of 128"},
                 {density_proj, plane, "6 of 6"},
                 {potential_proj, plane, "6 of 6"}};
    for (const auto &c : cases) {
        const ProgramRun run = run_parameter_file(run_text(c.job, "", swollen, c.conditions));
        EXPECT_EQ(run.status, 0) << c.job << run.out;
        const std::string line = "$$ Warning: " + c.count + " map points are not finite numbers.\n";
        EXPECT_TRUE(contains(run.out, line)) << c.job << run.out;
        // At 000 the factor is 1.
        EXPECT_EQ(contains(run.out, "$$ Warning: 1 of 2 lines of the reflection list hold values "
                                    "that are not finite numbers.\n"),
                  c.conditions == plane)
            << run.out;
        EXPECT_TRUE(contains(run.read("run_log.txt"), line)) << c.job;
    }
}

TEST(MapJobs, TellOfReflectionsBeyondTheTables) {
    const std::string range = "2 2\n0 1\n0 1\n";
    for (const bool beyond : {false, true}) { // s = 0.24 and 7.1, where the table ends at 6
        const std::string beams = beyond ? "0\n2 0\n0 0 0\n60 0 0\n" : "0\n2 0\n0 0 0\n2 0 0\n";
        const ProgramRun run = run_parameter_file(
            run_text(density_proj, "", magnesia, block_proj(beams, range, "20\n")));
        EXPECT_EQ(run.status, 0);
        EXPECT_EQ(
            contains(run.out, "$$ Warning: 1 reflections, with their equivalents, lie outside"),
            beyond)
            << run.out;
    }
}

TEST(MapJobs, TellOfBeamsThatMakeNoMap) {
    const std::string range = "2 2\n0 1\n0 1\n";
    const char *const constant = "$$ Warning: there is one beam alone: the maps are constant.\n";
    const char *const zones =
        "$$ Warning: 2 of the beams are not of Laue zone 0: the maps are no projections.\n";
    const struct {
        std::string beams;
        bool is_constant;
        bool has_zones;
    } cases[] = {{"0\n1 0\n0 0 0\n", true, false},
                 {"0\n3 0\n0 0 0\n2 0 0\n-2 0 0\n", false, false},
                 {"0\n3 0\n0 0 0\n1 1 1\n-1 -1 -1\n", false, true}};
    for (const auto &c : cases) {
        for (const std::string &job : {density_proj, potential_proj}) {
            const ProgramRun run =
                run_parameter_file(run_text(job, "", magnesia, block_proj(c.beams, range, "20\n")));
            EXPECT_EQ(run.status, 0);
            EXPECT_EQ(contains(run.out, constant), c.is_constant) << run.out;
            EXPECT_EQ(contains(run.out, zones), c.has_zones) << run.out;
        }
        const ProgramRun run = run_parameter_file(
            run_text(potential_3d, "", magnesia, block_3d("UNITCELL_XYZ\n2 2 2\n", c.beams)));
        // A unit-cell map has reflections, and axes, of its own.
        EXPECT_FALSE(contains(run.out, constant) || contains(run.out, zones)) << run.out;
    }
    std::string text =
        run_text(density_proj, "", magnesia, block_proj(cases[1].beams, range, "20\n"));
    const std::string g1 = "\n1 0 0\n0\n0\n200\n";
    text.replace(text.find(g1), g1.size(), "\n1 0 1\n0\n0\n200\n");
    EXPECT_TRUE(contains(run_parameter_file(text).out,
                         "$$ Warning: g1, the x axis of the map, is not perpendicular to the"));
}

TEST(MapJobs, RefuseWhatTheyCannotUse) {
    const std::string one = "0\n1 0\n0 0 0\n";
    struct Case {
        std::string job;
        std::string conditions;
        const char *message; // on the console, or on standard error
    };
    const Case cases[] = {
        {density_3d, block_3d("UNITCELL_XYZ\n8 0 8\n"),
         "$$ number of pixels should be greater than 0. Abort.\n$$ x,y,z = 8 0 8\n"},
        {potential_3d, block_3d("UNITCELL_XYZ\n8 8 -2147483648\n"), "$$ x,y,z = 8 8 -2147483648\n"},
        {potential_3d, block_3d("UNITCELL_XYZ\n8 12 8\n"), "$$ x,y,z = 8 12 8: "},
        {density_3d, block_3d("UNITCELL_XYZ\n1073741824 1073741824 2\n"), "$$ x,y,z = 1073741824 "},
        {density_3d, block_3d("5 6 7\n0 1\n0 1\n0 0.5\n"), "$$error. Use UNITCELL_XYZ mode.\n"},
        {potential_3d, block_3d("5 6 7\n0 1\n0 1\n0 0.5\n"), "$$error. Use UNITCELL_XYZ mode.\n"},
        {density_3d, block_3d("UNITCELL\n8 8 8\n"),
         "$$Data format error in CALC_RXY_RANGE_3D. Abort.\n$$buf=UNITCELL"},
        {density_3d, block_3d("8 8\n"), "$$buf=8 8"},
        {density_3d, block_3d("", "10\n1 0\n0 0 0\n"),
         "Flag_bs = 10 is invalid for 3D Density calc.\n"},
        {potential_3d, block_3d("", "11\n9 1 0 0\n1 1 1\n"), "Flag_bs = 11 is invalid"},
        {potential_3d, block_3d("", "13\n9 1 0\n"), "$$ Invalid format for beam_search. Abort."},
        {density_3d, block_3d("", "1\n3 5 0 0\n1 1 1\n"), "$$ num_g has exceeded num_g_max.\n"},
        {density_3d, "BEAM_SEARCH{\n", "$$ Data format error has been found at BEAM_SEARCH_3D{."},
        {density_proj, block_3d(""), "$$ Data format error has been found at BEAM_SEARCH{."},
        {density_proj, block_proj(one, "0 8\n0 1\n0 1\n", "1\n"), "$$ CALC_RXY_RANGE: nx = 0"},
        {potential_proj, block_proj(one, "4 4\n0 1\n0 1\n}CALC\n", "1\n"),
         "$$ Data format error has been found at }CALC_RXY_RANGE."},
        {density_proj, block_proj(one, "4 4\n0 1\n0 1\n", "nan\n"),
         "$$ Found nan, expected the area of the projected cell"},
        {potential_proj, block_proj("7\n", "", ""), "Invalid flag_bs\n"},
    };
    for (const Case &c : cases) {
        const ProgramRun run = run_parameter_file(run_text(c.job, "", magnesia, c.conditions));
        EXPECT_EQ(run.status, 1) << c.message << run.out;
        EXPECT_TRUE(contains(run.out + run.err, c.message)) << c.message << "\n"
                                                            << run.out << run.err;
        EXPECT_FALSE(run.has("run_pt.3ed") || run.has("run_pp.txt"));
    }
}

} // namespace
} // namespace orvel::test
