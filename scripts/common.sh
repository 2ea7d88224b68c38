# SPDX-License-Identifier: Apache-2.0
# Shared by demo.sh and test.sh: where the project and its build live, and
# how it is configured and built.

KORVO_ROOT=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
KORVO_BUILD=${KORVO_BUILD:-$KORVO_ROOT/build}

korvo_build() {
    cmake -S "$KORVO_ROOT" -B "$KORVO_BUILD" "$@"
    cmake --build "$KORVO_BUILD" -j "$(nproc)"
}
