#!/bin/sh
# xargs.sh KVBANK [COUNT] - 100 sources by xargs, four at a time; one task is killed, then all is run again.
. "$(dirname "$0")/batch_common.sh"

run() {
    printf '%s\0' "$dir"/src/*.kvs |
        KVBANK=$1 xargs -0 -P 4 -I SOURCE "$recipes/build-task.sh" SOURCE "$dir/out" $rates
}

make_sources
make_killer
run "$dir/killer" && fail "a task was killed, and xargs did not tell"
check_after_kill
run "$kvbank" || fail "the second run"
check_result
