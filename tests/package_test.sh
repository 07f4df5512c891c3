#!/bin/sh
# package_test.sh TARBALL [EMULATOR [TRIES]]: installs the package on a device that has nothing but
# BusyBox, runs ctlmap there, and with stand-ins for both programs starts and stops, upgrades over edited
# files, breaks off at every step, does two things at once, TRIES times each, and uninstalls. EMULATOR
# runs the package's programs here. The device is in namespaces of its own: it ends with this script,
# however that ends, and has no process and no file of the machine in its reach.
# shellcheck disable=SC2317  # functions are called by check
set -u

case ${4-} in
'') # on the machine
    tarball=$(readlink -f "$1") || exit 2
    user=
    [ "$(id -u)" -eq 0 ] || user=--map-root-user
    # shellcheck disable=SC2086  # empty or an option
    setpriv --pdeathsig KILL unshare $user --mount --pid --fork --kill-child sh "$0" "$tarball" "${2-}" "${3-2}" make &
    wait $!
    exit
    ;;
make) # in the namespaces
    device=/mnt
    mount -t tmpfs none $device || exit 2
    mkdir $device/bin
    cp "$0" "${0%/*}/check.sh" "$(command -v busybox)" $device/bin || exit 2
    if [ -n "$2" ]; then
        cp "$2" $device/bin || exit 2
    fi
    tar -xzf "$1" -C $device || exit 2
    readelf -A $device/ctlbridge-*/bin/ctlbridge >$device/attributes
    cd $device && mkdir -p dev proc tmp var/run var/log opt etc/init.d etc/default
    for dir in lib lib64 usr/lib usr/lib64; do # what BusyBox is linked with
        if [ -L /$dir ]; then
            cp -P /$dir $dir
        elif [ -d /$dir ]; then
            mkdir -p $dir && mount --rbind /$dir $dir || exit 2
        fi
    done
    : >dev/null
    mount --bind /dev/null dev/null && mount -t proc proc proc || exit 2
    chroot . /bin/busybox --install -s /bin
    exec chroot . /bin/env -i PATH=/bin /bin/sh "/bin/${0##*/}" "$1" "${2##*/}" "$3" device
    ;;
esac

emulator=${2:+"$2 -cpu arm1136"}
tries=$3
dir=
# shellcheck source=tests/check.sh
. /bin/check.sh
eventually() { # COMMAND...
    for _ in $(seq 20); do
        "$@" && return
        /bin/sleep 1
    done
    return 1
}
at_most() { [ "$(wc -c <"$1")" -le "$2" ]; }
daemons() { ps -o pid,args | awk '/ctlbridge -m 3$/ { print $1 }'; }
running() { [ "$(daemons | wc -l)" -eq "$1" ]; }
contents() { # of all that may be installed
    find /opt /etc | sort
    find /opt /etc -type l -exec readlink {} \; | sort
    find /opt /etc -type f -exec md5sum {} + | sort -k 2
}
refused() { # TEXT COMMAND...: fails and says why, and all is as it was
    { contents; daemons; } >/before
    says "$@" || return
    shift
    ! "$@" || return
    { contents; daemons; } | diff /before -
}

