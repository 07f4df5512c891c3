#!/bin/sh
# Draws docs/panel.svg: plays some keys in the panel and turns what is seen into a picture.
#
# usage: tools/draw_panel.sh [COLUMNS ROWS]
set -eu
cd "$(dirname "$0")/.."
dir=$(mktemp -d)
TMUX_TMPDIR=$dir
export TMUX_TMPDIR LC_ALL=C.UTF-8
unset TMUX

tm() { tmux -u -L draw -f "$dir/tmux.conf" "$@"; }
trap 'tm kill-server 2>/dev/null; rm -rf "$dir"' EXIT
until_seen() { until tm capture-pane -p | grep -q -e "$1"; do sleep 0.1; done; }
go() { tm send-keys g \; send-keys -l "$1" \; send-keys Enter; }

# A terminal type that clears no cells in colour, so that every cell is written and captured.
printf 'set -g default-terminal screen-256color\nset -g escape-time 0\n' >"$dir/tmux.conf"
tm new-session -d -x "${1:-100}" -y "${2:-30}" build/default/bench/ctlbench panel
until_seen 'ctlbridge  ch'
until_seen 'fbsplash'
for step in 'VOLUME_A 8' 'VOLUME_B 6' 'EQ_HIGH_A 5' 'EQ_LOW_A 4' 'CROSS_FADER 3' \
    'MASTER_LEVEL 7' 'METER_A 7' 'METER_B 5' 'SYNC_A l' 'HOTCUE_2_B l' 'RING_A 5' 'LOOP_IN_B l' \
    'PLAY_A Enter' 'PLAY_A l'; do
    go "${step% *}"
    tm send-keys "${step#* }"
done
until_seen 'PLAY_A light 127'
tm capture-pane -e -N -p | tools/pane_to_svg.py >docs/panel.svg
