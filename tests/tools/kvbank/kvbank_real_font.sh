#!/bin/sh
# kvbank_real_font.sh KVBANK - a real instrument all the way: Debian's small SoundFont becomes a source bank, that
# becomes banks at every rate, and each is what its source gives.
set -eu

kvbank=$1
font=/usr/share/sounds/sf2/FluidR3_GS.sf2
dir=$(mktemp -d)
trap 'rm -rf "$dir"' EXIT

[ -f "$font" ] || {
    echo "missing: $font (package fluid-soundfont-gs)" >&2
    exit 1
}
"$kvbank" import "$font" -o "$dir/Fluid.kvs" --strict
before=$(cksum <"$dir/Fluid.kvs")
"$kvbank" build "$dir/Fluid.kvs" -d "$dir/banks" -r all
[ "$(ls "$dir/banks" | wc -l)" -eq 6 ]
"$kvbank" verify "$dir/Fluid.kvs"
"$kvbank" verify "$dir"/banks/*.kvn --source "$dir/Fluid.kvs"
[ "$before" = "$(cksum <"$dir/Fluid.kvs")" ] || {
    echo "the source was changed" >&2
    exit 1
}
"$kvbank" remove "$dir/banks" --source "$dir/Fluid.kvs" -r all -y
[ -z "$(ls -A "$dir/banks")" ]
