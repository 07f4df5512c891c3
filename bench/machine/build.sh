#!/bin/sh
# Builds what the emulated machine boots: build/machine/{kernel,board.dtb,initrd}. What is there and
# up to date is kept; the package of the daemon has to be built.
#
# usage: build.sh
set -eu
cd "$(dirname "$0")/../.."
. ./tools/setup.sh
from=$PWD/bench/machine
out=$PWD/build/machine
cross=arm-linux-gnueabi-

# True if a file is there, and newer than all the others.
is_newer() {
    file=$1
    shift
    [ -e "$file" ] && [ -z "$(find "$@" -newer "$file" -print -quit)" ]
}

# An apt of its own: the lists, the cache and the set-up of this system stay as they are. It takes
# Debian's packages from where this system takes them.
set_up_apt() {
    mkdir -p "$out"/apt/lists/partial "$out"/apt/archives/partial "$out"/apt/sources
    : >"$out/apt/status"
    for list in /etc/apt/sources.list /etc/apt/sources.list.d/debian.sources; do
        [ ! -s "$list" ] || sed 's/^Types: deb$/& deb-src/; s/^deb \(.*\)/&\ndeb-src \1/' "$list" \
            >"$out/apt/sources/${list##*/}"
    done
    {
        apt-config dump Acquire
        cat <<EOT
Dir::State "$out/apt";
Dir::State::status "$out/apt/status";
Dir::Cache "$out/apt";
Dir::Etc::main "/dev/null";
Dir::Etc::parts "/dev/null";
Dir::Etc::sourcelist "/dev/null";
Dir::Etc::sourceparts "$out/apt/sources";
APT::Architecture "armhf";
APT::Architectures { "armhf"; "$(dpkg --print-architecture)"; };
APT::Sandbox::User "$(id -un)";
Acquire::Languages "none";
EOT
    } >"$out/apt.conf"
}

fetch() {
    say "Machine: fetching kernel and BusyBox"
    set_up_apt
    export APT_CONFIG="$out/apt.conf"
    apt-get -q update || echo "going on with the lists that could be read"
    release=$(apt-cache depends linux-image-armmp | sed -n 's/.*Depends: linux-image-//p')
    version=$(apt-cache show "linux-image-$release" | sed -n 's/^Version: //p' | head -n 1)
    rm -rf "$out/packages"
    mkdir "$out/packages"
    cd "$out/packages"
    apt-get -q download "linux-image-$release=$version" "linux-headers-$release=$version" \
        "linux-headers-${release%-armmp}-common=$version" "linux-source-6.1=$version" \
        "linux-kbuild-6.1:$(dpkg --print-architecture)=$version"
    apt-get -q source --download-only busybox
    cd - >/dev/null
    echo "$release" >"$out/release"
}

unpack() {
    say "Machine: unpacking"
    rm -rf "$out/kernel-files" "$out/g_midi" "$out/busybox"
    mkdir "$out/kernel-files" "$out/g_midi" "$out/busybox"
    for deb in "$out"/packages/linux-[hik]*.deb; do
        dpkg-deb -x "$deb" "$out/kernel-files"
    done
    gadget=drivers/usb/gadget
    # tar ends when it has them, before dpkg-deb has passed on all.
    { dpkg-deb --fsys-tarfile "$out"/packages/linux-source-*.deb 2>/dev/null || true; } |
        tar -xO ./usr/src/linux-source-6.1.tar.xz 2>/dev/null |
        tar -xJ --occurrence=1 -C "$out/g_midi" --strip-components=5 \
            linux-source-6.1/$gadget/legacy/gmidi.c linux-source-6.1/$gadget/function/u_midi.h
    tar -xf "$out"/packages/busybox_*.orig.tar.* -C "$out/busybox" --strip-components=1
    : >"$out/unpacked"
}

# The gadget's module, which Debian's kernel lacks.
build_g_midi() {
    say "Machine: building g_midi"
    headers=$out/kernel-files/usr/src/linux-headers-$release
    sed -i "s#include /usr#include $out/kernel-files/usr#" "$headers/Makefile"
    printf 'obj-m := g_midi.o\ng_midi-y := gmidi.o\n' >"$out/g_midi/Makefile"
    make -s -C "$headers" M="$out/g_midi" ARCH=arm CROSS_COMPILE=$cross modules
}

build_busybox() {
    say "Machine: building BusyBox"
    cd "$out/busybox"
    make -s defconfig >/dev/null
    sed -i 's/.*CONFIG_STATIC is not set/CONFIG_STATIC=y/; s/^CONFIG_TC=y/# CONFIG_TC is not set/' .config
    make -s -j"$(nproc)" CROSS_COMPILE=$cross CONFIG_EXTRA_CFLAGS=-march=armv6 busybox \
        </dev/null >"$out/busybox.log" 2>&1 || {
        tail -n 30 "$out/busybox.log"
        exit 1
    }
    cd - >/dev/null
}

