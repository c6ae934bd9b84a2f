#include "app/orvel.hpp"
#include "app/surroundings.hpp"
#include "mpi/mpi_ranks.hpp"

int main(int argc, char **argv) {
    orvel::settle_surroundings(); // before the library opens files of its own
    orvel::MpiRanks ranks(&argc, &argv);
    orvel::set_ranks(&ranks);
    return orvel::run_orvel(argc, argv);
}
