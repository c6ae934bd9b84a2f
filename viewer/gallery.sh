#!/bin/sh
# Makes the pictures of docs/gallery.md: gallery.sh KAVUN RESULTS, where RESULTS is a folder with
# the runs cbed, coherent, line, point, surface, area and bloch (viewer/tests/make_samples.py FOLDER
# --fine computes such a folder). Needs node, npm and chromium.
set -eu
[ $# -eq 2 ] || { echo "Usage: gallery.sh KAVUN RESULTS" >&2; exit 1; }
here=$(cd "$(dirname "$0")" && pwd)
kavun=$1
results=$2
out=$here/../docs/gallery
packages=$(mktemp -d)
trap 'rm -rf "$packages"' EXIT
mkdir -p "$out"
cp "$here/tests/page/package.json" "$here/tests/page/package-lock.json" "$packages"
(cd "$packages" && npm ci --ignore-scripts --no-audit --no-fund >/dev/null)

# shot NAME RUN OPTION...: the page of a run, set up by the options.
shot() {
    name=$1
    run=$2
    shift 2
    "$kavun" "$results/${run}_kav.txt"
    node "$here/tests/page/screenshot.mjs" --packages "$packages" --chromium "$(command -v chromium)" \
        --page "$results/${run}_.html" --out "$out/$name.png" "$@"
}

shot cbed cbed --set '#thickness=2'
shot cbed-viridis cbed --theme dark --set '#thickness=2' --set '#reversed=off' --set '#map=viridis' \
    --drag 0.3,0.5,0.7,0.5
shot cbed-large cbed --set '#thickness=3' --keys n,Enter
shot coherent-sum coherent --theme dark --set '#thickness=1' --set '#labels=off' --set '#outlines=off' \
    --set '#max=6000'
shot coherent-phase coherent --theme dark --set '#quantity=phase' --set '#thickness=1' \
    --set '#apart=on'
shot rocking line --set '#thickness=1'
shot point point
shot surface surface
shot surface-area area
shot bloch bloch
