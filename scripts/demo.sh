#!/usr/bin/env bash
# Builds the project and shows the sample television.
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/setup.sh"
CTL="$BUILD_DIR/tools/reminderctl"
PROFILE="$ROOT_DIR/examples/tv-profile.json"
"$CTL" --tv "$PROFILE" guide
