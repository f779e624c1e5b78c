#!/bin/sh
# clang-build.sh - compiles the whole tree, tests and benchmarks too, with clang++: its warnings are errors as well,
# among them those about what a lock guards, which g++ does not have. Nothing is run.
set -eu

cd "$(dirname "$0")/.."
sh packaging/install-packages.sh build test bench lint
# Without debug information and optimisation: it is the warnings that are wanted.
cmake --preset clang -B build/clang-build -DKV_TESTS=ON -DKV_BENCH=ON -DCMAKE_CXX_FLAGS_DEBUG=-O0 >/dev/null
cmake --build build/clang-build -- --quiet
