#include "dynamics/sim_condition.hpp"

namespace orvel {

void free_sd(Sd &sd) {
    sd.beams = {};
    sd.reflections = {};
    sd.thicknesses = {};
    sd.grid.kxy = {};
    sd.grid.pix = {};
    sd.intensity = {};
}

} // namespace orvel
