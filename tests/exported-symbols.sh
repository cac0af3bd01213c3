#!/usr/bin/env bash
# Lists the dynamic symbols of the shared library and fails on any that is not part of its
# interface: members, vtables and type information of the exported classes, and the C functions
# the public C headers declare. Also fails when a declared C function or an exported class is
# missing (its export mark was lost).
#   exported-symbols.sh LIBRARY INCLUDE_DIR
set -euo pipefail
lib=$1
include_dir=$2

classes='CReminderAPI|CRemindInfo|CReminderAPIUtil|CReminderAPIImp|CDBControl|CDBCriteria'
declared=$(grep -ohE '\breminder_[a-z0-9_]+[[:space:]]*\(' "$include_dir"/reminder_api.h \
               "$include_dir"/remind_info.h | tr -d ' (' | sort -u)

symbols=$(nm -DC --defined-only "$lib" | sed -E 's/^[0-9a-f]+ [A-Za-z] //; s/@@?[A-Z_0-9]+$//')
status=0
while IFS= read -r symbol; do
    [ -n "$symbol" ] || continue
    # Instances of member templates demangle with their return type first.
    if [[ $symbol =~ ^(void\ )?($classes):: ]] ||
       [[ $symbol =~ ^(vtable|typeinfo|typeinfo\ name)\ for\ ($classes)$ ]] ||
       [[ $symbol =~ ^REMINDER_API_[0-9]+$ ]]; then
        continue
    fi
    if [[ $symbol =~ ^reminder_[a-z0-9_]+$ ]] && grep -qx "$symbol" <<<"$declared"; then
        continue
    fi
    echo "not part of the interface: $symbol"
    status=1
done <<<"$symbols"

for function in $declared; do
    if ! grep -qx "$function" <<<"$symbols"; then
        echo "declared in a C header but not exported: $function"
        status=1
    fi
done
for class in ${classes//|/ }; do
    if ! grep -q "^$class::" <<<"$symbols"; then
        echo "exported class without symbols: $class"
        status=1
    fi
done

[ $status -eq 0 ] && echo "$(wc -l <<<"$symbols") dynamic symbols, all part of the interface"
exit $status
