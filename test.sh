#!/bin/bash
# Builds the filter and runs every test: unit, process-level (the built
# filter on real CUPS raster), status back channel, PPDs and the CUPS chain.
set -euo pipefail
source "$(dirname "$0")/scripts/common.sh"
korvo_install_packages
korvo_build -DKORVO_BUILD_TESTS=ON
cd "$KORVO_BUILD"
ctest --output-on-failure -j 2 "$@"
