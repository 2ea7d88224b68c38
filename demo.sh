#!/bin/bash
# SPDX-License-Identifier: Apache-2.0
# The driver doing its real job, without a printer: builds the project,
# starts a private CUPS scheduler on 127.0.0.1 (nothing of the system's CUPS
# is touched or needed), adds queues with the shipped PPDs on the virtual
# printer korvo-virtual, prints real documents through the whole CUPS chain
# and shows what the printers would have printed.
set -euo pipefail
"$(dirname "$0")/scripts/install-deps.sh" --demo
source "$(dirname "$0")/scripts/common.sh"
korvo_build -DKORVO_BUILD_TESTS=OFF

out=$KORVO_ROOT/demo-output
rm -rf "$out"
mkdir -p "$out/previews"
chmod 1777 "$out/previews"  # the virtual printer runs as the user lp
spool=$(mktemp -d /tmp/korvo-demo-XXXXXX)
started=$(date +%s)
trap '"$KORVO_ROOT/scripts/private-cupsd.sh" stop "$spool"; rm -rf "$spool"' EXIT

echo "== Starting a private CUPS scheduler"
CUPS_SERVER=$("$KORVO_ROOT/scripts/private-cupsd.sh" start "$spool")
export CUPS_SERVER
echo "   listening on $CUPS_SERVER, everything in $spool"

echo "== Adding printers on the virtual printer (previews in demo-output/previews)"
add_queue() {
    lpadmin -p "$1" -E -v "korvo-virtual:$out/previews$3" -P "$KORVO_BUILD/ppd/$2" 2>/dev/null
    echo "   $1: $2${3:+, $3}"
}
add_queue labels korvr27.ppd ""
add_queue stencils korvq6.ppd ""
add_queue no-paper korvr27.ppd "?status=paperout:3,ready"

# Two shipping labels of 4 x 6 inches, made a PDF by Ghostscript.
gs -q -dSAFER -sDEVICE=pdfwrite -o "$spool/labels.pdf" - <<'EOF'
<< /PageSize [288 432] >> setpagedevice
/label { /n exch def
  /Helvetica-Bold findfont 28 scalefont setfont 20 380 moveto (SHIP TO) show
  /Helvetica findfont 18 scalefont setfont 20 340 moveto (Parcel ) show n 4 string cvs show (/2) show
  6 setlinewidth 20 20 248 300 rectstroke
  0 1 35 { dup 6 mul 40 add 60 moveto 0 80 rlineto n 1 add mul 3 mod 1 add setlinewidth stroke } for
  showpage } def
1 label 2 label
EOF
photo=/usr/lib/python3/dist-packages/skimage/data/astronaut.png
testpage=/usr/share/cups/data/default-testpage.pdf

names=()
ids=()
submit() {
    local name=$1 queue=$2 file=$3
    shift 3
    local id
    id=$(lp -d "$queue" "$@" "$file" | sed -n 's/^request id is .*-\([0-9]*\) .*/\1/p')
    names+=("$name")
    ids+=("$id")
    echo "   job $id on $queue: $name"
}
echo "== Printing"
submit "the CUPS test page" labels "$testpage"
submit "a photograph as a tattoo stencil (Tattoo_Q6, anti-wrinkle level 2)" stencils "$photo" \
    -o PageSize=Tattoo_A6 -o HalftoneType=Tattoo_Q6 -o AntiWrinkle=2
submit "two labels, cut after each" labels "$spool/labels.pdf" \
    -o PageSize=w288h432 -o PostAction=Cut -o Occurrence=EveryPage
submit "the test page on a printer out of paper for three polls" no-paper "$testpage"

echo "== Waiting for the jobs"
paper_out_seen=no
while [ -n "$(lpstat -o 2>/dev/null)" ]; do
    if lpstat -l -p no-paper | grep -q media-empty-warning; then
        [ $paper_out_seen = yes ] || echo "   no-paper reports media-empty-warning: out of paper"
        paper_out_seen=yes
    fi
    sleep 0.1
done
if ! lpstat -l -p no-paper | grep -q media-empty-warning; then
    echo "   no-paper no longer reports media-empty-warning: paper loaded, job done"
fi

echo "== What the spooler reported"
for i in "${!ids[@]}"; do
    id=${ids[$i]}
    name=${names[$i]}
    state=$(lpstat -W completed -o | grep -q -- "-$id " && echo completed || echo "not completed")
    pages=$(awk -v id="$id" '$3 == id && $6 == "total" { print $7 }' "$spool/log/page_log")
    echo "   job $id, $name: $state, ${pages:-0} page(s)"
    for picture in "$out/previews/$id"/page-*.png; do
        [ -e "$picture" ] && echo "      ${picture#"$KORVO_ROOT"/}"
    done
done
echo "   media-empty-warning while the paper was out: $paper_out_seen"

# The filter keeps pictures of every page it prints in the spooler's
# temporary directory (an installed package deletes them after a day);
# those of this demo go now.
find /var/spool/cups/tmp -maxdepth 1 \( -name 'origin_*.bmp' -o -name 'dithered_*.bmp' \) \
    -newermt "@$started" -delete 2>/dev/null || true
echo "== Done in $(($(date +%s) - started)) s after the build. Look at the pictures in demo-output/previews/;"
echo "   build/tools/korvo-decode/korvo-decode demo-output/previews/JOB/stream.bin lists what a printer received."
