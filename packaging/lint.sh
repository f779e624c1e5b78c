#!/bin/sh
# lint.sh - clang-format must have nothing to change and clang-tidy nothing to say.
set -eu

cd "$(dirname "$0")/.."
sh packaging/install-packages.sh build test lint
git ls-files '*.h' '*.cpp' | xargs clang-format --dry-run -Werror
# Nothing is compiled, so there are no precompiled headers to be read.
cmake --preset clang -B build/lint -DKV_TESTS=ON -DCMAKE_DISABLE_PRECOMPILE_HEADERS=ON >/dev/null
git ls-files '*.cpp' | grep -v -e Neon -e '^bench/' -e '^tests/fuzz/' |
    xargs -P "$(nproc)" -n 8 clang-tidy --quiet -p build/lint --warnings-as-errors='*'
