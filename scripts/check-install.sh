#!/usr/bin/env bash
# Installs a built tree into a temporary prefix and builds an outside C and an outside C++
# program against it, once through pkg-config and once through find_package, with no flag
# beyond what the package gives. Then runs them.
#   scripts/check-install.sh [BUILD_DIR]
set -euo pipefail
ROOT_DIR=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
BUILD_DIR=$(cd "${1:-$ROOT_DIR/build}" && pwd)
CONSUMER_DIR=$ROOT_DIR/tests/consumer

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
prefix=$work/prefix
cmake --install "$BUILD_DIR" --prefix "$prefix" >/dev/null

# The temporary prefix is not on the loader's path: say where the library is to run the
# programs (building them needs nothing). A fresh database file, so nothing is read from here.
libdir=$(dirname "$(find "$prefix" -name 'libreminder-api.so' | head -n1)")
run() {
    env LD_LIBRARY_PATH="$libdir" REMINDER_DB_PATH="$work/db/ReminderFile_v1.db" "$@"
}
mkdir -p "$work/db"

# What a consumer is given: the library alone, and no include directory but the package's own.
fail() { echo "check-install: $*" >&2; exit 1; }
flags=$(PKG_CONFIG_PATH=$libdir/pkgconfig pkg-config --cflags --libs reminder-api)
for flag in $flags; do
    case $flag in
    -I*/include/reminder-api | -I*/include/reminder-api/platform | -L*/lib* | -lreminder-api) ;;
    *) fail "reminder-api.pc gives the unexpected flag $flag" ;;
    esac
done
[ ! -e "$prefix/include/vconf.h" ] || fail "platform headers installed at the top of include/"
grep -q '^prefix=${pcfiledir}/' "$libdir/pkgconfig/reminder-api.pc" ||
    fail "reminder-api.pc is not relative to its own directory"

echo "== pkg-config ($(PKG_CONFIG_PATH=$libdir/pkgconfig pkg-config --cflags --libs reminder-api))"
export PKG_CONFIG_PATH=$libdir/pkgconfig
# shellcheck disable=SC2046
cc -Wall -Werror -o "$work/pc-c" "$CONSUMER_DIR/consumer.c" $(pkg-config --cflags --libs reminder-api)
# shellcheck disable=SC2046
c++ -std=c++17 -Wall -Werror -o "$work/pc-cpp" "$CONSUMER_DIR/consumer.cpp" \
    $(pkg-config --cflags --libs reminder-api)
run "$work/pc-c"
run "$work/pc-cpp"
unset PKG_CONFIG_PATH

echo "== find_package"
cmake -S "$CONSUMER_DIR" -B "$work/cmake-build" -G Ninja -DCMAKE_PREFIX_PATH="$prefix" >/dev/null
cmake --build "$work/cmake-build" >/dev/null
run "$work/cmake-build/consumer-c"
run "$work/cmake-build/consumer-cpp"
echo "Installed copy usable from C and C++ through pkg-config and CMake."
