# kvbank_scratch.sh - for the scripts beside it: the program that they are given, a folder that is removed when they
# end, and the function that reports a failure.
set -u
kvbank=$1
dir=$(mktemp -d) || exit 1
trap 'rm -rf "$dir"' EXIT

fail() {
    echo "FAILED: $*" >&2
    exit 1
}
