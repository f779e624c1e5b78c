#!/bin/sh
# build-packages.sh [DIR] - makes the Debian packages of this tree in DIR (build/packages), and nothing else there that
# is kept. Two runs over the same commit give the same bytes, wherever the tree and DIR are.
set -eu

cd "$(dirname "$0")/.."
tree=$PWD
sh packaging/install-packages.sh build package
mkdir -p "${1:-build/packages}"
out=$(cd "${1:-build/packages}" && pwd)

# The time of everything in the packages is that of the last entry in the list of changes, so that a copy of the tree
# without its history gives the same bytes. No path of this machine gets into a program.
SOURCE_DATE_EPOCH=$(dpkg-parsechangelog -l packaging/debian/changelog -S Timestamp)
export SOURCE_DATE_EPOCH LC_ALL=C.UTF-8 TZ=UTC
export CXXFLAGS="-ffile-prefix-map=$out/build=. -ffile-prefix-map=$tree=."
umask 022
log=$(mktemp)
unpacked=$(mktemp -d)
trap 'rm -rf "$log" "$unpacked"' EXIT
step() {
    "$@" >"$log" 2>&1 || { cat "$log" >&2; exit 1; }
}

# For /usr the folder of libraries is that of the processor, as Debian has it.
step cmake --preset release -B "$out/build" -DKV_TESTS=OFF -DKV_BENCH=OFF -DCMAKE_INSTALL_PREFIX=/usr \
     -DKV_ZSH_COMPLETION_DIR=share/zsh/vendor-completions
step cmake --build "$out/build"
rm -f "$out"/*.deb
step cpack --config "$out/build/CPackConfig.cmake" -B "$out"
rm -rf "$out/_CPack_Packages"

# CPack gives the package of a shared library scripts that call ldconfig. The system does so by itself when the package
# says that it brings a library, and then there is no script.
for library in "$out"/libkvbank1_*.deb; do
    [ -f "$library" ] || continue  # a tree without the library
    step dpkg-deb -R "$library" "$unpacked/tree"
    rm -f "$unpacked/tree/DEBIAN/postinst" "$unpacked/tree/DEBIAN/postrm"
    echo "activate-noawait ldconfig" >"$unpacked/tree/DEBIAN/triggers"
    step dpkg-deb --root-owner-group -b "$unpacked/tree" "$library"
    rm -rf "$unpacked/tree"
done
ls "$out"/*.deb
