#include "app/ranks.hpp"

#include "app/mb_mpi.hpp"

namespace orvel {

namespace {

Ranks single;
Ranks *current = &single;

} // namespace

Ranks &ranks() {
    return *current;
}

void chk_same_as_rank_0(const std::string &own, const char *what) {
    if (ranks().share(own) != own) {
        input_exit("$$ %s is not that of rank 0. Abort.", what);
    }
}

void set_ranks(Ranks *others) {
    current = others != nullptr ? others : &single;
}

} // namespace orvel
