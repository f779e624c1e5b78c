#!/bin/sh
# bare-root.sh - run.sh and test.sh of a clone of HEAD, in a Debian system with nothing in it: shows that the tree
# installs all it needs and depends on nothing of this machine. Needs root; packages come from the sources that apt has.
# Exit code: 77 when it cannot be done here, the last line says why.
set -eu

cd "$(dirname "$0")/.."
cannot() { echo "$1"; exit 77; }

[ "$(id -u)" -eq 0 ] || cannot "it needs root"
sh packaging/install-packages.sh bare-root || cannot "debootstrap cannot be installed"
. /etc/os-release
mirror=$(apt-get indextargets --format '$(REPO_URI) $(RELEASE)' 'Created-By: Packages' |
         sed -n "s/ $VERSION_CODENAME\$//p" | head -n 1)
[ "$mirror" ] || cannot "apt knows no source of $VERSION_CODENAME"

root=$(mktemp -d)
clean_up() {
    umount "$root/proc" 2>/dev/null || true
    rm -rf --one-file-system "$root"
}
trap clean_up EXIT
trap 'exit 1' INT TERM HUP

debootstrap --variant=minbase "$VERSION_CODENAME" "$root" "$mirror" || cannot "debootstrap cannot make a system"
mount -t proc proc "$root/proc" || cannot "/proc cannot be mounted"
# The settings of the network as they are here: names, proxies, and those of apt for its sources.
cp -L /etc/resolv.conf /etc/hosts "$root/etc/"
apt-config dump | grep -E '^Acquire::(http|https|Check|Retries)' >"$root/etc/apt/apt.conf.d/99host" || true
git clone --quiet --no-hardlinks . "$root/tree"

chroot "$root" /usr/bin/env -i HOME=/root PATH=/usr/sbin:/usr/bin:/sbin:/bin sh -c 'cd /tree && ./run.sh && ./test.sh'
