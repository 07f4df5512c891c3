#!/bin/sh
# Draws charts of configurations and looks at what is in the pages.
#
#   chart_test.sh CTLMAP RESOURCES
set -u
ctlmap=$(realpath "$1")
resources=$(realpath "$2")
here=$(realpath "$(dirname "$0")")
dir=$(mktemp -d)
trap 'rm -rf "$dir"' EXIT
cd "$dir" || exit 1
failed=0

# check NAME WANTED SEEN
check() {
    if [ "$2" = "$3" ]; then
        echo "ok      $1"
    else
        failed=$((failed + 1))
        printf 'FAILED  %s\n  wanted: %s\n  seen:   %.400s\n' "$1" "$2" "$3"
    fi
}
status() { "$@" >out 2>&1; echo $?; }

# What a reader sees of a control in the table, and on the front.
row() { # PAGE INDEX
    sed -n "/^<tr id=\"c$2\">/{s/<br>/ + /g; s/<\/t[dh]>/|/g; s/<[^>]*>//g; p}" "$1.html"
}
on_front() { # PAGE INDEX
    sed -n "/<title>[^<]* index $2)/,/<\/g>/{s/<title>.*<\/title>//; s/<[^>]*>/ /g; p}" "$1.html" | xargs
}
# The colours of a label on the screen: the ground, if it is not black, and the text.
colors() { # PAGE ON TEXT
    sed -n "/id=\"screen$2\"/,/<\/symbol>/p" "$1.html" |
        sed -n "/>$3</{s/[^#]*#\(...\)[^#]*/\1 /gp; q}" | xargs
}

cp -r "$resources" delivered
"$here/nasty_mapping.sh" "$resources" nasty
cp -r "$resources" edited
cd edited || exit 1
sed -i 's/12 12 19/12 12 127/; s/^15 .*/15 15 22 0 1 0 9 S_B/; s/^20 .*/20 66 31 0 0 0 8 X/; s/PLAY_A/PLAY/
    s/82 80 28/82 80 30/; /^71 /d; s/LOOP_DOUBLE_A/A_NAME_THAT_GOES_ON_AND_ON_A/; s/^66 65 105/x &/' orvik.midictl.cfg
