#!/bin/sh
# Prints the table of benchmarks; the preset `bench` has to be built.
set -eu
cd "$(dirname "$0")/.."
OPENBLAS_NUM_THREADS=1 ORVEL_DATA=data build/bench/bench/orvel_bench 2>/dev/null
