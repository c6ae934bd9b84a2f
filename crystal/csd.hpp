// The crystal record `csd`: what the CRYSTAL_STRUCTURE_DATA block gives and what is made of it.
#pragma once

#include "crystal/atom_tables.hpp"
#include "crystal/lattice.hpp"
#include "crystal/spgroup.hpp"
#include "input/mb_input.hpp"
#include "numeric/complex.hpp"

#include <array>
#include <cstdio>
#include <string>
#include <vector>

namespace orvel {

// An independent atom site.
struct AtomSite {
    std::string element; // as written in the file, at most 7 characters
    int bf = 0;          // displacement: 0 isotropic, 1 anisotropic
    int af = 0;          // elastic factor: 0 Mott formula, 1 Bird & King table
    double x = 0.0;      // fractional coordinates
    double y = 0.0;
    double z = 0.0;
    double w = 0.0; // multiplicity: distinct positions / operations, or 1
    double B = 0.0; // isotropic (or equivalent isotropic) Debye-Waller factor, A^2
    // Anisotropic coefficients of exp(-sum beta_ij h_i h_j), in the order of the input lines:
    // 11, 22, 33, 12, 13, 23.
    std::array<double, 6> beta = {};
    double occupancy = 0.0; // 0 to 1

    Position position() const { return {x, y, z}; }
};

// Slots of the fit-parameter records of a site. The last two anisotropic slots are in the order
// 23, 13, which differs from that of the values.
enum SitePar {
    par_x,
    par_y,
    par_z,
    par_B,
    par_beta11,
    par_beta22,
    par_beta33,
    par_beta12,
    par_beta23,
    par_beta13,
    par_occupancy,
    num_site_pars
};
using SitePars = std::array<FitPar, num_site_pars>;

// A given low-order structure factor: for electrons, in A, without relativistic correction.
// Which fields are filled depends on lof_type.
struct LowOrderF {
    Hkl hkl;
    complex total;                 // lof_type 1: elastic + i absorptive
    complex elastic;               // lof_type 2
    std::vector<double> elastic_f; // lof_type 3, 4: per site, A
    std::vector<double> inelastic_f;
    std::array<FitPar, 4> pars;       // of total.re, total.im, elastic.re, elastic.im
    std::vector<FitPar> elastic_pars; // lof_type 3, 4: per site
    std::vector<FitPar> inelastic_pars;
};

// Complete after input_csd_cstr returns. Sites, their tables and their parameters run in parallel.
struct Csd {
    SpaceGroup group;
    CellConstants cell;
    std::array<FitPar, 6> cell_pars; // a, b, c, alpha, beta, gamma
    std::vector<AtomSite> sites;
    std::vector<SitePars> site_pars;
    std::vector<XrayFactors> xray;
    std::vector<BkTable> bk;
    int lof_type = 0; // 1 total F, 2 elastic F, 3 and 4 per-site factors; 0 with no entries
    std::vector<LowOrderF> low_order;
    Metric metric; // of the cell constants
};

// Reads the block, loads the operations and the scattering tables, resolves the constraints, forms
// the metric, sets multiplicities and equivalent B, and writes the generated positions to
// "%s_aps.txt" when atm_pos_out_flag is set. A block without sites, a parameter that is not finite
// and lattice parameters that span no cell end the run with a "$$" line.
Csd input_csd_cstr(std::FILE *stream, const std::string &base_name);

// Resolves the constraints of a complete crystal again, as every builder of coefficients does. A
// constraint that refers to a parameter resolved after it moves then: one "$$" warning line on the
// console, since multiplicities and beam search used the value of the first resolution.
void resolve_constraints_again(Csd &csd);

// Six fit-parameter lines: a, b, c, alpha, beta, gamma.
void fget_latpar_cstr(std::FILE *stream, CellConstants &cell, std::array<FitPar, 6> &pars);
// n SITE{ blocks, with their scattering tables, appended to the record's arrays: a count that the
// file does not keep costs no memory. A B type other than ISO, 0, ANISO and 1 ends the run:
// "$$ Invalid bf. Abort.", status 1.
void fget_atmpar_cstr(std::FILE *stream, int n, Csd &csd);
// n low-order entries by csd.lof_type, appended likewise, after the sites. A type other than 1 to 4
// ends the run: "$$(fget_low_g_cst) Invalid lof_type(=%d). Abort.\n", status 1.
void fget_lofg_cstr(std::FILE *stream, int n, Csd &csd);

// Sizes the arrays of a record; a second call starts the arrays anew.
void alloc_csd(int nops, int nsites, int num_low_order, Csd &csd);
// Per-site arrays of lof_type 3 and 4.
void alloc_csd_sub_cstr(int nsites, int num_low_order, int lof_type, Csd &csd);
// Deep copy. Entries of a lof_type other than 1 to 4: "$$ Invalid lof_type %d. Abort.\n", status 1.
void cpy_csd(Csd &dst, const Csd &src);
// Empties the record.
void free_csd(Csd &csd);

// Sets every site's multiplicity by epsilon.auto_multiplicity_off; a value other than 0 and 1:
// "$$ invalid auto_multiplicity_off=%d\n. Abort.\n", status 1.
void atom_multiplicity(std::vector<AtomSite> &sites, const std::vector<SymOp> &ops);

// The isotropic equivalent B in A^2: B itself for an isotropic site, (4/3) sum_ij beta_ij a_i.a_j
// for an anisotropic one (it gives back B for an isotropic tensor).
double bij_to_beq(const Metric &metric, const AtomSite &site);
// Writes the equivalent B of every anisotropic site into its B.
void refresh_equivalent_b(Csd &csd);

} // namespace orvel
