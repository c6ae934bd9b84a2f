#!/bin/sh
# Draws every gnuplot script that the shipped examples write, those of the complex potential too:
# each must give the picture it names, a PNG of a sensible size with something in it.
# Usage: gnuplot_scripts.sh program examples-folder tables-folder
set -eu
program=$1
examples=$2
export ORVEL_DATA="$3"

folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
cd "$folder"
cp $(grep -lE '^(TFRINGE|E_DENSITY_PROJ|POTENTIAL_REIM_PROJ)_MODE' "$examples"/*/*.dat) .
for input in *.dat; do
    sed 's/^E_DENSITY_PROJ_MODE/POTENTIAL_REIM_PROJ_MODE/' "$input" >"reim_$input"
    cmp -s "$input" "reim_$input" && rm "reim_$input"
done
for input in *.dat; do
    "$program" "$input" >"$input.out" 2>&1 || { cat "$input.out"; exit 1; }
done

# Bytes 17 to 24 of a PNG: width and height, the highest byte first.
side() { od -An -tu1 -j "$2" -N 4 "$1" | awk '{print (($1 * 256 + $2) * 256 + $3) * 256 + $4}'; }

drawn=0
for script in *.plt; do
    gnuplot "$script" </dev/null 2>"$script.err" || { cat "$script.err"; exit 1; }
    picture=$(sed -n 's/^set output "\(.*\)"$/\1/p' "$script")
    signature=$(od -An -tx1 -N 8 "$picture" | tr -d ' ')
    width=$(side "$picture" 16)
    height=$(side "$picture" 20)
    bytes=$(wc -c <"$picture")
    echo "$script: $picture $width x $height, $bytes bytes"
    [ "$signature" = 89504e470d0a1a0a ]
    [ "$width" -ge 200 ]
    [ "$height" -ge 200 ]
    [ "$bytes" -ge 2000 ]
    drawn=$((drawn + 1))
done
[ "$drawn" -ge 5 ]
