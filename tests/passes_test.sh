#!/bin/sh
# Counts the instructions of the workers' passes, without those of the system. An idle pass may cost
# 1000 at most.
#
# usage: passes_test.sh PASSES_PROGRAM
set -eu
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
valgrind -q --tool=callgrind --instr-atstart=no --callgrind-out-file="$work/counts" "$1" >/dev/null
failed=0
for part in "$work"/counts.*; do
    awk '
        sub(/^desc: Trigger: Client Request: /, "") { what = $0 }
        $1 == "totals:" { each = $2 / 1000 }
        END {
            if (what == "") exit # the end of the program, not a part
            printf "%s: %d instructions\n", what, each
            exit each < 100 || (what ~ /^idle/ && each > 1000)
        }' "$part" || failed=1
done
[ "$(ls "$work" | grep -c 'counts\.')" -ge 3 ] || failed=1
exit $failed
