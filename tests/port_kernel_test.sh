#!/bin/sh
# Plays the virtual controller's port on a real kernel: ALSA's sequencer, virtual raw MIDI, a USB MIDI
# gadget, a serial port. To be run by bench/port/kernel.sh, which sets $kernel.
#
#   port_kernel_test.sh CTLBENCH [brief]
#
# brief: only names, connections and a burst.
set -u
bench=$1
kernel=${kernel:?}
playing=
dir=$(mktemp -d)
. "$(dirname "$0")/port_common.sh"
device='Orvik Two Deck'

# documented COMMAND: runs it as docs/port.md has it
documented() {
    grep -q -e "^$1\( *#.*\)*$" docs/port.md || return 1
    eval "$1"
}
stop() {
    kill "$@" 2>/dev/null
    wait "$@" 2>/dev/null
}
# Shared by the members of a group, as desktops have them.
load() { # MODULE...
    modprobe -d "$kernel" -a "$@"
    sleep 1
    chgrp audio /dev/snd/* && chmod 660 /dev/snd/*
}

# --- Who may ---

check "no sequencer is told" refused 'load it.*modprobe snd-seq$' "$bench" panel --port
load snd-seq snd-seq-dummy snd-virmidi snd-seq-midi
for port in --port '--port /dev/snd/midiC0D0'; do
    # shellcheck disable=SC2086  # one word or two
    check "no permission for $port is told" refused 'denied.*group audio:.*adduser' \
        setpriv --reuid nobody --regid nogroup --clear-groups "$bench" panel $port
done

# --- Names, connections ---

cat >"$dir/wait.scn" <<EOT
host light PITCH_ZERO_A 1
board until PITCH_ZERO_A 1
EOT
play --no-traffic --port "$dir/wait.scn"
check "the port is there" said 'port →0 ←0'
documented "aconnect -l" >"$dir/list.log"
check "it is one client with one port" [ "$(grep -c "'$device  *'" "$dir/list.log")" -eq 1 ]
for list in 'aconnect -i' 'aconnect -o' 'aplaymidi -l' 'aseqdump -l'; do
    check "$list lists it" sh -c "$list | grep -q '$device'"
done
documented "aseqdump -p '$device'" >"$dir/dump.log" &
dumping=$!
check "a client comes by name" said 'port →1 ←0'
kill -KILL "$(pgrep -x aseqdump)"
stop $dumping
check "and goes when it is killed" said 'port →0 ←0'
documented "aconnect '$device' 'Midi Through'"
documented "aconnect 'Midi Through' '$device'"
check "clients are connected each way" said 'port →1 ←1'
aconnect -x
check "and disconnected" said 'port →0 ←0'
other=$(aconnect -l | sed -n 's/client \(.*\): .Midi Through.*/\1/p')
long=$(printf '%0200d' 0 | tr 0 x)
second() { # ARGUMENT...: one more program
    "$bench" play "$@" "$dir/wait.scn" >"$dir/second.log" 2>"$dir/second.states" &
    second=$!
    until_so grep -q port "$dir/second.states"
}
second --port="$long"
aconnect "$(echo "$long" | cut -c 1-63)" "$other"
check "a long name counts its own" until_so grep -q '→1 ←0' "$dir/second.states"
stop $second
second --port
aconnect "$other" "$(aconnect -l | sed -n "s/client \(.*\): '$device'.*/\1/p" | tail -n 1)"
check "of two by one name each counts its own" until_so grep -q '→0 ←1' "$dir/second.states"
check "and not the other's" told 'port →0 ←0'
stop $second

# --- Bursts ---

# notes COUNT: a MIDI file with that many at one tick, each of its own
notes() {
    printf 'MThd\0\0\0\6\0\0\0\1\0\140MTrk'
    printf '%b' "$(awk -v count="$1" 'BEGIN {
        size = count * 3 + 5
        printf "\\0%03o\\0%03o\\0%03o\\0%03o\\0000\\0220", size / 16777216, size / 65536 % 256, size / 256 % 256, size % 256
        for (i = 0; i < count; i++) printf "%s\\0%03o\\0%03o", i ? "\\0000" : "", 1 + i / 127, 1 + i % 127
        printf "\\0000\\0377\\0057\\0000"
    }')"
}
# Those that came since $before, as numbers; those lost in all.
came() { sed -n "$((before + 1)),\$s/^host  → 90 \(..\) \(..\) .*/\1 \2/p" "$dir/play.log"; }
lost() { sed -n '$s/.*, \([0-9]*\) lost$/\1/p' "$dir/states.log" | grep . || echo 0; }
all_told() { [ $(($(came | wc -l) + $(lost) - lost_before)) -ge "$1" ]; }
in_order() { came | LC_ALL=C sort -cu; } # hexadecimal numbers, each higher than the one before
burst() { # COUNT
    before=$(wc -l <"$dir/play.log")
    lost_before=$(lost)
    notes "$1" >song.mid
    documented "aplaymidi -p '$device' song.mid"
    kill -CONT $playing
    until_so all_told "$1"
    sleep 1
    echo "        of $1 at one tick $(came | wc -l) came, $(($(lost) - lost_before)) lost"
    [ $(($(came | wc -l) + $(lost) - lost_before)) -eq "$1" ] && in_order
}
check "a burst of 2000 is accounted for" burst 2000
check "none of it is lost" [ "$(lost)" -eq 0 ]
[ "${2-}" != brief ] || exit 0
kill -STOP $playing # goes on when all is sent
check "what a stopped program misses is counted" burst 5000
check "which is all of it" [ "$(lost)" -eq 5000 ]
printf 'MThd\0\0\0\6\0\0\0\1\0\140MTrk\0\0\0\10\0\220\163\1\0\377\57\0' >song.mid
aplaymidi -p "$device" song.mid
wait $playing
check "the rest crosses the bridge" [ $? -eq 0 ]

