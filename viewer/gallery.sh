#!/bin/sh
# Makes the pictures of docs/gallery.md: gallery.sh BUILD, where BUILD holds orvel and kavun. Runs
# the examples in a temporary folder. Needs node, npm and chromium.
set -eu
[ $# -eq 1 ] || { echo "Usage: gallery.sh BUILD" >&2; exit 1; }
build=$(cd "$1" && pwd)
here=$(cd "$(dirname "$0")" && pwd)
out=$here/../docs/gallery
ORVEL_DATA=$here/../data
export ORVEL_DATA
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
mkdir -p "$out" "$work/packages"
cp "$here/tests/page/package.json" "$here/tests/page/package-lock.json" "$work/packages"
(cd "$work/packages" && npm ci --ignore-scripts --no-audit --no-fund >/dev/null)

# example FOLDER BASE [SED]: runs an example, its parameter file changed by a sed script.
example() {
    mkdir -p "$work/$1"
    sed "${3:-}" "$here/../examples/$1/$2.dat" >"$work/$1/$2.dat"
    (cd "$work/$1" && "$build/orvel" "$2.dat" >/dev/null && "$build/kavun" "$2_kav.txt")
}

# shot NAME FOLDER/BASE OPTION...: the page of a run, set up by the options.
shot() {
    name=$1
    page=$work/$2_.html
    shift 2
    node "$here/tests/page/screenshot.mjs" --packages "$work/packages" \
        --chromium "$(command -v chromium)" --page "$page" --out "$out/$name.png" "$@"
}

example si111_cbed si111 's/^41$/241/'
example gaas110_cbed gaas110 's/^31$/161/'
example si_coherent si_probe0 's/^61$/181/'
example al_rocking al200
example al_dispersion al200
example srtio3_bloch srtio3 's/^61 61$/121 121/'

shot cbed si111_cbed/si111 --theme dark --set '#thickness=1' --set '#reversed=off'
shot cbed-plate si111_cbed/si111 --set '#thickness=2'
shot cbed-polar gaas110_cbed/gaas110 --theme dark --set '#thickness=1' --set '#reversed=off' \
    --set '#map=viridis' --drag 0.21,0.5,0.79,0.5
shot cbed-large si111_cbed/si111 --set '#thickness=1' --keys Enter
shot coherent-sum si_coherent/si_probe0 --theme dark --set '#labels=off' --set '#outlines=off'
shot coherent-phase si_coherent/si_probe0 --theme dark --set '#quantity=phase' --set '#apart=on'
shot rocking al_rocking/al200 --set '#thickness=1'
shot surface al_dispersion/al200
shot bloch srtio3_bloch/srtio3
