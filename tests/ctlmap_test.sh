#!/bin/sh
# What ctlmap makes of edited configurations.
#
#   ctlmap_test.sh PROGRAM SOURCE_DIRECTORY [EMULATOR]   under an emulator some of the cases
#
# A case of ctlmap/*.txt is "== NAME", commands that edit a copy of the delivered resources, and, after
# "> ", each finding that this adds, in order.
set -u
source=$2
dir=$(mktemp -d)
trap 'chmod -R u+w "$dir"; rm -rf "$dir"' EXIT
trap 'exit 1' INT TERM HUP
# shellcheck disable=SC2034  # for the cases
map=orvik.midictl.cfg preset=orvik.midictl.cfg0.txt settings=orvik.sys.cfg
# shellcheck disable=SC2034
colors=orvik.color.cfg places=orvik.softlabelpos.cfg labels=orvik.miditxt.cfg0.txt
# shellcheck source=tests/check.sh
. "$(dirname "$0")/check.sh"

mkdir "$dir/bin"
cp "$1" "$dir/bin/ctlmap"
before=${3-}
# Permissions hold for root, too, without capabilities.
[ "$(id -u)" -ne 0 ] || before="setpriv --bounding-set=-all --inh-caps=-all $before"
# shellcheck disable=SC2086  # words
ctlmap() { $before "$dir/bin/ctlmap" "$@"; }

# edit FILE SED: must change the file
edit() {
    cp "$1" "$dir/before"
    sed -i "$2" "$1"
    ! cmp -s "$1" "$dir/before"
}
select_preset() { edit $settings "s/^midi_preset=/&$1/"; }
checked_copy() { sh ./check_field_num.sh "$1" 2; }
content() { find "$1" -printf '%p %y %m %T@ %s\n' | sort; }

# finish: plays the case that has been read
finish() {
    [ -n "$case" ] || return
    rm -rf "$dir/resources"
    cp -r "$source/resources" "$dir/resources"
    (cd "$dir/resources" && eval "set -e$edits") || echo "the edit has failed" >>"$dir/expected"
    content "$dir/resources" >"$dir/listed"
    ctlmap check "$dir/resources" >"$dir/output" 2>&1
    status=$?
    ctlmap check --json "$dir/resources" >>"$dir/all.json"
    content "$dir/resources" | cmp -s - "$dir/listed" || echo "it has changed something" >>"$dir/output"
    case $edits in *select_preset*) usual= ;; *) usual=$delivered ;; esac
    sed "s|^$dir/resources/||" "$dir/output" | grep -vxF "$usual" | grep -v '^[0-9]* errors*, ' >"$dir/found"
    grep -qE ': (error|warning): ' "$dir/expected" && wanted=1 || wanted=0
    echo "status $wanted" >>"$dir/expected"
    echo "status $status" >>"$dir/found"
    check "$case" diff "$dir/expected" "$dir/found"
}

delivered=$(ctlmap check "$source/resources" | sed "1s|^$source/resources/||")
note='orvik.sys.cfg:17: note: orvik.midictl.cfg0.txt changes nothing while it is not selected; if you want it, write midi_preset=0 [preset-unused]'
check "the delivered resources are clean: $delivered" [ "$delivered" = "$note
0 errors, 0 warnings, 1 note" ]

[ -n "${3-}" ] && some=mistakes || some='*'
for file in "$source"/tests/ctlmap/$some.txt; do
    case=
    while IFS= read -r line; do
        case $line in
        '== '*)
            finish
            case=${line#== } edits=
            : >"$dir/expected"
            ;;
        '> '*) printf '%s\n' "${line#> }" >>"$dir/expected" ;;
        '#'* | '') ;;
        *) edits="$edits
$line" ;;
        esac
    done <"$file"
    finish
done

# Every rule is found by a case.
ctlmap rules >"$dir/rules"
for rule in $(sed -n 's/^| `\([^`]*\)`.*/\1/p' "$dir/rules"); do
    check "a case finds $rule" grep -qF "[$rule]" "$source"/tests/ctlmap/*.txt
done

# The controls that findings are about, as the panel and the page mark them.
if [ -z "${3-}" ]; then
    cat >"$dir/expected" <<'END'
["add-data",2,4,14,15,22]
["board-ignored",0,18,23,34,54]
["board-number",21,22,24,25,26,27,28,29,33,76,82,83]
["channel-mode",16]
["data-position",12]
["data-type",0,21,72,82]
["extra-field",8,21,22]
["host-only",0,2,12,21,33,72,82]
["indented",24,40]
["index-twice",2,21]
["label-left",23,27,28,35,36,37,44,45]
["no-line",23,82]
["not-a-number",22,25]
["not-ascii",22]
["number-range",13,16,22,23,43]
["preset-other",0,21,24]
["preset-part",16,44,45]
["preset-twice",21]
["rate",0]
["refused",40]
["run-on",22]
["same-message",0,2,22,37,65]
["shadowed",72,81,83]
["type-dark",21,23,72,82]
END
    jq -cs '[.[].findings[] | select(.control != null)] | group_by(.rule)[] |
        [.[0].rule] + ([.[].control] | unique)' "$dir/all.json" >"$dir/found"
    check "controls of findings" diff "$dir/expected" "$dir/found"
fi

# Its options, on a warning and a note in a directory beside its own that it cannot write.
rm -rf "$dir/resources" && cp -r "$source/resources" "$dir/resources"
sed -i 's/^22 2 61/22 2 60/' "$dir/resources/$map"
chmod 555 "$dir/resources"
prints() { # PATTERN ARGUMENT...; in PATTERN ~ ends a line
    pattern=$1
    shift
    ctlmap "$@" >"$dir/output" 2>&1
    status=$?
    tr '\n' '~' <"$dir/output" | grep -E "$pattern" && return $status
    cat "$dir/output"
    return 99
}
as() { # STATUS PATTERN ARGUMENT...
    wanted=$1
    shift
    check "ctlmap, status $wanted: $*" tells "$wanted" '' prints "$@"
}
as 1 "^$dir/resources/$map:51: warning: [^~]*~[^~]* note: [^~]*~0 errors, 1 warning, 1 note~$" check
as 1 '^[^~]*:51: error: .*~1 error, 0 warnings, 1 note~$' check --werror
as 1 '^[^~]* \[same-message\]~$' check --quiet "$dir/resources"
as 1 '"errors": 0,~ *"warnings": 1,~ *"notes": 1,~' check --json
check "that is JSON" jq -e '.findings[0] | .file == "orvik.midictl.cfg" and .line == 51 and .severity == "warning"' \
    "$dir/output"
as 2 'No such file' check "$dir/nowhere"
as 2 'Not a directory' check "$dir/resources/$map"
as 2 '"--loud" is not understood~ctlmap check' check --loud
as 2 '"/" is not understood' check / /
as 2 '"" is not understood'
as 0 '^usage: ctlmap check \[DIR\].*--werror' check --help
as 0 '^ctlmap [0-9.]+~$' --version
exit $failed
