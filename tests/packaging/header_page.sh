#!/bin/sh
# header_page.sh - kvbank.h(3) names each function and each error of the header.
set -eu

cd "$(dirname "$0")/../.."
page=$(sed 's/\\-/-/g' docs/man/kvbank.h.3)
names=$(grep -oE '\bkvb_[a-z_]+\(|\bKVB_ERROR_[A-Z_]+' include/kvbank.h | tr -d '(' | sort -u)
[ "$(echo "$names" | wc -l)" -gt 20 ] || { echo "the header names too little: $names" >&2; exit 1; }
status=0
for name in $names; do
    echo "$page" | grep -qw "$name" || { echo "kvbank.h(3) does not name $name" >&2; status=1; }
done
exit $status
