#!/bin/sh
# clang-build.sh - compiles the whole tree, tests and benchmarks too, with clang++: its warnings are errors as well,
# and it has warnings that g++ does not have, about members that a lock guards. Nothing is run.
set -eu

cd "$(dirname "$0")/.."
sh packaging/install-packages.sh build test bench lint
# Without debug information and optimisation, because only the warnings are wanted.
cmake --preset clang -B build/clang-build -DKV_TESTS=ON -DKV_BENCH=ON -DCMAKE_CXX_FLAGS_DEBUG=-O0 >/dev/null
cmake --build build/clang-build -- --quiet
