#!/usr/bin/env bash
# Starts or stops the private bus that the tests use as their system bus.
#   test-bus.sh start DIR CONFIG-TEMPLATE   (the template's @BUS_DIR@ becomes DIR)
#   test-bus.sh stop DIR
# The bus listens on DIR/system_bus_socket; its process id is kept in DIR/pid.
set -euo pipefail
cmd=${1:?start or stop}
dir=${2:?bus directory}

# Stops the daemon recorded in DIR/pid, if that process is still a dbus-daemon (the id may have
# been reused since), and waits for it to go.
stop_bus() {
    [ -f "$dir/pid" ] || return 0
    local pid
    pid=$(cat "$dir/pid")
    rm -f "$dir/pid"
    if [ -n "$pid" ] && [ "$(cat "/proc/$pid/comm" 2>/dev/null)" = "dbus-daemon" ]; then
        kill "$pid" 2>/dev/null || true
        for _ in $(seq 50); do
            kill -0 "$pid" 2>/dev/null || break
            [ "$(cat "/proc/$pid/stat" 2>/dev/null | awk '{print $3}')" = "Z" ] && break
            sleep 0.05
        done
    fi
    rm -f "$dir/system_bus_socket"
}

case "$cmd" in
start)
    template=${3:?config template}
    mkdir -p "$dir"
    stop_bus
    rm -f "$dir/system_bus_socket"
    sed "s|@BUS_DIR@|$dir|" "$template" > "$dir/bus.conf"
    # --fork returns once the daemon listens.
    dbus-daemon --config-file="$dir/bus.conf" --fork --print-pid=3 3>"$dir/pid" --nosyslog
    for _ in $(seq 50); do
        [ -S "$dir/system_bus_socket" ] && exit 0
        sleep 0.1
    done
    echo "test bus did not come up (config $dir/bus.conf)" >&2
    exit 1
    ;;
stop)
    stop_bus
    ;;
*)
    echo "usage: $0 start DIR CONFIG-TEMPLATE | stop DIR" >&2
    exit 2
    ;;
esac
