#!/bin/sh
# ctlmap_export_test.sh CTLMAP RESOURCES MANUAL_PAGE: what export writes of an edited configuration,
# read by jq, and what diff says of the edits.
set -u
ctlmap=$1
resources=$2
manual=$3
dir=$(mktemp -d) || exit 2
trap 'rm -rf "$dir"' EXIT
# shellcheck source=tests/check.sh
. "$(dirname "$0")/check.sh"

edited=$dir/edited
mkdir "$dir/empty"
cp -R "$resources" "$edited"
sed -i 's/^21 1 60 3 0 1/21 1 50 3 0 0/; s/ PLAY_B$/ PLAY,B/; s/ FX_1_A$/ =1+1/; s/ FX_2_A$/ \x1b[2JFX/; s/^12 .*/12 12 19 0 1 64 9 PLATTER_A/
    s/^78 .*/78 70 117 1 0 0 2 BEAT_A/; /^79 /d; s/^11 .*/11 11 18 0 1 32 4 PITCH_FADER_B/' "$edited/orvik.midictl.cfg"
sed -i 's/^midi_channel=.*/midi_channel=4/; s/^midi_preset=.*/midi_preset=3/; s/^manufacturer=.*/manufacturer=A, "B/
    s/^product_name=.*/product_name=À°, \xFC\xE0/; s/^vendor_id=.*/vendor_id=0x1d50/' "$edited/orvik.sys.cfg"
sed -i 's/^DECK_A_1 .*/DECK_A_1 one,"two" 62 GREEN GREY/; /^DECK_A_2 /d; s/^\(DECK_A_3 .*\) 67 /\1 127 /
    s/^DECK_A_4 \(.*\) 68 /DECK_A_40 \1 1 /' "$edited/orvik.miditxt.cfg0.txt"
sed -i 's/^5 2 /6 3 /; s/^7 2 /-1 2 /; s/^7 12 /0 99 /; s/^14 12 .*/14 12 DECK_A_40/' "$edited/orvik.softlabelpos.cfg"
sed -i 's/^2 .*/2 \\033[32m GREEN/; s/^10 .*/10 \\033[2;32m DARK_GREEN/; s/^8 .*/8 =30 GREY/' "$edited/orvik.color.cfg"
echo VOLUME_A 99 >"$edited/orvik.midictl.cfg3.txt.ok"
ls -lR --time-style=full-iso "$edited" >"$dir/before"

check "what the daemon refuses is told of" tells 0 "not all of it works" "$ctlmap" export "$edited" --format json
"$ctlmap" export "$edited" >"$dir/json" 2>/dev/null
cat >"$dir/wanted" <<'END'
["ctlmap-2",4,3,"0x1d50","","À°, üà"]
[[10,"LED"],[51,"button"],[1,"encoder"],[2,"meter"],[2,"platter"],[16,"pot"],[1,"spare"],[2,"touched platter"]]
{"type":"controller","number":0,"bytes":["B0 00 vv","B1 00 vv"],"min":0,"max":255}
["relative",16,9,["B0 0C vv"],127,1,127]
["absolute",null,8,null,null,null,null]
[["90 01 vv","80 01 vv"],["94 32 7F","84 32 vv"],["94 32 vv","84 32 vv"],["90 01 vv"],false]
["controller",80,["B0 50 vv"],48,55,200]
[null,null,null,null]
{"place":"DECK_A_1","line":19,"drawn":true,"text":"ONE,\"TWO\"","note":62,"row":3,"column":2,"on_color":"GREEN","on_sequence":"\\033[32m","off_color":"GREY","off_sequence":"=30"}
["DECK_A_3","DECK_A_40"]
END
jq -c '[.schema, .channel, .preset, .vendor_id, .manufacturer, .product_name],
    ([.controls[].kind] | group_by(.) | map([length, .[0]])),
    .controls[0].from_board,
    (.controls[12] | [.mode, .step, .passes, .from_board.bytes, .from_board.max, .to_host.min, .to_host.max]),
    (.controls[20] | [.mode, .step, .passes, .from_host, .to_board, .off_darkens, .label]),
    (.controls[21] | [.from_board.bytes, .to_host.bytes, .from_host.bytes, .to_board.bytes, .off_darkens]),
    (.controls[82] | .to_board + {passes} | [.type, .number, .bytes, .min, .max, .passes]),
    (.controls[84] | [.from_board, .to_host, .from_host, .to_board]),
    .controls[23].label,
    [.other_labels[].place]' "$dir/json" >"$dir/got" 2>&1
check "JSON" diff "$dir/wanted" "$dir/got"

# Each column of the CSV, taken from the JSON: a cell that a spreadsheet would evaluate is text.
cat >"$dir/cells.jq" <<'END'
def cell: if . == null then "" elif type == "array" then join("; ") elif type != "string" then tostring
    else gsub("[\u0000-\u001f]"; "?") | if test("^[=+@-]") then "'" + . else . end |
        if test("[,\"]") then "\"" + gsub("\""; "\"\"") + "\"" else . end end;
