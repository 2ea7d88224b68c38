#!/bin/bash
# SPDX-License-Identifier: Apache-2.0
# Whole-process wall time and peak memory of the filter against general-purpose
# tools on the same pages, all in one run, the programs taking turns.
#
#   bench/compare.sh [--runs N] [--baseline FILTER] [--quick]
#
# Builds the filter (Release, the normal flags) into build/compare/ (or
# $KORVO_BENCH_BUILD), writes
# photo-like and document-like A4 pages at 300 and 203 dpi (CUPS raster for
# the filter, PGM for the others) and runs, N times over (default 9), every
# halftone type on every page, pamditherbw -threshold and -fs, Pillow's
# convert('1'), GraphicsMagick's unsharp mask + monochrome, and a 20-page job
# against one page alone.
# The filter writes its two page captures into a scratch directory, emptied
# (and the disk synced) after every run. Prints medians, ratios to the other
# tools, peak resident memory in bytes per pixel and whether each budget is
# met. --baseline also times another build of the filter (a
# korvo-filter-under-test binary) on the same pages, for before/after ratios;
# --quick measures the 300 dpi photo page only.
set -euo pipefail

root=$(cd "$(dirname "$0")/.." && pwd)
runs=9
baseline=""
quick=0
while [ $# -gt 0 ]; do
    case "$1" in
    --runs) runs=$2; shift 2 ;;
    --baseline) baseline=$(realpath "$2"); shift 2 ;;
    --quick) quick=1; shift ;;
    *) echo "usage: $0 [--runs N] [--baseline FILTER] [--quick]" >&2; exit 2 ;;
    esac
done

# What the build needs, the tools compared with, and GNU time for the peak
# memory.
"$root/scripts/install-deps.sh"
needed=(netpbm graphicsmagick python3-pil time)
missing=()
for package in "${needed[@]}"; do
    dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q "install ok installed" || missing+=("$package")
done
if [ ${#missing[@]} -gt 0 ]; then
    sudo=""
    [ "$(id -u)" -eq 0 ] || sudo=sudo
    $sudo apt-get update -qq
    DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y -qq "${missing[@]}" >/dev/null
fi

build=${KORVO_BENCH_BUILD:-$root/build/compare}
cmake -S "$root" -B "$build" -DCMAKE_BUILD_TYPE=Release -DKORVO_BUILD_TESTS=ON -DKORVO_BUILD_BENCH=ON >/dev/null
cmake --build "$build" -j 1 --target korvo-filter-under-test korvo-bench-pages korvo_ppds >/dev/null
filter=$build/tests/support/korvo-filter-under-test

work=$(mktemp -d /tmp/korvo-compare.XXXXXX)
trap 'rm -rf "$work"' EXIT
mkdir "$work/pages" "$work/captures"
"$build/bench/korvo-bench-pages" "$work/pages"
# Copies of the PPDs under a model name that is never polled for its status.
sed 's/^\*ModelName:.*/*ModelName: "bench"/' "$build/ppd/korvr27.ppd" >"$work/labels.ppd"
sed 's/^\*ModelName:.*/*ModelName: "bench"/' "$build/ppd/korvk5.ppd" >"$work/stencil.ppd"

types=(None FloydSteinberg Ordered Burkes Stucki JarvisJudiceNinke Sierra StevensonArce Tattoo Tattoo_Q6)
pages=(photo-300 document-300 photo-203 document-203)
[ "$quick" -eq 1 ] && pages=(photo-300)
results=$work/results.txt

# measure NAME COMMAND...: one run; appends "NAME milliseconds peak-kB".
measure() {
    local name=$1
    shift
    local start end
    start=$EPOCHREALTIME
    /usr/bin/time -v -o "$work/time.txt" "$@" >/dev/null 2>"$work/stderr.txt" ||
        { echo "$name failed:" >&2; cat "$work/stderr.txt" >&2; exit 1; }
    end=$EPOCHREALTIME
    local kb
    kb=$(sed -n 's/.*Maximum resident set size (kbytes): //p' "$work/time.txt")
    echo "$name $(((${end/./} - ${start/./}) / 1000)) $kb" >>"$results"
    rm -f "$work/captures/"*
    # Captures still on their way to the disk would slow the next run.
    sync
}

# filter PROGRAM LABEL PAGE TYPE [RASTER]
filter_run() {
    local program=$1 label=$2 page=$3 type=$4 raster=${5:-$work/pages/$3.ras}
    local ppd=$work/labels.ppd options="HalftoneType=$type"
    case "$type" in Tattoo*) ppd=$work/stencil.ppd options="$options AntiWrinkle=0" ;; esac
    PPD=$ppd measure "$label:$page:$type" "$program" --capture-dir="$work/captures" 1 bench bench 1 "$options" "$raster"
}

# warm_up: one page, untimed, its captures removed as after a timed run.
warm_up() {
    PPD=$work/labels.ppd "$filter" --capture-dir="$work/captures" 1 bench bench 1 HalftoneType=None \
        "$work/pages/photo-300.ras" >/dev/null 2>&1
    rm -f "$work/captures/"*
    sync
}

pil='import sys; from PIL import Image; Image.open(sys.argv[1]).convert("1").save("/dev/null", "PPM")'

# both PAGE TYPE [RASTER]: the filter and the baseline, if any, on the same
# job, in turns: which one goes first changes from run to run, since a job
# that writes its captures just after another's were deleted finds memory
# the system has at hand, and one after a pause does not.
both() {
    if [ -z "$baseline" ]; then
        filter_run "$filter" filter "$@"
    elif [ $((run % 2)) -eq 0 ]; then
        filter_run "$filter" filter "$@"
        filter_run "$baseline" baseline "$@"
    else
        filter_run "$baseline" baseline "$@"
        filter_run "$filter" filter "$@"
    fi
}

echo "Load before: $(uptime)"
for run in $(seq "$runs"); do
    for page in "${pages[@]}"; do
        pgm=$work/pages/$page.pgm
        for type in "${types[@]}"; do
            both "$page" "$type"
        done
        measure "threshold:$page" pamditherbw -threshold "$pgm"
        measure "fs:$page" pamditherbw -fs "$pgm"
        measure "pillow:$page" /usr/bin/python3 -c "$pil" "$pgm"
        measure "gm:$page" gm convert "$pgm" -unsharp 5x3+3+0 -monochrome pbm:-
    done
    # The 20-page job and one page alone, each timed right after an untimed
    # run of one page, as when jobs follow one another. What ran just before
    # matters here: memory freed moments ago is at hand, memory freed a
    # while ago has gone back to the host of the virtual machine.
    for job in photo-300-x1 photo-300-x20; do
        warm_up
        both "$job" None "$work/pages/${job%-x1}.ras"
    done
    echo "run $run of $runs done" >&2
done
echo "Load after: $(uptime)"
echo "Machine: $(grep -m1 'model name' /proc/cpuinfo | cut -d: -f2 | sed 's/^ //'), $(nproc) cores," \
    "$(free -g | awk '/Mem:/ {print $2}') GiB; transparent huge pages: $(cat /sys/kernel/mm/transparent_hugepage/enabled)"

/usr/bin/python3 "$root/bench/summarise.py" "$results" "${pages[@]}"
