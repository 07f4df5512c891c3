#!/bin/sh
# Installs ctlbridge from the unpacked tarball, upgrades it, or takes it away again.
#
# usage: ./install.sh             install or upgrade
#        ./install.sh uninstall   also from the installed copy, PREFIX/install.sh
#
# ROOT=DIR    the device's root file system is at DIR; nothing is started or stopped then
# PREFIX=DIR  where bin/ and resources/ go, /opt/ctlbridge when not set
#
# A file that was edited, that is, differs from what any installed version brought along, is never
# overwritten or removed, nor is a symbolic link: the new one is put beside it as NAME.new.
#
# New files are put beside their targets as NAME.part and checked. Only then is the daemon stopped;
# after the renames it is started again. What a run that was killed leaves, the next one clears up.
# Runs at the same time, and calls of the init script, wait for one another.
set -eu
LC_ALL=C
export LC_ALL
umask 022

ROOT=${ROOT:-}
ROOT=${ROOT%/}
PREFIX=${PREFIX:-/opt/ctlbridge}
PREFIX=${PREFIX%/}
from=$(cd "$(dirname "$0")" >/dev/null && pwd)
record=$ROOT$PREFIX/installed.md5 # what the installed version brought along
past=$record.past                 # what runs that were cut off were to bring along or take away
gone=$record.gone                 # the record of the version that is being uninstalled
stopped=$record.stopped           # there while the daemon is stopped and to be started again
init=/etc/init.d/ctlbridge
link=/etc/init.d/S90ctlbridge
staged= # names whose NAME.part is ready
placed= # those of them that have been renamed, or are just being
left=no # yes when something could not be removed or put back

LOCK=/var/run/ctlbridge.lock # of this computer, also when ROOT is another's
if [ -n "$ROOT" ]; then
    [ -w "${LOCK%/*}" ] || LOCK=${TMPDIR:-/tmp}/ctlbridge.lock
elif [ -r /etc/default/ctlbridge ]; then
    # shellcheck source=/dev/null
    LOCK=$(set +eu; . /etc/default/ctlbridge >/dev/null 2>&1; echo "$LOCK")
fi
@TURNS@

say() { echo "$*" || true; } # the terminal may be gone

refuse() {
    echo "install.sh: $*" >&2
    exit 1
}

sum() {
    sum=$(md5sum)
    echo "${sum%% *}"
}

# Every path that is recorded anywhere.
paths() { cat "$record"* 2>/dev/null | cut -c35- | sort -u; }

# True when some version brought along path $2 with sum $1.
known() { grep -qsxF "$1  $2" "$record"*; }

# True when the installed version brought along path $1.
installed() { cut -c35- "$record" 2>/dev/null | grep -qxF "$1"; }

