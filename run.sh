#!/bin/sh
# run.sh [FILE.sf2 DIR] - installs what is missing, builds the program and makes playable banks.
# Without arguments it makes the demo instrument's banks in banks/; with a SoundFont, that instrument's in DIR.
set -eu

if [ $# -ne 0 ] && [ $# -ne 2 ]; then
    echo "usage: ./run.sh [FILE.sf2 DIR]" >&2
    exit 2
fi
here=$(CDPATH= cd -- "$(dirname -- "$0")" && pwd)

sh "$here/packaging/install-packages.sh" build
sh "$here/packaging/build.sh" kvbank
kvbank=$here/build/release/tools/kvbank/kvbank

if [ $# -eq 2 ]; then
    dir=$2
    name=$(basename "$1")
    source=$dir/${name%%.*}.kvs
    mkdir -p "$dir"
    "$kvbank" import "$1" -o "$source" -f
else
    dir=$here/banks
    source=$dir/Demo.kvs
    mkdir -p "$dir"
    "$kvbank" demo -o "$source" -f
fi
"$kvbank" build "$source" -d "$dir" -r 48000,96000 -f
"$kvbank" list "$dir" --source "$source"
base=${source%.kvs}
"$kvbank" verify "${base}_0BB80.kvn" "${base}_17700.kvn" --source "$source"

cat <<END

The banks for 48000 and 96000 Hz are in $dir.
Next, with a real instrument (Debian's fluid-soundfont-gs is free and 2.5 MB):
    apt-get install fluid-soundfont-gs
    ./run.sh /usr/share/sounds/sf2/FluidR3_GS.sf2 banks
or step by step, at every rate:
    build/release/tools/kvbank/kvbank import /usr/share/sounds/sf2/FluidR3_GS.sf2 -o banks/Fluid.kvs
    build/release/tools/kvbank/kvbank build banks/Fluid.kvs -d banks -r all
    build/release/tools/kvbank/kvbank --help
END
