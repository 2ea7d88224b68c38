#!/bin/bash
# SPDX-License-Identifier: Apache-2.0
# Builds the filter and runs every test: unit, process-level (the built
# filter on real CUPS raster), status back channel, PPDs and the CUPS chain,
# and a short run of the benchmarks.
set -euo pipefail
"$(dirname "$0")/scripts/install-deps.sh"
source "$(dirname "$0")/scripts/common.sh"
korvo_build -DKORVO_BUILD_TESTS=ON -DKORVO_BUILD_BENCH=ON
cd "$KORVO_BUILD"
ctest --output-on-failure -j 2 "$@"