# --- System exclusive ---

# The daemon is one that sends back what it gets.
printf '#!/bin/sh\nexec cat </dev/snd/midiC1D0 >/dev/snd/midiC1D0\n' >"$dir/mirror"
chmod +x "$dir/mirror"
printf 'without serial\nwait 600000\n' >"$dir/mirror.scn"
play --daemon "$dir/mirror" --port "$dir/mirror.scn"
said 'port →0 ←0'
aconnect 'Virtual Raw MIDI 0-0' "$device"
aconnect "$device" 'Virtual Raw MIDI 0-1'
said 'port →1 ←1'
for size in 8 255 256 257 1000 5000; do
    printf '\360'
    head -c $((size - 2)) /dev/zero | tr '\0' "\\$(printf '%03o' $((size % 127)))"
    printf '\367'
done >"$dir/sent.syx"
amidi -p hw:0,1 -r "$dir/got.syx" >"$dir/amidi.log" 2>&1 &
receiving=$!
sleep 1
amidi -p hw:0,0 -s "$dir/sent.syx"
got_all() { [ "$(wc -c <"$dir/got.syx")" -ge "$(wc -c <"$dir/sent.syx")" ]; }
until_so got_all
stop $receiving
check "system exclusive of 8 to 5000 bytes goes there and back" cmp "$dir/sent.syx" "$dir/got.syx"
amidi -p hw:0,0 -S 'f0 01 02'
aconnect 'Virtual Raw MIDI 0-2' "$device"
amidi -p hw:0,2 -S '90 3c 7f'
check "one left open holds up nobody else" until_so grep -q '^host  ← 90 3c 7f' "$dir/play.log"
check "nothing was lost" told 'port →1 ←2'
stop $playing

# --- The panel ---

in_terminal() { tmux -u -L port new-session -d -x 120 -y 40 "$1 2>$dir/panel.err"; }
showing() { tmux -L port capture-pane -p | grep -q -e "$1"; }
shows() { until_so showing "$1"; }
ended() { ! pgrep -x ctlbench; }
quit() {
    tmux -L port send-keys q
    until_so ended >/dev/null
}
in_terminal "$(grep -x './run --port' docs/port.md)"
check "the panel is opened as documented" shows '^ ctlbridge  ch [0-9]*  port →0 ←0'
panel=$(pgrep -x ctlbench | head -n 1)
kill -STOP "$panel"
notes 5000 >song.mid
aplaymidi -p "$device" song.mid
kill -CONT "$panel"
check "it tells what is lost" shows 'port →0 ←0, 5000 lost'
quit
check "and nothing else prints there" [ ! -s "$dir/panel.err" ]
documented 'build/default/bench/ctlbench play --port bench/scenarios/tour.scn' >"$dir/lesson.log" 2>&1 &
lesson=$!
check "the lesson asks" until_so grep -q "^$(grep '^» ' docs/port.md)" "$dir/lesson.log"
kill "$(pgrep -o -x ctlbench)"
wait $lesson

# --- Devices ---

load dummy_hcd usb_f_midi snd-usb-audio
mount -t configfs none /sys/kernel/config
gadget=/sys/kernel/config/usb_gadget/g
mkdir $gadget $gadget/strings/0x409 $gadget/configs/c.1 $gadget/functions/midi.usb0
echo 0x1209 >$gadget/idVendor
echo 1 >$gadget/idProduct
echo Piano >$gadget/strings/0x409/product
ln -s $gadget/functions/midi.usb0 $gadget/configs/c.1
plug() {
    ls /sys/class/udc >$gadget/UDC
    until_so grep -q 'USB-Audio - Piano' /proc/asound/cards
}
far() { amidi -p hw:fmidi "$@"; }
plug
usb=/dev/snd/midiC$(sed -n 's/ *\([0-9]*\) .*USB-Audio - Piano/\1/p' /proc/asound/cards)D0
cat >"$dir/device.scn" <<EOT
host light PLAY_A 127
board press PLAY_A
host until PLAY_A 127
host light PLAY_A 5
board until PLAY_A 5
EOT
play --no-traffic --port "$usb" "$dir/device.scn"
check "a USB device is opened" said 'port open'
echo >$gadget/UDC
check "it is unplugged" said 'port gone'
plug
check "and plugged in again" said 'port open'
far -S '90 3c 7f'
until_so grep -q '^host  ← 90 3c 7f' "$dir/play.log"
far -S '90 3c 05'
wait $playing
check "it plays" [ $? -eq 0 ]

stty -F /dev/ttyS2 raw -echo 115200
ln -s ttyS1 /dev/ttyUSB0
in_terminal "$(grep -x './run --board /dev/ttyUSB0' docs/port.md)"
shows '^ ctlbridge  ch [0-9]*  board open'
printf '\220\001\177' >/dev/ttyS2
check "the panel names a control that speaks" shows '^spoken: PLAY_A'
quit
rm -rf "$dir"
