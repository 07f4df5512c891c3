#!/bin/sh
# Counts the instructions of the workers' passes, without those of the system. An idle pass may cost
# 1000 at most.
#
# usage: passes_test.sh PASSES_PROGRAM
set -eu
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
valgrind -q --tool=callgrind --collect-atstart=no --callgrind-out-file="$work/counts" "$1" >/dev/null
awk '
    sub(/^desc: Trigger: Client Request: /, "") { what = $0 } # none at the end of the program
    $1 == "totals:" && what == "nothing" { counting = $2 / 1000 }
    $1 == "totals:" && what != "nothing" && what != "" {
        each = $2 / 1000 - counting
        printf "%s: %d instructions\n", what, each
        parts++
        if (each < 100 || (what ~ /^idle/ && each > 1000)) failed = 1
    }
    $1 == "totals:" { what = "" }
    END { exit failed || parts != 3 }' "$work"/counts.[1-9]*
