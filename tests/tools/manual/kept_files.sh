#!/bin/sh
# kept_files.sh MAKE_MANUAL - the manual page and the completions in the tree are what the program makes now.
set -eu

make_manual=$1
cd "$(dirname "$0")/../../.."
status=0
# same FILE ARGUMENT...
same() {
    file=$1
    shift
    "$make_manual" "$@" | cmp - "$file" || {
        echo "$file is not what the table of verbs and options makes; packaging/make-manual.sh writes it anew" >&2
        status=1
    }
}
same docs/man/kvbank.1 man docs/man/kvbank.1.in
same packaging/completion/kvbank.bash bash
same packaging/completion/_kvbank zsh
same packaging/completion/kvbank.fish fish
exit $status
