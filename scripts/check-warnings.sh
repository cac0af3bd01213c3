#!/usr/bin/env bash
# Builds every target of the project once more with warnings as errors, in a build directory
# of its own (build-werror/ unless WERROR_BUILD_DIR says otherwise). The benchmarks are left
# out: they only repeat calls the tests already compile.
set -euo pipefail
ROOT_DIR=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
WERROR_BUILD_DIR=${WERROR_BUILD_DIR:-$ROOT_DIR/build-werror}
launcher=()
if command -v ccache >/dev/null; then
    launcher=(-DCMAKE_C_COMPILER_LAUNCHER=ccache -DCMAKE_CXX_COMPILER_LAUNCHER=ccache)
fi
cmake -S "$ROOT_DIR" -B "$WERROR_BUILD_DIR" -G Ninja -DREMINDER_WERROR=ON \
    -DREMINDER_BUILD_BENCH=OFF "${launcher[@]}" ${CMAKE_ARGS:-} >/dev/null
cmake --build "$WERROR_BUILD_DIR" -j2
echo "Built with -Werror."
