#!/usr/bin/env bash
# Builds and runs the benchmarks: the change notification across processes, then the store next
# to raw SQLite (three repetitions; the library / raw ratios it prints are their medians).
# Extra arguments go to both benchmarks (e.g. --benchmark_filter=ListRead).
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/setup.sh"
cmake --build "$BUILD_DIR" -j2 --target notify_bench store_bench
"$BUILD_DIR/bench/notify_bench" "$@"
"$BUILD_DIR/bench/store_bench" --benchmark_repetitions=3 "$@"
