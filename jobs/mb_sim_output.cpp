#include "jobs/mb_sim_output.hpp"

#include <array>
#include <cassert>
#include <charconv>

namespace orvel {

namespace {

// Display contrast is the power 0.5 of the intensity by default.
constexpr double script_gamma = 0.5;

void write_visual(std::FILE *file, DisplayRange range) {
    mb_fprintf(file, "#\nVISUAL{\n");
    mb_fprintf(file, "# default max and min [>0]\n%g\t%g\n", range.max, range.min);
    mb_fprintf(file, "# default gamma [>0]\n1.0\n");
    mb_fprintf(file, "# defalut magnification (integer only)\n1\n");
    mb_fprintf(file, "# default contrast-reverse-flag\n#  1:reverse, 0:not reverse\n0\n");
    mb_fprintf(file, "}VISUAL\n#\n");
}

void write_cr_parameters(std::FILE *file, const IncidentBeam &beam, const CellConstants &cell,
                         double thickness) {
    mb_fprintf(file, "CR_PARAMETERS{\n# lattice parameter\n# a,b,c,alpha,beta,gamma\n");
    mb_fprintf(file, "%g\t%g\t%g\t%g\t%g\t%g\n", cell.a, cell.b, cell.c, cell.alpha, cell.beta,
               cell.gamma);
    mb_fprintf(file, "# incident direction\n%d\t%d\t%d\n", beam.inc_uvw.u, beam.inc_uvw.v,
               beam.inc_uvw.w);
    mb_fprintf(file, "# zolzbase1\n%g\t%g\t%g\n", beam.base_g1.h, beam.base_g1.k, beam.base_g1.l);
    mb_fprintf(file, "# tilt HG\n%g\t%g\n", beam.H_tilt, beam.G_tilt);
    mb_fprintf(file, "# thickness [Angstrom]\n%g\n", thickness);
    mb_fprintf(file, "}CR_PARAMETERS\n#\n");
}

void write_rf_index(std::FILE *file, const Sd &sd, const Metric &metric) {
    mb_fprintf(file, "RF_INDEX{\n# reflections\n# number of reflections\n%zu\n",
               sd.reflections.size());
    mb_fprintf(file, "# h k l, position (pixel coord)\n");
    for (const int position : sd.reflections) {
        const Hkl &g = sd.beams.hkl[position];
        const DiskPosition p = disk_position(g, sd, metric);
        mb_fprintf(file, "%d\t%d\t%d\t%g\t%g\n", g.h, g.k, g.l, p.x, p.y);
    }
    mb_fprintf(file, "}RF_INDEX\n");
}

} // namespace

DiskPosition disk_position(const Hkl &g, const Sd &sd, const Metric &metric) {
    const double scale = sd.grid.num_cal_pix_side / sd.grid.disksize;
    const ZolzProjection p = proj_to_zolz(g, sd.beam.inc_uvw, sd.beam.base_g1, metric);
    return {p.a * scale, p.b * scale};
}

OutputFile open_sim_script(const std::string &base_name, const ResultTexts &texts) {
    OutputFile script = mb_fopen_chk_wmode(base_name + "_kav.txt");
    mb_fprintf(script, "KAVUN_SCRIPT\n# script for kavun.\n%s\n", texts.script_mode);
    mb_fprintf(script, "#\n# VISUAL\n# rs_file gamma_coef mag(int) cont_reverse_flag\n#\n");
    mb_fprintf(script, "HTML_OPEN\n%s_.html\n#\n", base_name.c_str());
    return script;
}

void close_sim_script(OutputFile &script) {
    mb_fprintf(script, "HTML_CLOSE\n");
    mb_fclose(script);
    mb_fprintf(stdout, "\nThe script for visualization ==> %s\n", script.path().c_str());
    mb_fprintf(stdout, "Usage: kavun %s\n", script.path().c_str());
}

OutputFile open_sim_result(const Sd &sd, const CellConstants &cell, const std::string &base_name,
                           const ResultTexts &texts, int t, DisplayRange range, std::FILE *script) {
    OutputFile file = mb_fopen_chk_wmode(base_name + "_rs" + std::to_string(t) + ".txt");
    mb_fprintf(script, "%s\n%s %g 1 %d\n", texts.visualize, file.path().c_str(), script_gamma,
               texts.contrast_reverse);
    mb_fprintf(file, "%s\n# %s\n", texts.result, file.path().c_str());
    write_visual(file, range);
    write_cr_parameters(file, sd.beam, cell, sd.thicknesses[t]);
    write_rf_index(file, sd, bravai(cell));
    return file;
}

void write_values(std::FILE *file, std::initializer_list<double> values) {
    constexpr std::size_t most_values = 4;
    constexpr std::size_t longest = 16; // "-1.23457e-308", a separator
    std::array<char, most_values * longest> line{};
    assert(values.size() > 0 && values.size() <= most_values);
    char *end = line.data();
    for (const double value : values) {
        end =
            std::to_chars(end, line.data() + line.size(), value, std::chars_format::general, 6).ptr;
        *end++ = '\t';
    }
    end[-1] = '\n';
    std::fwrite(line.data(), 1, static_cast<std::size_t>(end - line.data()), file);
}

} // namespace orvel
