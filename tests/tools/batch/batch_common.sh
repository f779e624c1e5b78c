# batch_common.sh - for the scripts beside it, each of which runs a recipe of docs/BATCHES.md for real: $kvbank, the
# program; $count, the number of sources, 100 unless another is given; $dir, a folder that is removed at the end, with
# the sources in $dir/src; and the checks that all share.
set -u
kvbank=$(realpath "$1")
count=${2-100}
recipes=$(realpath "$(dirname "$0")/../../../tools/batch")
dir=$(mktemp -d) || exit 1
# A task on another host or of another user must be able to read it.
chmod 755 "$dir"
clean_up() { :; }
trap 'clean_up; rm -rf "$dir"' EXIT
rates=44100,192000
victim=$(seq -w 1 "$count" | sed -n "$((count / 2))p")

fail() {
    echo "FAILED: $*" >&2
    exit 1
}

skip() {
    echo "SKIPPED: $*"
    exit 77
}

# Sources with banks of their own names. All hold the demo instrument; each has an identity of its own.
make_sources() {
    mkdir "$dir/src"
    for number in $(seq -w 1 "$count"); do
        "$kvbank" demo -q -o "$dir/src/$number.kvs" || fail "the source $number"
    done
}

# A program that is kvbank, but kills the first run of the victim as soon as that has begun its banks. It tells in
# $dir/killed that it did.
make_killer() {
    cat >"$dir/killer" <<END
#!/bin/sh
case "\$*" in
    *"/$victim.kvs "*) [ -e "$dir/killed" ] || kills=yes ;;
esac
[ "\${kills-}" ] || exec "$kvbank" "\$@"
KV_KERNELS=scalar "$kvbank" "\$@" &  # slow, so that it is killed in time
build=\$!
while kill -0 \$build 2>/dev/null; do
    for folder in "$dir/out/$victim"/.kvbank-*; do
        [ -d "\$folder" ] || continue
        kill -KILL \$build && touch "$dir/killed"
        break 2
    done
done
wait \$build
END
    chmod +x "$dir/killer"
}

# The bytes of every bank but the identity, which is new in each, as lines "SUM NAME".
sums_of_banks() {
    find "$1" -name '*.kv[nr]' -printf '%p\n' | sort | while read -r bank; do
        echo "$(tail -c +21 "$bank" | sha256sum | cut -d ' ' -f 1) $(basename "$bank")"
    done
}

# After the first run, in which a task was killed: what there is of it is no bank, and the summary names it.
check_after_kill() {
    [ -e "$dir/killed" ] || fail "no task was killed"
    [ ! -e "$dir/out/$victim.json" ] || fail "the killed task left a document"
    "$recipes/batch-summary.sh" "$dir/out" "$dir"/src/*.kvs >"$dir/summary"
    [ $? -eq 1 ] || fail "the summary's exit code after a kill: $(cat "$dir/summary")"
    grep -q "/$victim.kvs: no document; run this task again" "$dir/summary" || fail "$(cat "$dir/summary")"
    tail -n 1 "$dir/summary"
}

# After the second run: all is there, with the bytes of one build after the other, and nothing else.
check_result() {
    "$recipes/batch-summary.sh" "$dir/out" "$dir"/src/*.kvs >"$dir/summary" || fail "$(cat "$dir/summary")"
    tail -n 1 "$dir/summary"
    grep -q "^$count tasks: $count done, 0 failed, 0 without a document; " "$dir/summary" || fail "$(cat "$dir/summary")"
    "$kvbank" build -q "$dir"/src/*.kvs -d "$dir/reference" -r $rates --jobs 2 || fail "the reference"
    sums_of_banks "$dir/reference" >"$dir/expected"
    [ "$(wc -l <"$dir/expected")" -eq $((2 * count)) ] || fail "the reference has $(wc -l <"$dir/expected") banks"
    sums_of_banks "$dir/out" >"$dir/made"
    cmp "$dir/expected" "$dir/made" || fail "the banks differ from those of one build after the other"
    left=$(find "$dir/out" -mindepth 2 ! -name '*.kvn')
    [ -z "$left" ] || fail "left behind: $left"
}
