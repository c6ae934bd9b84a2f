#include "crystal/csd.hpp"

#include "app/mb_mpi.hpp"
#include "app/run_settings.hpp"
#include "crystal/atom_positions.hpp"
#include "crystal/constraint.hpp"
#include "crystal/csd_parameters.hpp"
#include "crystal/csd_warnings.hpp"
#include "input/mb_input_beams.hpp"
#include "numeric/vecmat.hpp"

#include <algorithm>
#include <cmath>
#include <unordered_map>

namespace orvel {

namespace {

constexpr std::size_t max_element_name = 7;

// Reads a fit-parameter line: the record, and its value.
void read_parameter(std::FILE *stream, FitPar &par, double &value) {
    par = fget_fitpar(stream);
    value = par.value;
}

std::string read_element(std::FILE *stream) {
    std::string element = fget_element(stream);
    if (element.size() > max_element_name) {
        input_exit("$$ Element symbol %s is longer than %d characters. Abort.", element.c_str(),
                   static_cast<int>(max_element_name));
    }
    return element;
}

// The first site of each element.
using FirstSites = std::unordered_map<std::string, std::size_t>;

// The tables of a site's element; those of an element that has occurred before are copied.
void append_scattering_tables(const std::string &element, FirstSites &first, Csd &csd) {
    const auto [known, is_new] = first.try_emplace(element, csd.sites.size());
    if (!is_new) {
        csd.xray.push_back(XrayFactors(csd.xray[known->second]));
        csd.bk.push_back(BkTable(csd.bk[known->second]));
        return;
    }
    csd.bk.push_back(read_atom_dat_table(element));
    csd.xray.push_back(read_xdt_table(element));
}

int read_displacement_type(std::FILE *stream) {
    const std::string token = fget_1s(stream, "the B type of a site");
    if (token == "ISO" || token == "0") {
        return 0;
    }
    if (token == "ANISO" || token == "1") {
        return 1;
    }
    input_exit("$$ Invalid bf. Abort.");
}

void read_site(std::FILE *stream, FirstSites &first, Csd &csd) {
    AtomSite site;
    SitePars pars;
    chk_data("SITE{", stream);
    site.element = read_element(stream);
    append_scattering_tables(site.element, first, csd);
    read_parameter(stream, pars[par_x], site.x);
    read_parameter(stream, pars[par_y], site.y);
    read_parameter(stream, pars[par_z], site.z);
    site.bf = read_displacement_type(stream);
    if (site.bf == 0) {
        read_parameter(stream, pars[par_B], site.B);
    } else {
        for (std::size_t k = 0; k < beta_slots.size(); ++k) {
            read_parameter(stream, pars[beta_slots[k]], site.beta[k]);
        }
    }
    read_parameter(stream, pars[par_occupancy], site.occupancy);
    site.af = fget_i(stream, "the f-table of a site");
    chk_data("}SITE", stream);
    csd.sites.push_back(std::move(site));
    csd.site_pars.push_back(std::move(pars));
}

void size_per_site_arrays(std::size_t num_sites, LowOrderF &entry) {
    entry.elastic_f.assign(num_sites, 0.0);
    entry.inelastic_f.assign(num_sites, 0.0);
    entry.elastic_pars.assign(num_sites, FitPar{});
    entry.inelastic_pars.assign(num_sites, FitPar{});
}

LowOrderF read_low_order(std::FILE *stream, int lof_type, std::size_t num_sites) {
    LowOrderF entry;
    entry.hkl = fget_hkl(stream);
    if (lof_type == 1) {
        read_parameter(stream, entry.pars[0], entry.total.re);
        read_parameter(stream, entry.pars[1], entry.total.im);
    } else if (lof_type == 2) {
        read_parameter(stream, entry.pars[2], entry.elastic.re);
        read_parameter(stream, entry.pars[3], entry.elastic.im);
    } else {
        size_per_site_arrays(num_sites, entry);
        for (std::size_t i = 0; i < num_sites; ++i) {
            read_parameter(stream, entry.elastic_pars[i], entry.elastic_f[i]);
            read_parameter(stream, entry.inelastic_pars[i], entry.inelastic_f[i]);
        }
    }
    return entry;
}

void read_low_order_block(std::FILE *stream, Csd &csd) {
    chk_data("LOW_ORDER_FG{", stream);
    const int n = fget_count(stream, "low-order structure factors", sizeof(LowOrderF));
    if (n > 0) {
        csd.lof_type = fget_i(stream, "lof_type");
        if (csd.lof_type == 5) {
            input_exit("$$ Sorry, lof_type = 5 is not available. Abort.");
        }
        if (csd.lof_type == 3 || csd.lof_type == 4) {
            require_memory(2.0 * (sizeof(double) + sizeof(FitPar)) * n *
                               static_cast<double>(csd.sites.size()),
                           "the scattering factors of low-order structure factors");
        }
        fget_lofg_cstr(stream, n, csd);
    }
    chk_data("}LOW_ORDER_FG", stream);
}

std::vector<double> parameter_values(const Csd &csd) {
    std::vector<double> values;
    const auto collect = [&](const FitPar &, const double &value) { values.push_back(value); };
    visit_cell_parameters(csd, collect);
    visit_site_parameters(csd, collect);
    visit_low_order_parameters(csd, collect);
    return values;
}

// Refuses what no calculation can use; the geometry behind it takes every cell as it comes.
void check_crystal(const Csd &csd) {
    const auto check = [](const FitPar &par, const double &value) {
        if (!std::isfinite(value)) {
            input_exit("$$ Parameter %s of the crystal is %g. Abort.", par.name.c_str(), value);
        }
    };
    visit_cell_parameters(csd, check);
    visit_site_parameters(csd, check);
    visit_low_order_parameters(csd, check);

    const MetricTensor &G = csd.metric.reciprocal;
    const double entries = G.g11 + G.g22 + G.g33 + G.g12 + G.g23 + G.g31;
    if (!(csd.metric.volume > 0.0) || !std::isfinite(csd.metric.volume) ||
        !std::isfinite(entries)) {
        input_exit("$$ The lattice parameters span no cell (volume %g A^3). Abort.",
                   csd.metric.volume);
    }
}

} // namespace

Csd input_csd_cstr(std::FILE *stream, const std::string &base_name) {
    Csd csd;
    chk_data("CRYSTAL_STRUCTURE_DATA{", stream);
    chk_data("LATTICE{", stream);
    csd.group = read_sp_group_tbl(fget_i(stream, "the space-group number"));
    fget_latpar_cstr(stream, csd.cell, csd.cell_pars);
    chk_data("}LATTICE", stream);

    chk_data("ATOM{", stream);
    const int num_sites =
        fget_count(stream, "atom sites",
                   sizeof(AtomSite) + sizeof(SitePars) + sizeof(XrayFactors) + sizeof(BkTable));
    if (num_sites == 0) {
        input_exit("$$ Number of atom sites = 0: a crystal has at least one. Abort.");
    }
    fget_atmpar_cstr(stream, num_sites, csd);
    chk_data("}ATOM", stream);

    read_low_order_block(stream, csd);
    chk_data("}CRYSTAL_STRUCTURE_DATA", stream);

    constraint_csd(csd);
    csd.metric = bravai(csd.cell);
    check_crystal(csd);
    atom_multiplicity(csd.sites, csd.group.ops);
    refresh_equivalent_b(csd);
    warn_crystal(csd);
    dbg_atm_pos_out(csd, base_name);
    return csd;
}

void resolve_constraints_again(Csd &csd) {
    const std::vector<double> before = parameter_values(csd);
    constraint_csd(csd);
    refresh_equivalent_b(csd);
    if (parameter_values(csd) != before) {
        mb_fprintf(stdout,
                   "$$ Warning: a constraint refers to a parameter that is resolved after it; "
                   "its value has changed from here on.\n");
        check_crystal(csd);
    }
}

void fget_latpar_cstr(std::FILE *stream, CellConstants &cell, std::array<FitPar, 6> &pars) {
    read_parameter(stream, pars[0], cell.a);
    read_parameter(stream, pars[1], cell.b);
    read_parameter(stream, pars[2], cell.c);
    read_parameter(stream, pars[3], cell.alpha);
    read_parameter(stream, pars[4], cell.beta);
    read_parameter(stream, pars[5], cell.gamma);
}

void fget_atmpar_cstr(std::FILE *stream, int n, Csd &csd) {
    FirstSites first;
    for (int i = 0; i < n; ++i) {
        read_site(stream, first, csd);
    }
}

void fget_lofg_cstr(std::FILE *stream, int n, Csd &csd) {
    if (csd.lof_type < 1 || csd.lof_type > 4) {
        input_exit("$$(fget_low_g_cst) Invalid lof_type(=%d). Abort.", csd.lof_type);
    }
    for (int i = 0; i < n; ++i) {
        csd.low_order.push_back(read_low_order(stream, csd.lof_type, csd.sites.size()));
    }
}

void alloc_csd(int nops, int nsites, int num_low_order, Csd &csd) {
    chk_count(nops, "symmetry operations", sizeof(SymOp));
    chk_count(nsites, "atom sites", sizeof(AtomSite) + sizeof(SitePars));
    chk_count(num_low_order, "low-order structure factors", sizeof(LowOrderF));
    const auto num_sites = static_cast<std::size_t>(nsites);
    csd.group.ops.assign(static_cast<std::size_t>(nops), SymOp{});
    csd.sites.assign(num_sites, AtomSite{});
    csd.site_pars.assign(num_sites, SitePars{});
    csd.xray.assign(num_sites, XrayFactors{});
    csd.bk.assign(num_sites, BkTable{});
    csd.low_order.assign(static_cast<std::size_t>(num_low_order), LowOrderF{});
}

void alloc_csd_sub_cstr(int nsites, int num_low_order, int lof_type, Csd &csd) {
    csd.lof_type = lof_type;
    csd.low_order.resize(static_cast<std::size_t>(num_low_order));
    if (lof_type == 3 || lof_type == 4) {
        for (LowOrderF &entry : csd.low_order) {
            size_per_site_arrays(static_cast<std::size_t>(nsites), entry);
        }
    }
}

void cpy_csd(Csd &dst, const Csd &src) {
    if (!src.low_order.empty() && (src.lof_type < 1 || src.lof_type > 4)) {
        input_exit("$$ Invalid lof_type %d. Abort.", src.lof_type);
    }
    dst = src;
}

void free_csd(Csd &csd) {
    csd = Csd{};
}

void atom_multiplicity(std::vector<AtomSite> &sites, const std::vector<SymOp> &ops) {
    switch (epsilon.auto_multiplicity_off) {
    case 0:
        for (AtomSite &site : sites) {
            std::vector<Position> positions = newpos_sym_op(site.position(), ops);
            const int distinct = special_pos_check(positions);
            site.w = static_cast<double>(distinct) / static_cast<double>(ops.size());
        }
        break;
    case 1:
        for (AtomSite &site : sites) {
            site.w = 1.0;
        }
        break;
    default:
        input_exit("$$ invalid auto_multiplicity_off=%d\n. Abort.", epsilon.auto_multiplicity_off);
    }
}

double bij_to_beq(const Metric &metric, const AtomSite &site) {
    if (site.bf == 0) {
        return site.B;
    }
    const MetricTensor &G = metric.direct;
    const auto &[b11, b22, b33, b12, b13, b23] = site.beta;
    return 4.0 / 3.0 *
           (b11 * G.g11 + b22 * G.g22 + b33 * G.g33 +
            2.0 * (b12 * G.g12 + b13 * G.g31 + b23 * G.g23));
}

void refresh_equivalent_b(Csd &csd) {
    for (AtomSite &site : csd.sites) {
        if (site.bf == 1) {
            site.B = bij_to_beq(csd.metric, site);
        }
    }
}

} // namespace orvel
