#!/bin/sh
# Draws docs/panel.svg: plays some keys in the panel and turns what is seen into a picture. With
# --port, docs/port.svg: the panel as a port on a kernel of its own, with other software on its far side.
#
# usage: tools/draw_panel.sh [--port] [COLUMNS ROWS]
set -eu
cd "$(dirname "$0")/.."
if [ "${1-}" = --port ]; then
    shift
    # shellcheck disable=SC2016  # expanded there
    exec bench/port/kernel.sh sh -c 'modprobe -d "$kernel" snd-seq
        PORT=port tools/draw_panel.sh "$@" && cat docs/port.svg' sh "$@" >docs/port.svg
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
tm new-session -d -x "${1:-100}" -y "${2:-30}" \
    build/default/bench/ctlbench panel ${PORT:+--port}
until_seen 'ctlbridge  ch'
until_seen 'fbsplash'
for step in 'VOLUME_A 8' 'VOLUME_B 6' 'EQ_HIGH_A 5' 'EQ_LOW_A 4' 'CROSS_FADER 3' \
    'MASTER_LEVEL 7' 'METER_A 7' 'METER_B 5' 'SYNC_A l' 'HOTCUE_2_B l' 'RING_A 5' 'LOOP_IN_B l' \
    'PLAY_A Enter' 'PLAY_A l'; do
    go "${step% *}"
    tm send-keys "${step#* }"
done
until_seen 'PLAY_A light 127'
if [ "${PORT-}" ]; then # lights CUE_A, and stays
    aseqdump -p 'Orvik Two Deck' >/dev/null &
    others=$!
    printf 'MThd\0\0\0\6\0\0\0\1\0\140MTrk\0\0\0\14\0\220\075\100\277\177\075\100\0\377\57\0' >"$dir/cue.mid"
    aplaymidi -p 'Orvik Two Deck' "$dir/cue.mid" &
    others="$others $!"
    until_seen 'port →1 ←1'
    until_seen 'CUE  *64'
fi
tm capture-pane -e -N -p | tools/pane_to_svg.py >"docs/$picture.svg"