# ---- The package, into the root file system of a device that is mounted here
package=$(echo /ctlbridge-*)
name=${package#/}
version=$(cat "$package/VERSION")
check "name and version agree" [ "${name%-*}" = "ctlbridge-$version" ]
check "no copies that the daemon makes" [ -z "$(find "$package" -name '*.ok*')" ]
check "manual pages carry the version" grep -q "$version" "$package/share/man/man1/ctlbridge.1"
if [ "${name##*-}" = armv6 ]; then
    check "at most 96 kB" at_most "$package/bin/ctlbridge" 98304
    check "at most 200 kB" at_most "$package/bin/ctlmap" 204800
    check "ARMv6 and nothing newer" grep -qx "  Tag_CPU_arch: v6" /attributes
    for licence in "Permission is hereby granted" "GCC RUNTIME LIBRARY EXCEPTION" "LLVM Exceptions"; do
        check "a notice has: $licence" grep -qi "$licence" "$package/NOTICES"
    done
    check "soft-float calls" not grep -q "VFP_args" /attributes
fi
mkdir "/a root"
export ROOT="/a root"
check "installs" says "ctlbridge $version is installed in /a root/opt/ctlbridge" "$package/install.sh"
check "tells nobody to start it here" not grep -q init.d /said
ctlmap() { $emulator "$ROOT/opt/ctlbridge/bin/ctlmap" "$@"; }
rmdir /tmp # which it does without
check "finds nothing in what it brings along" tells 0 '' ctlmap check --werror
mkdir /tmp
check "installs again in silence about edits" not says ": kept" "$package/install.sh"
check "uninstalls" says "is uninstalled" "$ROOT/opt/ctlbridge/install.sh" uninstall
check "nothing is left" [ -z "$(find "$ROOT" ! -type d)" ]
unset ROOT

# ---- Two versions, which cannot be written to. The stand-ins do what they are told.
resources=/opt/ctlbridge/resources
init=/etc/init.d/ctlbridge
log=/var/log/ctlbridge.log
mkfifo /tell
exec 3<>/tell # so that telling does not wait
for v in 1 2; do
    cp -a "$package" /v$v
    rm -r /v$v/resources/*.ppm /v$v/share
    for file in midictl sys color softlabelpos; do
        echo "# version $v" >>/v$v/resources/orvik.$file.cfg
    done
    cat >/v$v/bin/ctlbridge <<END
#!/bin/sh
# version $v
exec 3<>/tell
echo $v >/version
echo \$\$ >/pid
: >/alive
[ "\$2" != 9 ] || exit
while read -r line <&3; do eval "\$line"; done
END
done
printf '#!/bin/sh\n. /finding\n' | tee /v1/bin/ctlmap >/v2/bin/ctlmap
: >/finding
mv /v2/resources/orvik.miditxt.cfg0.txt /v2/resources/another.txt
for v in 1 2; do
    mount -o bind /v$v /v$v
    mount -o remount,ro,bind /v$v
done
mkdir /quick /step
cat >/quick/sleep <<'END'
#!/bin/sh
# A second is one for a call that waits for its turn. For others, which have it or whose caller has it,
# it is up to two, but ends when the stand-in has come or gone.
[ "$*" = 1 ] || exec /bin/sleep "$@"
case $(ls -l /var/run/ctlbridge.lock.call.* 2>/dev/null) in
'' | *".$PPID."* | *".$(cut -d ' ' -f 4 "/proc/$PPID/stat")."*) ;;
*) exec /bin/sleep 1 ;;
esac
read -r there </pid && [ -d "/proc/$there" ] || there=self
for _ in $(seq 40); do
    [ ! -e /alive ] && [ -d "/proc/$there" ] || break
    usleep 50000
done
rm -f /alive
END
cat >/step/mv <<'END'
#!/bin/sh
# At step AT, and before the command, what runs in /group is killed, or the command fails. To be
# killed before a command that changes nothing is to be killed before the next one: no step.
is_step() { # COMMAND ARG...
    case "$HOW $*" in
    FAIL*) true ;;
    ????\ sed\ * | ????\ sync) false ;;
    ????\ mkdir\ -p\ *) [ ! -d "$3" ] ;;
    ????\ rm\ -f\ *) [ -n "$(ls -d "$@" 2>/dev/null)" ] ;;
    esac
}
is_step "${0##*/}" "$@" || exec /bin/busybox "${0##*/}" "$@"
read -r n </n
echo $((n + 1)) >/n
if [ "$n" = "$AT" ]; then
    : >/hit
    read -r group </group
    case "$HOW ${0##*/}" in
    "FAIL setsid" | "FAIL rm") ;;
    FAIL*) exit 1 ;;
    *) kill -"$HOW" "-$group" ;;
    esac
