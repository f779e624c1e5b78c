#!/bin/sh
# packages-in-bare-root.sh [DIR] - installs the packages of DIR (build/packages) in a Debian system with nothing in it,
# runs what they bring, upgrades them to a later version and purges them. A user's banks must be what they were at the
# end, and nothing else of the packages may be left. Needs root.
# Exit code: 77 when it cannot be done here, the last line says why.
set -eu

cd "$(dirname "$0")/.."
dir=$(cd "${1:-build/packages}" && pwd)
. packaging/bare-system.sh

fail() { echo "packages-in-bare-root.sh: $1" >&2; exit 1; }
apt() { in_root env DEBIAN_FRONTEND=noninteractive apt-get -q -y --no-install-recommends "$@"; }
# Every file of the system but the caches of the desktop, and what is the user's, apt's and dpkg's.
files() {
    in_root find /bin /boot /home /lib /opt /sbin /srv /usr -type f | grep -v -e '\.cache$' -e /usr/share/mime/ | sort
}
installed() { in_root dpkg-query -W -f='${Package} ${Version}\n' | grep -E '^(lib)?kvbank|^calderine' || true; }

# later DEB - the same package under the next version.
later() {
    dpkg-deb -R "$1" "$root/later"
    sed -i 's/^Version: .*/&.1/; s/(= \([0-9.]*\))/(= \1.1)/' "$root/later/DEBIAN/control"
    dpkg-deb --root-owner-group -b "$root/later" "$root/packages/later" >/dev/null
    rm -rf "$root/later"
}

mkdir -p "$root/packages/later"
cp "$dir"/*.deb "$root/packages/"
for package in "$dir"/*.deb; do later "$package"; done
apt update

echo "== install kvbank alone: no toolkit comes with it"
apt install $(cd "$root" && ls -d ./packages/kvbank_*.deb)
if in_root dpkg-query -W -f='${Package}\n' | grep -i qt; then fail "kvbank brings Qt"; fi
in_root kvbank --version

echo "== a user's banks"
in_root sh -c 'cd /root && kvbank demo -o Demo.kvs && kvbank build Demo.kvs -d banks -r 48000 --sums &&
               kvbank verify banks/Demo_0BB80.kvn --source Demo.kvs && sha256sum Demo.kvs banks/* >sums'

echo "== install all"
# What others need stays after a purge, so it is there before the files are counted.
needed=$(for deb in "$dir"/*.deb; do dpkg-deb -f "$deb" Depends; done | tr ',' '\n' |
         sed 's/ *(.*//; s/|.*//; s/ //g' | grep -v -e kvbank -e calderine | sort -u)
# shellcheck disable=SC2086 # the list is meant to be split
apt install $needed man-db shared-mime-info desktop-file-utils hicolor-icon-theme
apt purge kvbank
files >"$root/root/before"
apt install $(cd "$root" && ls -d ./packages/*.deb)
in_root kvbank list /root/banks --source /root/Demo.kvs
in_root kvbankmgr --version
in_root sh -c 'cd /root && sha256sum --quiet -c sums' || fail "the installation changed a bank"
status=0
in_root kvbankmgr manager /root/Demo.kvs /root/banks || status=$?
[ $status -eq 255 ] || fail "kvbankmgr without a display ended with $status"
type=application/x-calderine-source-bank
grep -a -q "$type" "$root/usr/share/mime/magic" || fail "the MIME types are not known"
grep -q "^$type=com.kestrova.kvbankmgr.desktop" "$root/usr/share/applications/mimeinfo.cache" ||
    fail "the desktop does not know what opens a source bank"

echo "== upgrade"
before=$(installed)
apt install $(cd "$root" && ls -d ./packages/later/*.deb)
[ "$(installed)" = "$(echo "$before" | sed 's/$/.1/')" ] || fail "not all packages are the later ones: $(installed)"
in_root kvbank --version
in_root sh -c 'cd /root && sha256sum --quiet -c sums' || fail "the upgrade changed a bank"

echo "== purge"
# shellcheck disable=SC2046 # the list is meant to be split
apt purge $(installed | sed 's/ .*//')
[ -z "$(installed)" ] || fail "a package is left: $(installed)"
in_root sh -c 'cd /root && sha256sum --quiet -c sums' || fail "the purge changed a bank"
files | diff "$root/root/before" - || fail "the purge left files, or took some"
echo "Installed, run, upgraded and purged; the user's banks are what they were."
