#!/bin/sh
# Prints the table of benchmarks; the presets `bench` and `release` have to be built.
set -eu
cd "$(dirname "$0")/.."
OPENBLAS_NUM_THREADS=1 ORVEL_DATA=data build/bench/bench/orvel_bench 2>/dev/null
echo
ORVEL_DATA="$PWD/data" /usr/bin/python3 bench/whole_runs.py "$PWD/build/release/orvel" \
    "$PWD/build/release/orvel_mpi" mpiexec 5
