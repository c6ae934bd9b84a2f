// Ready-made crystal blocks as they stand in a parameter file, and a reader for them.
#pragma once

#include "crystal/csd.hpp"
#include "support/work_folder.hpp"

#include <memory>

namespace orvel::test {

// Space-group number and cell, then the sites, then the low-order block.
struct CrystalText {
    const char *name;
    std::string lattice;
    std::string atoms;
    std::string low_order = "0\n";

    std::string block() const {
        return "CRYSTAL_STRUCTURE_DATA{\nLATTICE{\n" + lattice + "}LATTICE\nATOM{\n" + atoms +
               "}ATOM\nLOW_ORDER_FG{\n" + low_order + "}LOW_ORDER_FG\n}CRYSTAL_STRUCTURE_DATA\n";
    }
};

inline std::string cubic(int space_group, double a) {
    const std::string edge = std::to_string(a) + " FIX a\n";
    return std::to_string(space_group) + "\n" + edge + edge + edge +
           "90 FIX alpha\n90 FIX beta\n90 FIX gamma\n";
}

// An isotropic site, fully occupied, elastic factors by the Bird & King table.
inline std::string iso_site(const char *element, const char *xyz_lines, double B) {
    return std::string("SITE{\n") + element + "\n" + xyz_lines + "ISO\n" + std::to_string(B) +
           " FIX B\n1 FIX occ\n1\n}SITE\n";
}

// Lattice constants at room temperature in A (Wyckoff, Crystal Structures, 2nd ed. 1963);
// B factors in A^2 of the usual size, rounded.
inline const CrystalText silicon = {"Si", cubic(227, 5.4309),
                                    "1\n" + iso_site("Si", "0.125\n0.125\n0.125\n", 0.46)};
inline const CrystalText gaas = {"GaAs", cubic(216, 5.6533),
                                 "2\n" + iso_site("Ga", "0\n0\n0\n", 0.66) +
                                     iso_site("As", "0.25\n0.25\n0.25\n", 0.57)};
inline const CrystalText srtio3 = {"SrTiO3", cubic(221, 3.905),
                                   "3\n" + iso_site("Sr", "0\n0\n0\n", 0.62) +
                                       iso_site("Ti", "0.5\n0.5\n0.5\n", 0.44) +
                                       iso_site("O", "0.5\n0.5\n0\n", 0.73)};
inline const CrystalText aluminium = {"Al", cubic(225, 4.0496),
                                      "1\n" + iso_site("Al", "0\n0\n0\n", 0.86)};
inline const CrystalText magnesia = {"MgO", cubic(225, 4.2117),
                                     "2\n" + iso_site("Mg", "0\n0\n0\n", 0.31) +
                                         iso_site("O", "0.5\n0.5\n0.5\n", 0.34)};
// A tetragonal invention with an anisotropic site, all six coefficients distinct.
inline const CrystalText anisotropic = {
    "anisotropic", "123\n4.5\n4.5\n6.2\n90\n90\n90\n",
    "1\nSITE{\nTi\n0 FIX x1\n0 FIX y1\n0 FIX z1\nANISO\n0.011 ADJ b11\n0.012 ADJ b22\n"
    "0.013 ADJ b33\n0.001 ADJ b12\n0.002 ADJ b13\n0.003 ADJ b23\n0.9 FIX occ\n0\n}SITE\n"};
// A triclinic invention without a centre.
inline const CrystalText triclinic = {"triclinic", "1\n4.1\n5.3\n6.7\n82\n97\n105\n",
                                      "2\n" + iso_site("Si", "0.1\n0.22\n0.31\n", 0.5) +
                                          iso_site("O", "0.45\n0.63\n0.84\n", 0.8)};

// Reads a block in the working directory, which holds the tables.
inline Csd read_crystal(const std::string &block) {
    const std::unique_ptr<std::FILE, int (*)(std::FILE *)> stream(std::tmpfile(), std::fclose);
    std::fputs(block.c_str(), stream.get());
    std::rewind(stream.get());
    return input_csd_cstr(stream.get(), "crystal");
}

} // namespace orvel::test
