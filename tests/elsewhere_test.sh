#!/bin/sh
# elsewhere_test.sh SOURCE_DIRECTORY PACKAGE
#
# Copies the clone, with what CMake has noted in it, to a path with blanks, and repeats the module tests
# there as an ordinary user who installs nothing. A package that this user builds, in another time zone
# and from files of another date, has the bytes of PACKAGE.
set -eu
source=$1
package=$(realpath "$2")
dir=$(mktemp -d)
trap 'rm -rf "$dir"' EXIT
trap 'exit 1' INT TERM HUP

clone="$dir/a clone"
mkdir -p "$clone/build/default" "$dir/temporary files"
(cd "$source" && tar -c --exclude=./build --exclude=./.git . build/musl build/default/CMakeCache.txt) |
    tar -xm -C "$clone"
user=
if [ "$(id -u)" -eq 0 ]; then
    chown -R 65534:65534 "$dir"
    user='setpriv --reuid=65534 --regid=65534 --clear-groups'
fi
there() { # COMMAND...
    (cd "$clone" && umask 077 && $user env -i PATH="$PATH" HOME="$dir" TMPDIR="$dir/temporary files" TZ=XYZ-9 \
        SOURCE_DATE_EPOCH="$epoch" "$@")
}
epoch=$(TZ=UTC0 tar -tv --full-time -f "$package" | awk '{ print $4, $5, "UTC"; exit }' | date -f - +%s)

there ./test --no-install '^module[.]'
there cmake --preset arm
there cmake --build --preset arm --target package
cmp "$package" "$clone/build/arm/${package##*/}"
[ -z "$(ls "$dir/temporary files")" ] || { echo "left behind: $(ls "$dir/temporary files")" && exit 1; }
