#!/bin/sh
# libkvbank_install.sh BUILD EXAMPLE.c - installs the library to a folder of its own, moves it, and builds the
# example against it: with pkg-config (shared and static) and with CMake, as C and the header also as C++.
set -eu
build=$1
example=$2
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT

for component in libkvbank1 libkvbank-dev; do
    cmake --install "$build" --prefix "$scratch/first" --component $component > "$scratch/log"
done
mv "$scratch/first" "$scratch/moved"
PKG_CONFIG_PATH=$(dirname "$(find "$scratch/moved" -name kvbank.pc)")
export PKG_CONFIG_PATH
lib=$(dirname "$PKG_CONFIG_PATH")
test "$(pkg-config --modversion kvbank)" = 1.0.0
test "$(readlink "$lib/libkvbank.so")" = libkvbank.so.1
test "$(readlink "$lib/libkvbank.so.1")" = libkvbank.so.1.0.0

uses() { # PROGRAM: it runs, finds the library and tells how it is used
    code=0
    LD_LIBRARY_PATH=$lib "$1" 2> "$scratch/usage" || code=$?
    test $code = 2
    grep -q '^usage: play_note BANK' "$scratch/usage"
}
strict='-std=c99 -Wall -Wextra -Wpedantic -Werror'

# The words of pkg-config are separate arguments.
# shellcheck disable=SC2046,SC2086
cc $strict "$example" $(pkg-config --cflags --libs kvbank) -lm -o "$scratch/shared"
uses "$scratch/shared"
# shellcheck disable=SC2046,SC2086
cc $strict "$example" $(pkg-config --cflags kvbank) "$lib/libkvbank.a" -lstdc++ -lm -o "$scratch/static"
uses "$scratch/static"
if readelf -d "$scratch/static" | grep libkvbank; then
    echo "the archive was not taken" >&2
    exit 1
fi

printf '#include <kvbank.h>\nint main() { return kvb_version() == nullptr; }\n' > "$scratch/user.cpp"
# shellcheck disable=SC2046
c++ -Wall -Wextra -Wpedantic -Werror "$scratch/user.cpp" $(pkg-config --cflags --libs kvbank) -o "$scratch/user"
LD_LIBRARY_PATH=$lib "$scratch/user"

cat > "$scratch/CMakeLists.txt" << END
cmake_minimum_required(VERSION 3.16)
project(user C)
find_package(kvbank 1.0 REQUIRED)
add_executable(cmake_shared $example)
target_link_libraries(cmake_shared PRIVATE kvbank::kvbank m)
add_executable(cmake_static $example)
target_link_libraries(cmake_static PRIVATE kvbank::kvbank_static m)
END
cmake -S "$scratch" -B "$scratch/out" -G Ninja -DCMAKE_PREFIX_PATH="$scratch/moved" > "$scratch/log"
cmake --build "$scratch/out" > "$scratch/log"
uses "$scratch/out/cmake_shared"
uses "$scratch/out/cmake_static"
