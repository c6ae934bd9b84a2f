// One line on the console for what can be calculated, but hardly be meant.
#include "support/conditions.hpp"
#include "support/pattern_runs.hpp"
#include "support/program.hpp"

#include <gtest/gtest.h>
#include <span>

namespace orvel::test {
namespace {

struct Case {
    std::string run;
    const char *says; // nullptr: no warning
};

void expect_said(std::span<const Case> cases) {
    for (const Case &c : cases) {
        const ProgramRun run = run_parameter_file(c.run);
        EXPECT_EQ(run.status, 0) << run.out;
        const std::size_t at = run.out.find("$$ Warning: ");
        ASSERT_EQ(at == std::string::npos, c.says == nullptr) << run.out;
        if (c.says != nullptr) {
            EXPECT_NE(run.out.find(c.says, at), std::string::npos) << c.says << run.out;
        }
    }
}

Conditions with(std::string Conditions::*part, const std::string &text) {
    Conditions conditions;
    conditions.grid = "2\n5\n0.5\n";
    conditions.*part = text;
    return conditions;
}

std::string cbed(const Conditions &conditions, const char *thicknesses = "1\n100\n") {
    return conditions.cbed("0\n", thicknesses);
}

std::string cbed_of(const std::string &lattice, const std::string &sites) {
    return cbed(with(&Conditions::crystal, CrystalText{"", lattice, sites}.block()));
}

// With structure factors given: number, lof_type, entries.
std::string cbed_given(CrystalText crystal, const std::string &low_order) {
    crystal.low_order = low_order;
    return cbed(with(&Conditions::crystal, crystal.block()));
}

const std::string al = cubic(225, 4.0496);
const std::string hexagonal = "194\n3.21\n3.21\n5.21\n90\n90\n120\n";

std::string one_site(const char *xyz_lines, double B = 0.5) {
    return "1\n" + iso_site("Al", xyz_lines, B);
}

TEST(Warnings, OfSitesAndCells) {
    const auto site = [](const std::string &displacement, const std::string &occupancy) {
        return "SITE{\nAl\n0\n0\n0\n" + displacement + occupancy + "1\n}SITE\n";
    };
    const auto two_sites = [](const std::string &x, const std::string &occupancy) {
        const std::string rest = "\n0\n0\nISO\n0.5\n" + occupancy + "\n1\n}SITE\n";
        return "2\nSITE{\nH\n0" + rest + "SITE{\nH\n" + x + rest;
    };
    const std::string imaginary = site("ANISO\n0.01\n-0.005\n0.01\n0\n0\n0\n", "1\n");
    const std::string oblong = site("ANISO\n0.01\n0.01\n0.02\n0\n0\n0\n", "1\n");
    const std::string half = site("ISO\n0.5\n", "0.5\n");
    const std::string sparse_off = "1\nSITE{\nMg\n0.333\n0.667\n0.25\nISO\n0.5\n0.3\n1\n}SITE\n";
    const std::string half_off = "1\nSITE{\nMg\n0.333\n0.667\n0.25\nISO\n0.5\n0.5\n1\n}SITE\n";
    const Case cases[] = {
        {cbed(with(&Conditions::tilt, "0\n0\n")), nullptr},
        {cbed_of("225\n4\n4\n4.1\n90\n90\n90\n", one_site("0\n0\n0\n")),
         "the cell lacks the symmetry of its space group: reflections of different length are "
         "taken as equivalent."},
        {cbed_of(al, "1\n" + site("ISO\n0.5\n", "1.5\n")), "the occupancy of atom 1 is 1.5."},
        {cbed_of(hexagonal, one_site("0.3333\n0.6667\n0.25\n", 1.0)), nullptr},
        {cbed_of(hexagonal, one_site("0.333\n0.667\n0.25\n", 1.0)),
         "atoms of site 1 and site 1 are 0.00"},
        {cbed_of(hexagonal, sparse_off), "apart, with an occupancy of 0.9 together."},
        {cbed_of(hexagonal, half_off), "apart, with an occupancy of 1.5 together."},
        {cbed_of(al, "2\n" + half + half), nullptr},
        {cbed_of(al, "3\n" + half + half + half),
         "atoms of site 1 and site 3 are 0 A apart, with an occupancy of 1.5 together."},
        {cbed_of(cubic(1, 10.0), two_sites("0.05", "1")),
         "atoms of site 1 and site 2 are 0.5 A apart, with an occupancy of 2 together."},
        {cbed_of(cubic(1, 10.0), two_sites("0.05", "0.5")), nullptr},
        {cbed_of(cubic(1, 10.0), two_sites("0.065", "1")), nullptr},
        {cbed_of(al, "1\n" + imaginary), "the displacements of atom 1 are imaginary"},
        {cbed_of(al, "1\n" + oblong), "the displacements of atom 1 lack the symmetry"},
        {cbed_of(al, one_site("0\n0\n0\n", 9.5)), "B of atom 1 is 9.5, beyond the table"},
        {cbed_of(al, one_site("0\n0\n0\n", 0.0058)),
         "B of atom 1 is 0.0058, below the table of absorption"},
        {cbed_of(al, one_site("0\n0\n0\n", 0.0)), nullptr},
    };
    expect_said(cases);
}

TEST(Warnings, OfGivenStructureFactorsAndConstraints) {
    const CrystalText rutile = {"", "136\n4.594\n4.594\n2.959\n90\n90\n90\n",
                                "1\n" + iso_site("Ti", "0\n0\n0\n", 0.5)};
    std::string many = "21\n1\n"; // general reflections, each with 47 equivalents
    for (int l = 9; l <= 49; l += 2) {
        many += "1 5 " + std::to_string(l) + "\n0\n0\n";
    }
    const Case cases[] = {
        {cbed_given(aluminium, "1\n1\n1 0 0\n3\n0\n"),
         "the space group forbids the reflection 1 0 0, whose structure factor is given."},
        {cbed_given(rutile, "1\n2\n1 0 0\n3\n0\n"), "forbids the reflection 1 0 0,"},
        {cbed_given(aluminium, "2\n1\n2 0 0\n6.7\n0.1\n0 -2 0\n6.9\n0.1\n"),
         "the structure factor given for 0 -2 0 does not count"},
        {cbed_given(aluminium, "2\n1\n2 0 0\n6.7\n0.1\n0 -2 0\n6.7\n0.1\n"), nullptr},
        // Per-site factors of a forbidden reflection: structure factors of rounding errors.
        {cbed_given(silicon, "2\n3\n2 0 0\n3\n0.1\n0 2 0\n3\n0.1\n"), nullptr},
        {cbed_given(gaas, "1\n2\n1 1 1\n17\n20\n"),
         "a structure factor is given for 1 1 1, but none for -1 -1 -1, which keeps"},
        {cbed_given(gaas, "2\n2\n1 1 1\n17\n20\n-1 -1 -1\n17\n-20\n"), nullptr},
        {cbed_given(gaas, "2\n2\n1 1 1\n17\n20\n-1 -1 -1\n17\n20\n"),
         "the elastic structure factors of 1 1 1 and -1 -1 -1 are not conjugate"},
        {cbed_given(gaas, "2\n3\n1 1 1\n5\n0.1\n4\n0.1\n-1 -1 -1\n6\n0.1\n3\n0.1\n"),
         "the elastic structure factors of 1 1 1 and -1 -1 -1 are not conjugate"},
        {cbed_given(gaas, "2\n1\n1 1 1\n17\n19\n-1 -1 -1\n17.5\n-18.5\n"), nullptr},
        {cbed_given(gaas, "2\n1\n1 1 1\n17\n19\n-1 -1 -1\n17\n19\n"),
         "1 1 1 and -1 -1 -1 differ by more than absorption explains."},
        {cbed_given(aluminium, "1\n2\n0 0 0\n20\n5\n"),
         "the elastic structure factor of 0 0 0 is not real."},
        {cbed_given(aluminium, "1\n1\n0 0 0\n20\n5\n"),
         "the imaginary part of the structure factor of 0 0 0 is more than absorption explains."},
        // The sign, the unit, f in place of F, the two parts exchanged.
        {cbed_given(silicon, "1\n2\n1 1 1\n18.2\n0\n"), "given for 1 1 1, 18.2 +0 i A, is far"},
        {cbed_given(aluminium, "1\n2\n2 0 0\n0.67\n0\n"), "is far from that of the tables, 6.7 "},
        {cbed_given(aluminium, "1\n2\n2 0 0\n1.8\n0\n"), "is far from that of the tables"},
        {cbed_given(aluminium, "1\n3\n2 0 0\n0.03\n1.8\n"), "is far from that of the tables"},
        {cbed_given(aluminium, "1\n3\n2 0 0\n1.8\n0.5\n"),
         "given for 2 0 0, 1.89782 A, is more than absorption explains."},
        {cbed_given(aluminium, "1\n3\n0 0 0\n5.9\n-0.05\n"), "the crystal gives electrons."},
        {cbed_given(aluminium, "1\n1\n0 0 0\n23.6\n-0.3\n"), "the crystal gives electrons."},
        {cbed_given(aluminium, "1\n3\n0 0 0\n5.9\n0.05\n"), nullptr},
        {cbed_given(aluminium, "1\n4\n0 0 0\n5.9\n-0.1\n"), "the crystal gives electrons."},
        {cbed_given(aluminium, "1\n4\n0 0 0\n5.9\n-0.01\n"), nullptr}, // beside the tables'
        {cbed_given(aluminium, "1\n2\n2 0 0\n100\n0\n"), "is larger than that of 0 0 0, "},
        {cbed_given(aluminium, many),
         "structure factors given from 1 5 49 on do not count: with their equivalents they are "
         "more than 1000."},
        {cbed_of(al, one_site("0\n2*own CST own\n0\n")), "refers to itself"},
        {cbed_of(al, one_site("0\na CST own\n0\n")),
         "refers to the first of 3 parameters of the name a."},
        {cbed_of(al, one_site("0\n0 FIX p\n2*-p CST q\n")),
         "in the constraint \"2*-p\" a number or a name is missing: 0 is taken."},
    };
    expect_said(cases);
}

TEST(Warnings, OfWhatIsReadOtherwise) {
    const Case cases[] = {
        {cbed_of(al, one_site("1/4\n0\n0\n")), "\"1/4\" is read as 1."},
        {cbed_of(al, one_site("0,25\n0\n0\n")),
         "\"0,25\" holds more than 1 number; the rest is not read."},
        {cbed_of(al, one_site("0\n0 FIX p\n0 + p CST q\n")),
         "\"0 + p CST q\": only the second word can be CST; this is a remark."},
        {cbed_of(al, one_site("0\n0\n0 # not CST\n")), nullptr},
        {cbed_of("225:1\n4\n4\n4\n90\n90\n90\n", one_site("0\n0\n0\n")),
         "\"225:1\" is read as 225."},
        {cbed(with(&Conditions::settings, "bc_accuracy = 1\n")), "\"=\" is read as 0."},
        {cbed(with(&Conditions::beams, "0\n2 nan\n0 0 0\n2 0 0\n")),
         "nan is cut to the integer 0."},
        {cbed(with(&Conditions::beams, "2\n100 1.0 -0.9 0\n0.05 0.1 1e6\n")),
         "-0.9 is cut to the integer 0."},
        {cbed(with(&Conditions::settings, "# " + std::string(127, '-') + "\n")),
         "a line and its end have more than 127 characters: the rest is read as the next one."},
        {cbed(with(&Conditions::settings, "bc_accuracy 0,5\n")),
         "\"bc_accuracy 0,5\" holds more than 1 number; the rest is not read."},
        {cbed(with(&Conditions::settings, "bc_accuracy 1 # eigen_eps\n")),
         "the line of bc_accuracy sets eigen_eps, to its second word."},
        {cbed(with(&Conditions::settings, "bc_accuracy=1 0.9\n")),
         "the line of bc_accuracy=1 sets bc_accuracy, to its second word."},
        {cbed(with(&Conditions::settings, "//bc_accuracy 0.9\n")),
         "the line of //bc_accuracy sets bc_accuracy, to its second word."},
        {cbed(with(&Conditions::settings, "eigen_eps 1e-12 inv_eps 1e-10\n")),
         "inv_eps is a second key on its line: it is not read."},
        {cbed(with(&Conditions::settings, "eigen_eps 1e-9 ; inv_eps 1e-10\n")),
         "inv_eps is a second key on its line: it is not read."},
        {cbed(with(&Conditions::settings, "epsilon.vg_select_flag\t\t1\t\t# (1:on)\n")), nullptr},
        {cbed(with(&Conditions::incidence, "0 0 1\n0 0 1\n2 0\n")),
         "\"2 0\" holds 2 of 3 numbers; what is missing is 0."},
        {cbed(with(&Conditions::incidence, "0 0 1\n0 0 1\n2 0 0 0\n")),
         "\"2 0 0 0\" holds more than 3 numbers; the rest is not read."},
        {cbed(with(&Conditions::tilt, "0\n0\n"), "1\n50 nm\n"),
         "\"50 nm\": the unit is not read; the number counts in that of its field."},
        {cbed(with(&Conditions::tilt, "0\n0\n"), "1\n0.05 um: thin\n"), "the unit is not read;"},
        {cbed(with(&Conditions::tilt, "3 (mrad)\n0\n")), "\"3 (mrad)\": the unit is not read"},
        {cbed(with(&Conditions::incidence, "0 0 1 beam, 100 A\n0 0 1\n2 0 0\n")), nullptr},
        {cbed(with(&Conditions::tilt, "0\n0\n")) + "\nCOHERENT{\n",
         "\"COHERENT{\" and what follows it is not read."},
    };
    expect_said(cases);
}

// As a spreadsheet of another country writes it.
TEST(Warnings, OfATableWithADecimalComma) {
    std::string table = read_file(ORVEL_SOURCE_DIR "/data/orvelxdt.dat");
    table[table.find('.', table.find("\nAl "))] = ',';
    const ProgramRun run = run_program(
        {.files = {{"run.txt", cbed(Conditions{})}, {"orvelxdt.dat", table}}, .args = {"run.txt"}});
    EXPECT_EQ(run.status, 0);
    EXPECT_NE(run.out.find("holds more than 10 numbers; the rest is not read."), std::string::npos)
        << run.out;
}

TEST(Warnings, OfConditions) {
    Conditions far = with(&Conditions::beams, "2\n100 1.0 0 0\n0.05 0.1 10000\n");
    far.crystal = CrystalText{"", al, one_site("1e308\n0\n0\n")}.block();
    Conditions oblique;
    oblique.crystal = CrystalText{"", hexagonal, one_site("0.3333\n0.6667\n0.25\n", 1.0)}.block();
    oblique.incidence = "0 0 1\n0 0 1\n1 0 0\n";
    oblique.beams = "2\n1000 2.5 0 0\n0.02 0.2 2e10\n"; // 6.95 reciprocal axes
    CrystalText crystal = aluminium;
    crystal.low_order = "1\n1\n2 0 0\n3\n50\n"; // a strange absorption
    Conditions growing = with(&Conditions::crystal, crystal.block());
    Conditions overflowing = growing;
    overflowing.settings = "intensity_scaling 1e308\n";
    const Conditions one_way = without_eigenvectors();
    Conditions loose; // 1 0 0, between two that couple, couples to neither
    loose.incidence = "0 0 1\n0 0 1\n2 0 0\n";
    loose.beams = "0\n3 0\n0 0 0\n1 0 0\n2 0 0\n";
    Conditions loose_right = loose;
    loose_right.settings = "eigmat_func 1\n";
    Conditions beyond = loose; // the sphere ends at H = 109: 7 of 21 tilts have a matrix
    beyond.grid = "1\n21\n300\n";
    beyond.tilt = "0\n0\n";
    Conditions bragg; // the Bethe beam at its Bragg condition, without absorption
    bragg.crystal = CrystalText{"", al, one_site("0\n0\n0\n", 0.0)}.block();
    bragg.beams = "0\n2 1\n0 0 0\n0 2 0\n2 0 0\n";
    Conditions simple = bragg;
    simple.beams.replace(0, 1, "10");
    simple.tilt = "-0.99999999\n0\n"; // at the very condition it is no finite number
    const char *const folded = "the Bethe beams of 1 tilts could not be folded";
    const char *const traded = "eigmat_func 0 balanced the matrix of 1 tilts";
    const char *const depend = "the boundary condition of 1 tilts was not solved";
    const Case cases[] = {
        {cbed(with(&Conditions::beams, "0\n2 0\n2 0 0\n0 0 0\n")),
         "the beam list begins with 2 0 0, not with 0 0 0: this one is given the incident wave."},
        {cbed(with(&Conditions::beams, "0\n1 1\n0 0 0\n2 0 0\n")), "there is one exact beam alone"},
        {Conditions{}.tfringe("2\n0 800\n", "2\n2 0 0\n2 0 0\n"),
         "2 0 0 occurs more than once among the output reflections."},
        {Conditions{}.cbed("-1\n", "1\n100\n"), "with -1 output reflections none is written."},
        {cbed(with(&Conditions::grid, "1\n3\n-1\n")), "disksize = -1 mirrors"},
        {cbed(far), "beams were left out whose extinction distance is no number."},
        {oblique.tfringe("2\n0 800\n"), "the search ends at |h| <= 7, |k| <= 7, |l| <= 1"},
        {cbed(with(&Conditions::incidence, "0 0 1\n0 1 -1\n2 0 0\n")),
         "the surface normal points against the incident beam: what is absorbed grows."},
        {cbed(with(&Conditions::incidence, "0 0 1\n0 1 1\n2 0 1\n")),
         "the tilt axis H is not perpendicular to the incident beam."},
        {cbed(with(&Conditions::incidence, "0 0 2\n0 0 1\n2 0 0\n")), "has the common factor 2"},
        {cbed(with(&Conditions::grid, "2\n5\n1e-310\n")),
         "positions of the reflections in RF_INDEX"},
        {Conditions{}.tfringe("2\n0 800\n"), nullptr},
        {with(&Conditions::tilt, "0\n0\n").tfringe("2\n0 800\n"),
         "of the 25 tilts the first alone is used, at H = -0.5, G = -0.5."},
        {Conditions{}.tfringe("3\n-800 0\n"), "a thickness is negative."},
        {cbed(with(&Conditions::tilt, "0\n0\n"), "2\n100\n-100\n"), "a thickness is negative."},
        {cbed(with(&Conditions::tilt, "0\n0\n"), "0\n"),
         "without a thickness no intensities are written."},
        {cbed(with(&Conditions::settings, "eigen_eps 1e-3\n")), "eigen_eps = 0.001 costs digits"},
        {cbed(with(&Conditions::settings, "general_eps 0.1\n")), "general_eps = 0.1"},
        {cbed(growing, "1\n3000\n"), "times the incident beam."},
        {overflowing.dispsurf("1 2\n", "1\n2 0 0\n", "1\n3000\n"), "25 of 25 tilts gave"},
        {growing.dispsurf("1 2\n", "1\n2 0 0\n", "1\n3000\n"), "times the incident beam."},
        {cbed(one_way), depend},
        {one_way.tfringe("2\n0 800\n"), depend},
        {one_way.dispsurf("1 2\n", "1\n1 0 0\n", "1\n300\n"), depend},
        {one_way.bloch("2 2\n0 1\n0 1\n", "1 2\n"), depend},
        {cbed(bragg), folded},
        {bragg.tfringe("2\n0 800\n"), folded},
        {simple.tfringe("2\n0 800\n"), folded},
        {cbed(loose), traded},
        {cbed(beyond), "eigmat_func 0 balanced the matrix of 7 tilts"},
        {loose.tfringe("2\n0 800\n"), traded},
        {loose.dispsurf("1 2\n", "1\n1 0 0\n", "1\n300\n"), traded},
        {loose.bloch("2 2\n0 1\n0 1\n", "1 2\n"), traded},
        {loose_right.tfringe("2\n0 800\n"), nullptr},
    };
    expect_said(cases);
}

// What the jobs tell of one tilt, whatever the phases of its amplitudes.
TEST(Warnings, OfGrowthAreThoseOfTheIntensities) {
    CrystalText crystal = aluminium;
    crystal.low_order = "1\n1\n0 0 0\n50\n-20\n"; // gives where others absorb
    Conditions growing = with(&Conditions::crystal, crystal.block());
    growing.grid = "0\n1\n0.5\n";
    const auto told = [](const std::string &run) {
        const std::string out = run_parameter_file(run).out;
        const std::size_t at = out.find("$$ Warning: intensities reach ");
        EXPECT_NE(at, std::string::npos) << out;
        return at == std::string::npos ? "" : out.substr(at, out.find('\n', at) - at);
    };
    const std::string cbed = growing.cbed("1\n0 0 0\n", "1\n300\n");
    EXPECT_EQ(told(coherent(cbed)), told(cbed));
    EXPECT_EQ(told(growing.dispsurf("1 2\n", "1\n0 0 0\n", "1\n300\n")), told(cbed));
    EXPECT_EQ(told(growing.tfringe("2\n0 300\n", "1\n0 0 0\n")), told(cbed));
}

} // namespace
} // namespace orvel::test
