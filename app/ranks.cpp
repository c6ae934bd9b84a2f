#include "app/ranks.hpp"

namespace orvel {

namespace {

Ranks single;
Ranks *current = &single;

} // namespace

Ranks &ranks() {
    return *current;
}

void set_ranks(Ranks *others) {
    current = others != nullptr ? others : &single;
}

} // namespace orvel
