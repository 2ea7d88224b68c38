#!/bin/bash
# SPDX-License-Identifier: Apache-2.0
# run-readme.sh SOURCE_DIR: runs every sh block of README.md, in order, as a
# user would, in a scratch copy of the sources with a fresh build, except
# blocks preceded by "<!-- readme-test: skip (REASON) -->". The machine's CUPS
# is never touched: in a private mount namespace the installs go to a staging
# root (DESTDIR) whose PPD tree is mounted over /usr/share/ppd, /tmp and
# /var/spool/cups/tmp are fresh file systems, queues are made on a private
# scheduler, and usb: or socket: URIs become the virtual printer's.
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
src=$scratch/src  # the checkout may lie under /tmp, which gets covered below
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

# block-N.sh, and block-N.skip holding the reason to skip it.
awk -v dir="$scratch" '
    /^<!-- readme-test: skip/ { reason = $0; sub(/^<!-- readme-test: skip */, "", reason); sub(/ *-->.*$/, "", reason); next }
    /^```sh$/ { n++; file = dir "/block-" n ".sh"; printf "" > file; if (reason != "") print reason > (dir "/block-" n ".skip"); reason = ""; next }
    /^```/ && file != "" { close(file); file = ""; next }
    file != "" { print >> file; next }
    { reason = "" }
' "$src/README.md"

ran=0 skipped=0
for block in $(ls -v "$scratch"/block-*.sh); do
    name=$(basename "$block" .sh)
    if [ -f "$scratch/$name.skip" ]; then
        echo "== $name skipped: $(cat "$scratch/$name.skip")"
        skipped=$((skipped + 1))
        continue
    fi
    sed -i -E "s#(usb|socket)://[^ ]*#korvo-virtual:$scratch/printers#g" "$block"
    if [ -z "${CUPS_SERVER:-}" ] && grep -qE '\b(lpadmin|lp|lpstat|cancel)\b' "$block"; then
        CUPS_SERVER=$(KORVO_FILTER=$DESTDIR/usr/lib/cups/filter/rastertokorvoppli \
            KORVO_BACKEND=$DESTDIR/usr/lib/cups/backend/korvo-virtual \
            "$src/scripts/private-cupsd.sh" start "$cupsd_dir")
        export CUPS_SERVER
    fi
    echo "== $name"
    sed 's/^/   /' "$block"
    # In a session of its own, so that whatever it left running (say a server
    # it did not stop as a command failed) ends with it.
    (cd "$src" && exec setsid bash -euo pipefail "$block") &
    block_pid=$!
    status=0
    wait "$block_pid" || status=$?
    kill -- "-$block_pid" 2>/dev/null || true
    [ "$status" = 0 ] || exit "$status"
    ran=$((ran + 1))
done
if [ -n "${CUPS_SERVER:-}" ]; then  # every job the queues took has printed
    grep -q "Job completed." "$cupsd_dir/log/error_log"
    ! grep -E "Job stopped|aborted" "$cupsd_dir/log/error_log" || exit 1
fi
echo "README: $ran blocks run, $skipped skipped"