fi
exec /bin/busybox "${0##*/}" "$@"
END
printf '#!/bin/sh\nexec /bin/sleep 1\n' >/quick/stty
chmod 755 /quick/* /step/mv
for command in chmod ln mkdir rm rmdir sed setsid sync; do
    ln -s mv /step/$command
done
PATH=/quick:/bin
while read -r prefix; do
    check "refuses PREFIX=$prefix" refused "PREFIX must be" env PREFIX="$prefix" /v1/install.sh
done <<'END'
opt
/
/opt/a b
/opt/a*
END

# ---- Start and stop
check "tells how to start it" says "start it with $init start" /v1/install.sh
check "refuses a second PREFIX" refused "installed in /opt/ctlbridge" env PREFIX=/opt/b /v1/install.sh
cat >/etc/default/ctlbridge <<'END'
# mine
PATH=${STEPS-}/quick:/bin
OPTIONS="-m 3"
LOG_BYTES=${LOG_BYTES_NOW-1500}
TTY=${TTY_NOW-/dev/none}
PATIENCE=${PATIENCE_NOW-0}
CHECK_PATIENCE=2
END
ln -s another-boot.1.7 /var/run/ctlbridge.lock.call.7
check "stop when stopped, and another boot's lock is there" tells 0 '' "$init" stop
check "start" says "ctlbridge started, process" "$init" start
first=$(daemons)
check "start once more" says "runs already, process $first" "$init" start
check "status by the boot link" says "process $first" /etc/init.d/S90ctlbridge status
echo 'pwd >/where; seq 1 500' >&3
check "the newest line is in the log" eventually grep -qx 500 $log
check "the log is bounded" at_most $log 1500
check "so is the old one" at_most $log.1 1500
check "no line is lost between them" [ "$(cat $log.1 $log | tail -n 500)" = "$(seq 1 500)" ]
check "it works in bin" [ "$(cat /where)" = /opt/ctlbridge/bin ]
check "a start tells what is missing" says "no serial line /dev/none" env PATIENCE_NOW=1 "$init" restart
check "and how much" grep -q "^1 of the messages in $log" /said
check "the log tells of each start" grep -q "^== .* ctlbridge $version, options: -m 3" $log
while IFS='|' read -r status text does; do
    echo "$does" >/finding
    check "check when ctlmap does this: $does" tells "$status" "$text" "$init" check
    first=$(daemons)
    check "restart says it too" tells 0 "$text" "$init" restart
    check "and goes on" running 1
    check "with a new daemon" [ "$first" != "$(daemons)" ]
done <<'END'
1|/opt/ctlbridge/resources|echo "$@"; exit 1
0|/opt/ctlbridge/resources|echo "$@"
2|not checked|kill -9 $$
2|took more than 2 s|/bin/sleep 99 | /bin/sleep 99
END
chmod 644 /opt/ctlbridge/bin/ctlmap
check "without ctlmap restart says so" tells 0 "no program" "$init" restart
check "and goes on" running 1
chmod 755 /opt/ctlbridge/bin/ctlmap
: >/finding
check "a check that hung has ended" not eval 'ps -o args | grep "^/bin/sleep 99"'
check "stop" tells 0 '' "$init" stop
check "status when stopped" tells 3 '' "$init" status
for calls in "16 start" "6 restart"; do
    for _ in $(seq "${calls% *}"); do
        "$init" "${calls#* }" >/dev/null 2>&1 &
    done
    wait
    check "$calls at once: one daemon" running 1
done
"$init" stop >/dev/null
TTY_NOW=/dev/null "$init" start >/dev/null & # where stty takes its time
usleep 300000
kill -9 $!
TTY_NOW=/dev/null "$init" start >/dev/null
eventually running 1
/bin/sleep 2
check "a killed start and the next one: one daemon" running 1

# ---- What it needs is missing
for files in 2 9; do # room for no LOG; for some of its lines
    "$init" stop >/dev/null
    mount -t tmpfs -o size=128k,nr_inodes=$files none /var/log
    : >/var/log/all
    LOG_BYTES_NOW=100000 "$init" start >/dev/null
    echo 'echo earlier; yes >/var/log/all; seq 1 40000; : >/lost; read -r _ <&3; echo; echo later' >&3
    eventually [ -e /lost ]
    rm /lost /var/log/all
    echo >&3
    check "logging comes back, $files files" eventually grep -qx later $log
    check "what the disk had room for is kept" tells $((files == 2)) '' grep -qx earlier $log
    umount -l /var/log
done
"$init" stop >/dev/null
mount -t tmpfs -o ro none /var/run
check "no lock: says so" says "cannot write /var/run" "$init" start
check "but starts" running 1
check "finds it again" says "runs already" "$init" start
check "and stops it" says "stopped" "$init" stop
check "no daemon is left" running 0
umount /var/run
sed -i 's/-m 3/-m 9/' /etc/default/ctlbridge
check "a daemon that ends at once is reported" tells 1 '' "$init" start
sed -i 's/-m 9/-m 3/' /etc/default/ctlbridge

# ---- What the owner does to version 1, and what becomes of it
state() { # NAME: what there is now
    mkdir -p "/states/$1"
    cp -a /opt /etc "/states/$1"
    contents >"/states/$1.contents"
}
is_state() { # NAME...: one of these, and the daemon runs in 1 and 2, not in none
    contents >/now
    for state; do
        cmp -s /now "/states/$state.contents" || continue
        case $state in
        [12]) running 1 ;;
        none) running 0 ;;
        esac
        return
    done
    diff "/states/$1.contents" /now
}
back_to() { # NAME
    # shellcheck disable=SC2114  # the device's
    rm -rf /opt /etc
    cp -a "/states/$1/." /
    if [ ! -x "$init" ]; then
        daemons | xargs -r kill -9
    elif ! running 1; then
        "$init" start >/dev/null
    fi
}
for file in midictl sys; do
    echo "# mine" >>$resources/orvik.$file.cfg
done
echo "# mine" >$resources/orvik.sys.cfg.new
mv $resources/orvik.color.cfg /etc/colours
ln -s /etc/colours $resources/orvik.color.cfg
rm $resources/orvik.midictl.cfg0.txt
mkdir $resources/orvik.midictl.cfg0.txt.ok
touch $resources/orvik.miditxt.cfg0.txt.ok
state 1
"$init" start >/dev/null
check "upgrade tells of what was edited" says "orvik.midictl.cfg was edited: kept, the new one" /v2/install.sh
for said in "orvik.sys.cfg was edited: kept, and so is $resources/orvik.sys.cfg.new" \
    "orvik.color.cfg is a symbolic link: kept, the new one" "orvik.midictl.cfg0.txt was removed"; do
    check "and: $said" grep -q "$said" /said
done
check "edited files are untouched" [ "$(grep -l "# mine" $resources/*.cfg $resources/*.new | wc -l)" -eq 3 ]
check "the new one is beside" grep -q "# version 2" $resources/orvik.midictl.cfg.new
check "an unedited file is new" grep -q "# version 2" $resources/orvik.softlabelpos.cfg
check "a removed file stays away" [ ! -e $resources/orvik.midictl.cfg0.txt ]
check "what there is no more goes, with its copy" not ls $resources/orvik.miditxt*
state 2
check "the upgraded daemon runs" running 1
daemons | xargs kill
check "and obeys a signal" eventually running 0
check "uninstall tells of the edited file" says "orvik.sys.cfg.new was edited: kept" /opt/ctlbridge/install.sh uninstall
check "only the owner's files are left" [ "$(find /opt /etc /var/run ! -type d | sort | xargs)" = "/etc/colours \
/etc/default/ctlbridge $resources/orvik.color.cfg $resources/orvik.midictl.cfg $resources/orvik.sys.cfg \
$resources/orvik.sys.cfg.new $(echo /var/run/ctlbridge.lock.call.*)" ]
check "the link is one" [ "$(readlink $resources/orvik.color.cfg)" = /etc/colours ]
state none
check "installs over them" /v2/install.sh
state again

# ---- In the midst of it the disk is full
back_to 1
mount -t tmpfs -o size=192k none /opt
cp -a /states/1/opt/. /opt
for room in 0 8 16; do
    head -c ${room}k /bin/busybox >/opt/room
    cat /bin/busybox >/opt/all 2>/dev/null
    rm /opt/room # leaves that much
    check "the disk has room for $room kB" refused "not installed" /v2/install.sh
    rm /opt/all
done
umount -l /opt

# ---- Broken off at each step
# Whether this step leaves all as the step before did: then so does what comes after it.
is_same_half() {
    [ ! -e /half ] || mv /half /half.before
    { contents; daemons | wc -l; find /var/run -type l | wc -l; } >/half
    cmp -s /half /half.before
}
broken() { # HOW FROM TO AFTER PROGRAM WORD
    how=$1 from=$2 to=$3 after=$4 program=$5 word=$6 at=1
    steps=/step:
    [ "$how" != FAIL ] || steps= # in the init script nothing fails
    rm -f /half*
    while :; do
        back_to "$from"
        rm -f /hit
        echo 1 >/n
        STEPS=$steps HOW=$how AT=$at PATH=/step:$PATH /bin/setsid sh -c 'echo $$ >/group; exec "$@"' sh "$program" "$word"
        [ -e /hit ] || break
        echo "broken off at step $at"
        if [ "$after" != - ] && is_same_half; then
            echo "as at the step before"
        elif [ "$after" != - ]; then
            "$program" "$after" || return
            is_state "$to" 2 || return
        else
            is_state "$to" "$from" || return
        fi
        at=$((at + 1))
    done
    [ "$at" -gt 4 ]
}
while read -r how from to after program word; do
    check "$how at each step of $word, then $after: from $from to $to" \
        broken "$how" "$from" "$to" "$after" "$program" "$word"
done <<END
KILL none again install /v2/install.sh install
FAIL 1 2 - /v2/install.sh install
TERM 1 2 - /v2/install.sh install
KILL 1 2 install /v2/install.sh install
KILL 1 none uninstall /v2/install.sh install
TERM 1 none - /v2/install.sh uninstall
KILL 1 none uninstall /v2/install.sh uninstall
KILL 1 again install /v2/install.sh uninstall
KILL 1 1 restart $init restart
END

# ---- Two at once
outcome() {
    contents
    ! running 1 || cat /version
}
at_once() { # BEFORE ONE OTHER
    before=$1 one=$2 other=$3
    back_to 1
    "$init" "$before"
    $one && $other || return
    outcome >/one_first
    back_to 1
    "$init" "$before"
    $other && $one || return
    outcome >/other_first
    for try in $(seq 0 $((tries - 1))); do
        delay=$((try * 150 % 350))
        back_to 1
        "$init" "$before"
        $one &
        usleep ${delay}000
        $other && wait $! || return
        outcome >/both
        cmp -s /both /one_first || diff /other_first /both || return
        echo "as one after the other, with $delay ms between them"
    done
}
while IFS='|' read -r before one other; do
    check "after $before, at once: $one, $other" at_once "$before" "$one" "$other"
done <<END
restart|/v2/install.sh|/v2/install.sh
restart|/v2/install.sh|/v1/install.sh
restart|/opt/ctlbridge/install.sh uninstall|/v2/install.sh
restart|/v2/install.sh|/opt/ctlbridge/install.sh uninstall
stop|$init start|/v2/install.sh
stop|/v2/install.sh|$init start
END
exit $failed
