#!/usr/bin/env bash
# Builds everything and runs every test; exits non-zero when any test fails.
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/setup.sh"
cd "$BUILD_DIR"
ctest --output-on-failure -j2 --timeout 300
