#!/usr/bin/env bash
# Builds the programme-monitoring tests with the thread sanitizer into their own build folder
# (build-tsan, or TSAN_BUILD_DIR) and runs the test in which programme changes arrive on the
# subscriber's thread while the main thread monitors and cancels. Any race report fails it.
set -euo pipefail
ROOT_DIR=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
TSAN_BUILD_DIR=${TSAN_BUILD_DIR:-$ROOT_DIR/build-tsan}
cmake -S "$ROOT_DIR" -B "$TSAN_BUILD_DIR" -G Ninja -DCMAKE_BUILD_TYPE=Debug \
    -DREMINDER_SANITIZE_THREAD=ON -DREMINDER_BUILD_BENCH=OFF ${CMAKE_ARGS:-} >/dev/null
cmake --build "$TSAN_BUILD_DIR" -j2 --target program_monitor_test
# Some kernels place memory where the sanitizer cannot work unless address randomisation is
# turned down for the test; setarch does that for one process tree when it is allowed.
RUN=()
if setarch "$(uname -m)" -R true 2>/dev/null; then RUN=(setarch "$(uname -m)" -R); fi
export TSAN_OPTIONS="halt_on_error=1 second_deadlock_stack=1 ${TSAN_OPTIONS:-}"
cd "$TSAN_BUILD_DIR"
"${RUN[@]}" ctest -R 'ProgramMonitor' --output-on-failure -j2
