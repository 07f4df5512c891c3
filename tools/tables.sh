#!/bin/sh
# tables.sh [--check]
#
# Puts what ctlmap prints into the guide, between the lines <!-- ctlmap ... --> and <!-- end -->. With
# --check it only compares.
set -eu
cd "$(dirname "$0")/.."

# shellcheck disable=SC2016  # awk's
fill='
/^<!-- end -->$/ { skip = 0 }
!skip
/^<!-- ctlmap .* -->$/ {
    skip = 1
    gsub(/^<!-- | -->$/, "")
    print ""
    fflush()
    if (system("build/default/ctlmap/" $0)) exit 1
    print ""
}'

file=docs/configuring.md
new=$(awk "$fill" $file)
if [ "${1-}" != --check ]; then
    printf '%s\n' "$new" >$file
elif ! printf '%s\n' "$new" | diff $file -; then
    echo "$file does not have what ctlmap prints: run tools/tables.sh" >&2
    exit 1
fi
