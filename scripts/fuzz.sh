#!/bin/bash
# SPDX-License-Identifier: Apache-2.0
# Builds the libFuzzer targets when needed (build-fuzz/, clang, AddressSanitizer
# and UndefinedBehaviorSanitizer) and runs each for SECONDS (default 60) on a
# copy of its seed corpus, one after the other:
#
#   scripts/fuzz.sh [SECONDS] [TARGET...]     TARGET: fuzz_filter fuzz_image fuzz_stream (default all)
#
# New inputs and reproducers go to build-fuzz/fuzz-work/TARGET/, never into the
# repository. Fails (non-zero) on any crash, leak, timeout or out-of-memory,
# printing where the reproducer is. Environment:
#   KORVO_FUZZ_BUILD  build directory (default build-fuzz)
#   KORVO_FUZZ_FLAGS  more libFuzzer flags, e.g. "-jobs=2 -workers=2" or "-fork=1 -ignore_crashes=1"
set -euo pipefail

root=$(cd "$(dirname "$0")/.." && pwd)
build=${KORVO_FUZZ_BUILD:-$root/build-fuzz}
all_targets=(fuzz_filter fuzz_image fuzz_stream)

seconds=${1:-60}
[ $# -gt 0 ] && shift
if ! [[ "$seconds" =~ ^[0-9]+$ ]]; then
    echo "usage: $0 [SECONDS] [TARGET...]" >&2
    exit 2
fi
targets=("$@")
[ ${#targets[@]} -eq 0 ] && targets=("${all_targets[@]}")
for target in "${targets[@]}"; do
    if [[ ! " ${all_targets[*]} " =~ " $target " ]]; then
        echo "unknown target $target (one of: ${all_targets[*]})" >&2
        exit 2
    fi
done

# The project's packages, clang with its fuzzing and sanitizer runtimes among them.
"$root/scripts/install-deps.sh"

if [ ! -f "$build/CMakeCache.txt" ]; then
    CC=clang CXX=clang++ cmake -S "$root" -B "$build" -DKORVO_BUILD_TESTS=ON -DKORVO_BUILD_FUZZERS=ON
fi
cmake --build "$build" -j "${KORVO_FUZZ_BUILD_JOBS:-1}" --target "${targets[@]}"

# libcups allocates a buffer of a page's bytes per line when it reads a
# header, before anyone can check it; allocations of 2 GiB and more fail (as
# they may on a printer server) instead of reaching libFuzzer's limit of a
# single allocation, -rss_limit_mb, which ends the run.
export ASAN_OPTIONS="allocator_may_return_null=1:max_allocation_size_mb=2047${ASAN_OPTIONS:+:$ASAN_OPTIONS}"

failed=()
for target in "${targets[@]}"; do
    work="$build/fuzz-work/$target"
    rm -rf "$work"
    mkdir -p "$work/corpus" "$work/artifacts"
    cp "$root/tests/fuzz/corpus/$target/"* "$work/corpus/"
    # The regression inputs too: they run first, under the fuzzer's own limits.
    cp "$root/tests/fuzz/regressions/$target/"* "$work/corpus/" 2>/dev/null || true
    echo "== $target: ${seconds}s, corpus copy and reproducers in $work"
    # The whole log goes to the file; the terminal gets all but the lines of
    # each new or reduced input and the warnings of failed allocations.
    set +e
    # shellcheck disable=SC2086
    nice -n 10 "$build/tests/fuzz/$target" -max_total_time="$seconds" -timeout=10 -rss_limit_mb=2048 \
        -close_fd_mask=3 -print_final_stats=1 -artifact_prefix="$work/artifacts/" ${KORVO_FUZZ_FLAGS:-} \
        "$work/corpus" 2>&1 | tee "$work/log" | grep --line-buffered -vE "^#[0-9]+[[:space:]]+(NEW|REDUCE) |failed to allocate"
    status=${PIPESTATUS[0]}
    set -e
    reproducers=$(find "$work/artifacts" -type f | sort)
    if [ "$status" -ne 0 ] || [ -n "$reproducers" ]; then
        echo "FAILED: $target (exit status $status); log: $work/log"
        for file in $reproducers; do
            echo "  reproducer: $file"
            echo "  replay: $build/tests/fuzz/$target $file"
        done
        failed+=("$target")
    fi
done

if [ ${#failed[@]} -gt 0 ]; then
    echo "fuzzing failed: ${failed[*]}"
    exit 1
fi
echo "fuzzing passed: ${targets[*]}, ${seconds}s each"
