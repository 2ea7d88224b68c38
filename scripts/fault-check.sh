#!/bin/bash
# SPDX-License-Identifier: Apache-2.0
# Checks that the test suite catches deliberate faults: each fault below is
# applied on its own to a scratch copy of the sources, the suite is built and
# run, and the fault counts as caught when at least one test fails.
#
#   scripts/fault-check.sh [SOURCE_DIR] [WORK_DIR]
#
# SOURCE_DIR defaults to this checkout; WORK_DIR (default /tmp/korvo-faults)
# receives the copy and its build. Prints one line per fault and a summary.
set -uo pipefail

source_dir=$(cd "${1:-$(dirname "$0")/..}" && pwd)
work=${2:-/tmp/korvo-faults}

# name @ directory searched @ text that marks the one file to change @ sed
# expression applied to that file
faults=(
    "threshold level@lib/dibimage@kWhiteFrom = 129;@s/kWhiteFrom = 129;/kWhiteFrom = 128;/"
    "ordered 4x4 matrix@lib/dibimage@{12, 4, 14, 6},@s/{12, 4, 14, 6},/{12, 4, 6, 14},/"
    "Bayer comparison@lib/dibimage@> cells[x % order]@s/> cells\[x % order\]/>= cells[x % order]/"
    "Burkes kernel weight@lib/dibimage@struct BurkesKernel@0,/{0, 1, 8}/s//{0, 1, 7}/"
    "Light table rounding@lib/dibimage@f = f + 0.5f;@s/f = f + 0.5f;/f = f + 0.25f;/"
    "rotation rows@lib/dibimage@imageBits + (h - 1 - y) * dstStride@s/imageBits + (h - 1 - y) \* dstStride/imageBits + y * dstStride/"
    "mirror@lib/dibimage@reverseBytes(dst + y * stride, src + y * stride, w);@s/reverseBytes(dst + y \* stride, src + y \* stride, w);/memcpy(dst + y * stride, src + y * stride, w);/"
    "negative@lib/dibimage@v = ~v;@s/v = ~v;/v = v;/"
    "frame line height@lib/pipeline@lineH = dots(dpi, 100);@s/lineH = dots(dpi, 100);/lineH = dots(dpi, 110);/"
    "packing bit order@lib/printer@<< (7 - bit)@s/<< (7 - bit)/<< bit/g"
    "print-area offset@rastertokorvoppli@/ 2 / 8 * 8@s/\/ 2 \/ 8 \* 8/\/ 2/"
    "ready wait ignores paper out@rastertokorvoppli@&& (status & kStatusPaperOut) == 0@s/ \&\& (status \& kStatusPaperOut) == 0//"
    "label tear-off feed kind@rastertokorvoppli@? 5 : 3, 0@s/? 5 : 3, 0/? 3 : 3, 0/"
    "go-back feed@rastertokorvoppli@bNeedGoBack != 0 ||@s/bNeedGoBack != 0 || //"
    "tattoo neighbour share@lib/halv@s1 = 0.0f + 0.1427f;@s/s1 = 0.0f + 0.1427f;/s1 = 0.0f + 0.1527f;/"
    "tattoo gamma@lib/halv@0.85f, 0.7f@s/0.85f, 0.7f/0.85f, 0.75f/"
)

rm -rf "$work"
mkdir -p "$work"
cp -a "$source_dir/." "$work/src"
rm -rf "$work/src/build" "$work/src/.git"
cmake -S "$work/src" -B "$work/build" -DKORVO_BUILD_TESTS=ON >/dev/null || exit 1
cmake --build "$work/build" -j "$(nproc)" >/dev/null || exit 1

caught=0
for fault in "${faults[@]}"; do
    IFS='@' read -r name directory marker expression <<<"$fault"
    files=$(grep -rlF -- "$marker" "$work/src/$directory" || true)
    if [ "$(wc -w <<<"$files")" -ne 1 ]; then
        echo "NOT APPLIED  $name (pattern found in: ${files:-no file})"
        continue
    fi
    cp "$files" "$files.orig"
    sed -i -e "$expression" "$files"
    if cmp -s "$files" "$files.orig"; then
        echo "NOT APPLIED  $name (no change)"
    elif ! cmake --build "$work/build" -j "$(nproc)" >/dev/null 2>&1; then
        echo "BUILD FAILS  $name"
    else
        failed=$(cd "$work/build" && ctest -j "$(nproc)" --timeout 120 2>&1 | grep -c "\*\*\*Failed\|\*\*\*Timeout\|Exception")
        if [ "$failed" -gt 0 ]; then
            echo "caught       $name ($failed tests fail)"
            caught=$((caught + 1))
        else
            echo "MISSED       $name"
        fi
    fi
    mv "$files.orig" "$files"
    touch "$files"  # newer than the faulty build, so that it is rebuilt
done
cmake --build "$work/build" -j "$(nproc)" >/dev/null
echo "$caught of ${#faults[@]} faults caught"
