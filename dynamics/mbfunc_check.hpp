// The check mode of the beam selection (vg_sel_chk_flag): the selection of every tilt goes to
// "%s.dbg" and no intensities are computed.
#pragma once

#include "dynamics/sim_condition.hpp"
#include "dynamics/work_cal_int.hpp"

namespace orvel {

// Opens "%s.dbg" (base name) when the flag is set; closes it, and tells how many tilts in it have
// excitation errors that are not finite.
void dbg_dump_ini_sim();
void dbg_dump_term();

// True while the check mode is on.
bool dbg_sel_vg_on();

// Writes the beam list that selections are made from.
void dbg_sel_vg_init(const BeamList &beams);
// Heads the selection of the tilt point (ix, iy).
void dbg_sel_vg_pos(int ix, int iy);
// Writes the selection of this tilt: position, h k l, class and excitation error of each beam that
// is exact or Bethe.
void dbg_sel_vg_out(const BeamList &beams, const WorkCalInt &work);

} // namespace orvel
