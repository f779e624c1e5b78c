#!/bin/sh
# kvbank_real_font.sh KVBANK - a real instrument all the way: Debian's small SoundFont becomes a source bank, that
# becomes banks at every rate, and each is what its source gives.
set -e
. "$(dirname "$0")/kvbank_scratch.sh"

font=/usr/share/sounds/sf2/FluidR3_GS.sf2
[ -f "$font" ] || fail "$font is missing (package fluid-soundfont-gs)"
"$kvbank" import "$font" -o "$dir/Fluid.kvs" --strict
before=$(cksum <"$dir/Fluid.kvs")
"$kvbank" build "$dir/Fluid.kvs" -d "$dir/banks" -r all
[ "$(ls "$dir/banks" | wc -l)" -eq 6 ]
"$kvbank" verify "$dir/Fluid.kvs"
"$kvbank" verify "$dir"/banks/*.kvn --source "$dir/Fluid.kvs"
[ "$before" = "$(cksum <"$dir/Fluid.kvs")" ] || fail "the source was changed"
"$kvbank" remove "$dir/banks" --source "$dir/Fluid.kvs" -r all -y
[ -z "$(ls -A "$dir/banks")" ]