# The board as the emulator has it: one processor, no network, five serial lines without DMA, and a
# screen of 60 by 17 characters in memory at the end of the first 256 MB.
make_tree() {
    tree=$out/board.dtb
    screen=1ff00000
    cp "$out/kernel-files/usr/lib/linux-image-$release/imx6q-sabrelite.dtb" "$tree"
    for line in 0 1 2 3 4; do
        node=$(fdtget "$tree" /aliases serial$line)
        fdtput -d "$tree" "$node" dmas dma-names
        fdtput -t s "$tree" "$node" status okay
    done
    fdtput -t s "$tree" "$(fdtget "$tree" /aliases ethernet0)" status disabled
    fdtput -r "$tree" /cpus/cpu@1 /cpus/cpu@2 /cpus/cpu@3
    # Switched off by the watchdog, whose reset ends the emulator.
    watchdog=/soc/bus@2000000/watchdog@20bc000
    fdtput -t s "$tree" $watchdog compatible syscon
    fdtput "$tree" $watchdog reg-io-width 2
    fdtput "$tree" $watchdog phandle 4096
    fdtput -c "$tree" /poweroff
    fdtput -t s "$tree" /poweroff compatible syscon-poweroff
    fdtput "$tree" /poweroff regmap 4096
    fdtput "$tree" /poweroff offset 0
    fdtput "$tree" /poweroff value 0
    fdtput -t x "$tree" /poweroff mask ffff
    fdtput -c "$tree" /reserved-memory /reserved-memory/screen@$screen /framebuffer@$screen
    fdtput "$tree" /reserved-memory '#address-cells' 1
    fdtput "$tree" /reserved-memory '#size-cells' 1
    fdtput "$tree" /reserved-memory ranges
    fdtput -t x "$tree" /reserved-memory/screen@$screen reg $screen 100000
    fdtput "$tree" /reserved-memory/screen@$screen no-map
    fdtput -t s "$tree" /framebuffer@$screen compatible simple-framebuffer
    fdtput -t x "$tree" /framebuffer@$screen reg $screen 3fc00
    fdtput "$tree" /framebuffer@$screen width 480
    fdtput "$tree" /framebuffer@$screen height 272
    fdtput "$tree" /framebuffer@$screen stride 960
    fdtput -t s "$tree" /framebuffer@$screen format r5g6b5
}

# Copies a module and those that it depends on.
add_module() {
    name=$(echo "$1" | tr - _)
    file=$(find "$out/g_midi" "$out/kernel-files/lib/modules" -name '*.ko' |
        awk -F/ -v name="$name.ko" '{ file = $NF; gsub("-", "_", file) } file == name' | head -n 1)
    if [ -z "$file" ] || [ -e "$modules/${file##*/}" ]; then
        return 0
    fi
    ${cross}strip --strip-debug -o "$modules/${file##*/}" "$file"
    for needed in $(tr '\0' '\n' <"$file" | sed -n 's/^depends=//p' | tr , ' '); do
        add_module "$needed"
    done
}

make_root() {
    say "Machine: packing"
    root=$out/root
    rm -rf "$root"
    modules=$root/lib/modules/$release
    mkdir -p "$modules" "$root/bin" "$root/opt/bench" "$root/run" "$root/tmp" \
        "$root/var/log" "$root/var/run" "$root/proc" "$root/sys" "$root/dev" "$root/etc"
    for module in snd-aloop dummy_hcd snd-usb-audio usb_f_midi g_midi; do
        add_module $module
    done
    cp "$out/busybox/busybox" "$root/bin"
    # Where BusyBox says that its names belong.
    (cd "$out/busybox" && make -s CROSS_COMPILE=$cross busybox.links >/dev/null)
    while read -r path; do
        mkdir -p "$root${path%/*}"
        ln -sf /bin/busybox "$root$path"
    done <"$out/busybox/busybox.links"
    ${cross}g++ -std=c++20 -Os -march=armv6 -static -s -Ibench -o "$root/opt/bench/inside" \
        "$from/inside.cpp" bench/world/platform.cpp
    for part in Xfbdev mixhost; do
        ln -s inside "$root/opt/bench/$part"
    done
    ln -s /bin/busybox "$root/opt/bench/modprobe" # the kernel's own
    # Those that it tells of.
    for command in sbin/modprobe usr/sbin/fbset sbin/fbsplash sbin/poweroff usr/bin/killall; do
        ln -sf /opt/bench/inside "$root/$command"
    done
    cp -R "$from/root/." "$root"
    rm -rf "$out/package"
    mkdir "$out/package"
    tar -xzf "$package" -C "$out/package" --strip-components=1
    ROOT=$root "$out/package/install.sh"
    mkdir -p "$root/root"
    cp "$package" "$root/root"
    (cd "$root" && find . | sort | cpio -o -H newc -R 0:0 --quiet | gzip -1) >"$out/initrd.new"
    mv "$out/initrd.new" "$out/initrd"
}

package=$(ls -t build/arm/ctlbridge-*.tar.gz | head -n 1)
[ -n "$package" ] || { echo "build.sh: no package in build/arm" >&2 && exit 1; }
mkdir -p "$out"
[ -e "$out/release" ] || fetch
release=$(cat "$out/release")
[ -e "$out/unpacked" ] || unpack
[ -e "$out/g_midi/g_midi.ko" ] || build_g_midi
[ -e "$out/busybox/busybox" ] || build_busybox
if ! is_newer "$out/initrd" "$package" "$from" bench/world; then
    cp "$out/kernel-files/boot/vmlinuz-$release" "$out/kernel"
    make_tree
    make_root
fi
