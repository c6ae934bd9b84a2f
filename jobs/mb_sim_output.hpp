// The result files of the CBED jobs, one per thickness, and the script for kavun.
#pragma once

#include "app/mb_mpi.hpp"
#include "crystal/lattice.hpp"
#include "dynamics/sim_condition.hpp"

#include <cstdio>
#include <initializer_list>
#include <string>

namespace orvel {

// What the CBED and the coherent job name differently.
struct ResultTexts {
    const char *script_mode; // line of the script
    const char *visualize;   // line of the script before each file
    const char *result;      // first line of a result file
    int contrast_reverse;    // default of the script
};

// Largest and smallest value that a display starts with.
struct DisplayRange {
    double max = 0.0;
    double min = 0.0;
};

// Where the disk of a reflection lies, in pixels from that of 000: along H and along G.
struct DiskPosition {
    double x = 0.0;
    double y = 0.0;
};
DiskPosition disk_position(const Hkl &g, const Sd &sd, const Metric &metric);

// The script "%s_kav.txt" while it is being written.
OutputFile open_sim_script(const std::string &base_name, const ResultTexts &texts);
// Tells of the script and how to use it.
void close_sim_script(OutputFile &script);

// Opens "%s_rs%d.txt" of thickness t, adds it to the script and writes everything up to COORD.
OutputFile open_sim_result(const Sd &sd, const CellConstants &cell, const std::string &base_name,
                           const ResultTexts &texts, int t, DisplayRange range, std::FILE *script);

// COORD: write_point(p) writes the line of tilt point p.
template <class WritePoint>
void write_coord(const Sd &sd, std::FILE *file, WritePoint write_point) {
    const TiltGrid &grid = sd.grid;
    mb_fprintf(file, "COORD{\n");
    mb_fprintf(file, "%d %d    #num_pix, num_pix_side\n", grid.num_pix, grid.num_cal_pix_side);
    mb_fprintf(file, "%g %g %g %g    #Hbgn Hend Gbgn Gend\n", grid.H_range[0], grid.H_range[1],
               grid.G_range[0], grid.G_range[1]);
    mb_fprintf(file, "# H, G, ih, ig, flag\n");
    for (const TiltPoint &p : grid.pix) {
        write_point(p);
    }
    mb_fprintf(file, "}COORD\n");
}

// A line of one to four numbers with tabs between, each as "%g" gives it but in less than half the
// time: large patterns are millions of such lines.
void write_values(std::FILE *file, std::initializer_list<double> values);

// The RF blocks: write_value(o, p) writes the line of output reflection o at tilt point p.
template <class WriteValue>
void write_reflections(const Sd &sd, std::FILE *file, WriteValue write_value) {
    mb_fprintf(file, "# intensities\n");
    for (std::size_t o = 0; o < sd.reflections.size(); ++o) {
        const Hkl &g = sd.beams.hkl[sd.reflections[o]];
        mb_fprintf(file, "RF{\n# hkl\n%d\t%d\t%d\n", g.h, g.k, g.l);
        for (int p = 0; p < sd.grid.num_pix; ++p) {
            write_value(o, p);
        }
        mb_fprintf(file, "}RF\n");
    }
}

} // namespace orvel
