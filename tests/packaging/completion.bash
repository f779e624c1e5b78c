#!/bin/bash
# completion.bash KVBANK - what bash proposes is compared with what the program's help says.
set -eu

kvbank=$1
tree=$(cd "$(dirname "$0")/../.." && pwd)
. "$tree/packaging/completion/kvbank.bash"
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
cd "$scratch"
mkdir 'a folder'
touch 'a file.kvs'

fail() { echo "completion.bash: $1" >&2; exit 1; }

# proposals WORD... - what is proposed for the last of these words, one a line.
proposals() {
    COMP_WORDS=(kvbank "$@")
    COMP_CWORD=$#
    COMPREPLY=()
    _kvbank
    printf '%s\n' "${COMPREPLY[@]}"
}
# same WANTED WORD... - exactly these lines are proposed.
same() {
    local wanted=$1
    shift
    local found
    found=$(proposals "$@")
    [ "$found" = "$wanted" ] || fail "for 'kvbank $*' it proposes '$found', not '$wanted'"
}

complete -p kvbank | grep -q -- '-F _kvbank kvbank' || fail "bash does not know of it"
verbs=$("$kvbank" --help | sed -n '/^Verbs:/,/^$/s/^  \([a-z-]\{1,\}\)  *.*/\1/p')
[ "$(echo "$verbs" | wc -l)" -ge 7 ] || fail "the help names no verbs: $verbs"
for verb in $verbs; do
    proposals '' | grep -qx "$verb" || fail "the verb $verb is not proposed"
    options=$({ "$kvbank" --help; "$kvbank" "$verb" --help; } | sed -n 's/^  \(-.,\)\{0,1\}\(--[a-z-]*\).*/\2/p')
    for option in $options; do
        proposals "$verb" -- | grep -qx -- "$option" || fail "$option is not proposed for $verb"
    done
done
same build bui
same 'a file.kvs
a folder' build a
same 'a folder' build -d a
same 'a folder' build --dir = a
same 'plain
per-key' build --layout ''
same per-key build x.kvs --layout = pe
same '' build --quality ''
same --dry-run build x.kvs --dry
same 'import
info' help i
