// The result files of the CBED jobs: intensities (SIM_RESULT) or complex amplitudes
// (SIM_COHERENT_RESULT) of the output reflections over the grid of incident-beam tilts, one file a
// thickness.
#pragma once

#include "crystal/lattice.hpp"
#include "viewer/kav_script.hpp"

#include <string>
#include <vector>

namespace orvel {

enum class TiltShape { point, line, area };

// A tilt of the grid. H and G are relative to the centre tilt, in half base vectors; column and row
// count from 0, H grows along a row and G from row to row.
struct TiltPoint {
    double H = 0.0;
    double G = 0.0;
    int column = 0;
    int row = 0;
    bool inside = true; // a point outside the disc holds no result
};

struct TiltGrid {
    TiltShape shape = TiltShape::point;
    int side = 1;                  // points along a side
    double half_width = 0.0;       // half the extent of H, in half base vectors; 0 for a point
    std::vector<TiltPoint> points; // side x side (area), side (line) or 1 (point)
};

// An output reflection and its projection onto base_g1 and base_g2, times side / half_width, as the
// file has it; not finite where half_width is 0.
struct OutputReflection {
    Hkl hkl;
    double x = 0.0;
    double y = 0.0;
};

// What all thicknesses of a run share.
struct CbedPattern {
    bool coherent = false;
    CellConstants cell;
    Uvw incidence;
    RealHkl base_g1;
    double H_tilt = 0.0; // centre of the grid, half base vectors
    double G_tilt = 0.0;
    std::vector<OutputReflection> reflections;
    TiltGrid grid;
};

// One thickness. Values of reflection r at point p stand at [r * points + p]; those of points
// outside the disc are 0. Amplitudes are pairs, values their real and `imaginary` their imaginary
// parts; squared moduli have the scale of intensities. Six digits stand in the file: a float keeps
// them.
struct CbedImage {
    std::string file;       // name, as the script has it
    double thickness = 0.0; // A
    double max = 0.0;       // range of intensities that the file proposes, max > min
    double min = 0.0;
    double gamma = 1.0; // as the script says, like the two below
    int magnification = 1;
    bool reversed = false;
    std::vector<float> values;
    std::vector<float> imaginary; // coherent only
};

struct CbedRun {
    CbedPattern pattern;
    std::vector<CbedImage> images;
};

// Reads the result files that a page of the script names. A file that is missing, cut short or
// wrong, or that disagrees with the first one about crystal, reflections or grid, ends the run with
// one message.
CbedRun read_cbed_run(const KavScript &script, const KavPage &page);

// Intensity of a value: itself, or the squared modulus of an amplitude.
double intensity(const CbedPattern &pattern, const CbedImage &image, std::size_t index);

} // namespace orvel
