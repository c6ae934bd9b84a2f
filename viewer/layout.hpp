// Where things stand: discs of a CBED pattern, their overlap, scale bars.
//
// Unit is the sample, the distance between neighbouring tilts, 2 d / (n - 1) half base vectors for
// n tilts over a disc of radius d; x runs along base_g1, y along base_g2, the origin is the
// centre of the 000 disc, listed or not. The positions in a result file are those of samples
// 2 d / n wide: they are multiplied by (n - 1) / n, so that discs and the tilts inside them have
// one scale.
#pragma once

#include "viewer/cbed_result.hpp"

#include <vector>

namespace orvel {

struct Place {
    double x = 0.0;
    double y = 0.0;
};

struct DiscLayout {
    std::vector<Place> centres; // of the output reflections, samples
    Place low;                  // lower left corner of the pattern, disc rims included
    Place high;                 // upper right corner
    double sample_per_A = 0.0;  // length of a sample, 1/A
};

// Needs a grid that is no single point. Positions that are not finite, or so far apart that no
// picture holds them, end the run with one message that names the result file.
DiscLayout lay_out_discs(const CbedRun &run);

// Overlapping discs, sample by sample: raster of width x height samples whose cell (column, row),
// row 0 lowest, is centred at (low.x + column, low.y + row). Each disc is moved to the nearest
// whole sample, at most `rounding` samples away, so that every value is one that was calculated.
struct OverlapSum {
    Place low;
    int width = 0;
    int height = 0;
    double rounding = 0.0;        // largest displacement of a disc along x or y
    std::vector<float> intensity; // [row * width + column]
    std::vector<int> discs;       // number of discs that reach the cell
};

// Amplitudes: |sum over g of psi_g|^2 at the same final direction K_t + g. Intensities: their sum.
OverlapSum sum_overlap(const CbedRun &run, const CbedImage &image, const DiscLayout &layout);

// The largest of 1, 2 and 5 times a power of ten that is not above the length.
double round_length(double longest);

} // namespace orvel