. as $all | ($csv | split("\r\n")[0] | split(",")) as $names |
(.controls[], (.other_labels[] | {label: .})) as $row |
[$names[] | . as $name | first(
    (("from_board", "to_host", "from_host", "to_board", "label") |
        select(. as $group | $name | startswith($group + "_")) |
        ($row[.] // {})[$name[length + 1:]]),
    if $all | has($name) then $all[$name] else $row[$name] end) | cell] | join(",") + "\r"
END
"$ctlmap" export "$edited" --format csv >"$dir/csv" 2>/dev/null
jq -r --rawfile csv "$dir/csv" -f "$dir/cells.jq" "$dir/json" >"$dir/cells"
tail -n +2 "$dir/csv" >"$dir/rows"
check "CSV has the same" diff "$dir/cells" "$dir/rows"
check "and holds no formula" grep -q "^37,.*,'=1+1," "$dir/rows"

# The manual page names every key, of which the columns are made.
unnamed=$(for key in $(jq -r '[paths[] | strings] | unique[]' "$dir/json"); do
    grep -qE "^ *- (.*, )?\`$key\`.*\\\\$" "$manual" || echo "$key"
done)
check "the manual names every key, except: $unnamed" [ -z "$unnamed" ]

cat >"$dir/wanted" <<'END'
channel 0 -> 4
preset none -> 3
USB vendor "0x1209" -> "0x1d50"
USB name of the manufacturer "Orvik" -> ""
USB name of the product "Orvik Two Deck" -> "À°, üà"
VOLUME_A (index 0): controller to the host 7 -> 99
PITCH_FADER_B (index 11): mode absolute -> relative
PITCH_FADER_B (index 11): units in a step none -> 4
PITCH_FADER_B (index 11): a message at rest none -> no
PITCH_FADER_B (index 11): passes between two messages 2 -> 4
PLATTER_A (index 12): units in a step 8 -> 16
PLATTER_A (index 12): passes between two messages 2 -> 9
PLAY_A (index 21): a note-off turns it off yes -> no
PLAY_A (index 21): note to the host 60 -> 50
FX_1_A (index 37): name "FX_1_A" -> "=1+1"
FX_2_A (index 38): name "FX_2_A" -> "?[2JFX"
PLAY_B (index 42): name "PLAY_B" -> "PLAY,B"
BEAT_A (index 78): passes between two messages none -> 2
BEAT_A (index 78): a note-off turns it off yes -> no
BEAT_A (index 78): message to the board note -> controller
BEAT_A (index 78): controller to the board 51 -> 70
BEAT_B (index 79): name "BEAT_B" -> ""
BEAT_B (index 79): passes between two messages none -> 2
BEAT_B (index 79): a note-off turns it off yes -> no
BEAT_B (index 79): note from the host 118 -> 0
BEAT_B (index 79): message to the board note -> controller
BEAT_B (index 79): controller to the board 52 -> 0
label DECK_A_1: text "SYNC" -> "ONE,"TWO""
label DECK_A_1: on colour "BRIGHT_WHITE" -> "GREEN"
label DECK_A_2: is gone
label DECK_A_3: note 67 -> 127
label DECK_A_3: row 5 -> 6
label DECK_A_3: column 2 -> 3
label DECK_A_4: is gone
label DECK_A_5: row 7 -> none
label DECK_A_5: column 2 -> none
label DECK_A_6: row 7 -> 1
label DECK_A_6: column 12 -> 60
label DECK_A_12: is gone
label DECK_A_40: is new
colour GREY: sequence "\033[1;30m" -> "=30"
colour GREEN: sequence "\033[1;32m" -> "\033[32m"
colour DARK_GREEN: sequence "\033[0;32m" -> "\033[2;32m"
END
"$ctlmap" diff "$resources" "$edited" >"$dir/differences" 2>/dev/null
check "differences: status" [ $? -eq 1 ]
check "differences" diff "$dir/wanted" "$dir/differences"
check "no differences" "$ctlmap" diff "$resources" "$resources"

# One thing alone counts, too.
cp -R "$resources" "$dir/gone" && sed -i '/^DECK_A_2 /d' "$dir/gone/orvik.miditxt.cfg0.txt"
cp -R "$resources" "$dir/one" && sed -i 's/^24 4 /24 5 /' "$dir/one/orvik.midictl.cfg"
cp -R "$resources" "$dir/odd" && sed -i 's/^\(82 80 [0-9]* \)4/\12/' "$dir/odd/orvik.midictl.cfg"
check "bytes that are no message" tells 1 'bytes to the board "B0 50 vv" -> "00 50 vv"' "$ctlmap" diff "$resources" "$dir/odd"
check "a label is gone" tells 1 "label DECK_A_2: is gone" "$ctlmap" diff "$resources" "$dir/gone"
check "a number differs" tells 1 "note to the board 4 -> 5" "$ctlmap" diff "$resources" "$dir/one"
check "one error is told of" tells 0 "not all of it works" "$ctlmap" export "$dir/one"

while IFS='|' read -r text args; do
    # shellcheck disable=SC2086  # a list of words
    check "ctlmap $args: refused" tells 2 "$text" env -C "$dir" "$ctlmap" $args
done <<'END'
"diff" is not understood|diff edited
"xml" is not understood|export edited --format xml
"--werror" is not understood|export edited --werror
nowhere: No such file|diff edited nowhere
orvik.midictl.cfg: missing|export empty
END
check "a full disk is told of" tells 2 "No space left" sh -c "'$ctlmap' export '$resources' >/dev/full"
check "closed streams do not matter" sh -c "'$ctlmap' diff '$resources' '$edited' <&- 2>&- | diff '$dir/wanted' -"
ls -lR --time-style=full-iso "$edited" >"$dir/after"
check "nor changed" diff "$dir/before" "$dir/after"
exit $failed
