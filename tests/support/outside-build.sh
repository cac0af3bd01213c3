#!/bin/sh
# Builds the example C client as a user of an installed copy would: install the build into a
# temporary prefix, compile with nothing but what pkg-config says, and run it on the sample
# television.
# Usage: outside-build.sh BUILD_DIR CLIENT_SOURCE TV_PROFILE [EXTRA_CFLAGS...]
# (EXTRA_CFLAGS: what the library's own build needs of its clients, such as sanitizers.)
set -eu
build_dir=$1
source=$2
profile=$3
shift 3

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

cmake --install "$build_dir" --prefix "$work/prefix" >/dev/null
pc=$(find "$work/prefix" -name reminder-api.pc | head -n 1)
if [ -z "$pc" ]; then
    echo "reminder-api.pc was not installed" >&2
    exit 1
fi
PKG_CONFIG_PATH=$(dirname "$pc")
export PKG_CONFIG_PATH

flags=$(pkg-config --cflags --libs reminder-api)
echo "pkg-config --cflags --libs reminder-api: $flags"
# shellcheck disable=SC2086 # the flags are words
cc -std=c11 -Wall -Wextra -pedantic -Werror "$@" -o "$work/client" "$source" $flags

REMINDER_DB_PATH="$work/reminders.db" TVSIM_PROFILE="$profile" \
    DBUS_SYSTEM_BUS_ADDRESS="unix:path=$work/no-bus" \
    LD_LIBRARY_PATH="$(pkg-config --variable=libdir reminder-api)" "$work/client"
