#!/bin/bash
# SPDX-License-Identifier: Apache-2.0
# Runs two builds of the filter (korvo-filter-under-test binaries) on the same
# jobs and compares every byte they write: the printer stream, both page
# captures of every page, and the log (less the lines that print memory
# addresses). For checking that a change keeps the output as it was.
#
#   bench/same-bytes.sh BEFORE AFTER [PAGES_PROGRAM]
#
# PAGES_PROGRAM is korvo-bench-pages (default: the one compare.sh builds).
# Jobs: A4 photo and document pages at 300 and 203 dpi and a job of small,
# odd-sized pages; every halftone type; plain, with brightness and contrast,
# and rotated, mirrored and negative; on a label printer and on a stencil
# printer with an anti-wrinkle frame.
set -euo pipefail

root=$(cd "$(dirname "$0")/.." && pwd)
before=$(realpath "$1")
after=$(realpath "$2")
build=${KORVO_BENCH_BUILD:-$root/build/compare}
pages_program=${3:-$build/bench/korvo-bench-pages}
work=$(mktemp -d /tmp/korvo-same.XXXXXX)
trap 'rm -rf "$work"' EXIT
mkdir "$work/pages"
"$pages_program" "$work/pages"
ppds=$build/ppd
sed 's/^\*ModelName:.*/*ModelName: "bench"/' "$ppds/korvr27.ppd" >"$work/labels.ppd"
sed 's/^\*ModelName:.*/*ModelName: "bench"/' "$ppds/korvk5.ppd" >"$work/stencil.ppd"

# run PROGRAM OUT PPD OPTIONS RASTER: the stream, the log and the captures
# (renamed by their page number) in OUT.
run() {
    mkdir -p "$2/captures"
    PPD=$3 "$1" --capture-dir="$2/captures" --geometry-log="$2/geometry.log" 1 bench bench 1 "$4" "$5" \
        >"$2/stream.bin" 2>"$2/log.txt" || echo "exit $?" >>"$2/log.txt"
    sed -i '/address/d' "$2/log.txt"
    for capture in "$2/captures"/*.bmp; do
        [ -e "$capture" ] || continue
        local name=${capture##*/}
        mv "$capture" "$2/${name%%_*}-${name##*_}"
    done
    rmdir "$2/captures"
}

jobs=0
different=0
for raster in "$work/pages"/{photo-300,document-300,photo-203,document-203,mixed}.ras; do
    for type in None FloydSteinberg Ordered Burkes Stucki JarvisJudiceNinke Sierra StevensonArce Tattoo Tattoo_Q6; do
        for transform in "" "Brightness=20 Contrast=-30" "Origin=Rotation180 MirrorImage=True NegativeImage=True"; do
            for ppd in labels stencil; do
                options="HalftoneType=$type $transform"
                [ "$ppd" = stencil ] && options="$options AntiWrinkle=2"
                run "$before" "$work/before" "$work/$ppd.ppd" "$options" "$raster"
                run "$after" "$work/after" "$work/$ppd.ppd" "$options" "$raster"
                jobs=$((jobs + 1))
                if ! diff -r "$work/before" "$work/after" >/dev/null; then
                    different=$((different + 1))
                    echo "DIFFERENT: ${raster##*/} on $ppd with $options:" \
                        "$(diff -rq "$work/before" "$work/after" | head -3 | tr '\n' ' ')"
                fi
                rm -rf "$work/before" "$work/after"
            done
        done
    done
done
echo "$jobs jobs, $different with different output"
[ "$different" -eq 0 ]
