#!/bin/sh
# Plays the panel in a real terminal program: sends it keys and the mouse, looks at what it shows.
#
#   panel_test.sh CTLBENCH RESOURCES
set -u
bench=$(realpath "$1")
resources=$(realpath "$2")
dir=$(mktemp -d)
TMUX_TMPDIR=$dir
export TMUX_TMPDIR LC_ALL=C.UTF-8
unset TMUX
failed=0

tm() { tmux -u -L panel -f "$dir/tmux.conf" "$@"; }
trap 'tm kill-server 2>/dev/null; rm -rf "$dir"' EXIT
trap 'exit 1' INT TERM HUP

# awaits COMMAND...: until it succeeds, 20 seconds at most
awaits() {
    deadline=$(($(date +%s) + 20))
    until "$@"; do
        [ "$(date +%s)" -lt $deadline ] || return 1
        sleep 0.05
    done
}
# check NAME COMMAND...: waits for it to succeed
check() {
    name=$1
    shift
    if awaits "$@"; then
        echo "ok      $name"
    else
        failed=1
        echo "FAILED  $name: $*"
        tm capture-pane -p | sed 's/^/        | /'
    fi
}

sees() { tm capture-pane -p ${2+"$2"} | grep -q -e "$1"; }
lacks() { ! sees "$1"; }
keys() { tm send-keys "$@"; }
typed() { tm send-keys -l "$1" \; send-keys Enter; }
# mouse BUTTON COLUMN ROW M|m: presses (M) or lets go (m); columns and rows count from 1
mouse() { tm send-keys -l "$(printf '\033[<%s;%s;%s%s' "$@")"; }
comes_up() {
    awaits sees '^ ctlbridge.* starting'
    check "the bridge is up" sees '^ ctlbridge.* ch [0-9]'
    sees ' ch [0-9]' || exit 1
}
# after NAME PATTERN KEY...: what is seen after these keys
after() {
    name=$1 pattern=$2
    shift 2
    keys "$@"
    check "$name" sees "$pattern"
}
go() {
    keys g
    typed "$1"
    check "the cursor is on $1" sees "^$1 .*index"
}
launch() { typed "'$bench' panel $*; echo it ended: \$?"; }

printf 'set -g default-terminal xterm-256color\nset -g escape-time 0\n' >"$dir/tmux.conf"
cp -r "$resources" "$dir/resources"
tm new-session -d -x 100 -y 30 -c "$dir" 'PS1="$ " exec sh'
awaits sees '\$' || echo "no shell came up"
settings() { stty -g <"$(tm display-message -p '#{pane_tty}')"; }
settings_are_back() { [ "$(settings)" = "$before" ]; }
before=$(settings)

launch --resources "'$dir/resources'"
comes_up
check "both decks and the mixer are there" sees 'Deck A.*Mixer.*Deck B'

go PLAY_A
check "help names the control's numbers" sees '^PLAY_A  index 21  board note 1  host note 60'
after "a tap presses" 'board → 90 01 7f .*PLAY_A pressed' Space
check "and lets go" sees 'board → 80 01 00 .*PLAY_A released'
after "a button is held" 'PLAY *▼' Enter
check "which reaches the host" sees 'host  ← 90 3c 7f .*note-on   ch 1  note 60 .*PLAY_A'
keys Enter
check "and let go" lacks 'PLAY *▼'
after "the host lights it" 'PLAY *127' l
check "the board was told" sees 'board ← 90 01 7f .*PLAY_A light 127'

go VOLUME_A
after "a fader is at its end" '^VOLUME *127' 9
after "and two steps below" '^VOLUME *125' - -
check "as the host sees" sees 'host  ← b0 07 7d .*control change'
mouse 0 7 3 M && mouse 0 7 3 m
check "a click puts it there" sees '^VOLUME *63'
mouse 64 7 3 M
check "the wheel turns it" sees '^VOLUME *67'
mouse 0 16 3 M && mouse 32 99 3 M
check "a fader is dragged, beyond its end too" sees 'EQ_HIGH *127'
mouse 0 99 3 m && mouse 0 2 6 M
check "the mouse presses a button" sees 'PLAY *▼'
mouse 0 2 6 m
check "and lets it go" lacks 'PLAY *▼'

go METER_A
after "the host drives a meter" 'METER ▮▮▮▮▮▮▮' 9

go PLATTER_A
after "a platter turns" 'host  ← b0 13 41 .*PLATTER_A' +
check "and comes to rest" sees 'board → b0 0c 40 .*PLATTER_A at rest'
after "under a hand the partner turns" 'host  ← b0 15 42 .*SCRATCH_A' t Space
after "the hand is off" 'TOUCH_A released' Space t

