#!/bin/sh
# libkvbank_exports.sh LIBRARY HEADER - the library exports exactly the functions that the header declares, and
# needs no library but those of the compiler.
set -eu
export LC_ALL=C
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT

nm -D --defined-only "$1" | awk '$2 != "A" {sub(/@.*/, "", $3); print $3}' | sort > "$scratch/exported"
sed -n 's/^KVB_API .*[ *]\(kvb_[a-z_]*\)(.*/\1/p' "$2" | sort > "$scratch/declared"
test -s "$scratch/declared"
diff "$scratch/declared" "$scratch/exported"

readelf -d "$1" | sed -n 's/.*(NEEDED).*\[\(.*\)\]/\1/p' > "$scratch/needed"
test -s "$scratch/needed"
# The runtimes of sanitizers are in builds with sanitizers only.
if grep -v -x -E 'lib(stdc\+\+|m|gcc_s|c|asan|ubsan|tsan)\.so\.[0-9]+|ld-linux[-a-z0-9]*\.so\.[0-9]+' "$scratch/needed"; then
    echo "these libraries must not be needed" >&2
    exit 1
fi
readelf -d "$1" | grep -q 'SONAME.*\[libkvbank\.so\.1\]'
