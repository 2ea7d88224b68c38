#!/bin/bash
# SPDX-License-Identifier: Apache-2.0
# Builds the filter and runs every test: unit, process-level (the built
# filter on real CUPS raster), status back channel, PPDs and the CUPS chain.
set -euo pipefail
"$(dirname "$0")/scripts/install-deps.sh"
source "$(dirname "$0")/scripts/common.sh"
korvo_build -DKORVO_BUILD_TESTS=ON
cd "$KORVO_BUILD"
ctest --output-on-failure -j 2 "$@"
