#!/bin/sh
# test.sh [release|asan-ubsan|tsan]... - everything run.sh does, then every test, in the builds named (release).
set -eu

cd "$(dirname "$0")"
sh packaging/install-packages.sh build test
KV_TESTS=ON sh packaging/build.sh kvbank kvbankmgr
env -u DISPLAY -u WAYLAND_DISPLAY ./run.sh

export LSAN_OPTIONS="suppressions=$PWD/tests/lsan.supp:print_suppressions=0"
export TSAN_OPTIONS="suppressions=$PWD/tests/tsan.supp"
[ $# -gt 0 ] || set -- release
for preset in "$@"; do
    echo
    echo "Tests, $preset"
    cmake --preset "$preset" -DKV_TESTS=ON >/dev/null
    cmake --build --preset "$preset" -- --quiet
    ctest --test-dir "build/$preset" --output-on-failure --progress -j "$(nproc)"
done
