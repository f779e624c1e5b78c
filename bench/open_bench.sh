#!/bin/sh
# open_bench.sh BUILD [FONT...] - imports and builds the SoundFonts, opens them and the banks, cold and warm, and
# prints a table of medians. The runs of the readers take turns, so that other work on the machine hits all alike.
set -eu
runs=21
build=$1
shift
[ $# -gt 0 ] || set -- /usr/share/sounds/sf2/TimGM6mb.sf2 /usr/share/sounds/sf2/FluidR3_GS.sf2
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
kvbank=$build/tools/kvbank/kvbank

median() { # FILE COLUMN
    sort -n -k "$2,$2" "$1" | awk -v column="$2" -v middle=$((runs / 2 + 1)) 'NR == middle {print $column}'
}

echo "Load: $(cut -d ' ' -f 1 /proc/loadavg); medians of $runs runs"
echo
echo '| File | Size | Reader | cold, µs | of CPU | warm, µs | of CPU |'
echo '|---|---|---|---|---|---|---|'
for font; do
    name=$(basename "$font" .sf2)
    "$kvbank" -q import "$font" -o "$scratch/$name.kvs" 2> /dev/null
    "$kvbank" -q build "$scratch/$name.kvs" -d "$scratch" -r 44100
    # The first preset and the key in the middle.
    preset=$("$kvbank" --json import "$font" --list |
        sed -n '/"presets"/,$ s/.*"\(bank\|program\)": \([0-9]*\).*/\2/p' | head -n 2)
    bank=$(echo "$preset" | head -n 1)
    program=$(echo "$preset" | tail -n 1)
    readers='kvbank fluidsynth fluidsynth-dynamic'
    rm -f "$scratch"/*.times
    for run in $(seq $runs); do
        for reader in $readers; do
            file=$font
            [ "$reader" != kvbank ] || file=$scratch/${name}_0AC44.kvn
            for state in cold warm; do
                "$build/bench/open_bench" "$reader" "$file" "$bank" "$program" 60 $state \
                    >> "$scratch/$reader.$state.times" 2> /dev/null
            done
        done
    done
    for reader in $readers; do
        file=$font
        [ "$reader" != kvbank ] || file=$scratch/${name}_0AC44.kvn
        printf '| %s | %s MB | %s' "$(basename "$file")" "$(($(stat -L -c %s "$file") / 1000000))" "$reader"
        for state in cold warm; do
            printf ' | %s | %s' "$(median "$scratch/$reader.$state.times" 1)" "$(median "$scratch/$reader.$state.times" 2)"
        done
        echo ' |'
    done
done
