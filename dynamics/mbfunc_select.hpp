// Per-tilt beam selection: every beam of the global list becomes exact, Bethe or is dropped by its
// excitation error at this very tilt.
#pragma once

#include "dynamics/sim_condition.hpp"
#include "dynamics/work_cal_int.hpp"

#include <span>

namespace orvel {

// Writes index_list, n_exact and n_bethe of the work record: positions of the exact beams, then of
// the Bethe beams, each ascending. With epsilon.vg_select_flag 0 the global classification stands;
// otherwise by the method of the beam search (a manual list never gets here with the flag on). V is
// the potential matrix, whose column 0 holds V(g). A list that does not begin with 000 ends the run
// through mb_error_exit ("reflex_sel[0] must be 000"). There is no extinction-distance limit here.
void vg_select_info_ug(const Sd &sd, const complex *const *V, WorkCalInt &work);

// The rules, over work.s. wg: |s| xi against wgbmin, wgmax; sg: |s| against sgbmin, sgmax;
// sg-multi: the same with the thresholds of the beam's Laue zone.
void vg_select_wg_info_ug(const Sd &sd, const complex *const *V, WorkCalInt &work);
void vg_select_sg_info_ug(const Sd &sd, WorkCalInt &work);
void vg_select_sg_info_ug_multi(const Sd &sd, WorkCalInt &work);
void vg_no_select_info_ug(const BeamList &beams, WorkCalInt &work);

// Copies beta of the selected beams into beta_selected, in selection order, and maps the output
// reflections (global positions) onto rows of the exact beams, -1 for one that is not exact at this
// tilt. With no exact beam the map is left as it is.
void vg_select_trans_ug(std::span<const int> reflections, WorkCalInt &work);

} // namespace orvel
