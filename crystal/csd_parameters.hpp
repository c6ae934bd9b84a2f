// The parameters of a crystal with their records, visited in resolution order: lattice, then site
// by site, then low-order entry by entry.
//
// visit(FitPar &, double &) is called with a parameter's record and its value in the crystal; of a
// const crystal both are const. A site or an entry of unknown kind ends the visit.
#pragma once

#include "crystal/csd.hpp"

#include <cstddef>

namespace orvel {

// The record slot of each value of AtomSite::beta.
inline constexpr std::array<SitePar, 6> beta_slots = {par_beta11, par_beta22, par_beta33,
                                                      par_beta12, par_beta13, par_beta23};

template <class Crystal, class Visit> void visit_cell_parameters(Crystal &csd, Visit visit) {
    visit(csd.cell_pars[0], csd.cell.a);
    visit(csd.cell_pars[1], csd.cell.b);
    visit(csd.cell_pars[2], csd.cell.c);
    visit(csd.cell_pars[3], csd.cell.alpha);
    visit(csd.cell_pars[4], csd.cell.beta);
    visit(csd.cell_pars[5], csd.cell.gamma);
}

// False when a site's displacement type is neither 0 nor 1.
template <class Crystal, class Visit> bool visit_site_parameters(Crystal &csd, Visit visit) {
    for (std::size_t i = 0; i < csd.sites.size(); ++i) {
        auto &site = csd.sites[i];
        auto &pars = csd.site_pars[i];
        visit(pars[par_x], site.x);
        visit(pars[par_y], site.y);
        visit(pars[par_z], site.z);
        if (site.bf == 0) {
            visit(pars[par_B], site.B);
        } else if (site.bf == 1) {
            for (std::size_t k = 0; k < beta_slots.size(); ++k) {
                visit(pars[beta_slots[k]], site.beta[k]);
            }
        } else {
            return false;
        }
        visit(pars[par_occupancy], site.occupancy);
    }
    return true;
}

// False when there are entries of a lof_type other than 1 to 4.
template <class Crystal, class Visit> bool visit_low_order_parameters(Crystal &csd, Visit visit) {
    for (auto &entry : csd.low_order) {
        switch (csd.lof_type) {
        case 1:
            visit(entry.pars[0], entry.total.re);
            visit(entry.pars[1], entry.total.im);
            break;
        case 2:
            visit(entry.pars[2], entry.elastic.re);
            visit(entry.pars[3], entry.elastic.im);
            break;
        case 3:
        case 4:
            for (std::size_t i = 0; i < entry.elastic_f.size(); ++i) {
                visit(entry.elastic_pars[i], entry.elastic_f[i]);
                visit(entry.inelastic_pars[i], entry.inelastic_f[i]);
            }
            break;
        default:
            return false;
        }
    }
    return true;
}

} // namespace orvel
