#!/bin/sh
# build.sh TARGET... - builds targets of the release preset. Tests belong to that build as soon as test.sh has run once.
set -eu

cd "$(dirname "$0")/.."
log=$(mktemp)
trap 'rm -f "$log"' EXIT
tests=
[ -f build/release/CMakeCache.txt ] || tests=-DKV_TESTS=OFF
[ "${KV_TESTS:-}" ] && tests=-DKV_TESTS=$KV_TESTS
if ! cmake --preset release ${tests:+"$tests"} >"$log" 2>&1; then
    cat "$log" >&2
    exit 1
fi
if [ -t 1 ]; then
    cmake --build --preset release --target "$@"
elif ! cmake --build --preset release --target "$@" >"$log" 2>&1; then
    cat "$log" >&2
    exit 1
fi
