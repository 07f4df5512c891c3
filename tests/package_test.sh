#!/bin/sh
# package_test.sh TARBALL: installs it into a root of its own, runs the init script with a stand-in
# for the daemon, upgrades over edited files and uninstalls, with nothing but BusyBox.
set -u

tarball=$(readlink -f "$1") || exit 2
busybox=$(command -v busybox) || exit 2
work=$(mktemp -d)
failed=0

clean_up() {
    [ ! -f "$work/root/etc/init.d/ctlbridge" ] || sh "$work/root/etc/init.d/ctlbridge" stop >/dev/null
    rm -rf "$work"
}
trap clean_up EXIT
trap 'exit 1' HUP INT TERM
check() { # WHAT COMMAND...
    what=$1
    shift
    if "$@" >"$work/out" 2>&1; then
        echo "ok: $what"
    else
        echo "FAILED: $what"
        cat "$work/out"
        failed=1
    fi
}
status_is() { # STATUS COMMAND...
    wanted=$1
    shift
    "$@"
    [ $? -eq "$wanted" ]
}
says() { # TEXT COMMAND...
    text=$1
    shift
    "$@" >"$work/said" 2>&1
    cat "$work/said"
    grep -qF "$text" "$work/said"
}
not() { ! "$@"; }
eventually() { # COMMAND...
    for _ in 1 2 3 4 5 6 7 8 9 10; do
        "$@" && return
        sleep 1
    done
    return 1
}
at_most() { [ "$(wc -c <"$1")" -le "$2" ]; }

mkdir "$work/commands" "$work/root"
for command in $("$busybox" --list); do
    ln -s "$busybox" "$work/commands/$command"
done
ln -s "$(command -v readelf)" "$work/commands/readelf" 2>/dev/null
PATH=$work/commands
export PATH
cd "$work" || exit 2
root=$work/root

# ---- The tarball
tar -xzf "$tarball"
package=$(echo "$work"/ctlbridge-*)
name=$(basename "$package")
version=$(cat "$package/VERSION")
check "name and version agree" [ "${name%-*}" = "ctlbridge-$version" ]
check "no copies that the daemon makes" [ -z "$(find "$package" -name '*.ok*')" ]
check "manual pages carry the version" grep -q "$version" "$package/share/man/man1/ctlbridge.1"
if [ "${name##*-}" = armv6 ]; then
    check "at most 640 kB" at_most "$package/bin/ctlbridge" 655360
    readelf -A "$package/bin/ctlbridge" >"$work/attributes"
    check "ARMv6 and nothing newer" grep -qx "  Tag_CPU_arch: v6" "$work/attributes"
    check "soft-float calls" not grep -q "VFP_args" "$work/attributes"
fi

# ---- Install
install() { ROOT=$root sh "$package/install.sh" "$@"; }
home=$root/opt/ctlbridge
init=$root/etc/init.d/ctlbridge
mapping=$home/resources/orvik.midictl.cfg
check "installs" says "ctlbridge $version is installed" install
check "the daemon can be run" [ -x "$home/bin/ctlbridge" ]
check "boot finds the init script" [ -x "$root/etc/init.d/S90ctlbridge" ]
check "installs again in silence about edits" not says "edited" install

# ---- Init script, with something in the daemon's place that talks a lot and dies of SIGTERM
cp "$home/bin/ctlbridge" "$work/daemon"
cat >"$home/bin/ctlbridge" <<'EOF'
#!/bin/sh
pwd
echo "options: $*" >&2
[ "$1" != -x ] || exit 1
seq 1 500
while :; do sleep 1; done
EOF
cat >"$root/etc/default/ctlbridge" <<EOF
DIR=$home
TTY=$work/none
LOG=$work/log
LOG_BYTES=1500
PIDFILE=$work/pid
PATH=$PATH
OPTIONS="-m 3"
EOF
check "stop when stopped" status_is 0 "$init" stop
check "start" says "ctlbridge started" "$init" start
first=$(cat "$work/pid")
check "start once more" says "runs already, process $first" "$init" start
check "status by the boot link" says "process $first" "$root/etc/init.d/S90ctlbridge" status
check "the newest line is in the log" eventually grep -qx 500 "$work/log"
check "the log is bounded" at_most "$work/log" 1500
check "so is the old one" at_most "$work/log.1" 1500
check "no line is lost between them" [ "$(cat "$work/log.1" "$work/log" | tail -n 500)" = "$(seq 1 500)" ]
check "restart" "$init" restart
check "restart makes a new process" [ "$first" != "$(cat "$work/pid")" ]
check "the old one is gone" not kill -0 "$first"
rm -f "$work/log.1"
echo LOG_BYTES=100000 >>"$root/etc/default/ctlbridge"
check "restart with a larger log" "$init" restart
check "works in bin" eventually grep -qx "$home/bin" "$work/log"
check "options reach the daemon" grep -qx "options: -m 3" "$work/log"
check "a missing line is reported" grep -q "no serial line $work/none" "$work/log"
check "stop" status_is 0 "$init" stop
check "status when stopped" status_is 3 "$init" status
check "a stale process id" sh -c "echo $$ >'$work/pid'; ! '$init' status"
echo 'OPTIONS=-x' >>"$root/etc/default/ctlbridge"
check "a daemon that ends at once is reported" status_is 1 "$init" start
mv "$work/daemon" "$home/bin/ctlbridge"

# ---- Upgrade: one edited, one edited that changed, one that changed, one removed
echo "# mine" >>"$mapping"
echo "# mine" >>"$home/resources/orvik.sys.cfg"
rm "$home/resources/orvik.miditxt.cfg0.txt"
for file in orvik.sys.cfg orvik.color.cfg; do
    echo "# newer" >>"$package/resources/$file"
done
check "upgrade tells of the edited file" says "orvik.sys.cfg was edited: kept, the new one" install
check "edited files are untouched" [ "$(grep -l "# mine" "$home"/resources/*.cfg | wc -l)" -eq 2 ]
check "the new settings are beside them" grep -q "# newer" "$home/resources/orvik.sys.cfg.new"
check "an unedited file is new" grep -q "# newer" "$home/resources/orvik.color.cfg"
check "a removed file stays away" [ ! -e "$home/resources/orvik.miditxt.cfg0.txt" ]

# ---- Uninstall, by the installed copy
touch "$home/resources/orvik.midictl.cfg0.txt.ok"
check "uninstall tells of the edited file" env ROOT="$root" sh "$home/install.sh" uninstall
left=$(find "$root" -type f | sed "s|$root||" | sort | tr '\n' ' ')
check "only edited files are left: $left" [ "$left" = "/etc/default/ctlbridge \
/opt/ctlbridge/resources/orvik.midictl.cfg /opt/ctlbridge/resources/orvik.sys.cfg " ]
exit $failed
