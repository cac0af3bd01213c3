#!/usr/bin/env bash
# Builds the project, then books, replaces and refuses programmes on the sample television with
# reminderctl, on a fresh database.
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/setup.sh"
CTL="$BUILD_DIR/tools/reminderctl"
PROFILE="$ROOT_DIR/examples/tv-profile.json"
DEMO_DIR="$BUILD_DIR/demo"
rm -rf "$DEMO_DIR"
ctl() { "$CTL" --db "$DEMO_DIR/ReminderFile_v1.db" --tv "$PROFILE" "$@"; }
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
