#!/bin/sh
# same-packages.sh - makes the packages of HEAD twice, in a clone and in a copy without its history, without a compiler
# cache, and compares all bytes. Takes as long as two whole builds.
set -eu

cd "$(dirname "$0")/.."
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
trap 'exit 1' INT TERM HUP
unset CMAKE_CXX_COMPILER_LAUNCHER
git clone --quiet --no-hardlinks . "$scratch/clone"
mkdir "$scratch/without-history"
git archive HEAD | tar -x -C "$scratch/without-history"
for copy in clone without-history; do
    sh "$scratch/$copy/packaging/build-packages.sh" "$scratch/$copy/build/packages" >/dev/null
    (cd "$scratch/$copy/build/packages" && sha256sum -- *.deb) >"$scratch/$copy.sums"
done
cat "$scratch/clone.sums"
if ! diff "$scratch/clone.sums" "$scratch/without-history.sums"; then
    echo "same-packages.sh: two builds of one commit differ" >&2
    exit 1
fi
echo "Both builds gave the same bytes."
