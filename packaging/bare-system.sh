# bare-system.sh - to be read by a script with ". packaging/bare-system.sh", from the top of the tree: makes a Debian
# system with nothing in it in the folder $root, which goes when the script ends. in_root runs a command there. Needs
# root; packages come from the sources that apt has. Ends the script with 77 when it cannot be done here, the last line
# says why.
# shellcheck shell=sh

cannot() { echo "$1"; exit 77; }

[ "$(id -u)" -eq 0 ] || cannot "it needs root"
sh packaging/install-packages.sh bare-root || cannot "debootstrap cannot be installed"
. /etc/os-release
mirror=$(apt-get indextargets --format '$(REPO_URI) $(RELEASE)' 'Created-By: Packages' |
         sed -n "s/ $VERSION_CODENAME\$//p" | head -n 1)
[ "$mirror" ] || cannot "apt knows no source of $VERSION_CODENAME"

root=$(mktemp -d)
chmod 755 "$root"  # it becomes "/", which every user must be able to enter
clean_up() {
    umount "$root/dev/pts" 2>/dev/null || true
    umount "$root/proc" 2>/dev/null || true
    rm -rf --one-file-system "$root"
}
trap clean_up EXIT
trap 'exit 1' INT TERM HUP

debootstrap --variant=minbase "$VERSION_CODENAME" "$root" "$mirror" || cannot "debootstrap cannot make a system"
mount -t proc proc "$root/proc" || cannot "/proc cannot be mounted"
mount -t devpts devpts "$root/dev/pts" || cannot "/dev/pts cannot be mounted"  # apt and dpkg open a terminal
# The settings of the network as they are here: names, proxies, and those of apt for its sources.
cp -L /etc/resolv.conf /etc/hosts "$root/etc/"
apt-config dump | grep -E '^Acquire::(http|https|Check|Retries)' >"$root/etc/apt/apt.conf.d/99host" || true

in_root() { chroot "$root" /usr/bin/env -i HOME=/root PATH=/usr/sbin:/usr/bin:/sbin:/bin "$@"; }
