#include "dynamics/mbfunc_check.hpp"

#include "app/mb_mpi.hpp"
#include "app/run_settings.hpp"

#include <cmath>

namespace orvel {

void dbg_dump_ini_sim() {
    dbg.not_finite = 0;
    if (dbg.vg_sel_chk_flag == 1) {
        dbg.stream = mb_fopen_chk_wmode(dbg.base_name + ".dbg", Writing::in_place);
    }
}

void dbg_dump_term() {
    if (dbg_sel_vg_on()) {
        mb_fclose(dbg.stream);
        if (dbg.not_finite > 0) {
            mb_fprintf(stdout,
                       "$$ Warning: in %s.dbg, excitation errors of %d tilts are not finite "
                       "numbers.\n",
                       dbg.base_name.c_str(), dbg.not_finite);
        }
    }
}

bool dbg_sel_vg_on() {
    return dbg.stream != nullptr;
}

void dbg_sel_vg_init(const BeamList &beams) {
    if (!dbg_sel_vg_on()) {
        return;
    }
    mb_fprintf(dbg.stream, "# beam selection of each tilt\n");
    mb_fprintf(dbg.stream, "# beam search: Exact= %d  Bethe= %d\n", beams.num_exact_beam,
               beams.num_bethe_beam);
}

void dbg_sel_vg_pos(int ix, int iy) {
    if (dbg_sel_vg_on()) {
        mb_fprintf(dbg.stream, "# ix= %d  iy= %d\n", ix, iy);
    }
}

void dbg_sel_vg_out(const BeamList &beams, const WorkCalInt &work) {
    mb_fprintf(dbg.stream, "# Exact= %d  Bethe= %d\n", work.n_exact, work.n_bethe);
    mb_fprintf(dbg.stream, "# i\th\tk\tl\tBethe\tSg[1/A]\n");
    bool finite = true;
    for (int row = 0; row < work.n_exact + work.n_bethe; ++row) {
        const int i = work.index_list[row];
        const Hkl &g = beams.hkl[i];
        mb_fprintf(dbg.stream, "%d\t%d\t%d\t%d\t%d\t%g\n", i, g.h, g.k, g.l,
                   row < work.n_exact ? 0 : 1, work.s[i]);
        finite = finite && std::isfinite(work.s[i]);
    }
    dbg.not_finite += finite ? 0 : 1;
}

} // namespace orvel
