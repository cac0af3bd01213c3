#!/usr/bin/env bash
# Starts or stops the private bus that the tests use as their system bus.
#   test-bus.sh start DIR CONFIG-TEMPLATE
#   test-bus.sh stop DIR
set -euo pipefail
cmd=$1
dir=$2
case "$cmd" in
start)
    mkdir -p "$dir"
    if [ -f "$dir/pid" ] && kill -0 "$(cat "$dir/pid")" 2>/dev/null; then
        kill "$(cat "$dir/pid")" || true
        sleep 0.2
    fi
    rm -f "$dir/system_bus_socket"
    sed "s|@BUS_DIR@|$dir|" "$3" > "$dir/bus.conf"
    dbus-daemon --config-file="$dir/bus.conf" --fork --print-pid=3 3>"$dir/pid" --nosyslog
    for _ in $(seq 50); do
        [ -S "$dir/system_bus_socket" ] && exit 0
        sleep 0.1
    done
    echo "test bus did not come up" >&2
    exit 1
    ;;
stop)
    if [ -f "$dir/pid" ]; then
        kill "$(cat "$dir/pid")" 2>/dev/null || true
        rm -f "$dir/pid"
    fi
    ;;
esac
