#!/bin/sh
# lint.sh [--changed [BASE]] - format.sh must pass and clang-tidy have nothing to say: of the whole tree, or of what
# was changed since the commit BASE.
#
# Without BASE it is $KV_LINT_BASE, else the commit in packaging/lint-base: a submission writes there the commit from
# which on its sources are to be looked at. What lies before is left to the whole lint, which packaging/full-check.sh
# runs. When that commit is not in this history, what the last commit changed is looked at, and that is said. When the
# rules have changed since, the whole tree is looked at.
# A changed source is looked at itself, a changed header in the source of its name, or in one that includes it.
set -eu

cd "$(dirname "$0")/.."

every_source() { git ls-files '*.cpp'; }

# The sources in which this header is looked at.
sources_of_header() {
    own=${1%.h}.cpp
    if [ -f "$own" ]; then
        echo "$own"
    else
        git grep -l -F "#include \"$1\"" -- '*.cpp' | head -n 1
    fi
}

sources_changed_since() {
    git diff --name-only --diff-filter=d "$1" -- '*.cpp'
    git diff --name-only --diff-filter=d "$1" -- '*.h' | while read -r header; do sources_of_header "$header"; done
}

# Leaves out sources that have no compile command here: those for another processor, the benchmarks and fuzz targets.
without_those_not_built() { grep -v -e Neon -e '^bench/' -e '^tests/fuzz/'; }

git rev-parse --quiet --verify HEAD >/dev/null || { echo "lint.sh: this is no clone with a commit" >&2; exit 1; }
base=
case ${1:-} in
    "") ;;
    --changed)
        base=${2:-${KV_LINT_BASE:-$(cat packaging/lint-base)}}
        if ! git merge-base --is-ancestor "$base" HEAD 2>/dev/null; then
            echo "lint.sh: the commit $base is not in this history: what the last commit changed is looked at"
            base=$(git rev-parse --verify --quiet HEAD~1 || git rev-parse HEAD)  # a single commit: nothing has changed
        fi
        if ! git diff --quiet "$base" -- .clang-tidy; then
            echo "lint.sh: the rules have changed since $base: the whole tree is looked at"
            base=
        fi ;;
    *) echo "usage: packaging/lint.sh [--changed [BASE]]" >&2; exit 2 ;;
esac

sh packaging/install-packages.sh build test lint
sh packaging/format.sh

sources=$(if [ "$base" ]; then sources_changed_since "$base"; else every_source; fi |
          sort -u | without_those_not_built || true)
if [ -z "$sources" ]; then
    echo "lint.sh: no source has changed since $base"
    exit 0
fi
echo "lint.sh: $(echo "$sources" | wc -l) sources"
# Nothing is compiled, so there are no precompiled headers that could be read.
cmake --preset clang -B build/lint -DKV_TESTS=ON -DCMAKE_DISABLE_PRECOMPILE_HEADERS=ON >/dev/null
echo "$sources" | xargs -P "$(nproc)" -n 4 clang-tidy --quiet -p build/lint --warnings-as-errors='*' --header-filter="^$PWD/"
