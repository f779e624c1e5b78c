#!/bin/sh
# run.sh [INPUT DIR] - installs what is missing, builds the programs and makes playable banks: in the bank
# manager's window where there is a display, else in the terminal.
# Without arguments they are the demo instrument's, in banks/; with a SoundFont, an SFZ or a folder of samples, that
# instrument's, in DIR. A source bank of its name that is there already is taken as it is.
set -eu

if [ $# -ne 0 ] && [ $# -ne 2 ]; then
    echo "usage: ./run.sh [INPUT DIR]" >&2
    exit 2
fi
here=$(CDPATH= cd -- "$(dirname -- "$0")" && pwd)

sh "$here/packaging/install-packages.sh" build
sh "$here/packaging/build.sh" kvbank kvbankmgr
kvbank=$here/build/release/tools/kvbank/kvbank

if [ $# -eq 2 ]; then
    dir=$2
    name=$(basename "$1")
    source=$dir/${name%%.*}.kvs
    mkdir -p "$dir"
    if [ -e "$source" ]; then
        echo "$source is there already: it is taken as it is. Remove it to import $1 again."
    else
        "$kvbank" import "$1" -o "$source"
    fi
else
    dir=$here/banks
    source=$dir/Demo.kvs
    mkdir -p "$dir"
    "$kvbank" demo -o "$source" -f
fi

if [ -n "${DISPLAY:-}${WAYLAND_DISPLAY:-}" ]; then
    echo "Opening the bank manager: tick the rates you want and press Apply."
    status=0
    "$here/build/release/app/kvbankmgr" manager "$source" "$dir" || status=$?
    [ $status -ne 255 ] && exit $status
fi
echo "Without a display the banks are made in the terminal."

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
