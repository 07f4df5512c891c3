# shellcheck shell=sh
# By what turns are taken. The build puts it into the init script and the installer, which set LOCK.

# What tells a live process from any other that had or will have its number, also after a reboot.
# A zombie is one whose threads have ended too.
identity() { # PID
    awk -v pid="$1" '
        NR == 1 { boot = $0 }
        NR == 2 { sub(/.*\) /, ""); if ($1 != "Z" || $18 > 1) print boot "." pid "." $20 }
    ' /proc/sys/kernel/random/boot_id "/proc/$1/stat" 2>/dev/null
}

# True when process PID has the lock now, false when another one has it. The link LOCK.NAME.N with
# the highest N points to the process that has the lock for as long as it lives. That link stays, so
# that nobody who looked a while ago can take a number that was had before.
lock() { # NAME PID
    mkdir -p "${LOCK%/*}" 2>/dev/null
    me=$(identity "$2")
    tried=
    while :; do
        n=0
        for turn in "$LOCK.$1".*; do
            [ "${turn##*.}" -gt "$n" ] 2>/dev/null && n=${turn##*.}
        done
        holder=$(readlink "$LOCK.$1.$n")
        pid=${holder#*.}
        if [ "$holder" = "$me" ]; then
            break
        elif [ -n "$holder" ] && [ "$holder" = "$(identity "${pid%.*}")" ]; then
            return 1
        elif [ "$n" = "$tried" ]; then
            echo "ctlbridge: cannot write $LOCK.$1.$((n + 1)): calls at the same time may collide" >&2
            return 0
        fi
        tried=$n
        ln -s "$me" "$LOCK.$1.$((n + 1))" 2>/dev/null
    done
    for turn in "$LOCK.$1".*; do
        [ "$turn" = "$LOCK.$1.$n" ] || rm -f "$turn"
    done
}

# Waits until no other installation, start, stop or restart is under way. What the installer calls
# has the installer's turn.
take_turn() {
    waits=
    until lock call $$; do
        [ "$holder" != "$(identity "$PPID")" ] || return 0
        [ -n "$waits" ] || echo "ctlbridge: waiting until process ${pid%.*} is done" >&2 || true
        waits=yes
        sleep 1
    done
}
