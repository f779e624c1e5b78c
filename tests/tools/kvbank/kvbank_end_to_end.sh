#!/bin/sh
# kvbank_end_to_end.sh KVBANK - what can be tested only with a process of its own: signals and closed streams.
. "$(dirname "$0")/kvbank_scratch.sh"

# Builds are to take a while here, on any processor: the plain kernels are slow.
KV_KERNELS=scalar
export KV_KERNELS

[ "$("$kvbank" --version)" = "kvbank 1.0" ] || fail "--version"

# A run with a closed stream fails, and no file that it opens gets the number of that stream.
"$kvbank" --version >&- 2>/dev/null
[ $? -eq 4 ] || fail "--version with standard output closed"
"$kvbank" demo -o "$dir/Demo.kvs" >&- 2>&-
[ $? -eq 4 ] || fail "demo with standard output closed"
"$kvbank" verify "$dir/Demo.kvs" >/dev/null || fail "the demo written with standard output closed"
[ "$("$kvbank" list "$dir" 2>/dev/full >/dev/full; echo $?)" = 4 ] || fail "list to a full device"

# An interrupted build ends by the signal and leaves nothing. Per-key banks at quality 7 take a while.
for signal in INT TERM HUP; do
    # A shell starts what runs in its background with SIGINT ignored; env gives it back.
    env --default-signal=INT,TERM,HUP "$kvbank" build "$dir/Demo.kvs" -d "$dir/banks" -r all --layout per-key \
        >/dev/null 2>&1 &
    build=$!
    while kill -0 $build 2>/dev/null && [ -z "$(find "$dir/banks" -name '*.kvr' -size +0 2>/dev/null)" ]; do :; done
    kill -$signal $build 2>/dev/null
    wait $build
    code=$?
    [ $code -eq $((128 + $(kill -l $signal 2>/dev/null || echo 0))) ] ||
        case $signal in
            INT) [ $code -eq 130 ] ;;
            TERM) [ $code -eq 143 ] ;;
            HUP) [ $code -eq 129 ] ;;
        esac || fail "SIG$signal gave $code"
    [ -z "$(find "$dir/banks" -name '.kvbank-*')" ] || fail "SIG$signal left a private folder"
    for bank in "$dir"/banks/*.kvr; do
        [ ! -e "$bank" ] || "$kvbank" verify "$bank" --source "$dir/Demo.kvs" -q || fail "SIG$signal left half a bank"
    done
    rm -rf "$dir/banks"
done

# A pipe whose reader has gone: opening it for writing waits for a reader, and that one ends at once.
mkfifo "$dir/pipe" || fail "mkfifo"
readerless() {
    : <"$dir/pipe" &
    exec 3>"$dir/pipe"
    wait $!
}

# An interrupt that also ends the reader of the messages: the build leaves nothing all the same.
readerless
env --default-signal=INT,PIPE "$kvbank" build "$dir/Demo.kvs" -d "$dir/banks" -r 192000 --layout per-key \
    >/dev/null 2>&3 &
build=$!
exec 3>&-
while kill -0 $build 2>/dev/null && [ -z "$(find "$dir/banks" -name '*.kvr' -size +0 2>/dev/null)" ]; do :; done
kill -INT $build 2>/dev/null
wait $build
[ $? -eq 130 ] || fail "SIGINT without a reader of the errors"
[ -z "$(ls -A "$dir/banks")" ] || fail "SIGINT without a reader of the errors left something"

# The reader of the output has gone: the job is cancelled at the first line, says nothing, and ends by SIGPIPE.
readerless
env --default-signal=PIPE "$kvbank" build "$dir/Demo.kvs" -d "$dir/banks" -r all >&3 2>"$dir/errors"
[ $? -eq 141 ] || fail "build without a reader"
exec 3>&-
[ ! -s "$dir/errors" ] || fail "build without a reader was not quiet: $(cat "$dir/errors")"
[ "$(ls -A "$dir/banks")" = Demo_0AC44.kvn ] || fail "build without a reader left $(ls -A "$dir/banks")"
rm -r "$dir/banks"

# A file that reaches the limit of the process for file sizes is an output that fails.
(ulimit -f 20; exec "$kvbank" build "$dir/Demo.kvs" -d "$dir/banks" -r 44100 2>/dev/null)
[ $? -eq 4 ] || fail "build beyond the limit for files"
[ -z "$(ls -A "$dir/banks")" ] || fail "build beyond the limit for files left something"
(ulimit -f 20; exec "$kvbank" demo -o "$dir/Big.kvs" 2>/dev/null)
[ $? -eq 4 ] || fail "demo beyond the limit for files"
[ -z "$(find "$dir" -name 'Big*')" ] || fail "demo beyond the limit for files left something"

# A line is written at once, also into a pipe.
(exec "$kvbank" build "$dir/Demo.kvs" -d "$dir/banks" -r all --layout per-key >"$dir/pipe") &
build=$!
read -r line <"$dir/pipe"
case $line in
    "44100 Hz: "*) ;;
    *) fail "the first line was '$line'" ;;
esac
wait $build
[ $? -eq 141 ] || fail "the first line came when all was done"
rm -r "$dir/banks"

# A signal that was ignored from the start stays ignored.
(trap '' INT; exec "$kvbank" build "$dir/Demo.kvs" -d "$dir" -r 44100 -q) || fail "build under nohup"

# A killed build leaves a private folder, which the next build removes.
"$kvbank" build "$dir/Demo.kvs" -d "$dir/banks" -r all --layout per-key >/dev/null 2>&1 &
build=$!
while kill -0 $build 2>/dev/null && [ -z "$(find "$dir/banks" -name '*.kvr' -size +0 2>/dev/null)" ]; do :; done
kill -KILL $build
wait $build 2>/dev/null
"$kvbank" build "$dir/Demo.kvs" -d "$dir/banks" -r 44100 -f -q || fail "build after a kill"
[ -z "$(find "$dir/banks" -name '.kvbank-*')" ] || fail "the killed build's folder was not removed"
echo "all well"
