#!/usr/bin/env bash
# Builds the fuzz targets of fuzz/ with clang under the address and undefined-behaviour
# sanitizers into their own build directory and runs each for a bounded time from its seed
# corpus. Exits non-zero when a target finds a crash, a leak or undefined behaviour.
#   FUZZ_SECONDS   seconds per target (30)
#   FUZZ_BUILD_DIR build directory (build-fuzz)
set -euo pipefail
ROOT_DIR=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
FUZZ_BUILD_DIR=${FUZZ_BUILD_DIR:-$ROOT_DIR/build-fuzz}
FUZZ_SECONDS=${FUZZ_SECONDS:-30}
TARGETS=(deserialize store_row)

if ! command -v clang++ >/dev/null; then
    echo "fuzz.sh needs clang (the setup script installs it)" >&2
    exit 1
fi
cmake -S "$ROOT_DIR" -B "$FUZZ_BUILD_DIR" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo \
    -DCMAKE_C_COMPILER=clang -DCMAKE_CXX_COMPILER=clang++ -DREMINDER_FUZZ=ON \
    -DREMINDER_BUILD_TESTS=OFF -DREMINDER_BUILD_BENCH=OFF ${CMAKE_ARGS:-} >/dev/null
cmake --build "$FUZZ_BUILD_DIR" -j2 --target "${TARGETS[@]/#/fuzz_}"

status=0
for target in "${TARGETS[@]}"; do
    # New inputs go to the build directory's corpus; the repository's seeds stay as they are.
    work="$FUZZ_BUILD_DIR/corpus/$target"
    mkdir -p "$work" "$FUZZ_BUILD_DIR/artifacts"
    log="$FUZZ_BUILD_DIR/$target.log"
    echo "fuzz_$target: ${FUZZ_SECONDS}s"
    # -detect_leaks=0: the per-input leak check rescans the heap after every input that keeps
    # memory (the simulated television's log) and slows the run thirtyfold.
    if ! "$FUZZ_BUILD_DIR/fuzz/fuzz_$target" -max_total_time="$FUZZ_SECONDS" -print_final_stats=1 \
        -detect_leaks=0 \
        -artifact_prefix="$FUZZ_BUILD_DIR/artifacts/$target-" "$work" \
        "$ROOT_DIR/fuzz/corpus/$target" >"$log" 2>&1; then
        status=1
        echo "fuzz_$target FAILED; the input is in $FUZZ_BUILD_DIR/artifacts/" >&2
        grep -E "ERROR|runtime error|SUMMARY" "$log" | head -20 >&2 || true
    fi
    grep -E "stat::number_of_executed_units|stat::peak_rss_mb" "$log" | sed "s/^/fuzz_$target /"
done
exit $status
