#!/bin/bash
# SPDX-License-Identifier: Apache-2.0
# Installs the Debian packages the project needs, when they are missing:
#
#   scripts/install-deps.sh            to build and test
#   scripts/install-deps.sh --demo     and what the demo prints
#   scripts/install-deps.sh --cross arm64
#                                      to cross-build for arm64 and run it
#                                      under qemu-user (multiarch)
#
# Uses sudo when not run as root.
set -euo pipefail

packages=(
    build-essential cmake clang libclang-rt-dev
    libcups2-dev libcupsimage2-dev libpng-dev
    libgtest-dev libgmock-dev libbenchmark-dev
    cups cups-client cups-filters cups-ppdc ghostscript
    libpappl-dev cups-ipp-utils
)
foreign=""
case "${1:-}" in
--demo) packages+=(python3-skimage) ;; # its sample photographs
--cross)
    foreign=${2:?usage: install-deps.sh --cross arm64}
    packages=(g++-aarch64-linux-gnu qemu-user qemu-user-binfmt)
    for package in libcups2-dev libcupsimage2-dev libpng-dev libgtest-dev libgmock-dev; do
        packages+=("$package:$foreign")
    done
    ;;
esac

sudo=""
[ "$(id -u)" -eq 0 ] || sudo=sudo
missing=()
for package in "${packages[@]}"; do
    dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q "install ok installed" || missing+=("$package")
done
if [ ${#missing[@]} -gt 0 ]; then
    echo "Installing: ${missing[*]}"
    if [ -n "$foreign" ] && ! dpkg --print-foreign-architectures | grep -qx "$foreign"; then
        $sudo dpkg --add-architecture "$foreign"
    fi
    $sudo apt-get update -qq
    DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y -qq "${missing[@]}"
fi
