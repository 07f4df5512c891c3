#!/bin/sh
# Connects the virtual controller to devices: pseudo-terminals.
#
#   port_test.sh CTLBENCH
set -u
# What is lost is waited for without end.
[ "${PORT_TEST-}" ] || PORT_TEST=inside exec timeout -k 10 600 "$0" "$@"
bench=$1
dir=$(mktemp -d)
playing=
line=
. "$(dirname "$0")/port_common.sh"

end() {
    # shellcheck disable=SC2086  # a list of numbers
    kill $playing $line 2>/dev/null
    wait
    rm -rf "$dir"
}
trap end EXIT
trap 'exit 1' INT TERM HUP

[ -e /dev/snd/seq ] || check "no sequencer is told" refused 'modprobe snd-seq' "$bench" panel --port
check "no device is told" refused 'No such file' "$bench" panel --board /dev/nothing

# What is written to descriptor 3 comes from the device; what goes to it is in $dir/sent.
mkfifo "$dir/far"
line() {
    socat PTY,link="$dir/bench",rawer,wait-slave - <"$dir/far" >"$dir/sent" &
    line=$!
    exec 3>"$dir/far"
    until_so [ -e "$dir/bench" ]
}
cut() {
    exec 3>&-
    kill $line 2>/dev/null
    wait $line
    line=
    rm -f "$dir/bench"
}
was_sent() { # BYTES
    until_so has_sent "$1"
}
has_sent() { od -An -v -tx1 "$dir/sent" | tr -d '\n' | grep -qx " $1"; }
line
cat >"$dir/device.scn" <<EOT
host light PLAY_A 127
board expect PLAY_A 127
board press PLAY_A
host expect PLAY_A 127
host light PLAY_A 5
board expect PLAY_A 5
EOT
play --port "$dir/bench" "$dir/device.scn"
check "a device is opened" said 'port open'
check "by one program only" refused 'in use by process [0-9]* (ctlbench)' "$bench" play --port "$dir/bench" "$dir/device.scn"
printf '\220\074\370\177' >&3
check "it gets what the controller sends" was_sent '90 3c 7f'
cut
check "the device goes" said 'port gone'
line
check "and comes back" said 'port open'
printf '\220\074\001\074\005' >&3
wait $playing
check "running status is understood" [ $? -eq 0 ]
cut

line
cat >"$dir/board.scn" <<EOT
board press PLAY_A
host expect PLAY_A 127
host send identity request
board until identity request
EOT
play --no-traffic --board "$dir/bench" "$dir/board.scn"
check "a board is there" said 'board open'
check "the line has the board's speed" sh -c "until stty <'$dir/bench' | grep -q 115200; do sleep 0.1; done"
printf '\300\005\220\001\177' >&3
wait $playing
check "a board at a serial line plays" [ $? -eq 0 ]
playing=
check "it gets what the daemon sends" was_sent '.* f0 7e 7f 06 01 f7.*'
check "what it has said is told" [ "$(sed -n '/^The board/,$p' "$dir/play.log" | sed -n '2,3p' | tr -d '\n')" = \
    '  1 of 72 controls have spoken  unknown: 1 × status byte 0xC0' ]
