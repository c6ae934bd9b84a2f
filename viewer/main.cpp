#include "viewer/kavun.hpp"

int main(int argc, char **argv) {
    return orvel::run_kavun(argc, argv);
}
