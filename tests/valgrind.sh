#!/bin/sh
# One small run of each job under valgrind: no invalid access, no use of what was never set, no
# leak. Arguments: the program, the root of the project.
set -eu
orvel=$1
root=$2
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
cd "$folder"
status=0
for job in "$root"/fuzz/corpus/*/small; do
    # Folders of other languages begin with no job keyword.
    grep -q '^[A-Z_0-9]*_MODE$' "$job" || continue
    name=$(basename "$(dirname "$job")")
    cp "$job" "$name.prm"
    if ORVEL_DATA=$root/data valgrind -q --error-exitcode=9 --leak-check=full \
        --errors-for-leak-kinds=definite,possible "$orvel" "$name.prm" >"$name.out"; then
        echo "$name: clean"
    else
        echo "$name: status $?, see above"
        tail -n 3 "$name.out"
        status=1
    fi
done
exit $status
