#!/bin/sh
# Proves the layers of the house: no file includes one from a folder above it, and the include
# graph of the files has no circle.
set -eu
cd "${1:-$(dirname "$0")/..}"

# Floors from the ground up. The files of app/ listed here are its ground floor; the rest is roof.
floor_of() {
    case "$1" in
    app/mb_mpi.* | app/ranks.* | app/run_settings.*) echo 0 ;;
    app/mb_debug.*) echo 1 ;;
    numeric/*) echo 1 ;;
    input/*) echo 2 ;;
    crystal/*) echo 3 ;;
    dynamics/*) echo 4 ;;
    jobs/*) echo 5 ;;
    app/*) echo 6 ;;
    esac
}

status=0
pairs=$(mktemp)
trap 'rm -f "$pairs"' EXIT
for file in app/*.[ch]pp numeric/*.[ch]pp input/*.[ch]pp crystal/*.[ch]pp dynamics/*.[ch]pp \
    jobs/*.[ch]pp; do
    [ -e "$file" ] || continue
    for header in $(sed -n 's/^#include "\(.*\)"$/\1/p' "$file"); do
        [ -e "$header" ] || { echo "$file includes $header, which is not there"; status=1; }
        echo "$file $header" >>"$pairs"
        if [ "$(floor_of "$header")" -gt "$(floor_of "$file")" ]; then
            echo "$file includes $header, which stands above it"
            status=1
        fi
    done
done
tsort "$pairs" >/dev/null || { echo "the include graph has a circle"; status=1; }
exit $status
