#!/usr/bin/env bash
# Builds the project, then books, replaces and refuses programmes on the sample television with
# reminderctl, on a fresh database; then lets the evening pass: a recording runs and ends, a
# daily reminder moves on, missed recordings fail.
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/setup.sh"
CTL="$BUILD_DIR/tools/reminderctl"
PROFILE="$ROOT_DIR/examples/tv-profile.json"
DEMO_DIR="$BUILD_DIR/demo"
rm -rf "$DEMO_DIR"
mkdir -p "$DEMO_DIR"
ctl() { "$CTL" --db "$DEMO_DIR/ReminderFile_v1.db" --tv "$PROFILE" "$@"; }

# Every change is announced on the system bus. Without a reachable one, the demo brings up a
# private bus of its own and stops it at the end.
BUS_DIR="$DEMO_DIR/bus"
WATCH_PID=""
cleanup() {
    [ -n "$WATCH_PID" ] && kill "$WATCH_PID" 2>/dev/null || true
    "$ROOT_DIR/tests/support/test-bus.sh" stop "$BUS_DIR" 2>/dev/null || true
}
trap cleanup EXIT
if ! ctl watch --timeout 0.2 >/dev/null 2>"$DEMO_DIR/probe.err" &&
    grep -q "no system bus" "$DEMO_DIR/probe.err"; then
    "$ROOT_DIR/tests/support/test-bus.sh" start "$BUS_DIR" "$ROOT_DIR/tests/support/test-bus.conf"
    export DBUS_SYSTEM_BUS_ADDRESS="unix:path=$BUS_DIR/system_bus_socket"
    echo "(no system bus reachable: started a private one at $DBUS_SYSTEM_BUS_ADDRESS)"
fi
# A second process watches the list beside the scripted run.
ctl watch --timeout 120 >"$DEMO_DIR/events" 2>"$DEMO_DIR/watch.err" &
WATCH_PID=$!
for _ in $(seq 100); do
    grep -q "watch: listening" "$DEMO_DIR/watch.err" 2>/dev/null && break
    sleep 0.05
done
step() { printf '\n== %s\n$ reminderctl %s\n' "$1" "${*:2}"; }
# A refusal is part of the story: show it, and carry on.
refused() { step "$@"; if ctl "${@:2}"; then echo "(unexpectedly accepted)"; fi; }

# sed, not head: it reads the whole guide, so the tool never writes into a closed pipe.
step "Tonight on channel 1" guide --channel 1
ctl guide --channel 1 | sed -n 1,8p
step "And on channel 2, where a film is split by the news" guide --channel 2
ctl guide --channel 2 | sed -n 1,11p

step "A reminder to watch the late film" add --service 1001 --event 104 --as viewing
ctl add --service 1001 --event 104 --as viewing

step "A recording of the same film replaces the reminder" add --service 1001 --event 104 --as recording
ctl add --service 1001 --event 104 --as recording

refused "The same recording again is refused" add --service 1001 --event 104 --as recording

step "A film in three parts, split by the news, is stored part by part" add --service 1002 --event 500 --as recording
ctl add --service 1002 --event 500 --as recording

step "Deleting the middle part of the film deletes all three parts" delete 3
ctl delete 3
ctl list

step "The film is booked again" add --service 1002 --event 500 --as recording
ctl add --service 1002 --event 500 --as recording

step "A series: its base entry and every episode in the guide" add --service 1001 --event 103 --as series
ctl add --service 1001 --event 103 --as series

printf '\n== Filling the list with reminders on channel 5 up to 30 bookings\n'
for event in $(seq 103 127); do
    ctl add --service 1005 --event "$event" --as viewing >/dev/null
done
ctl list | tail -1

refused "One more is refused: the list is full" add --service 1005 --event 128 --as viewing

step "The final list" list
ctl list

printf '\n==== Act two: the evening passes\n'
# The television's clock is the sample's (19:00 on 23 November) until --now moves it.
FILM_UID="$(ctl list | awk '/Cinéma de Minuit/ && /recording/ { print $1; exit }')"
at() {
    local when="$1" title="$2"
    shift 2
    step "$title" --now "$when" "$@"
    ctl --now "$when" "$@"
}

