#!/bin/sh
# Draws docs/panel.svg: plays some keys in the panel and turns what is seen into a picture. With
# --port, docs/port.svg: the panel as a port of a JACK server, with other software on its far side.
#
# usage: tools/draw_panel.sh [--port] [COLUMNS ROWS]
set -eu
cd "$(dirname "$0")/.."
if [ "${1-}" = --port ]; then # JACK keeps its sockets and memory in /dev/shm
    shift
    exec unshare --map-root-user --mount env PORT=port tools/draw_panel.sh "$@"
fi
dir=$(mktemp -d)
TMUX_TMPDIR=$dir
export TMUX_TMPDIR LC_ALL=C.UTF-8
unset TMUX

tm() { tmux -u -L draw -f "$dir/tmux.conf" "$@"; }
picture=${PORT:-panel}
others=
# shellcheck disable=SC2086  # a list of numbers
trap 'tm kill-server 2>/dev/null; kill $others 2>/dev/null; rm -rf "$dir"' EXIT
until_seen() { until tm capture-pane -p | grep -q -e "$1"; do sleep 0.1; done; }
go() { tm send-keys g \; send-keys -l "$1" \; send-keys Enter; }

# A terminal type that clears no cells in colour, so that every cell is written and captured.
printf 'set -g default-terminal screen-256color\nset -g escape-time 0\n' >"$dir/tmux.conf"
if [ "${PORT-}" ]; then
    mount -t tmpfs none /dev/shm
    jackd --no-realtime -d dummy >"$dir/jackd.log" 2>&1 &
    others=$!
    jack_wait -w >/dev/null 2>&1
fi
tm new-session -d -x "${1:-100}" -y "${2:-30}" \
    build/default/bench/ctlbench panel ${PORT:+--port --port-api jack}
until_seen 'ctlbridge  ch'
until_seen 'fbsplash'
for step in 'VOLUME_A 8' 'VOLUME_B 6' 'EQ_HIGH_A 5' 'EQ_LOW_A 4' 'CROSS_FADER 3' \
    'MASTER_LEVEL 7' 'METER_A 7' 'METER_B 5' 'SYNC_A l' 'HOTCUE_2_B l' 'RING_A 5' 'LOOP_IN_B l' \
    'PLAY_A Enter' 'PLAY_A l'; do
    go "${step% *}"
    tm send-keys "${step#* }"
done
until_seen 'PLAY_A light 127'
if [ "${PORT-}" ]; then # blinks with CUE
    jack_midiseq software 96000 0 61 48000 >/dev/null &
    others="$others $!"
    jack_midi_dump monitor >/dev/null &
    others="$others $!"
    until jack_connect 'Orvik Two Deck:out' monitor:input 2>/dev/null; do sleep 0.1; done
    until jack_connect software:out 'Orvik Two Deck-01:in' 2>/dev/null; do sleep 0.1; done
    until_seen 'CUE_A light off'
    until_seen 'CUE  *64'
fi
tm capture-pane -e -N -p | tools/pane_to_svg.py >"docs/$picture.svg"