keys / && typed meter
check "the wire is filtered" lacks 'TOUCH_A released'
check "to what was asked for" sees 'METER_A level 7'
keys / && typed ''
after "the wire pauses" 'paused' p
keys PPage
check "and scrolls back" lacks 'TOUCH_A released'
after "End goes to the newest line" 'TOUCH_A released' End
keys End End
check "and goes on" lacks 'paused'
after "a page shows the keys" 'restart with the files as they are on disk' '?'
after "q leaves the page" 'Deck A' q
keys : && typed 'board press PLA'
check "a refused step stays" sees '^step: board press PLA'
check "and is told what fits" sees 'expected board press CONTROL'
after "Tab completes it" '^step: board press PLAY_' Tab
check "and names the controls" sees '^PLAY_A PLAY_B'
keys Escape

go RING_A
after "Space on a light says why nothing happens" '^RING_A has no button' Space
after "and what lights it" 'RING *127' l

tm send-keys R : \; send-keys -l 'host send identity request' \; send-keys Enter
check "a line typed before the bridge is up is sent then" sees 'host  ← f0 7e .*Identity Reply'
check "the bridge is up again" sees '^ ctlbridge.* ch [0-9]'

go SYNC_A
keys v v v b
check "the host brightens a label" sees '\[97m[^A-Z]*SYNC' -e
keys v

sed 's/^21 1 60 /21 1 33 /; s/^22 2 61 .*/22 2 oops/; s/^23 3 62/23 3 33/' "$resources/orvik.midictl.cfg" \
    >"$dir/resources/orvik.midictl.cfg"
keys R
comes_up
go PLAY_A
check "help has the new number" sees 'host note 33'
after "the edited number goes out" 'host  ← .* note 33 .*PLAY_A' Space
check "the last line counts what is wrong" sees '^1 error  1 warning in the files, v shows them'
after "the bad line is among the findings" 'orvik.midictl.cfg:[0-9]*: error: .*oops.*' v
check "the control that it named is marked in its place" sees '✗CUE *!SYNC'
go SYNC_A
check "help leads to the finding" sees '^SYNC_A  index 23 .* see orvik.midictl.cfg:[0-9]'
after "the log tells it in the words of the bridge" '/orvik.midictl.cfg:[0-9]*: app_cc "oops"' v v v
keys v v v

keys w
comes_up
check "it records" sees 'REC'
after "a note that another control shares is pressed" 'host  ← 90 21 7f' Enter
after "and released" 'host  ← 80 21 00' Enter
go PITCH_FADER_A
keys 3 5 7 8 + + + +
go PLATTER_B
keys + + + - : && typed 'board turn VOLUME_B 100'
go METER_B
after "an Identity Request is answered" 'host  ← f0 7e .*Identity Reply' 5 i
keys w
check "the recording is written" sh -c "ls '$dir'/recording-*.scn"
check "it plays again without a terminal" sh -c "'$bench' play '$dir'/recording-*.scn >'$dir/played' 2>&1 </dev/null"
check "and has expectations" grep -q '^host until VOLUME_B 100' "$dir"/recording-*.scn
sed 's/^host until SYNC_A 127$/host until SYNC_A 126/' "$dir"/recording-*.scn >"$dir/wrong.scn"
check "and can fail, at that press, too" sh -c "! '$bench' play '$dir/wrong.scn' >/dev/null 2>&1"

tm resize-window -x 79 -y 24
check "too small a window is told so" sees "needs 80 columns and 24 rows"
tm resize-window -x 5 -y 3
keys : b Escape
tm resize-window -x 80 -y 24
check "80 by 24 has room for all of it" sees '^TRACK_END .*BEAT .*BEAT'
tm resize-window -x 180 -y 45
check "a large one shows the screen beside" sees 'Deck B.*Screen'
after "q ends it" 'it ended: 0' q
check "the terminal is as before" settings_are_back

mkdir "$dir/machine" "$dir/bin" && touch "$dir/machine/kernel" "$dir/machine/board.dtb" "$dir/machine/initrd"
printf '#!/bin/sh\nsleep 4\n' >"$dir/bin/qemu-system-arm" && chmod +x "$dir/bin/qemu-system-arm"
typed "clear; PATH='$dir/bin:$PATH'"
launch "--machine='$dir/machine'"
check "a machine that boots counts the seconds" sees 'starting the machine, [2-9] s'
check "one that ends says so" sees 'the emulator has ended'
after "and the panel can be left" 'it ended: 0' q

typed clear
launch -- -x
check "the panel outlives the bridge" sees 'ended with status 1'
check "and shows the reason" sees 'invalid option'
kill -TERM "$(pgrep -P "$(tm display-message -p '#{pane_pid}')" -f 'ctlbench panel')"
check "a signal ends it" sees 'it ended: 0'
check "the terminal is as before, too" settings_are_back

typed 'clear; TERM=dumb'
launch
check "a terminal that cannot be drawn on is refused" sees 'terminal of type "dumb"'
exit $failed
