#include "dynamics/mbfunc_select.hpp"

#include "app/mb_mpi.hpp"
#include "app/run_settings.hpp"
#include "crystal/potential_coef.hpp"
#include "dynamics/beam_class.hpp"

#include <algorithm>
#include <cmath>

namespace orvel {

namespace {

// Fills the selection from class_of(position), asked for every beam but the first.
template <class ClassOf>
void select_beams(const BeamList &beams, WorkCalInt &work, ClassOf class_of) {
    if (beams.size() < 1 || beams.hkl[0] != Hkl{0, 0, 0}) {
        mb_error_exit(stdout, "reflex_sel[0] must be 000");
    }
    int *bethe = work.order.data();
    work.n_exact = 0;
    work.n_bethe = 0;
    work.index_list[work.n_exact++] = 0;
    for (int i = 1; i < beams.size(); ++i) {
        switch (class_of(i)) {
        case BeamClass::exact:
            work.index_list[work.n_exact++] = i;
            break;
        case BeamClass::bethe:
            bethe[work.n_bethe++] = i;
            break;
        case BeamClass::dropped:
            break;
        }
    }
    std::copy_n(bethe, work.n_bethe, work.index_list.data() + work.n_exact);
}

} // namespace

void vg_select_info_ug(const Sd &sd, const complex *const *V, WorkCalInt &work) {
    if (epsilon.vg_select_flag == 0) {
        vg_no_select_info_ug(sd.beams, work);
        return;
    }
    switch (sd.beam_search.flag_bs) {
    case 1:
    case 11:
        vg_select_wg_info_ug(sd, V, work);
        break;
    case 2:
    case 12:
        vg_select_sg_info_ug(sd, work);
        break;
    case 3:
    case 13:
        vg_select_sg_info_ug_multi(sd, work);
        break;
    default:
        break;
    }
}

void vg_select_wg_info_ug(const Sd &sd, const complex *const *V, WorkCalInt &work) {
    const BeamSearch &search = sd.beam_search;
    const double gamma = relativ_corr(sd.beam.acc_voltage);
    const double lambda = wavelength(sd.beam.acc_voltage);
    select_beams(sd.beams, work, [&](int i) {
        const double w = std::fabs(work.s[i]) * vg_to_xig(V[i][0], gamma, lambda);
        return classify_beam(w, search.wgbmin, search.wgmax);
    });
}

void vg_select_sg_info_ug(const Sd &sd, WorkCalInt &work) {
    const BeamSearch &search = sd.beam_search;
    select_beams(sd.beams, work, [&](int i) {
        return classify_beam(std::fabs(work.s[i]), search.sgbmin, search.sgmax);
    });
}

void vg_select_sg_info_ug_multi(const Sd &sd, WorkCalInt &work) {
    const BeamSearch &search = sd.beam_search;
    select_beams(sd.beams, work, [&](int i) {
        const int zone = laue_zone(sd.beam.inc_uvw, sd.beams.hkl[i]);
        return classify_beam(std::fabs(work.s[i]), search.sgbmin_lz[zone], search.sgmax_lz[zone]);
    });
}

void vg_no_select_info_ug(const BeamList &beams, WorkCalInt &work) {
    work.n_exact = beams.num_exact_beam;
    work.n_bethe = beams.num_bethe_beam;
    for (int i = 0; i < beams.size(); ++i) {
        work.index_list[i] = i;
    }
}

void vg_select_trans_ug(std::span<const int> reflections, WorkCalInt &work) {
    const int *first = work.index_list.data();
    const int *last = first + work.n_exact;
    for (int j = 0; j < work.n_exact + work.n_bethe; ++j) {
        work.beta_selected[j] = work.beta[first[j]];
    }
    if (work.n_exact == 0) {
        return;
    }
    for (std::size_t o = 0; o < reflections.size(); ++o) {
        const int *row = std::find(first, last, reflections[o]);
        work.out_rows[o] = row == last ? -1 : static_cast<int>(row - first);
    }
}

} // namespace orvel
