#!/bin/sh
# manual_pages.sh PAGE... - formats these manual pages; a warning is a failure. Exit code 77 without man.
set -eu

command -v man >/dev/null || { echo "man is not installed"; exit 77; }
status=0
for page in "$@"; do
    # The width is that of a usual terminal.
    said=$(LC_ALL=C.UTF-8 MANWIDTH=80 man --warnings -E UTF-8 -l -Tutf8 -Z "$page" 2>&1 >/dev/null) || status=1
    [ -z "$said" ] || { echo "$page: $said" >&2; status=1; }
    # A page that says nothing has no warnings either.
    LC_ALL=C.UTF-8 MANWIDTH=80 man -l "$page" | grep -q '^NAME' || { echo "$page: it has no name" >&2; status=1; }
done
exit $status
