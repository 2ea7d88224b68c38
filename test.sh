#!/bin/bash
# SPDX-License-Identifier: Apache-2.0
# Builds the project and runs every test, as CI does:
#
#   1. the release build (build/): unit, process (the built filter on real
#      CUPS raster), spooler end-to-end, README, install, PPDs, the printer
#      application, and a short run of the benchmarks;
#   2. the same suite built with AddressSanitizer and UndefinedBehaviorSanitizer
#      (build-sanitize/, clang), less the README test, which builds a copy of
#      its own;
#   3. each fuzz target for KORVO_FUZZ_SECONDS seconds (default 60) in that
#      build;
#   4. the arm64 cross build and its whole suite under qemu, its streams
#      compared with this machine's byte for byte (KORVO_SKIP_CROSS=1 skips it).
#
# With arguments, only the release suite runs and ctest gets them:
#   ./test.sh -R Filter
set -euo pipefail
source "$(dirname "$0")/scripts/common.sh"

stage() {
    echo "== $1 ($((SECONDS / 60)) min $((SECONDS % 60)) s so far)"
}

stage "release build and suite"
"$KORVO_ROOT/scripts/install-deps.sh"
korvo_build -DKORVO_BUILD_TESTS=ON -DKORVO_BUILD_BENCH=ON
(cd "$KORVO_BUILD" && ctest --output-on-failure -j 2 "$@")
[ $# -eq 0 ] || exit 0

stage "sanitizer build and suite"
sanitize=$KORVO_ROOT/build-sanitize
CC=clang CXX=clang++ cmake -S "$KORVO_ROOT" -B "$sanitize" -DKORVO_BUILD_TESTS=ON -DKORVO_BUILD_FUZZERS=ON
cmake --build "$sanitize" -j "$(nproc)"
(cd "$sanitize" && ctest --output-on-failure -j 2 -E '^readme$')

stage "fuzzing"
KORVO_FUZZ_BUILD=$sanitize "$KORVO_ROOT/scripts/fuzz.sh" "${KORVO_FUZZ_SECONDS:-60}"

if [ "${KORVO_SKIP_CROSS:-0}" != 1 ]; then
    stage "arm64 cross build and suite"
    "$KORVO_ROOT/scripts/cross-test.sh" arm64
fi
stage "all passed"
