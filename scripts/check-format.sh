#!/usr/bin/env bash
# Fails when a C or C++ source of the project differs from what clang-format (the root
# .clang-format) makes of it, and names the files with the command that fixes them.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
if git rev-parse --is-inside-work-tree >/dev/null 2>&1; then
    mapfile -t files < <(git ls-files '*.c' '*.cpp' '*.h')
else
    mapfile -t files < <(find include src tools tests tvsim bench platform \
        -name '*.c' -o -name '*.cpp' -o -name '*.h')
fi
unformatted=()
for file in "${files[@]}"; do
    [ -f "$file" ] || continue
    clang-format --dry-run --Werror "$file" >/dev/null 2>&1 || unformatted+=("$file")
done
if [ ${#unformatted[@]} -gt 0 ]; then
    echo "Not formatted (fix with: clang-format -i ${unformatted[*]}):" >&2
    printf '  %s\n' "${unformatted[@]}" >&2
    exit 1
fi
echo "clang-format: ${#files[@]} files formatted"
