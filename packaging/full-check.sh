#!/bin/sh
# full-check.sh [-m MINUTES] [STEP...] - everything that can be checked, for a weekly run: about three hours on two
# cores. Every step runs, also when the one before has failed; a table at the end has the result of each.
#
#   release     the tests of the release build
#   asan-ubsan  the same under AddressSanitizer and UBSan
#   tsan        the same under ThreadSanitizer
#   clang       everything compiled with clang
#   bench       the counts of bench/guard; every row of bench/run and curve of bench/growth, with small
#               inputs; bench/sound
#   lint        clang-format and clang-tidy over the whole tree
#   fuzz        each fuzz target for MINUTES (10; a fraction will do), from its seeds and what earlier runs found
#   packages    the Debian packages: looked at, made twice, installed and purged in a Debian system of their own
#   bare-root   run.sh and test.sh of a clone of HEAD, in a Debian system with nothing in it
#
# Exit code: 0 when all passed, 1 when a step failed, 2 for a wrong call, 3 when one was skipped and none failed.
# The output of each step is in build/full-check/STEP.log, inputs that a fuzz target fails on in corpus/failed beside
# it.
set -eu

cd "$(dirname "$0")/.."
all_steps="release asan-ubsan tsan clang bench lint fuzz packages bare-root"
skipped=77  # what a step ends with that cannot be done here; its last line says why
minutes=10
out=$PWD/build/full-check

usage() {
    echo "usage: packaging/full-check.sh [-m MINUTES] [STEP...]" >&2
    echo "steps: $all_steps" >&2
    exit 2
}

step_release() { ./test.sh release; }
step_asan_ubsan() { ./test.sh asan-ubsan; }
step_tsan() { ./test.sh tsan; }
step_clang() { sh packaging/clang-build.sh; }
step_bench() {
    sh packaging/install-packages.sh build bench guard
    bench/guard
    bench/run --quick
    bench/growth --quick --plots "$out/plots"
    bench/sound
}
step_lint() { sh packaging/lint.sh; }

step_fuzz() {
    sh packaging/install-packages.sh build test lint
    trust/fuzz --minutes "$minutes" --corpus "$out/corpus"
}

step_packages() {
    sh packaging/build-packages.sh
    sh packaging/check-packages.sh
    sh packaging/same-packages.sh
    sh packaging/packages-in-bare-root.sh
}

step_bare_root() { sh packaging/bare-root.sh; }

# run_step NAME - runs the step, with its output in its log, and adds a row to the table.
run_step() {
    began=$(date +%s)
    status=0
    # In a shell of its own, which ends at the first failure: in this one "step || ..." would go on.
    sh packaging/full-check.sh --one-step "$1" "$minutes" >"$out/$1.log" 2>&1 </dev/null || status=$?
    took=$(($(date +%s) - began))
    last=$(tail -n 1 "$out/$1.log")
    case $status in
        0) result=passed ;;
        "$skipped") result="skipped: $last"; any_skipped=1 ;;
        *) result="FAILED ($status), see build/full-check/$1.log"; any_failed=1 ;;
    esac
    row=$(printf '%-12s %3d:%02d  %s' "$1" $((took / 60)) $((took % 60)) "$result")
    echo "$row"
    table="$table$row
"
}

if [ "${1:-}" = --one-step ]; then
    minutes=$3
    "step_$(echo "$2" | tr - _)"
    exit
fi
if [ "${1:-}" = -m ]; then
    [ $# -ge 2 ] || usage
    minutes=$2
    shift 2
fi
case $minutes in "" | *[!0-9.]* | *.*.* | .) usage ;; esac
[ $# -gt 0 ] || set -- $all_steps
for step in "$@"; do
    case " $all_steps " in *" $step "*) ;; *) usage ;; esac
done

mkdir -p "$out"
table=
any_failed=
any_skipped=
for step in "$@"; do run_step "$step"; done
printf '\n%-12s %6s  %s\n%s' Step min:s Result "$table"
[ -z "$any_failed" ] || exit 1
[ -z "$any_skipped" ] || exit 3