# Nobody edits programs, manual pages and the copies that the daemon makes.
is_fixed() {
    case $1 in
    */bin/ctlbridge | */bin/ctlmap | */check_field_num.sh | */install.sh | */share/man/* | *.ok | *.ok.new) true ;;
    *) false ;;
    esac
}

# True when $1, which is path $2 or its .new, holds nobody's work.
is_ours() { [ -f "$ROOT$1" ] && [ ! -L "$ROOT$1" ] && known "$(sum <"$ROOT$1")" "$2"; }

# Why $1 is kept.
reason() {
    if [ -L "$ROOT$1" ]; then
        echo "is a symbolic link"
    elif [ -f "$ROOT$1" ]; then
        echo "was edited"
    else
        echo "is not a file"
    fi
}

there() { [ -e "$1" ] || [ -L "$1" ]; }

# Removes $1, which belongs to path $2, unless it was edited.
remove() {
    if ! there "$ROOT$1"; then
        return
    elif is_ours "$1" "$2" || { is_fixed "$1" && [ ! -d "$ROOT$1" ]; }; then
        rm -f "$ROOT$1" || left=yes
    else
        say "$1 $(reason "$1"): kept"
    fi
}
remove_path() {
    for name in "$1" "$1.new" "$1.ok" "$1.ok.new"; do
        remove "$name" "$1"
    done
}

check_places() {
    case $PREFIX in
    '' | [!/]* | *[!A-Za-z0-9._/+-]*)
        refuse "PREFIX must be an absolute path of letters, digits and . _ / + -, not \"$PREFIX\""
        ;;
    esac
    case $ROOT in
    [!/]*) refuse "ROOT must be an absolute path, not \"$ROOT\"" ;;
    esac
    other=$(sed -n '/^DIR=/{s///p;q}' "$ROOT$init" 2>/dev/null) || true
    if [ "${other:-$PREFIX}" != "$PREFIX" ] && [ -n "$(ls -d "$ROOT$other"/installed.md5* 2>/dev/null)" ]; then
        refuse "ctlbridge is installed in $other: upgrade it with PREFIX=$other, or uninstall that first"
    fi
}

# ---- The package

package_files() { (cd "$from" && find bin resources share etc install.sh -type f | sort); }

# Where file $1 of the package goes, and what is put there.
target() {
    case $1 in
    etc/*) echo "/$1" ;;
    *) echo "$PREFIX/$1" ;;
    esac
}
content() {
    case $1 in
    etc/init.d/ctlbridge) sed "s|^DIR=.*|DIR=$PREFIX|" "$from/$1" ;;
    *) cat "$from/$1" ;;
    esac
}

# ---- The daemon

stop_daemon() {
    if [ -z "$ROOT" ] && [ -x "$init" ] && "$init" status >/dev/null; then
        : >"$stopped"
        "$init" stop || true
    fi
}

# Starts what was stopped. A hang-up does not reach what setsid runs; here signals, which
# the daemon would go on to ignore, only make it try once more.
start_daemon() {
    if [ -n "$ROOT" ] || [ ! -e "$stopped" ]; then
        return
    fi
    started=no
    again=yes
    trap again=yes HUP INT TERM PIPE
    while [ $again$started = yesno ]; do
        again=no
        if setsid "$init" start; then
            started=yes
        fi
    done
    trap '' HUP INT TERM PIPE
    [ $started = yes ] && rm -f "$stopped"
}

# ---- Install and upgrade

# Removes what is half done.
clear_up() {
    { paths; echo "$link"; } | while read -r path; do
        for half in "$path.part" "$path.part.old" "$path.new.part" "$path.new.part.old"; do
            ! there "$ROOT$half" || rm -f "$ROOT$half"
        done
    done
    rm -f "$record.part" "$record.part.old"
}

remove_directories() {
    for dir in resources bin share/man/man1 share/man/man5 share/man share ''; do
        rmdir "$ROOT$PREFIX/$dir" 2>/dev/null || true
    done
}

begin() {
    mkdir -p "$ROOT$PREFIX"
    for cut_off in "$record.part" "$record.part.old" "$gone"; do
        [ ! -f "$cut_off" ] || cat "$cut_off" >>"$past"
    done
    clear_up
    rm -f "$gone"
    [ ! -f "$record" ] || ln "$record" "$record.part.old"
}

# Puts file $1, whose sum is $2, beside what is to become $3.
stage() {
    part=$ROOT$3.part
    [ -d "${part%/*}" ] || mkdir -p "${part%/*}"
    content "$1" >"$part"
    [ ! -x "$from/$1" ] || chmod 755 "$part"
    [ "$(sum <"$part")" = "$2" ] || refuse "$part does not hold what was written"
    ! there "$ROOT$3" || ln "$ROOT$3" "$part.old"
    staged="$staged $3"
}

# Stages file $1 for path $2, unless it is there already or the owner has other plans.
stage_file() {
    new=$(content "$1" | sum)
    echo "$new  $2" >>"$record.part"
    if [ -f "$ROOT$2" ] && [ "$(sum <"$ROOT$2")" = "$new" ]; then
        return
    elif is_fixed "$2" && [ -d "$ROOT$2" ]; then
        refuse "$2 is a directory"
    elif is_fixed "$2" || is_ours "$2" "$2"; then
        stage "$1" "$new" "$2"
    elif ! there "$ROOT$2" && ! installed "$2"; then
        stage "$1" "$new" "$2"
    elif ! there "$ROOT$2"; then
        say "$2 was removed: not put back"
    elif grep -qsxF "$new  $2" "$record"; then
        say "$2 $(reason "$2"): kept"
    elif there "$ROOT$2.new" && ! is_ours "$2.new" "$2"; then
        say "$2 $(reason "$2"): kept, and so is $2.new; the new one is $from/$1"
    else
        stage "$1" "$new" "$2.new"
        say "$2 $(reason "$2"): kept, the new one is $2.new"
    fi
}

# The link by which the device starts the daemon. An upgrade does not put it back.
stage_link() {
    if [ ! -f "$record" ] && ! there "$ROOT$link"; then
        ln -s ctlbridge "$ROOT$link.part"
        staged="$staged $link"
    fi
}

swap() {
    for name in $staged "$PREFIX/installed.md5"; do
        placed="$placed $name"
        mv -f "$ROOT$name.part" "$ROOT$name"
    done
}

# A failure rolls back, which takes no room on the disk and leaves no mixture of versions.
roll_back() {
    trap - EXIT
    trap '' HUP INT TERM PIPE
    for name in $placed; do
        if there "$ROOT$name.part.old"; then
            mv -f "$ROOT$name.part.old" "$ROOT$name" || left=yes
        else
            rm -f "$ROOT$name" || left=yes
        fi
    done
    if [ $left = no ]; then
        clear_up || true
        remove_directories
        say "install.sh: not installed, all is as it was" >&2
    else
        say "install.sh: not installed, and not all is as it was: run it again" >&2
    fi
    start_daemon || true
    exit 1
}

# Removes what older versions brought along and this one does not.
drop_old() {
    for path in $(paths | grep -vxF "$(cut -c35- "$record")"); do
        remove_path "$path"
    done
    clear_up
    rm -f "$past"
}

install_all() {
    if [ ! -f "$from/VERSION" ] || [ ! -f "$from/bin/ctlbridge" ]; then
        refuse "run it from the unpacked tarball"
    fi
    trap roll_back EXIT
    trap 'exit 1' HUP INT TERM PIPE
    begin
    for file in $(package_files); do
        stage_file "$file" "$(target "$file")"
    done
    stage_link
    sync
    trap '' HUP INT TERM PIPE # to go on is as quick as to go back
    stop_daemon
    swap
    trap - EXIT
    say "ctlbridge $(cat "$from/VERSION") is installed in $ROOT$PREFIX"
    if [ -z "$ROOT" ] && [ ! -e "$stopped" ]; then
        say "start it with $init start"
    fi
    status=0
    start_daemon || status=1
    drop_old
    sync
    exit $status
}

# ---- Uninstall

uninstall() {
    if [ -z "$(paths)" ]; then
        remove_directories
        say "ctlbridge is not installed in $ROOT$PREFIX"
        return
    fi
    trap '' HUP INT TERM PIPE
    # From here on it is not installed: what is missing is not missing by the owner's choice.
    [ ! -f "$record" ] || mv -f "$record" "$gone"
    if [ -z "$ROOT" ] && [ -x "$init" ]; then
        "$init" stop || true
    fi
    for path in $(paths); do
        [ "$path" = "$PREFIX/install.sh" ] || remove_path "$path"
    done
    if [ "$(readlink "$ROOT$link")" = ctlbridge ]; then
        rm -f "$ROOT$link" || left=yes
    fi
    [ $left = no ] || refuse "not everything could be removed: run it again"
    clear_up
    # shellcheck disable=SC2154  # the turn's number
    for turn in "$ROOT$LOCK".*; do
        [ "$turn" = "$LOCK.call.$n" ] || rm -f "$turn" # another may wait for this one to end
    done
    # At once, so that it can be run again for as long as there is something to do.
    rm -f "$record"* "$ROOT$PREFIX/install.sh"
    remove_directories
    say "ctlbridge is uninstalled"
}

case ${1:-install} in
install | uninstall) take_turn ;;
*)
    echo "usage: $0 [install|uninstall]" >&2
    exit 2
    ;;
esac
check_places
if [ "${1:-install}" = install ]; then
    install_all
else
    uninstall
fi
