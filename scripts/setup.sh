#!/usr/bin/env bash
# Installs what the build and the tests need (Debian 12, as root), then configures and builds.
# Sourced by test.sh and demo.sh; BUILD_DIR is where the build lands.
set -euo pipefail
ROOT_DIR=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
BUILD_DIR=${BUILD_DIR:-$ROOT_DIR/build}

PACKAGES=(build-essential cmake ninja-build pkg-config libsqlite3-dev libjsoncpp-dev
          libglib2.0-dev libboost-dev libgtest-dev libgmock-dev libbenchmark-dev libcli11-dev
          dbus-daemon sqlite3 gettext)

missing=()
for p in "${PACKAGES[@]}"; do
    dpkg -s "$p" >/dev/null 2>&1 || missing+=("$p")
done
if [ ${#missing[@]} -gt 0 ]; then
    echo "Installing: ${missing[*]}"
    if [ "$(id -u)" -ne 0 ]; then
        echo "Missing packages and not root: ${missing[*]}" >&2
        exit 1
    fi
    apt-get update -qq
    DEBIAN_FRONTEND=noninteractive apt-get install -y -qq "${missing[@]}" >/dev/null
fi

cmake -S "$ROOT_DIR" -B "$BUILD_DIR" -G Ninja ${CMAKE_ARGS:-} >/dev/null
cmake --build "$BUILD_DIR" -j2
