#!/bin/bash
# SPDX-License-Identifier: Apache-2.0
# Installs the Debian packages the project needs to build and test, and
# with --demo also what the demo prints, when they are missing. Uses sudo
# when not run as root.
set -euo pipefail

packages=(
    build-essential cmake
    libcups2-dev libcupsimage2-dev libpng-dev
    libgtest-dev libgmock-dev
    cups cups-client cups-filters cups-ppdc ghostscript
    libpappl-dev cups-ipp-utils
)

if [ "${1:-}" = --demo ]; then
    packages+=(python3-skimage)  # its sample photographs
fi

missing=()
for package in "${packages[@]}"; do
    dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q "install ok installed" || missing+=("$package")
done
if [ ${#missing[@]} -gt 0 ]; then
    echo "Installing: ${missing[*]}"
    sudo=""
    [ "$(id -u)" -eq 0 ] || sudo=sudo
    $sudo apt-get update -qq
    DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y -qq "${missing[@]}"
fi
