#!/bin/sh
# kvbank_two_builds.sh KVBANK - processes that build into one folder, and one that holds its lock.
. "$(dirname "$0")/kvbank_scratch.sh"

# Builds are to take a while here, on any processor: the plain kernels are slow.
KV_KERNELS=scalar
export KV_KERNELS

"$kvbank" demo -o "$dir/Demo.kvs" -q || fail "demo"
mkdir "$dir/banks"

# While another process holds the folder's lock nothing is done, and a signal ends the wait at once. When the wait ends
# by itself, at its limit, the exit code is 7.
mkfifo "$dir/ready" "$dir/done"
flock "$dir/banks" sh -c ": >'$dir/ready'; : <'$dir/done'" &
holder=$!
: <"$dir/ready"
env --default-signal=TERM "$kvbank" build "$dir/Demo.kvs" -d "$dir/banks" -r 48000 -q &
build=$!
kill -TERM $build
wait $build
[ $? -eq 143 ] || fail "SIGTERM while waiting for the folder"
"$kvbank" build "$dir/Demo.kvs" -d "$dir/banks" -r 48000 2>"$dir/errors"
[ $? -eq 7 ] || fail "build into a locked folder"
[ "$(cat "$dir/errors")" = "kvbank: $dir/banks: another process keeps the folder locked" ] ||
    fail "$(cat "$dir/errors")"
[ -z "$(ls -A "$dir/banks")" ] || fail "a locked folder was written to"
: >"$dir/done"
wait $holder

# Two builds of the same banks: while one builds, the other is told so; when it has waited the banks are there.
"$kvbank" build "$dir/Demo.kvs" -d "$dir/banks" -r 192000 --layout per-key -q &
first=$!
while kill -0 $first 2>/dev/null && [ -z "$(find "$dir/banks" -name '*.kvr')" ]; do :; done
"$kvbank" build "$dir/Demo.kvs" -d "$dir/banks" -r 192000 -q 2>"$dir/errors"
second=$?
wait $first || fail "the first of two builds"
case $second in
    0) echo "the first was done too soon to be met" ;;
    7) grep -q "^kvbank: Demo_2EE00.kvr: another process is building it$" "$dir/errors" ||
        fail "$(cat "$dir/errors")" ;;
    *) fail "the second of two builds gave $second" ;;
esac
[ "$(ls -A "$dir/banks")" = Demo_2EE00.kvr ] || fail "two builds left $(ls -A "$dir/banks")"
"$kvbank" verify "$dir/banks/Demo_2EE00.kvr" --source "$dir/Demo.kvs" -q || fail "the bank of two builds"

# Races: of two that want the same banks one builds them all. Without --wait the other is told so, or finds
# them there when it comes late; with --wait it always finds them there.
race() {
    rm -rf "$dir/race"
    mkdir "$dir/race"
    "$kvbank" build "$dir/Demo.kvs" -d "$dir/race" -r 44100,48000,88200 --json "$@" >"$dir/first" 2>/dev/null &
    first=$!
    "$kvbank" build "$dir/Demo.kvs" -d "$dir/race" -r 44100,48000,88200 --json "$@" >"$dir/second" 2>/dev/null
    codes=$?
    wait $first
    codes="$? $codes"
    built=$(cat "$dir/first" "$dir/second" | grep -c '"action": "built"')
    [ "$built" -eq 3 ] || fail "race $*: $built banks were built, with exit codes $codes"
    grep -q '"action": "built"' "$dir/first" && grep -q '"action": "built"' "$dir/second" &&
        fail "race $*: each built some of the banks"
    [ "$(ls -A "$dir/race" | wc -l)" -eq 3 ] || fail "race $*: it left $(ls -A "$dir/race")"
}
for i in 1 2 3 4 5 6 7 8 9 10; do
    race
    case $codes in
        "0 0" | "0 7" | "7 0") ;;
        *) fail "a race ended with $codes" ;;
    esac
    race --wait
    [ "$codes" = "0 0" ] || fail "a race with --wait ended with $codes"
done
echo "all well"