sed -i 's/channel=0/channel=9/; s/preset=/preset=0/' orvik.sys.cfg
sed -i 's/ 62 / 3 /' orvik.miditxt.cfg0.txt
cat >orvik.color.cfg <<'EOT'
0 \033[0;37m WHITE
1 \033[0;30;42m GREEN
2 \e[7m DARK_GREEN
3 \x1b[94;101m YELLOW
4 \033[1;31;0m DARK_YELLOW
5 \033[m\033[1;33m CYAN
6 \033[2J DARK_CYAN
7 [32m BRIGHT_WHITE
EOT
cd ..
for page in delivered nasty edited; do
    "$ctlmap" chart $page -o $page.html || exit 1
    check "$page: valid HTML" "" "$(tidy -errors -quiet $page.html 2>&1)"
    check "$page: UTF-8" 0 "$(status iconv -f UTF-8 -t UTF-8 $page.html)"
    check "$page: nothing from anywhere" "" "$(grep -oiE '<script|<link|<img|src=|https?:|url\(|@import' $page.html)"
    check "$page: a number for each control" 85 "$(grep -o 'class="v"' $page.html | wc -l)"
    check "$page: a line for each control" 85 "$(grep -c '^<tr id="c' $page.html)"
    grep -oE 'href="#[^"]*' $page.html | cut -d'#' -f2 | sort -u >linked
    grep -oE ' id="[^"]*' $page.html | cut -d'"' -f2 | sort -u >there
    check "$page: links lead somewhere" "" "$(comm -23 linked there)"
done

while read -r text; do
    check "nasty: $text" 1 "$(grep -cF "$text" nasty.html | sed 's/[1-9].*/1/')"
done <<'EOT'
<h1>&#60;b&#62;&#38;&#34;x&#34;&#60;/b&#62;</h1>
&#60;/title&#62;&#60;script&#62;_A<small>
GRÜN_ÄÖÜßé_A<small>
Kühl�ÿer
cutÀ¼Ã_A<small>
WWWWWWWWWWW_A<small>
no valid MIDI channel
<text class="m"
EOT

# PAGE INDEX LINE
while read -r page idx wanted; do
    check "$page, index $idx" "$wanted" "$(row "$page" "$idx")"
done <<'EOT'
delivered 0 VOLUME_A pot|0|B0 00 vv + B1 00 vv|B0 07 vv|||absolute: 0-127|2|
edited 12 PLATTER_A platter note 3|12|B0 0C vv|B9 7F vv|||relative: 65-127 clockwise, 63-1 back; 8 units a step|2|
edited 15 S_B touched platter|15|B0 0F vv|B9 16 vv|||relative: 65-127 clockwise, 63-1 back, 64 at rest; 1 unit a step|9|
edited 21 PLAY button|21|90 01 vv + 80 01 vv|99 3C 7F + 89 3C vv|99 3C vv + 89 3C vv|90 01 vv|on press 127 + LED 0-127, off by note-off||
nasty 40 PAD_MODE_A button|40|90 14 vv + 80 14 vv|90 4F 7F + 80 4F vv||90 14 vv|on press 127 + LED 0-127, off by note-off||
edited 28 LOOP_IN_A button|28|90 08 vv + 80 08 vv|99 2C 7F + 89 2C vv|99 2C vv + 89 2C vv|90 08 vv|on press 127 + LED 0-127, off by note-off||
delivered 28 LOOP_IN_A button, label “LOOP IN”|28|90 08 vv + 80 08 vv|90 43 7F + 80 43 vv|90 43 vv + 80 43 vv|90 08 vv|on press 127 + LED 0-127, off by note-off||
delivered 33 BEND_DOWN_A button|33|90 0D vv + 80 0D vv|90 48 7F + 80 48 vv|90 48 vv + 80 48 vv|B0 0D vv|on press 127|2|
edited 71 no name button, no line warning 1|71|90 46 vv + 80 46 vv|99 46 7F + 89 46 vv|99 00 vv + 89 00 vv|B0 00 vv|on press 127|2|
delivered 72 RING_A LED|72|||90 6F vv + 80 6F vv|90 2D vv|LED 0-127, also by note-off||
delivered 83 METER_B meter|83|||B0 1D vv|B0 51 30 + B0 51 37|0-127 in 8 levels|200|
delivered 84 SPARE_84 spare|84|||||not connected||
EOT
check "name broken, and cut" "A NAME THAT GO… note 71" "$(on_front edited 32)"
check "no line" "index 71 note 70 ← 0" "$(on_front edited 71)"
check "moved to the mixer" 1 "$(sed -n '/<title>Mixer/,/<title>Deck B/p' edited.html | grep -c '<title>PLAY ')"
check "finding" 1 "$(grep -c '^<li id="f[0-9]*"><b class="error">error</b> <code>orvik.midictl.cfg:[0-9]*</code> idx .* is not a number' edited.html)"

# ON TEXT COLOURS
while IFS='|' read -r on text wanted; do
    check "colours of $text, $on" "$wanted" "$(colors edited "$on" "$text")"
done <<'EOT'
1|LOOP IN|0a0 000
0|LOOP IN|aaa 000
1|HOT CUE 1|f55 55f
0|HOT CUE 1|aaa
1|EFFECT 1|ff5
0|EFFECT 1|aaa
1|SYNC|aaa
0|SYNC|aaa
EOT

check "implementation chart" "| Basic Channel | Default | 10 | 10 | setting \`midi_channel\` + 1, or option \`-m\` |
| Note Number | | 36-51, 60-62, 65, 69-75, 78-83, 90-96, 99-104, 106-109 | 3, 36-51, 60-71, 74-92, 95-101, 104, 107-108, 111-120 | 0-127 by the mapping: buttons; LEDs, labels |
| Control Change | | O 20-22, 25, 31, 102-116, 127 | O 29-30 | 0-127 by the mapping: pots, platters, encoder; meters |" \
    "$("$ctlmap" chart --markdown edited | grep -E 'Default \| 1|Number|Control')"
check "no channel" "| Basic Channel | Default | 1 | X |" "$("$ctlmap" chart --markdown nasty | grep -o '.*Basic.* X |')"

# --- What cannot be done ---

echo old >kept
check "no directory" "2 old" "$(status "$ctlmap" chart nowhere -o kept) $(cat kept)"
rm edited/orvik.midictl.cfg
check "no mapping" "2 old" "$(status "$ctlmap" chart edited -o kept) $(cat kept)"
check "says so" "ctlmap: edited/orvik.midictl.cfg is missing, so there is nothing to draw" "$(cat out)"
check "no such place" 2 "$(status "$ctlmap" chart delivered -o nowhere/page)"
check "disk full" 2 "$("$ctlmap" chart delivered 2>out >/dev/full; echo $?)"
check "no file after -o" 2 "$(status "$ctlmap" chart delivered -o)"
[ $failed -eq 0 ]
