#include "app/orvel.hpp"

int main(int argc, char **argv) {
    return orvel::run_orvel(argc, argv);
}
