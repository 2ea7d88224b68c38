#!/bin/bash
# SPDX-License-Identifier: Apache-2.0
# Cross-builds the project with its tests for another architecture and runs
# the whole suite there under qemu-user, the process and spooler tests
# included, then builds the Debian package for that architecture:
#
#   scripts/cross-test.sh arm64
#
# Installs what is missing first: Debian's cross compiler, qemu-user and the
# architecture's development packages through multiarch. Needs the host
# build in build/ (./test.sh makes it): the cross suite compares its
# filter's printer streams with the host's, byte for byte.
set -euo pipefail
architecture=${1:-}
if [ "$architecture" != arm64 ]; then
    echo "usage: scripts/cross-test.sh arm64" >&2
    exit 2
fi
root=$(cd "$(dirname "$0")/.." && pwd)
build=$root/build-$architecture
host_filter=$root/build/tests/support/korvo-filter-under-test
[ -x "$host_filter" ] || { echo "build the host first (./test.sh)" >&2; exit 2; }

"$root/scripts/install-deps.sh" --cross "$architecture"
sudo=""
[ "$(id -u)" -eq 0 ] || sudo=sudo

# The kernel runs arm64 programs through qemu (the tests start the filter,
# and the spooler tests its filter and backend, as programs of their own).
if [ ! -e /proc/sys/fs/binfmt_misc/qemu-aarch64 ]; then
    [ -e /proc/sys/fs/binfmt_misc/register ] || $sudo mount -t binfmt_misc binfmt_misc /proc/sys/fs/binfmt_misc
    $sudo sh -c "cat /usr/lib/binfmt.d/qemu-aarch64.conf | grep -v '^#' > /proc/sys/fs/binfmt_misc/register"
fi

cmake -S "$root" -B "$build" -DCMAKE_TOOLCHAIN_FILE="$root/cmake/toolchains/aarch64-linux-gnu.cmake" \
    -DKORVO_BUILD_TESTS=ON -DKORVO_HOST_FILTER="$host_filter"
cmake --build "$build" -j "$(nproc)"
# The README test builds and runs the host's tree; it has nothing of arm64.
(cd "$build" && ctest --output-on-failure -j 2 -E '^readme$')
(cd "$build" && cpack -G DEB)
ls "$build"/printer-driver-korvo_*_"$architecture".deb
