#!/bin/sh
# kernel.sh COMMAND [ARGUMENT...]
#
# Runs a command as root on Debian's kernel in an emulated computer, on this machine's files: what it
# changes is lost. It finds the kernel's modules by `modprobe`, and two serial ports that are
# connected to each other, /dev/ttyS1 and /dev/ttyS2. Its status is the command's.
#
# kernel.sh --build only fetches the kernel, into build/port.
set -eu
cd "$(dirname "$0")/../.."
out=$PWD/build/port
kernel=$out/kernel

# Packs what mounts the files: BusyBox, and modules in the order in which they are loaded.
pack() {
    root=$out/root
    rm -rf "$root"
    mkdir -p "$root/bin" "$root/modules"
    depmod -b "$kernel" "$release"
    number=10
    for module in virtio_pci 9pnet_virtio 9p overlay; do
        modprobe -d "$kernel" -S "$release" --ignore-install --show-depends $module
    done | sed -n 's/^insmod //p' | awk '!seen[$1]++' | while read -r file _; do
        cp "$file" "$root/modules/$number-${file##*/}"
        number=$((number + 1))
    done
    cp "$(command -v busybox)" "$root/bin/busybox"
    ldd "$root/bin/busybox" | grep -o '/[^ ]*' | while read -r library; do
        mkdir -p "$root${library%/*}"
        cp "$library" "$root$library"
    done
    cp bench/port/init "$root/init"
    (cd "$root" && find . | cpio -o -H newc -R 0:0 --quiet | gzip -1) >"$out/initrd.new"
    mv "$out/initrd.new" "$out/initrd"
}

mkdir -p "$out"
if [ ! -e "$kernel/packages" ]; then
    apt-cache show linux-image-amd64 >/dev/null 2>&1 || apt-get -q update
    tools/fetch_packages.sh amd64 "$kernel" \
        "$(apt-cache depends linux-image-amd64 | sed -n 's/.*Depends: //p')"
fi
release=$(ls "$kernel/lib/modules")
if [ ! -e "$out/initrd" ] || [ -n "$(find bench/port/init bench/port/kernel.sh "$kernel/packages" -newer "$out/initrd")" ]; then
    pack
fi
[ "$1" != --build ] || exit 0

run=$(mktemp -d)
trap 'rm -rf "$run"' EXIT
{
    printf 'cd "%s"\nexport kernel="%s"\nset --' "$PWD" "$kernel"
    for word; do
        printf " '%s'" "$(printf '%s' "$word" | sed "s/'/'\\\\''/g")"
    done
    printf '\n"$@"\n'
} >"$run/command"
qemu-system-x86_64 -accel tcg -cpu max -smp 1 -m 1G -nodefaults -no-reboot -display none \
    -kernel "$kernel/boot/vmlinuz-$release" -initrd "$out/initrd" \
    -append "console=ttyS0 quiet panic=-1" -serial stdio \
    -serial "unix:$run/cable,server=on,wait=off" -serial "unix:$run/cable" \
    -virtfs "local,path=/,mount_tag=files,security_model=none,readonly=on,multidevs=remap" \
    -virtfs "local,path=$run,mount_tag=run,security_model=none" </dev/null |
    sed -u 's/\r$//'
exit "$(cat "$run/status" 2>/dev/null || echo 1)"
