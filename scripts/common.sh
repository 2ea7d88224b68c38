# Shared by demo.sh and test.sh: install the Debian packages the project
# needs when they are missing, then configure and build.

KORVO_ROOT=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
KORVO_BUILD=${KORVO_BUILD:-$KORVO_ROOT/build}

KORVO_PACKAGES="build-essential cmake libcups2-dev libcupsimage2-dev libpng-dev
  libgtest-dev libgmock-dev libbenchmark-dev
  cups cups-client cups-filters cups-ppdc ghostscript"

korvo_install_packages() {
    local missing=()
    local package
    for package in $KORVO_PACKAGES; do
        dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q "install ok installed" ||
            missing+=("$package")
    done
    if [ ${#missing[@]} -gt 0 ]; then
        echo "Installing: ${missing[*]}"
        local sudo=""
        [ "$(id -u)" -eq 0 ] || sudo=sudo
        $sudo apt-get update -qq
        DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y -qq "${missing[@]}"
    fi
}

korvo_build() {
    cmake -S "$KORVO_ROOT" -B "$KORVO_BUILD" "$@"
    cmake --build "$KORVO_BUILD" -j "$(nproc)"
}
