#!/usr/bin/env bash
# The manual page built from the tool's help, and the bash completion against the built tool.
#   reminderctl-extras.sh TOOL MANPAGE COMPLETION
set -euo pipefail
tool=$1
manpage=$2
completion=$3
status=0
fail() { echo "FAIL: $*"; status=1; }

# The page has the synopsis, every command with its options, and the hand-written sections.
for part in '.SH SYNOPSIS' '.SS add' '.SS watch' '\-\-at' '.SH ENVIRONMENT' 'XDG_STATE_HOME'; do
    grep -qF -- "$part" "$manpage" || fail "manual page lacks $part"
done
if command -v man >/dev/null; then
    man -l "$manpage" >/dev/null 2>&1 || fail "man cannot read the page"
fi

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
export REMINDER_DB_PATH=$work/db.db
"$tool" add --service 1001 --event 104 --as viewing >/dev/null

# complete WORD...: the candidates for the last word.
# shellcheck disable=SC1090
source "$completion"
complete_words() {
    COMP_WORDS=("$tool" "$@")
    COMP_CWORD=$((${#COMP_WORDS[@]} - 1))
    COMPREPLY=()
    _reminderctl
    echo "${COMPREPLY[*]}"
}
expect() {
    local want=$1
    shift
    local got
    got=$(complete_words "$@")
    [[ " $got " == *" $want "* ]] || fail "completing '$*' gave '$got', not $want"
}
expect list li
expect watch w
expect --version --v
expect --kind list --k
expect --at add --a
expect viewing add --as v
expect 6.1 add --channel 6
expect days: add --manual --repeat d
expect 1 show ""
expect 1 --db "$REMINDER_DB_PATH" delete ""

[ $status -eq 0 ] && echo "manual page and completion fine"
exit $status
