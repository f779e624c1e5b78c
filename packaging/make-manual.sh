#!/bin/sh
# make-manual.sh - writes the manual page of kvbank and the completions of the shells again, from the table of verbs and
# options. Run it when a verb or an option was added or changed; a test fails until then.
set -eu

cd "$(dirname "$0")/.."
sh packaging/build.sh make_manual
make_manual=build/release/tools/manual/make_manual
new=$(mktemp)
trap 'rm -f "$new"' EXIT

# write FILE ARGUMENT... - the file is replaced only when all of it could be made.
write() {
    file=$1
    shift
    "$make_manual" "$@" >"$new"
    cat "$new" >"$file"
}
write docs/man/kvbank.1 man docs/man/kvbank.1.in
write packaging/completion/kvbank.bash bash
write packaging/completion/_kvbank zsh
write packaging/completion/kvbank.fish fish
