// One line on the console for what can be calculated, but hardly be meant.
#include "support/conditions.hpp"
#include "support/program.hpp"

#include <gtest/gtest.h>

namespace orvel::test {
namespace {

Conditions with(std::string Conditions::*part, const std::string &text) {
    Conditions conditions;
    conditions.grid = "2\n5\n0.5\n";
    conditions.*part = text;
    return conditions;
}

Conditions of_crystal(const std::string &lattice, const std::string &site) {
    const CrystalText crystal = {"", lattice, "1\n" + site};
    return with(&Conditions::crystal, crystal.block());
}

std::string cbed(const Conditions &conditions, const char *thicknesses = "1\n100\n") {
    return conditions.cbed("0\n", thicknesses);
}

TEST(Warnings, TellWhatCanHardlyBeMeant) {
    const std::string al = cubic(225, 4.0496);
    const std::string over_full = "SITE{\nAl\n0\n0\n0\nISO\n0.5\n1.5\n1\n}SITE\n";
    const std::string hexagonal = "194\n3.21\n3.21\n5.21\n90\n90\n120\n";
    const std::string aniso =
        "SITE{\nAl\n0\n0\n0\nANISO\n0.01\n-0.005\n0.01\n0\n0\n0\n1\n1\n}SITE\n";
    CrystalText growing = aluminium;
    growing.low_order = "1\n1\n2 0 0\n3\n50\n"; // lof_type 1: F of 200 with a strange F''
    CrystalText forbidden = aluminium;
    forbidden.low_order = "1\n1\n1 0 0\n3\n0\n";
    CrystalText glide = {"", "136\n4.594\n4.594\n2.959\n90\n90\n90\n",
                         "1\n" + iso_site("Ti", "0\n0\n0\n", 0.5), "1\n2\n1 0 0\n3\n0\n"};
    CrystalText twice = aluminium;
    twice.low_order = "2\n1\n2 0 0\n3\n0.1\n0 -2 0\n3.1\n0.1\n";
    CrystalText agreed = aluminium;
    agreed.low_order = "2\n1\n2 0 0\n3\n0.1\n0 -2 0\n3\n0.1\n";
    // Per-site factors of a forbidden reflection and an equivalent: F of rounding errors.
    const CrystalText vanishing = {"", cubic(227, 5.43),
                                   "1\n" + iso_site("Si", "0.125\n0.125\n0.125\n", 0.01),
                                   "2\n3\n2 0 0\n3\n0.1\n0 2 0\n3\n0.1\n"};
    CrystalText one_mate = gaas;
    one_mate.low_order = "1\n2\n1 1 1\n17\n20\n"; // lof_type 2: elastic
    CrystalText both_mates = gaas;
    both_mates.low_order = "2\n2\n1 1 1\n17\n20\n-1 -1 -1\n17\n-20\n";
    CrystalText not_real = gaas;
    not_real.low_order = "2\n2\n1 1 1\n17\n20\n-1 -1 -1\n17\n20\n";
    CrystalText too_large = aluminium;
    too_large.low_order = "1\n2\n2 0 0\n100\n0\n";
    CrystalText many = aluminium; // general reflections, each with 47 equivalents
    many.low_order = "21\n1\n";
    for (int l = 9; l <= 49; l += 2) {
        many.low_order += "1 5 " + std::to_string(l) + "\n0\n0\n";
    }
    const std::string oblong =
        "SITE{\nAl\n0\n0\n0\nANISO\n0.01\n0.01\n0.02\n0\n0\n0\n1\n1\n}SITE\n";
    const std::string half_off = "1\nSITE{\nMg\n0.333\n0.667\n0.25\nISO\n0.5\n0.5\n1\n}SITE\n";
    const std::string half = "SITE{\nAl\n0\n0\n0\nISO\n0.5\n0.5\n1\n}SITE\n";
    Conditions far = of_crystal(al, iso_site("Al", "1e308\n0\n0\n", 0.5));
    far.beams = "2\n100 1.0 0 0\n0.05 0.1 10000\n";
    Conditions oblique = of_crystal(hexagonal, iso_site("Mg", "0.3333\n0.6667\n0.25\n", 1.0));
    oblique.grid = Conditions{}.grid;
    oblique.incidence = "0 0 1\n0 0 1\n1 0 0\n";
    oblique.beams = "2\n1000 2.5 0 0\n0.02 0.2 2e10\n"; // 6.95 reciprocal axes
    const struct {
        std::string run;
        const char *says; // nullptr: no warning
    } cases[] = {
        {cbed(with(&Conditions::tilt, "0\n0\n")), nullptr},
        {cbed(with(&Conditions::beams, "0\n2 0\n2 0 0\n0 0 0\n")),
         "the beam list begins with 2 0 0, not with 0 0 0: this one is given the incident wave."},
        {cbed(with(&Conditions::incidence, "0 0 1\n0 1 -1\n2 0 0\n")),
         "the surface normal points against the incident beam: what is absorbed grows."},
        {cbed(with(&Conditions::incidence, "0 0 1\n0 1 1\n2 0 1\n")),
         "the tilt axis H is not perpendicular to the incident beam."},
        {cbed(with(&Conditions::grid, "2\n5\n1e-310\n")),
         "positions of the reflections in RF_INDEX"},
        {cbed(of_crystal(al, iso_site("Al", "0\n0 FIX p\n2*-p CST q\n", 0.5))),
         "in the constraint \"2*-p\" a number or a name is missing: 0 is taken."},
        {cbed(of_crystal(al, iso_site("Al", "0\n0 FIX p\n0 + p CST q\n", 0.5))),
         "\"0 + p CST q\": only the second word can be CST; this is a remark."},
        {with(&Conditions::crystal, growing.block()).dispsurf("1 2\n", "1\n2 0 0\n", "1\n3000\n"),
         "times the incident beam."},
        {Conditions{}.tfringe("2\n0 800\n"), nullptr},
        {with(&Conditions::tilt, "0\n0\n").tfringe("2\n0 800\n"),
         "of the 25 tilts the first alone is used, at H = -0.5, G = -0.5."},
        {oblique.tfringe("2\n0 800\n"), "the search ends at |h| <= 7, |k| <= 7, |l| <= 1"},
        {cbed(with(&Conditions::tilt, "0\n0\n"), "0\n"),
         "without a thickness no intensities are written."},
        {cbed(with(&Conditions::tilt, "0\n0\n"), "2\n100\n-100\n"), "a thickness is negative."},
        {cbed(of_crystal("225\n4\n4\n4.1\n90\n90\n90\n", iso_site("Al", "0\n0\n0\n", 0.5))),
         "the cell lacks the symmetry of its space group: reflections of different length are "
         "taken as equivalent."},
        {cbed(of_crystal(al, over_full)), "the occupancy of atom 1 is 1.5."},
        {cbed(of_crystal(hexagonal, iso_site("Mg", "0.3333\n0.6667\n0.25\n", 1.0))), nullptr},
        {cbed(of_crystal(hexagonal, iso_site("Mg", "0.333\n0.667\n0.25\n", 1.0))),
         "atoms of site 1 and site 1 are 0.00"},
        {cbed(of_crystal(al, iso_site("Al", "1/4\n0\n0\n", 0.5))), "\"1/4\" is read as 1."},
        {cbed(of_crystal(al, iso_site("Al", "0,25\n0\n0\n", 0.5))),
         "\"0,25\" holds more than 1 number; the rest is not read."},
        {cbed(of_crystal(al, aniso)), "the displacements of atom 1 are imaginary"},
        {cbed(of_crystal(al, oblong)), "the displacements of atom 1 lack the symmetry"},
        {cbed(with(&Conditions::crystal, CrystalText{"", al, "2\n" + half + half}.block())),
         nullptr},
        {cbed(with(&Conditions::crystal, CrystalText{"", al, "3\n" + half + half + half}.block())),
         "atoms of site 1 and site 3 are 0 A apart, with an occupancy of 1.5 together."},
        {cbed(with(&Conditions::crystal, CrystalText{"", hexagonal, half_off}.block())),
         "apart, with an occupancy of 1.5 together."},
        {cbed(with(&Conditions::crystal, forbidden.block())),
         "the space group forbids the reflection 1 0 0, whose structure factor is given."},
        {cbed(with(&Conditions::crystal, glide.block())), "forbids the reflection 1 0 0,"},
        {cbed(with(&Conditions::crystal, twice.block())),
         "the structure factor given for 0 -2 0 does not count"},
        {cbed(with(&Conditions::crystal, agreed.block())), nullptr},
        {cbed(with(&Conditions::crystal, one_mate.block())),
         "a structure factor is given for 1 1 1, but none for -1 -1 -1, which keeps"},
        {cbed(with(&Conditions::crystal, both_mates.block())), nullptr},
        {cbed(with(&Conditions::crystal, not_real.block())),
         "the elastic structure factors of 1 1 1 and -1 -1 -1 are not conjugate"},
        {cbed(with(&Conditions::crystal, too_large.block())), "is larger than that of 0 0 0, "},
        {cbed(with(&Conditions::crystal, many.block())),
         "structure factors given from 1 5 49 on do not count: with their equivalents they are "
         "more than 1000."},
        {cbed(of_crystal(al, iso_site("Al", "0\n2*own CST own\n0\n", 0.5))), "refers to itself"},
        {cbed(of_crystal(al, iso_site("Al", "0\na CST own\n0\n", 0.5))),
         "refers to the first of 3 parameters of the name a."},
        {cbed(with(&Conditions::settings, "bc_accuracy = 1\n")), "\"=\" is read as 0."},
        {cbed(with(&Conditions::settings, "eigen_eps 1e-3\n")), "eigen_eps = 0.001 costs digits"},
        {cbed(with(&Conditions::settings, "bc_accuracy 1 # eigen_eps\n")),
         "the line of bc_accuracy sets eigen_eps."},
        {cbed(with(&Conditions::settings, "general_eps 0.1\n")), "general_eps = 0.1"},
        {cbed(with(&Conditions::crystal, vanishing.block())), "B of atom 1 is 0.01,"},
        {cbed(with(&Conditions::incidence, "0 0 2\n0 0 1\n2 0 0\n")), "has the common factor 2"},
        {cbed(with(&Conditions::incidence, "0 0 1\n0 0 1\n2 0\n")),
         "\"2 0\" holds 2 of 3 numbers; what is missing is 0."},
        {cbed(with(&Conditions::incidence, "0 0 1\n0 0 1\n2 0 0 0\n")),
         "\"2 0 0 0\" holds more than 3 numbers; the rest is not read."},
        {cbed(with(&Conditions::incidence, "0 0 1 beam, 100 A\n0 0 1\n2 0 0\n")), nullptr},
        {cbed(of_crystal("225:1\n4\n4\n4\n90\n90\n90\n", iso_site("Al", "0\n0\n0\n", 0.5))),
         "\"225:1\" is read as 225."},
        {cbed(with(&Conditions::beams, "0\n1 0\n0 0 0\n")), "there is one exact beam alone"},
        {cbed(with(&Conditions::tilt, "0\n0\n")) + "\nCOHERENT{\n",
         "\"COHERENT{\" and what follows it is not read."},
        {Conditions{}.tfringe("3\n-800 0\n"), "a thickness is negative."},
        {cbed(with(&Conditions::crystal, growing.block()), "1\n3000\n"),
         "times the incident beam."},
        {cbed(of_crystal(al, iso_site("Al", "0\n0\n0\n", 9.5))),
         "B of atom 1 is 9.5, beyond the table"},
        {cbed(of_crystal(al, iso_site("Al", "0\n0\n0\n", 0.0058))),
         "B of atom 1 is 0.0058, below the table of absorption"},
        {cbed(of_crystal(al, iso_site("Al", "0\n0\n0\n", 0.0))), nullptr},
        {cbed(far), "beams were left out whose extinction distance is no number."},
    };
    for (const auto &c : cases) {
        const ProgramRun run = run_parameter_file(c.run);
        EXPECT_EQ(run.status, 0) << run.out;
        const std::size_t at = run.out.find("$$ Warning: ");
        ASSERT_EQ(at == std::string::npos, c.says == nullptr) << run.out;
        if (c.says != nullptr) {
            EXPECT_NE(run.out.find(c.says, at), std::string::npos) << c.says << run.out;
        }
    }
}

} // namespace
} // namespace orvel::test
