#!/bin/sh
# Installs ctlbridge from the unpacked tarball, upgrades it, or takes it away again.
#
# usage: ./install.sh             install or upgrade
#        ./install.sh uninstall   also from the installed copy, PREFIX/install.sh
#
# ROOT=DIR    the device's root file system is at DIR; nothing is started or stopped then
# PREFIX=DIR  where bin/ and resources/ go, /opt/ctlbridge when not set
#
# A file that was edited, that is, differs from what the installed version brought along, is never
# overwritten or removed: the new one is put beside it as NAME.new.
set -eu

ROOT=${ROOT:-}
PREFIX=${PREFIX:-/opt/ctlbridge}
from=$(cd "$(dirname "$0")" && pwd)
record=$ROOT$PREFIX/installed.md5 # what the installed version brought along
init=/etc/init.d/ctlbridge
link=/etc/init.d/S90ctlbridge

sum() { md5sum <"$1" | cut -d' ' -f1; }

# The recorded sum of an installed path, or nothing.
recorded() { [ ! -f "$record" ] || awk -v path="$1" '$2 == path { print $1 }' "$record"; }

# Programs are always replaced; everything else may be edited.
is_program() {
    case $1 in
    */bin/ctlbridge | */check_field_num.sh | */install.sh | */share/man/*) true ;;
    *) false ;;
    esac
}

# Puts file $1 at $2 in one step, so that an interruption leaves the old one or the new one.
put() {
    mkdir -p "$(dirname "$ROOT$2")"
    cp "$1" "$ROOT$2.part"
    if [ -x "$1" ]; then
        chmod 755 "$ROOT$2.part"
    else
        chmod 644 "$ROOT$2.part"
    fi
    mv -f "$ROOT$2.part" "$ROOT$2"
}

# Installs file $1 at $2, unless what is there was edited.
install_file() {
    new=$(sum "$1")
    old=$(recorded "$2")
    have=
    if [ -f "$ROOT$2" ]; then
        have=$(sum "$ROOT$2")
    fi
    echo "$new  $2" >>"$record.part"
    if [ "$have" = "$new" ]; then
        return
    elif [ "$have" = "$old" ] || is_program "$2"; then
        put "$1" "$2"
    elif [ -z "$have" ]; then
        echo "$2 was removed: not put back"
    elif [ "$new" = "$old" ]; then
        echo "$2 was edited: kept"
    else
        put "$1" "$2.new"
        echo "$2 was edited: kept, the new one is $2.new"
    fi
}

# Removes installed file $2, recorded with sum $1, unless it was edited.
remove_file() {
    if [ ! -f "$ROOT$2" ]; then
        return
    elif [ "$(sum "$ROOT$2")" = "$1" ] || is_program "$2"; then
        rm -f "$ROOT$2"
    else
        echo "$2 was edited: kept"
    fi
}

# Where file $1 of the tarball goes.
target() {
    case $1 in
    etc/*) echo "/$1" ;;
    *) echo "$PREFIX/$1" ;;
    esac
}

# True when the daemon was running and has been stopped.
stop_daemon() {
    [ -z "$ROOT" ] && [ -x "$init" ] && "$init" status >/dev/null && "$init" stop
}

install_all() {
    cd "$from"
    if [ ! -f VERSION ] || [ ! -f bin/ctlbridge ]; then
        echo "install.sh: run it from the unpacked tarball" >&2
        exit 1
    fi
    restart=no
    if stop_daemon; then
        restart=yes
    fi
    mkdir -p "$ROOT$PREFIX"
    : >"$record.part"
    sed -i "s|^DIR=.*|DIR=$PREFIX|" etc/init.d/ctlbridge
    for file in $(find bin resources share etc install.sh -type f | sort); do
        install_file "$file" "$(target "$file")"
    done
    if [ -f "$record" ]; then
        drop_obsolete
    else
        ln -sf ctlbridge "$ROOT$link"
    fi
    mv -f "$record.part" "$record"
    sync
    echo "ctlbridge $(cat VERSION) is installed in $PREFIX"
    if [ $restart = yes ]; then
        "$init" start
    else
        echo "start it with $init start"
    fi
}

# What the version before brought along and this one does not.
drop_obsolete() {
    while read -r old path; do
        grep -q "  $path\$" "$record.part" || remove_file "$old" "$path"
    done <"$record"
}

uninstall() {
    if [ ! -f "$record" ]; then
        echo "install.sh: no installation in $ROOT$PREFIX" >&2
        exit 1
    fi
    stop_daemon || true
    while read -r old path; do
        remove_file "$old" "$path"
        rm -f "$ROOT$path.new" "$ROOT$path.ok"
    done <"$record"
    rm -f "$ROOT$link" "$record"
    for dir in resources bin share/man/man1 share/man/man5 share/man share .; do
        rmdir "$ROOT$PREFIX/$dir" 2>/dev/null || true
    done
    rmdir "$ROOT$PREFIX" 2>/dev/null || true
    echo "ctlbridge is uninstalled"
}

case ${1:-install} in
install) install_all ;;
uninstall) uninstall ;;
*)
    echo "usage: $0 [install|uninstall]" >&2
    exit 2
    ;;
esac
