#!/bin/sh
# Fuzzes each target (or those named) for a number of seconds, with the program that ./dev built.
# What is found stays in build/fuzz/found, with the corpus that grew in build/fuzz/corpus.
set -eu
seconds=$1
shift
root=$(cd "$(dirname "$0")/.." && pwd)
work=$root/build/fuzz
# Runs write and replace files all the time.
[ ! -w /dev/shm ] || export TMPDIR=/dev/shm
[ $# -gt 0 ] || set -- $(ls "$root/fuzz/corpus")

keyword_of() {
    head -n 1 "$root/fuzz/corpus/$1/small"
}

status=0
for target in "$@"; do
    mkdir -p "$work/corpus/$target" "$work/found/$target"
    cp "$root/fuzz/corpus/$target"/* "$work/corpus/$target"
    # Whole parameter files of the same job.
    for file in $(grep -lxF -- "$(keyword_of "$target")" "$root"/examples/*/*.dat \
        "$root"/tests/oracle/crystals/*.prm); do
        cp "$file" "$work/corpus/$target"
    done
    if ! nice "$work/fuzz/orvel_fuzz" "$target" -close_fd_mask=3 -timeout=10 -max_len=4096 \
        -rss_limit_mb=2048 -print_final_stats=1 -max_total_time="$seconds" \
        -dict="$root/fuzz/orvel.dict" -artifact_prefix="$work/found/$target/" \
        "$work/corpus/$target" >"$work/$target.log" 2>&1; then
        echo "$target: see build/fuzz/$target.log and build/fuzz/found/$target"
        status=1
    fi
    echo "$target: $(sed -n 's/^stat::number_of_executed_units: *//p' "$work/$target.log") runs," \
        "$(find "$work/corpus/$target" -type f | wc -l) inputs kept"
done
exit $status
