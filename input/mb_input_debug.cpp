#include "input/mb_input_debug.hpp"

#include "app/mb_mpi.hpp"
#include "input/utils.hpp"

namespace orvel {

namespace {

void chk_counts(int exact, int bethe, int nglim) {
    chk_count(exact, "exact beams", 0.0);
    chk_count(bethe, "Bethe beams", 0.0);
    if (exact > nglim || bethe > nglim) {
        mb_fprintf(stdout,
                   "$$ Error: Num. of reflections in GFILE is greater than nglim. Abort.\n");
        mb_fprintf(stdout, "$$ Input bigger nglim.\n");
        end_run(1);
    }
    if (exact == 0 && bethe == 0) {
        mb_fprintf(stdout, "$$ Error: Num. of reflections in GFILE is 0. Abort.\n");
        end_run(1);
    }
}

} // namespace

BeamList dbg_g_filein(const std::string &base_name, int nglim) {
    return dbg_vg_filein(base_name, nglim).beams;
}

BeamsWithVg dbg_vg_filein(const std::string &base_name, int nglim) {
    const InputFile stream = fopen_chk_rmode(base_name + ".ggi");
    mb_fprintf(stdout, "$$ g read from %s.ggi\n", base_name.c_str());
    const auto [exact, bethe] = fget_2i(stream);
    chk_counts(exact, bethe, nglim);

    BeamsWithVg read;
    read.beams.num_exact_beam = exact;
    read.beams.num_bethe_beam = bethe;
    for (long long i = 0; i < static_cast<long long>(exact) + bethe; ++i) {
        const auto v = fget_5d(stream);
        const Hkl g{cut_to_int(v[0]), cut_to_int(v[1]), cut_to_int(v[2])};
        chk_index_limit(g.h, g.k, g.l);
        read.beams.hkl.push_back(g);
        read.vg.push_back({v[3], v[4]});
    }
    chk_data("RFE", stream);
    return read;
}

} // namespace orvel