at 2026-11-23T21:00 "21:00: the late film's time has come, it is ready to record" recorder ready "$FILM_UID"
at 2026-11-23T21:00 "The recorder takes the next ready recording and starts it" recorder next
at 2026-11-23T21:30 "What is being recorded" recorder current
at 2026-11-23T23:10 "23:10: the film has ended, its booking goes" recorder done

at 2026-11-23T23:15 "A daily reminder for the late news, in the place the film left" add --manual --channel 2 --start 2026-11-23T23:30 --duration 15 --repeat daily --as viewing

at 2026-11-24T08:00 "Next morning the housekeeping passes run: the daily reminder moves on, the film on channel 2 that was never recorded fails, passed reminders go" expire
at 2026-11-24T08:00 "The failed recordings, with their reasons" list --kind failed

kill "$WATCH_PID" 2>/dev/null || true
wait "$WATCH_PID" 2>/dev/null || true
WATCH_PID=""
printf '\n== What the watching process heard: %s change events\n' "$(wc -l <"$DEMO_DIR/events")"
sed -n 1,5p "$DEMO_DIR/events"
[ "$(wc -l <"$DEMO_DIR/events")" -gt 5 ] && echo "..."

# --- A channel rescan and a guide update, followed by the bookings ---
# On a database of its own, so that the scenes below still find their channel 5.
rctl_on() { "$CTL" --db "$DEMO_DIR/Rescan.db" --tv "$1" "${@:2}"; }
rctl() { rctl_on "$PROFILE" "$@"; }
RESCANNED="$ROOT_DIR/examples/tv-rescan.json"
printf '\n==== A rescan and a guide update\n'
step "A film on channel 5, a documentary and the news on channel 3, a detective on channel 1" \
    add --service 1005 --event 108 --as recording "(and three more)"
rctl add --service 1005 --event 108 --as recording >/dev/null
rctl add --service 1003 --event 105 --as recording >/dev/null
rctl add --service 1003 --event 110 --as viewing >/dev/null
rctl add --service 1001 --event 121 --as recording >/dev/null
rctl list
step "The television is rescanned: channel 5 is now 15, channel 3 is gone" rescan --tv examples/tv-rescan.json
rctl rescan --tv "$RESCANNED"
step "The bookings after the rescan" --tv examples/tv-rescan.json list
rctl_on "$RESCANNED" list
step "A guide update moves the detective half an hour later" refresh --tv examples/tv-guide-update.json
rctl refresh --tv "$ROOT_DIR/examples/tv-guide-update.json"
step "A second refresh finds nothing new" --tv examples/tv-guide-update.json refresh
rctl_on "$ROOT_DIR/examples/tv-guide-update.json" refresh

# --- A reminder is accepted, and a booked programme moves ---
# What the reminder pop-up does when the viewer accepts: the application that should show the
# channel now is launched with it, depending on what is on screen.
REMINDER_UID=$(ctl list | awk '$6 == "5.0" && $7 == "viewing" { print $1; exit }')
step "The reminder fires and the viewer accepts it: nothing on screen, the set in picture-off" \
    tune "$REMINDER_UID" --stop-type 209 --picture-off
ctl tune "$REMINDER_UID" --stop-type 209 --picture-off
step "Accepted while the guide is on screen" tune "$REMINDER_UID" --stop-type 209 --guide-shown
ctl tune "$REMINDER_UID" --stop-type 209 --guide-shown
step "Accepted while the recorder may take the channel change (stop type 0)" tune "$REMINDER_UID"
ctl tune "$REMINDER_UID"

# The broadcaster moves the detective's next episode a quarter of an hour later; a monitoring
# process follows every booked recording and series and hears of it as it happens. (The late
# film of act two has been recorded and is no longer followed.)
MOVING_TV="$DEMO_DIR/tv-moving.json"
sed '1s/^{/{"programme_changes": [{"after": 500, "type": 1, "service_id": 1001, "event_id": 121, "start": 1795547700}],/' \
    "$PROFILE" >"$MOVING_TV"
step "A monitoring process; the detective's next episode moves from 20:00 to 20:15" monitor --count 1
"$CTL" --db "$DEMO_DIR/ReminderFile_v1.db" --tv "$MOVING_TV" monitor --count 1 --timeout 30
