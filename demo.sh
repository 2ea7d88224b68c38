#!/bin/bash
# SPDX-License-Identifier: Apache-2.0
# Builds the filter, writes a small multi-page sample raster with libcups,
# runs the filter on it and lists the packets it sends to the printer.
set -euo pipefail
"$(dirname "$0")/scripts/install-deps.sh"
source "$(dirname "$0")/scripts/common.sh"
korvo_build -DKORVO_BUILD_TESTS=OFF

work="$KORVO_ROOT/demo-output"
mkdir -p "$work"
"$KORVO_BUILD/tools/korvo-sample-raster" "$work/sample.ras" 3

# The four shipped models wait for the printer's status over the back
# channel; without a printer the demo uses a copy of the R27 PPD whose model
# name is not polled.
sed 's/^\*ModelName:.*/*ModelName: "R27 demo"/' "$KORVO_BUILD/ppd/korvr27.ppd" > "$work/demo.ppd"

echo "== rastertokorvoppli 1 demo sample 1 'Occurrence=EveryPage PostAction=TearOff' sample.ras"
PPD="$work/demo.ppd" "$KORVO_BUILD/rastertokorvoppli/rastertokorvoppli" 1 demo sample 1 \
    "Occurrence=EveryPage PostAction=TearOff" "$work/sample.ras" \
    > "$work/stream.bin" 2> "$work/filter.log" 3<>/dev/null 4<>/dev/null
grep -E '^(INFO|STATE|ERROR)' "$work/filter.log" || true
echo "== korvo-decode --png demo-output/page demo-output/stream.bin"
"$KORVO_BUILD/tools/korvo-decode" --png "$work/page" "$work/stream.bin"
echo "== The stream, the filter's log and a picture of each printed page are in demo-output/"
