#!/bin/sh
# nasty_mapping.sh DIRECTORY NEW_DIRECTORY
#
# Copies a configuration that is clean and makes of it one that is hard to show: the longest names,
# what means something in HTML, UTF-8 and what is not, numbers used twice and beyond MIDI, lines that
# are missing, labels on top of each other, and findings everywhere.
set -eu
cp -r "$1" "$2"
cd "$2"
long=$(printf '%061d' 0 | tr 0 W)
markup='<b>\&"x"</b>'
latin1=$(printf 'K\374hl\233\377er')
cut=$(printf 'cut\300\274\303')
LC_ALL=C sed -i \
    -e "/^\(0\|2\|12\|21\|72\|82\) /s/ [^ ]*$/ ${long}_A/" \
    -e "s/^\(10 .*\) .*/\1 ${long}_B/" -e "s/^\(16 .*\) .*/\1 ${long}/" \
    -e "s/^\(22 .*\) .*/\1 <\/title><script>_A/" -e "s/^\(23 .*\) .*/\1 '\&amp;\"><b_A/" \
    -e "s/^\(24 .*\) .*/\1 GRÜN_ÄÖÜßé_A/" -e "s/^\(25 .*\) .*/\1 ${latin1}_A/" \
    -e "s/^\(26 .*\) .*/\1 ${cut}_A/" -e "s/^\(27 .*\) .*/\1 音声出力音声出力音声出力_A/" \
    -e "s/^\(28 .*\) .*/\1 _A/" -e "s/^\(29 .*\) .*/\1 __/" -e '/^\(30\|13\|42\|73\|83\) /d' \
    -e '/^[1-9][0-9]* .*_B$/s/^\([0-9]* [0-9]*\) [0-9]*/\1 60/' -e 's/^66 65 105/66 65 200/' \
    -e 's/^\(4 4 11 0\) 0/\1 1/' -e '$a 21 1 60 3 0 1 2 AGAIN_A' -e '$a 22 x 61 3 0 1 2 REFUSED' \
    -e 's/^\(40\|41\|42\|43\|6[5-9]\|7[01]\) \(.*\)_B$/\1 \2/' orvik.midictl.cfg
sed -i -e "s|^\(product_name=\).*|\1$markup|" -e 's/^midi_channel=.*/midi_channel=16/' \
    -e 's/^midi_preset=.*/midi_preset=0/' orvik.sys.cfg
LC_ALL=C sed -i -e "s/^\(DECK_A_2 *\)[^ ]*/\1<i>\&$latin1/" -e 's/ GREEN / NO_SUCH /' \
    -e 's/ 63 / 64 /' -e "s/^\(DECK_A_4 *\)[^ ]*/\1${long}/" orvik.miditxt.cfg0.txt
sed -i -e 's/^3 2 /99 2000 /' -e 's/^5 2 /-3 0 /' -e 's/^7 2 /7 58 /' -e "s|DECK_B_6|<DECK>\&_${long}|" \
    orvik.softlabelpos.cfg
sed -i -e 's/^1 .*/1 \\033[7;31;42m RED/' -e 's/^3 .*/3 \\x1b[1;4;33m\\033[103m YELLOW/' orvik.color.cfg
