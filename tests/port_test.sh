#!/bin/sh
# Connects the virtual controller to other software: over a JACK server of its own, over devices.
#
#   port_test.sh CTLBENCH PORT_PEER [COUNT]
#
# COUNT: messages each way, 100000 if it is not given.
set -u
if [ "${PORT_TEST-}" != inside ]; then # JACK keeps its sockets and memory in /dev/shm
    users=
    [ "$(id -u)" -eq 0 ] || users=--map-root-user
    # What is lost is waited for without end.
    PORT_TEST=inside exec timeout -k 10 600 unshare $users --mount "$0" "$@"
fi
mount -t tmpfs none /dev/shm || exit 1
bench=$1
peer=$2
count=${3:-100000}
dir=$(mktemp -d)
JACK_DEFAULT_SERVER=ctlbridge-test
export JACK_DEFAULT_SERVER
jack=
playing=
line=

end() {
    # shellcheck disable=SC2086  # a list of numbers
    kill $jack $playing $line 2>/dev/null
    wait
    rm -rf "$dir"
}
trap end EXIT
trap 'exit 1' INT TERM HUP

# check NAME COMMAND...
check() {
    name=$1
    shift
    if ! "$@"; then
        echo "FAILED  $name: $*"
        tail -n 5 "$dir"/*.log
        exit 1
    fi
    echo "ok      $name"
}
# said STATE: it is told
said() {
    until [ "$(tail -n 1 "$dir/states.log")" = "$1" ]; do sleep 0.1; done
}
start_jack() {
    jackd --no-realtime --sync -d dummy -r 48000 -p 128 >"$dir/jackd.log" 2>&1 &
    jack=$!
    jack_wait -w -t 20 >/dev/null 2>&1
}
# refused STATUS TEXT ARGUMENT...
refused() {
    status=$1
    text=$2
    shift 2
    "$bench" "$@" >"$dir/refused.log" 2>&1
    [ $? -eq "$status" ] && [ "$(wc -l <"$dir/refused.log")" -eq 1 ] && grep -q -e "$text" "$dir/refused.log"
}

cat >"$dir/exchange.scn" <<EOT
remove orvik.miditxt.cfg0.txt
host light PITCH_ZERO_A 1
board flood $((count - 1))
board send sysex 200
host light PITCH_ZERO_A 2
board expect PITCH_ZERO_A 2
EOT

check "no server is told" refused 2 'no JACK server.*jackd' panel --port --port-api jack
[ -e /dev/snd/seq ] || check "no sequencer is told" refused 2 'modprobe snd-seq' panel --port --port-api alsa
check "no device is told" refused 2 'No such file' panel --board /dev/nothing

start_jack
"$bench" play --port --port-api jack "$dir/exchange.scn" >"$dir/play.log" 2>"$dir/states.log" &
playing=$!
"$peer" exchange 0 &
hold=$!
check "a client comes" said 'port →1 ←1'
kill -KILL $hold
check "and goes" said 'port →0 ←0'
kill $jack
wait $jack
check "the server goes" said 'port gone'
start_jack
check "and comes back" said 'port →0 ←0'
"$peer" exchange "$count" >"$dir/peer.log"
check "the software got every message" [ $? -eq 0 ]
wait $playing
check "the scenario holds" [ $? -eq 0 ]
cat "$dir/peer.log"
check "nothing was lost" sh -c "! grep lost '$dir/states.log'"
# What came in has to be what was sent, in its order; what of it reached the board, in the order of
# each light, up to the last value.
check "every message of the software came in" awk -v count="$count" '
    function value(hexadecimal) { return index(digits, substr(hexadecimal, 1, 1)) * 16 + index(digits, substr(hexadecimal, 2)) - 17 }
    BEGIN { digits = "0123456789abcdef" }
    /^host  → 90/ && value($4) != 115 {
        if (value($4) != 60 + got % 12 + int(got / 12) % 2 * 21 || value($5) != 1 + int(got / 24) % 127) bad++
        got++
    }
    /^host  → f0 .* 3000 bytes$/ { long++ }
    /^host  → f8/ { clocks++ }
    /^board ← 90/ && / light / { reached++; last[value($4)] = value($5) }
    END {
        for (i = count - 24; i < count; i++) if (last[1 + i % 12 + int(i / 12) % 2 * 21] != 1 + int(i / 24) % 127) bad++
        printf "%d came in, %d of them reached the board, %d wrong\n", got, reached, bad
        exit got != count || bad || long != 1 || clocks != 1
    }' "$dir/play.log"

printf 'host light PITCH_ZERO_A 1\n' >"$dir/wait.scn"
"$bench" play --quiet --port --port-api jack "$dir/wait.scn" >"$dir/wait.log" 2>"$dir/states.log" &
playing=$!
check "queries are answered" "$peer" latency 100
kill $playing $jack
wait $playing $jack
jack=

# What is written to descriptor 3 comes from the device; what goes to it is in $dir/sent.
mkfifo "$dir/far"
line() {
    "$peer" line "$dir/bench" <"$dir/far" >"$dir/sent" &
    line=$!
    exec 3>"$dir/far"
    until [ -e "$dir/bench" ]; do sleep 0.1; done
}
cut() {
    exec 3>&-
    kill $line
    wait $line
    line=
    rm "$dir/bench"
}
was_sent() { # BYTES
    until [ "$(od -An -v -tx1 "$dir/sent" | tr -d '\n')" = " $1" ]; do sleep 0.1; done
}
line
cat >"$dir/device.scn" <<EOT
host light PLAY_A 127
board expect PLAY_A 127
board press PLAY_A
host expect PLAY_A 127
host light PLAY_A 5
board expect PLAY_A 5
EOT
"$bench" play --port "$dir/bench" "$dir/device.scn" >"$dir/play.log" 2>"$dir/states.log" &
playing=$!
check "a device is opened" said 'port open'
check "by one program only" refused 2 'in use by process [0-9]* (ctlbench)' play --port "$dir/bench" "$dir/device.scn"
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
"$bench" play --no-traffic --board "$dir/bench" "$dir/board.scn" >"$dir/play.log" 2>"$dir/states.log" &
playing=$!
check "a board is there" said 'board open'
check "the line has the board's speed" sh -c "until stty <'$dir/bench' | grep -q 115200; do sleep 0.1; done"
printf '\220\001\177' >&3
wait $playing
check "a board at a serial line plays" [ $? -eq 0 ]
playing=
