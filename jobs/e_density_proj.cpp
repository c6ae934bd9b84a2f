// Maps of the crystal projected along a zone axis, summed over the beams that the search selects.
#include "app/mb_mpi.hpp"
#include "crystal/csd.hpp"
#include "dynamics/mbfunc_potential.hpp"
#include "jobs/e_density_input.hpp"
#include "jobs/fourier_map.hpp"
#include "jobs/jobs.hpp"
#include "jobs/tilt_loop.hpp"

namespace orvel {

namespace {

// A gnuplot script that draws one column of a map file.
struct MapScript {
    const char *title;  // first line, a comment
    std::string name;   // of script and picture, without extension
    const char *zrange; // proposed to the reader, who may take it out of its comment
    int column = 3;     // of the map file
};

void write_map_script(const MapScript &script, const std::string &map_file) {
    OutputFile plt = mb_fopen_chk_wmode(script.name + ".plt");
    mb_fprintf(plt, "%s\n", script.title);
    mb_fprintf(plt, "set pm3d\nset nosurface\nset view 0,0\nset size square\n");
    mb_fprintf(plt, "set term png crop\nset output \"%s.png\"\n", script.name.c_str());
    mb_fprintf(plt, "#set zrange %s\n", script.zrange);
    mb_fprintf(plt, "splot \"%s\" using 1:2:%d with lines\n", map_file.c_str(), script.column);
    mb_fprintf(plt, "pause -1\n");
    mb_fclose(plt);
}

// The lines above the column names.
void fprint_map_head(std::FILE *file, const char *quantity, int num_beams, const MapRange &range) {
    mb_fprintf(file, "# %s (formed by %d beams)\n", quantity, num_beams);
    mb_fprintf(file, "# nx  ny\n# %d  %d\n", range.nx, range.ny);
}

void announce_coefficients() {
    mb_fprintf(stdout, "Fourier coef. calculation....");
    mb_fflush(stdout);
}

void warn_area(double area) {
    if (area == 0.0) {
        mb_fprintf(stdout, "$$ Warning: AREA_PROJ_CELL is 0; the densities are infinite.\n");
    }
    if (area < 0.0) {
        mb_fprintf(stdout, "$$ Warning: AREA_PROJ_CELL is negative, and so are the densities.\n");
    }
}

NonFinitePoints write_density_maps(const ProjectedMapConditions &conditions,
                                   const PotentialAndDensity &coefficients, OutputFile &pp,
                                   OutputFile &ed) {
    NonFinitePoints non_finite;
    const BeamList &beams = conditions.sd.beams;
    fprint_map_head(pp, "Projected potential", beams.size(), conditions.range);
    mb_fprintf(pp, "# x\ty\tpotential.re[V])\n");
    fprint_map_head(ed, "Projected electron density", beams.size(), conditions.range);
    mb_fprintf(ed, "# x\ty\tpotential.re[V])\n");
    const auto put = [&](double x, double y, const RealUvw &r) {
        const complex V = calc_inv_fourier(r, beams.hkl, coefficients.V.data());
        const complex rho = calc_inv_fourier(r, beams.hkl, coefficients.F_x.data());
        non_finite.add(is_finite(V.re) && is_finite(rho.re / conditions.area_proj_cell));
        mb_fprintf(pp, "%g\t%g\t%g\n", x, y, V.re);
        mb_fprintf(ed, "%g\t%g\t%g\n", x, y, rho.re / conditions.area_proj_cell);
    };
    for_each_map_point(conditions.range, conditions.base, put, [&] {
        mb_fprintf(pp, "\n");
        mb_fprintf(ed, "\n");
    });
    mb_fprintf(stdout, "100%%.\n");
    return non_finite;
}

NonFinitePoints write_potential_map(const ProjectedMapConditions &conditions,
                                    const Vector<complex> &V, OutputFile &pp) {
    NonFinitePoints non_finite;
    const BeamList &beams = conditions.sd.beams;
    fprint_map_head(pp, "Projected potential", beams.size(), conditions.range);
    mb_fprintf(pp, "# x\ty\tpot.re[V]\tpot.im[V])\n");
    const auto put = [&](double x, double y, const RealUvw &r) {
        const complex v = calc_inv_fourier(r, beams.hkl, V.data());
        non_finite.add(is_finite(v));
        mb_fprintf(pp, "%g\t%g\t%g\t%g\n", x, y, v.re, v.im);
    };
    for_each_map_point(conditions.range, conditions.base, put, [&] { mb_fprintf(pp, "\n"); });
    mb_fprintf(stdout, "100%%.\n");
    return non_finite;
}

} // namespace

void mb_electron_density_proj(InputFile &stream, std::FILE *log, const std::string &base_name) {
    Csd csd = input_csd_cstr(stream, base_name);
    const ProjectedMapConditions conditions = input_density_proj_data(csd, base_name, stream);
    warn_area(conditions.area_proj_cell);

    announce_coefficients();
    const PotentialAndDensity coefficients =
        vgv_fxgv_csd(conditions.sd.beams, csd, conditions.sd.beam.acc_voltage);

    OutputFile pp = fopen_chk_wmode(base_name + "_pp.txt");
    OutputFile ed = fopen_chk_wmode(base_name + "_ed.txt");
    mb_fprintf(stdout, "Projected potential        ==> %s\n", pp.path().c_str());
    mb_fprintf(stdout, "Projected electron density ==> %s\n", ed.path().c_str());
    const NonFinitePoints non_finite = write_density_maps(conditions, coefficients, pp, ed);
    mb_fclose(pp);
    mb_fclose(ed);

    write_map_script({"#", base_name + "_ed", "[0:3]"}, ed.path());
    write_map_script({"#", base_name + "_pp", "[0:20]"}, pp.path());
    non_finite.report(log);
}

void mb_potential_reim_proj(InputFile &stream, std::FILE *log, const std::string &base_name) {
    Csd csd = input_csd_cstr(stream, base_name);
    const ProjectedMapConditions conditions = input_density_proj_data(csd, base_name, stream);

    announce_coefficients();
    const Vector<complex> V =
        vgv_reim_csd(conditions.sd.beams, csd, conditions.sd.beam.acc_voltage);

    OutputFile pp = mb_fopen_chk_wmode(base_name + "_pp.txt");
    mb_fprintf(stdout, "Projected potential        ==> %s\n", pp.path().c_str());
    const NonFinitePoints non_finite = write_potential_map(conditions, V, pp);
    mb_fclose(pp);

    write_map_script({"#Real (elastic) potential plot", base_name + "_re_pp", "[0:20]"}, pp.path());
    write_map_script({"#Imaginary (inelastic) potential plot", base_name + "_im_pp", "[-3:3]", 4},
                     pp.path());
    non_finite.report(log);
}

} // namespace orvel
