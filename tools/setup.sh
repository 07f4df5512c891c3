# shellcheck shell=sh disable=SC2034
# Sourced by ./run, ./test and ./prove: says what is done, and installs the Debian packages that are missing.

say() { printf '\n== %s\n' "$*"; }

as_root() {
    if [ "$(id -u)" -eq 0 ]; then
        "$@"
    else
        sudo "$@"
    fi
}

need_packages() {
    [ $# -gt 0 ] || return 0
    missing=
    for package; do
        dpkg-query -W -f='${db:Status-Status}' "$package" 2>/dev/null | grep -q '^installed$' ||
            missing="$missing $package"
    done
    if [ -z "$missing" ]; then
        say "Packages: all there"
        return
    fi
    if [ -n "${no_install-}" ]; then
        say "Packages: not installed:$missing" >&2
        return 1
    fi
    say "Packages: installing$missing"
    as_root env DEBIAN_FRONTEND=noninteractive apt-get -q update
    # shellcheck disable=SC2086  # a list of words
    as_root env DEBIAN_FRONTEND=noninteractive \
        apt-get -q -y --no-install-recommends install $missing
}

# In a clone that was copied or moved, CMake refuses what it has left in the old place.
configure() { # PRESET
    cache=build/$1/CMakeCache.txt
    fresh=--fresh
    [ -e "$cache" ] && ! grep -qxF "CMAKE_HOME_DIRECTORY:INTERNAL=$(pwd -P)" "$cache" || fresh=
    cmake --preset "$1" $fresh >"build/$1.log" 2>&1 || {
        cat "build/$1.log"
        return 1
    }
}

# build PRESET [TARGET...]
build() {
    preset=$1
    shift
    say "Building: $preset"
    configure "$preset" || return
    cmake --build --preset "$preset" ${1:+--target "$@"}
}

BUILD_PACKAGES='g++ cmake ninja-build lowdown libgtest-dev bubblewrap busybox libncurses-dev libvterm-dev libasound2-dev'
FUZZ_PACKAGES='clang libclang-rt-14-dev'
ARM_PACKAGES='clang binutils-arm-linux-gnueabi qemu-user-static'
PAGE_PACKAGES='emscripten node-acorn nodejs'
BROWSER_PACKAGES='chromium chromium-driver fonts-dejavu-core'
MACHINE_PACKAGES='qemu-system-arm device-tree-compiler g++-arm-linux-gnueabi make cpio bzip2 xz-utils'
PORT_PACKAGES='qemu-system-x86 alsa-utils kmod cpio procps tmux'
MEASURE_PACKAGES='valgrind gnuplot-nox'
STYLE_PACKAGES='clang-format clang-tidy shellcheck'
TEST_PACKAGES="$ARM_PACKAGES $PAGE_PACKAGES g++-arm-linux-gnueabi googletest jq mandoc procps socat strace tidy tmux valgrind $STYLE_PACKAGES $FUZZ_PACKAGES"
