#!/bin/sh
# Runs the first example with the program that ./dev built and says what to look at.
set -eu
cd "$(dirname "$0")/.."
root=$PWD
folder=$root/build/demo
mkdir -p "$folder"
# More points than the example asks for: the picture gains, and it stays a matter of a second.
sed 's/^41$/101/' examples/si111_cbed/si111.dat >"$folder/si111.dat"
cd "$folder"
start=$(date +%s.%N)
ORVEL_DATA=$root/data "$root/build/release/orvel" si111.dat
end=$(date +%s.%N)
"$root/build/release/kavun" si111_kav.txt

beams=$(sed -n 's/^# Exact= *\([0-9]*\)  Bethe= *\([0-9]*\)$/\1 exact and \2 Bethe beams/p' \
    si111_fg0.txt)
tilts=$(awk '/^# H, G, ih, ig, flag/ {on = 1; next} /^}COORD/ {on = 0} on && $5 == 1 {n++} END {print n}' \
    si111_rs0.txt)
cat <<END
What was computed: a convergent-beam pattern of silicon along [111] at 100 kV,
  $beams, $tilts tilts in the disk, 13 reflections, 3 thicknesses,
  in $(awk "BEGIN {printf \"%.2f\", $end - $start}") s.
What to look at, in build/demo:
  si111_fg0.txt        the beams: Laue zone, position, structure factor of each
  si111_rs0.txt .. 2   intensities (10000 = incident beam) at 500, 1000 and 1500 A: the list COORD
                       gives the tilt of each point, each RF block one reflection
  si111_kav.txt        script of the viewer, kavun
  si111_log.txt        log
The pattern itself is a page for the browser:
  file://$(echo "$folder" | sed 's/%/%25/g; s/ /%20/g; s/#/%23/g')/si111_.html
END
