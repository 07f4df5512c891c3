#!/bin/sh
# fetch_packages.sh ARCHITECTURE DIRECTORY PACKAGE...
#
# Downloads Debian packages of another architecture and unpacks them into DIRECTORY. Nothing is installed:
# apt asks the sources that this machine trusts, with lists and a cache of its own beside DIRECTORY, and
# needs no root. DIRECTORY appears when it is complete; where it holds these packages, nothing is done.
set -eu
[ $# -ge 3 ] || {
    echo "usage: $0 ARCHITECTURE DIRECTORY PACKAGE..." >&2
    exit 2
}
architecture=$1
directory=$2
shift 2
if [ "$(cat "$directory/packages" 2>/dev/null)" = "$architecture $*" ]; then
    exit
fi

echo "Fetching for $architecture: $*"
mkdir -p "$directory.part"
part=$(readlink -f "$directory.part")
rm -rf "$part"
mkdir -p "$part/lists/partial" "$part/archives/partial" "$part/root"
: >"$part/status"
cat >"$part/apt.conf" <<END
APT::Architecture "$architecture";
APT::Architectures { "$architecture"; };
APT::Sandbox::User "";
#clear APT::Update::Pre-Invoke;
#clear APT::Update::Post-Invoke;
#clear APT::Update::Post-Invoke-Success;
Dir::State "$part";
Dir::State::status "$part/status";
Dir::Cache "$part";
END
apt-get -q -c "$part/apt.conf" update
(cd "$part" && apt-get -q -c apt.conf download "$@")
for package in "$part"/*.deb; do
    dpkg-deb -x "$package" "$part/root"
done
echo "$architecture $*" >"$part/root/packages"
rm -rf "$directory"
mv "$part/root" "$directory"
rm -rf "$part"
