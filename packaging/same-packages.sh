#!/bin/sh
# same-packages.sh - makes the packages of HEAD twice, in clones of different names without a compiler cache, and
# compares all bytes. Takes as long as two whole builds.
set -eu

cd "$(dirname "$0")/.."
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
trap 'exit 1' INT TERM HUP
unset CMAKE_CXX_COMPILER_LAUNCHER
for clone in one another-name; do
    git clone --quiet --no-hardlinks . "$scratch/$clone"
    sh "$scratch/$clone/packaging/build-packages.sh" "$scratch/$clone/build/packages" >/dev/null
    (cd "$scratch/$clone/build/packages" && sha256sum -- *.deb) >"$scratch/$clone.sums"
done
cat "$scratch/one.sums"
if ! diff "$scratch/one.sums" "$scratch/another-name.sums"; then
    echo "same-packages.sh: two builds of one commit differ" >&2
    exit 1
fi
echo "Both builds gave the same bytes."
