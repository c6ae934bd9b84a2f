#include "dynamics/rfsearch_list.hpp"

#include "app/mb_debug.hpp"
#include "app/mb_mpi.hpp"
#include "app/run_settings.hpp"
#include "crystal/strct_f.hpp"

#include <algorithm>
#include <cmath>
#include <iterator>

namespace orvel {

namespace {

void print_search(std::FILE *stream, const BeamSearch &search) {
    switch (search.flag_bs) {
    case 0:
    case 10:
        mb_fprintf(stream, "# beam_search --> manual\n");
        mb_fprintf(stdout, "$$ beam_search: manual\n");
        break;
    case 1:
    case 11:
        mb_fprintf(stream, "# beam_search par.: \n");
        mb_fprintf(stream, "wgbmin=%lg, wgmax=%lg, xigmax=%lg, lz:%d-%d, gmax=%lg\n", search.wgbmin,
                   search.wgmax, search.xigmax, search.lz_min, search.lz_max, search.g_max);
        break;
    case 2:
    case 12:
        mb_fprintf(stream, "# beam_search par.: \n");
        mb_fprintf(stream, "sgbmin=%lg, sgmax=%lg, xigmax=%lg, lz:%d-%d, gmax=%lg\n", search.sgbmin,
                   search.sgmax, search.xigmax, search.lz_min, search.lz_max, search.g_max);
        break;
    case 3:
    case 13:
        mb_fprintf(stream, "# beam_search par.: \n");
        mb_fprintf(stream, "# beam_search ---> multi sg\n");
        break;
    default:
        mb_fprintf(stdout, "$$ beam_search.flag_bs = %d\n", search.flag_bs);
    }
}

// Everything about one reflection that the list shows.
struct ReflectionInfo {
    int zone = 0;
    ZolzProjection projection;
    double length = 0.0; // |g|, 1/A
    complex F;           // A
    complex elastic;
    complex absorptive;
};

void print_rfinfo(std::FILE *stream, int position, const Hkl &g, bool is_bethe,
                  const ReflectionInfo &info) {
    mb_fprintf(stream, "%d\t%3d\t%3d\t%3d\t%d\t%f\t%f\t%d\t%f\t%f\t%f\t%f", position, g.h, g.k, g.l,
               info.zone, info.projection.a, info.projection.b, is_bethe ? 1 : 0, info.length,
               info.F.re, info.F.im, c_abs(info.F));
    mb_fprintf(stream, "\t%f\t%f\t%f\t%f\n", info.elastic.re, info.elastic.im, info.absorptive.re,
               info.absorptive.im);
}

bool all_finite(const ReflectionInfo &info) {
    const double values[] = {info.projection.a, info.projection.b,  info.length,
                             info.F.re,         info.F.im,          info.elastic.re,
                             info.elastic.im,   info.absorptive.re, info.absorptive.im};
    return std::all_of(std::begin(values), std::end(values),
                       [](double value) { return std::isfinite(value); });
}

} // namespace

void reflex_dump_csd(const Sd &sd, const Csd &csd, const std::string &base_name, int job_number) {
    const std::string name = base_name + "_fg" + std::to_string(job_number) + ".txt";
    OutputFile file = mb_fopen_chk_wmode(name);
    mb_fprintf(stdout, "reflex output ==> %s\n", name.c_str());
    print_search(file, sd.beam_search);
    const Uvw &zone = sd.beam.inc_uvw;
    mb_fprintf(file, "# [%d %d %d]\n", zone.u, zone.v, zone.w);
    mb_fprintf(file, "# Exact= %d  Bethe= %d\n", sd.beams.num_exact_beam, sd.beams.num_bethe_beam);
    mb_fprintf(file, "i\th\tk\tl\tnlz\tx\ty\tBethe\tg\tFg_re\tFg_im\tFg_abs"
                     "\tFgela_re\tFgela_im\tFginela_re\tFginela_im\n");

    const double voltage = sd.beam.acc_voltage;
    StructureFactorTable known = low_order_table(csd, voltage);
    int non_finite = 0;
    for (int i = 0; i < sd.beams.size(); ++i) {
        chk_interrupt(i, sd.beams.size());
        const Hkl &g = sd.beams.hkl[i];
        ReflectionInfo info;
        info.zone = laue_zone(zone, g);
        info.projection = proj_to_zolz(g, zone, sd.beam.base_g1, csd.metric);
        info.length = std::sqrt(sq_abs(hkl2rhkl(g), csd.metric));
        info.F = structure_factor_ext_tbl(g, csd, voltage, known).F;
        info.elastic = calc_Fg_ela(g, csd, voltage).F;
        info.absorptive = calc_Fg_inela(g, csd, voltage);
        non_finite += all_finite(info) ? 0 : 1;
        print_rfinfo(file, i, g, i >= sd.beams.num_exact_beam, info);
    }
    mb_fclose(file);
    if (non_finite > 0) {
        mb_fprintf(stdout,
                   "$$ Warning: %d of %d lines of the reflection list hold values that are not "
                   "finite numbers.\n",
                   non_finite, sd.beams.size());
    }
    if (dbg.reflex_only_flag == 1) {
        mb_fprintf(stdout, "$$ reflex_only_flag=1. exit.\n");
        end_run(0);
    }
}

} // namespace orvel
