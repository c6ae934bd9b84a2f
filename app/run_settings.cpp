#include "app/run_settings.hpp"

namespace orvel {

DebugFlags dbg;
EpsilonSettings epsilon;

} // namespace orvel
