#include "crystal/strct_f.hpp"

#include "app/mb_mpi.hpp"
#include "crystal/atom_bk.hpp"
#include "crystal/atomf.hpp"

#include <cmath>
#include <vector>

namespace orvel {

namespace {

// Sum over the operations of exp(i phi_k), each weighted by the anisotropic temperature factor
// where the site has one.
complex geometric_sum(const Hkl &g, const AtomSite &site, std::span<const SymOp> ops) {
    complex sum;
    for (const SymOp &op : ops) {
        const Hkl r = gen_reflex(g, op);
        const double phi = -two_pi * (site.x * r.h + site.y * r.k + site.z * r.l + op[9] * g.h +
                                      op[10] * g.k + op[11] * g.l);
        const double t = site.bf == 1 ? std::exp(-displacement_exponent(r, site)) : 1.0;
        sum.re += t * std::cos(phi);
        sum.im += t * std::sin(phi);
    }
    return sum;
}

double squared_s(const Hkl &g, const Metric &metric) {
    return sq_abs(hkl2rhkl(g), metric) / 4.0;
}

[[noreturn]] void end_invalid_af() {
    input_exit("$$ Invalid af. Abort.");
}

// Atomic factors of every site at one reflection, A.
struct SiteFactors {
    explicit SiteFactors(std::size_t num_sites) : elastic(num_sites), absorptive(num_sites) {}
    std::vector<double> elastic;
    std::vector<double> absorptive;
};

complex core_sum(const Hkl &g, double sq_s, const Csd &csd, const SiteFactors &f) {
    return calc_structure_factor_ph(g, sq_s, csd, f.elastic, f.absorptive);
}

} // namespace

double displacement_exponent(const Hkl &g, const AtomSite &site) {
    const auto &[b11, b22, b33, b12, b13, b23] = site.beta;
    const double h = g.h;
    const double k = g.k;
    const double l = g.l;
    return h * h * b11 + k * k * b22 + l * l * b33 + 2.0 * h * k * b12 + 2.0 * k * l * b23 +
           2.0 * l * h * b13;
}

complex calc_structure_factor_ph(const Hkl &g, double sq_s, const Csd &csd,
                                 std::span<const double> elastic,
                                 std::span<const double> absorptive) {
    complex F;
    for (std::size_t i = 0; i < csd.sites.size(); ++i) {
        const AtomSite &site = csd.sites[i];
        if (site.bf != 0 && site.bf != 1) {
            input_exit("ERROR: Invalid atom.bf. Abort.");
        }
        const double t = site.bf == 0 ? std::exp(-site.B * sq_s) : 1.0;
        const double weight = site.occupancy * t * site.w;
        const complex f = {elastic[i] * weight, absorptive[i] * weight};
        F = c_add(F, c_mul(f, geometric_sum(g, site, csd.group.ops)));
    }
    return F;
}

StructureFactor calc_structure_factor(const Hkl &g, const Csd &csd, double voltage) {
    const double sq_s = squared_s(g, csd.metric);
    SiteFactors f(csd.sites.size());
    StructureFactor result;
    for (std::size_t i = 0; i < csd.sites.size(); ++i) {
        const AtomSite &site = csd.sites[i];
        ScatteringFactors bk;
        if (atom_bk(csd.bk[i], std::sqrt(sq_s), site.B, bk, voltage) != 0) {
            result.status = 1;
        }
        if (site.af == 0) {
            f.elastic[i] = atomsf_xdt(sq_s, csd.xray[i]);
        } else if (site.af == 1) {
            f.elastic[i] = bk.f;
        } else {
            end_invalid_af();
        }
        f.absorptive[i] = bk.f_abs;
    }
    result.F = core_sum(g, sq_s, csd, f);
    return result;
}

StructureFactor structure_factor_ext(const Hkl &g, const Csd &csd, double voltage) {
    if (extinction_rule(g, csd.group.lattice_type, csd.group.rhombohedral_flag) != 0) {
        return {};
    }
    return calc_structure_factor(g, csd, voltage);
}

StructureFactor structure_factor_ext_tbl(const Hkl &g, const Csd &csd, double voltage,
                                         StructureFactorTable &known) {
    const int position = search_g_table(g, known.table);
    if (position >= 0) {
        return {known.table.F[position], 0};
    }
    if (!known.table.is_full()) {
        const StructureFactor result = structure_factor_ext(g, csd, voltage);
        stock_fg_tbl_sym(g, result.F, known.table, csd.group.ops);
        return result;
    }
    return known.overflow.value(
        g, csd, [&](const Hkl &e) { return structure_factor_ext(e, csd, voltage); });
}

StructureFactorTable low_order_table(const Csd &csd, double voltage) {
    StructureFactorTable known;
    for (const LowOrderF &entry : csd.low_order) {
        if (known.table.is_full()) {
            break; // the factor of an entry is a sum over all atoms
        }
        stock_fg_tbl_sym(entry.hkl, lofg_to_fg(entry, csd, voltage), known.table, csd.group.ops);
    }
    return known;
}

StructureFactor calc_Fg_ela(const Hkl &g, const Csd &csd, double voltage) {
    const double sq_s = squared_s(g, csd.metric);
    SiteFactors f(csd.sites.size());
    StructureFactor result;
    for (std::size_t i = 0; i < csd.sites.size(); ++i) {
        const AtomSite &site = csd.sites[i];
        if (site.af == 0) {
            f.elastic[i] = atomsf_xdt(sq_s, csd.xray[i]);
        } else if (site.af == 1 || site.af == 2) {
            ScatteringFactors bk;
            if (atom_bk(csd.bk[i], std::sqrt(sq_s), site.B, bk, voltage) != 0) {
                result.status = 1;
            }
            f.elastic[i] = bk.f;
        } else {
            end_invalid_af();
        }
    }
    result.F = core_sum(g, sq_s, csd, f);
    return result;
}

complex calc_Fg_inela(const Hkl &g, const Csd &csd, double voltage) {
    const double sq_s = squared_s(g, csd.metric);
    SiteFactors f(csd.sites.size());
    for (std::size_t i = 0; i < csd.sites.size(); ++i) {
        const AtomSite &site = csd.sites[i];
        if (site.af != 0 && site.af != 1) {
            end_invalid_af();
        }
        ScatteringFactors bk;
        atom_bk(csd.bk[i], std::sqrt(sq_s), site.B, bk, voltage);
        f.absorptive[i] = bk.f_abs;
    }
    return core_sum(g, sq_s, csd, f);
}

complex calc_z_factor(const Hkl &g, const Csd &csd) {
    SiteFactors f(csd.sites.size());
    for (std::size_t i = 0; i < csd.sites.size(); ++i) {
        f.elastic[i] = csd.xray[i].Z;
    }
    return core_sum(g, squared_s(g, csd.metric), csd, f);
}

double calc_F_0_re(const Csd &csd) {
    const double num_ops = static_cast<double>(csd.group.ops.size());
    double F = 0.0;
    for (std::size_t i = 0; i < csd.sites.size(); ++i) {
        ScatteringFactors bk;
        atom_bk(csd.bk[i], 0.0, 0.0, bk, 100.0);
        F += bk.f * csd.sites[i].occupancy * num_ops * csd.sites[i].w;
    }
    return F;
}

complex given_part(const LowOrderF &entry, const Csd &csd) {
    switch (csd.lof_type) {
    case 1:
        return entry.total;
    case 2:
        return entry.elastic;
    case 3:
    case 4:
        return calc_structure_factor_ph(entry.hkl, squared_s(entry.hkl, csd.metric), csd,
                                        entry.elastic_f, entry.inelastic_f);
    default:
        input_exit("$$ Invalid lof_type. Abort.");
    }
}

complex given_elastic_part(const LowOrderF &entry, const Csd &csd) {
    if (csd.lof_type <= 2) {
        return entry.elastic;
    }
    const std::vector<double> no_absorption(csd.sites.size(), 0.0);
    return calc_structure_factor_ph(entry.hkl, squared_s(entry.hkl, csd.metric), csd,
                                    entry.elastic_f, no_absorption);
}

complex lofg_to_fg(const LowOrderF &entry, const Csd &csd, double voltage) {
    const complex given = given_part(entry, csd);
    const bool is_whole = csd.lof_type == 1 || csd.lof_type == 3;
    return is_whole ? given : c_add(given, calc_Fg_inela(entry.hkl, csd, voltage));
}

} // namespace orvel
