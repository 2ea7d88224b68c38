#!/bin/bash
# SPDX-License-Identifier: Apache-2.0
# Runs every sh block of README.md, in order, as a user would, in a scratch
# copy of the source tree with a fresh build:
#
#   run-readme.sh SOURCE_DIR
#
# Blocks preceded by "<!-- readme-test: skip (REASON) -->" are not run. The
# machine's CUPS is never touched: everything runs in a private mount
# namespace where the installs go to a staging root (DESTDIR) whose PPD
# tree is mounted over /usr/share/ppd and where /tmp and /var/spool/cups/tmp
# are fresh file systems; queues are made on a private scheduler, and a printer's
# usb: or socket: URI is replaced by the virtual printer's.
set -euo pipefail

source_dir=$(cd "${1:?usage: run-readme.sh SOURCE_DIR}" && pwd)
if [ "$(id -u)" != 0 ]; then
    echo "skipped: a private mount namespace and scheduler need root"
    exit 77
fi
if [ -z "${KORVO_README_NAMESPACE:-}" ]; then
    exec unshare --mount --propagation private env KORVO_README_NAMESPACE=1 "$0" "$@"
fi

scratch=$(mktemp -d /var/tmp/korvo-readme-XXXXXX)
chmod 0755 "$scratch"
cupsd_dir=$scratch/cupsd
# Everything below works on a copy of the sources: the checkout itself may
# lie under /tmp, which a private file system covers from here on.
src=$scratch/src
cleanup() {
    "$src/scripts/private-cupsd.sh" stop "$cupsd_dir" 2>/dev/null || true
    rm -rf "$scratch"
}
trap cleanup EXIT

mkdir -p "$src" "$scratch/staging/usr/share/ppd" "$scratch/printers"
chmod 1777 "$scratch/printers"
(cd "$source_dir" && git ls-files -z -c -o --exclude-standard | xargs -0 cp --parents -t "$src")
cd "$src"
mount --bind "$scratch/staging/usr/share/ppd" /usr/share/ppd
mount -t tmpfs -o mode=1777 korvo-readme /var/spool/cups/tmp
mount -t tmpfs -o mode=1777 korvo-readme /tmp
export DESTDIR=$scratch/staging

# The blocks: block-N.sh, with block-N.skip holding the reason to skip.
awk -v dir="$scratch" '
    /^<!-- readme-test: skip/ { reason = $0; sub(/^<!-- readme-test: skip */, "", reason); sub(/ *-->.*$/, "", reason); next }
    /^```sh$/ { n++; file = dir "/block-" n ".sh"; printf "" > file; if (reason != "") print reason > (dir "/block-" n ".skip"); reason = ""; next }
    /^```/ && file != "" { close(file); file = ""; next }
    file != "" { print >> file; next }
    { reason = "" }
' "$src/README.md"

start_spooler() {
    [ -n "${CUPS_SERVER:-}" ] && return
    CUPS_SERVER=$(KORVO_FILTER=$DESTDIR/usr/lib/cups/filter/rastertokorvoppli \
        KORVO_BACKEND=$DESTDIR/usr/lib/cups/backend/korvo-virtual \
        "$src/scripts/private-cupsd.sh" start "$cupsd_dir")
    export CUPS_SERVER
}

ran=0
skipped=0
for block in $(ls "$scratch"/block-*.sh | sort -t- -k2 -n); do
    name=$(basename "$block" .sh)
    if [ -f "$scratch/$name.skip" ]; then
        echo "== $name skipped: $(cat "$scratch/$name.skip")"
        skipped=$((skipped + 1))
        continue
    fi
    sed -i -E "s#(usb|socket)://[^ ]*#korvo-virtual:$scratch/printers#g" "$block"
    if grep -qE '\b(lpadmin|lp|lpstat|cancel)\b' "$block"; then
        start_spooler
    fi
    echo "== $name"
    sed 's/^/   /' "$block"
    # In a session of its own, so that whatever the block left running (a
    # server it started in the background and did not stop because a
    # command failed) ends with it.
    (cd "$src" && exec setsid bash -euo pipefail "$block") &
    block_pid=$!
    status=0
    wait "$block_pid" || status=$?
    kill -- "-$block_pid" 2>/dev/null || true
    [ "$status" = 0 ] || exit "$status"
    ran=$((ran + 1))
done
# Every job the README's queues took has printed.
if [ -n "${CUPS_SERVER:-}" ]; then
    grep -q "Job completed." "$cupsd_dir/log/error_log"
    ! grep -E "Job stopped|aborted" "$cupsd_dir/log/error_log"
fi
echo "README: $ran blocks run, $skipped skipped"
