#!/bin/sh
# check_field_num.sh FILE COUNT
#
# Checks that every data line of FILE holds COUNT fields, and if so writes its data lines to FILE.ok,
# with an empty line for each other one, so that line numbers agree. A byte order mark is taken off.
# If not, names every bad line on standard error; no FILE.ok is left. Status: 0 copied, 1 not copied,
# 2 called wrongly. Needs nothing but awk, mv, rm and cat.

LC_ALL=C
export LC_ALL

fail() {
    echo "$1" >&2
    exit "${2:-1}"
}

[ $# -eq 2 ] || fail "usage: check_field_num.sh FILE COUNT" 2
case $2 in
'' | *[!0-9]* | 0*) fail "usage: check_field_num.sh FILE COUNT: COUNT is a number from 1 on, not \"$2\"" 2 ;;
esac
case $1 in
-*) file=./$1 ;;
*) file=$1 ;;
esac
copy=$file.ok
aside=$copy.new

trap 'rm -f "$aside"' EXIT
trap 'exit 1' HUP INT TERM

# A copy from an earlier run must not outlive a source that fails.
rm -f "$copy" || fail "$file: the old copy $copy cannot be removed"
if [ ! -f "$file" ] || [ ! -r "$file" ]; then
    fail "$file: not a file that can be read"
fi

# Carriage returns before the first byte that counts are empty lines. A byte 0xFF where a line begins
# or in a comment is the end of the file. Not every system has a /dev/stderr for awk.
lines=$(FILE=$file COUNT=$2 awk '
NR == 1 { sub(/^\357\273\277/, "") }
{ sub(/^\r+/, ""); sub(/\r+$/, ""); gsub(/\r/, " ") }

/^\377/ || /^[# ].*\377/ { exit }
/^$/ || /^[# ]/ { print ""; next }

{
    fields = $0
    gsub(/[\t\013\014]/, " ", fields)
    found = split(fields, field, " ")
    if (found == ENVIRON["COUNT"] + 0) {
        print
        next
    }
    bad = 1
    hint = ""
    for (i = 2; i <= found; i++)
        if (field[i] ~ /^#/)
            hint = " (a comment needs a line of its own)"
    print ENVIRON["FILE"] ":" NR ": fields found: " found ", wanted: " ENVIRON["COUNT"] hint \
        | "cat 1>&2"
}

END { close("cat 1>&2"); exit bad }
' <"$file") || fail "$file: not used, there is no $copy"

# cat, unlike some awks, tells when the disk is full.
if [ -n "$lines" ]; then
    cat <<EOT
$lines
EOT
fi >"$aside" || fail "$file: cannot write $aside"
mv -f "$aside" "$copy" || fail "$file: cannot write $copy"
