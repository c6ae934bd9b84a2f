// The pictures of a run for papers and scripts, as its page shows them at first.
#pragma once

#include "viewer/bloch_result.hpp"
#include "viewer/cbed_result.hpp"
#include "viewer/dispsurf_result.hpp"
#include "viewer/facts.hpp"
#include "viewer/layout.hpp"
#include "viewer/picture.hpp"

#include <functional>
#include <string>

namespace orvel {

// What is done with a picture, whose name is that of a file without its folder, before the next one
// is drawn.
using TakePicture = std::function<void(const std::string &name, const Picture &picture)>;

// What a pattern's picture shows.
enum class CbedQuantity { intensity, modulus, phase, sum };

// Pixels a sample: the magnification of the script times the largest whole number that keeps a
// pattern of magnification 1 within 1600 pixels.
int pixels_per_sample(const CbedImage &image, const DiscLayout &layout);

// Free pixels around a pattern.
inline constexpr double pattern_margin = 16.0;

// One thickness of an area of tilts, a strip with scale bars and text below it. The upper left
// corner of the layout stands at (pattern_margin, pattern_margin); a sample is a square of
// pixels_per_sample.
Picture cbed_picture(const CbedRun &run, const CbedImage &image, CbedQuantity quantity,
                     const Facts &facts);

// All pictures of a run: patterns or rocking curves one a thickness, curves over the thickness for
// a single tilt (none where there is only one thickness).
void cbed_pictures(const CbedRun &run, const Facts &facts, const TakePicture &take);
void dispsurf_pictures(const DispsurfRun &run, const Facts &facts, const TakePicture &take);
void bloch_pictures(const BlochRun &run, const Facts &facts, const TakePicture &take);

} // namespace orvel
