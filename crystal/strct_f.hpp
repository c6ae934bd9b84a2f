// Structure factors: the complex sum over all atoms of the cell, elastic part real and absorptive
// part imaginary in the atomic factors, and its variants.
//
// F_g = sum (f + i f') exp(-2 pi i g.r), in A, without relativistic correction; s = |g|/2 in 1/A.
#pragma once

#include "crystal/csd.hpp"
#include "crystal/equivalents.hpp"
#include "crystal/reflection_table.hpp"
#include "numeric/complex.hpp"

#include <optional>
#include <span>
#include <unordered_map>

namespace orvel {

// F_g and whether a scattering-factor table was left: 1 when any site's table lookup was out of
// range, else 0.
struct StructureFactor {
    complex F;
    int status = 0;
};

// Values that a full reflection table does not keep, each computed for one of its equivalents only.
class SharedFactors {
public:
    // The value of g, by compute(hkl) unless an equivalent has been asked for before.
    template <class Compute> StructureFactor value(const Hkl &g, const Csd &csd, Compute compute) {
        if (!equivalents_) {
            equivalents_ = exact_equivalents(csd);
        }
        const Representative r = representative(g, *equivalents_);
        const auto [entry, is_new] = computed_.try_emplace(r.hkl);
        if (is_new) {
            entry->second = compute(r.hkl);
        }
        return {c_mul(entry->second.F, c_exp({0.0, two_pi * r.turns})), entry->second.status};
    }

private:
    std::optional<Equivalents> equivalents_; // of the crystal first asked for
    std::unordered_map<Hkl, StructureFactor, HklHash> computed_;
};

// Structure factors already known: the reflection table, which decides which value a reflection
// gets, and what came when it was full.
struct StructureFactorTable {
    ReflectionTable table;
    SharedFactors overflow;
};

// -ln T of the anisotropic temperature factor, sum beta_ij h_i h_j.
double displacement_exponent(const Hkl &g, const AtomSite &site);

// The core sum with given factors per site (A): each site contributes
// (f + i f') q w T sum_k exp(-2 pi i h.(R_k r + t_k)), T = exp(-B s^2), or the anisotropic
// temperature factor of each operation's rotated indices inside the sum. sq_s = s^2. A displacement
// code that is neither 0 nor 1: "ERROR: Invalid atom.bf. Abort.", status 1.
complex calc_structure_factor_ph(const Hkl &g, double sq_s, const Csd &csd,
                                 std::span<const double> elastic,
                                 std::span<const double> absorptive);

// Both parts from the tables (voltage in kV). A site whose factor code is neither 0 nor 1:
// "$$ Invalid af. Abort.", status 1.
StructureFactor calc_structure_factor(const Hkl &g, const Csd &csd, double voltage);

// 0 with status 0 for a reflection that the centring extinguishes, without looking at any table.
StructureFactor structure_factor_ext(const Hkl &g, const Csd &csd, double voltage);

// The table's value with status 0 if g is there; else structure_factor_ext, stored for g and its
// equivalents.
StructureFactor structure_factor_ext_tbl(const Hkl &g, const Csd &csd, double voltage,
                                         StructureFactorTable &known);

// A table that holds the crystal's given low-order structure factors and all their equivalents, so
// that they take precedence over computed ones.
StructureFactorTable low_order_table(const Csd &csd, double voltage);

// Elastic part alone. Here, unlike elsewhere, a factor code of 2 counts as 1.
StructureFactor calc_Fg_ela(const Hkl &g, const Csd &csd, double voltage);
// Absorptive part alone: i times a real sum, up to the phase factors.
complex calc_Fg_inela(const Hkl &g, const Csd &csd, double voltage);
// Structure factor of the nuclear charges (numbers, not A).
complex calc_z_factor(const Hkl &g, const Csd &csd);
// Real F_0 = sum f(0) q N w with the tabulated elastic factor at s = 0 and 100 kV, whatever the
// voltage of the job.
double calc_F_0_re(const Csd &csd);

// What the parameter file gives of F_g in a low-order entry, by csd.lof_type: 1 the total F as it
// stands; 2 the elastic F; 3 and 4 the core sum over the given factors. Any other:
// "$$ Invalid lof_type. Abort.", status 1.
complex given_part(const LowOrderF &entry, const Csd &csd);
// The elastic part of that; lof_type 1 gives none by itself, 0.
complex given_elastic_part(const LowOrderF &entry, const Csd &csd);

// F_g of a given low-order entry: the given part, in types 2 and 4 plus the computed absorptive
// part.
complex lofg_to_fg(const LowOrderF &entry, const Csd &csd, double voltage);

} // namespace orvel
