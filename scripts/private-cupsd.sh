#!/bin/bash
# SPDX-License-Identifier: Apache-2.0
# A private CUPS scheduler for the demo and the tests: its configuration,
# spool, logs and programs all live in one directory, it listens on
# 127.0.0.1 only, and nothing of the system's CUPS is touched.
#
#   private-cupsd.sh setup DIR   prepare DIR and print the server (127.0.0.1:PORT)
#   private-cupsd.sh start DIR   setup, start cupsd in the background, wait until
#                                it answers, print the server
#   private-cupsd.sh stop DIR    stop the cupsd started in DIR and wait for it
#   private-cupsd.sh port        print a free port of 127.0.0.1 (for other servers)
#
# The programs of the system's CUPS are linked into DIR/serverbin, plus the
# filter and backend named by KORVO_FILTER and KORVO_BACKEND (defaults: the
# ones in the build directory). cupsd runs filters and backends as the user
# lp, so DIR and the programs must be reachable by lp.
set -euo pipefail

usage="usage: private-cupsd.sh setup|start|stop DIR, or private-cupsd.sh port"
command=${1:?$usage}
[ "$command" = port ] || dir=${2:?$usage}
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
build=${KORVO_BUILD:-$root/build}
filter=${KORVO_FILTER:-$build/rastertokorvoppli/rastertokorvoppli}
backend=${KORVO_BACKEND:-$build/tools/korvo-virtual/korvo-virtual}

free_port() {
    python3 -c 'import socket; s = socket.socket(); s.bind(("127.0.0.1", 0)); print(s.getsockname()[1])'
}

setup() {
    mkdir -p "$dir"/{conf,state,cache,spool,tmp,log}
    chmod 0755 "$dir"
    chmod 1777 "$dir/tmp"  # the filters, run as lp, keep their temporary files there
    local system_serverbin
    system_serverbin=$(cups-config --serverbin)
    for sub in filter backend daemon cgi-bin monitor notifier driver; do
        mkdir -p "$dir/serverbin/$sub"
        for program in "$system_serverbin/$sub"/*; do
            [ -e "$program" ] && ln -sf "$program" "$dir/serverbin/$sub/"
        done
    done
    ln -sf "$(realpath "$filter")" "$dir/serverbin/filter/rastertokorvoppli"
    ln -sf "$(realpath "$backend")" "$dir/serverbin/backend/korvo-virtual"

    local port
    port=$(free_port)
    cat >"$dir/cupsd.conf" <<EOF
Listen 127.0.0.1:$port
Browsing Off
WebInterface No
LogLevel debug
MaxLogSize 0
DefaultPolicy open
<Location />
  Order allow,deny
  Allow all
</Location>
<Policy open>
  <Limit All>
    Order deny,allow
  </Limit>
</Policy>
EOF
    cat >"$dir/cups-files.conf" <<EOF
ServerRoot $dir/conf
StateDir $dir/state
CacheDir $dir/cache
RequestRoot $dir/spool
TempDir $dir/tmp
ServerBin $dir/serverbin
DataDir $(cups-config --datadir)
AccessLog $dir/log/access_log
ErrorLog $dir/log/error_log
PageLog $dir/log/page_log
Printcap
EOF
    echo "127.0.0.1:$port" >"$dir/server"
}

start() {
    setup
    cupsd -f -c "$dir/cupsd.conf" -s "$dir/cups-files.conf" </dev/null >"$dir/log/cupsd.out" 2>&1 &
    echo $! >"$dir/cupsd.pid"
    local server
    server=$(cat "$dir/server")
    for _ in $(seq 100); do
        CUPS_SERVER=$server lpstat -r 2>/dev/null | grep -q "is running" && break
        sleep 0.05
    done
    CUPS_SERVER=$server lpstat -r | grep -q "is running"
}

stop() {
    [ -f "$dir/cupsd.pid" ] || return 0
    local pid
    pid=$(cat "$dir/cupsd.pid")
    kill -TERM "$pid" 2>/dev/null || true
    while kill -0 "$pid" 2>/dev/null; do
        sleep 0.05
    done
    rm -f "$dir/cupsd.pid"
}

case $command in
setup) setup && cat "$dir/server" ;;
start) start && cat "$dir/server" ;;
stop) stop ;;
port) free_port ;;
*) echo "$usage" >&2 && exit 2 ;;
esac
