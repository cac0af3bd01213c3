#!/usr/bin/env bash
# Writes the manual page of reminderctl from its own help: the program's --help and --version,
# then one section per command from "reminderctl COMMAND --help", then the hand-written sections.
#   reminderctl-man.sh TOOL STATIC-INCLUDE OUTPUT
set -euo pipefail
tool=$1
static=$2
output=$3

include=$(mktemp)
trap 'rm -f "$include"' EXIT
{
    cat "$static"
    echo "[COMMANDS]"
    # The command names stand in the "Subcommands:" block of the main help.
    "$tool" --help | sed -n '/^Subcommands:/,/^$/p' | awk 'NR > 1 && NF { print $1 }' |
        while read -r command; do
            echo ".SS $command"
            echo ".nf"
            "$tool" "$command" --help | sed -e '/^Times are the television/d' \
                -e 's/\\/\\e/g' -e 's/^\./\\\&./' -e 's/-/\\-/g'
            echo ".fi"
        done
} >"$include"

help2man --no-info --no-discard-stderr --section=1 \
    --name="book, list and remove the television's bookings" \
    --include="$include" --output="$output" "$tool"
