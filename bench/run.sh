#!/bin/sh
# Prints the table of benchmarks; the preset `bench` has to be built.
set -eu
cd "$(dirname "$0")/.."
OPENBLAS_NUM_THREADS=1 build/bench/bench/orvel_bench
