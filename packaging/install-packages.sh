#!/bin/sh
# install-packages.sh GROUP... - installs the Debian packages of these groups of packages.txt that are missing.
# Does nothing, and asks nobody, when all of them are there. Root, or sudo, is needed only when one is not.
set -eu

list=$(dirname "$0")/packages.txt
missing=
for group in "$@"; do
    for package in $(sed -n "s/^$group //p" "$list"); do
        case $(dpkg-query -W -f='${Status}' "$package" 2>/dev/null) in
            *" installed") ;;
            *) missing="$missing $package" ;;
        esac
    done
done
[ -n "$missing" ] || exit 0

as_root=
if [ "$(id -u)" -ne 0 ]; then
    command -v sudo >/dev/null || {
        echo "Missing packages:$missing. Install them as root, or install sudo." >&2
        exit 1
    }
    as_root=sudo
fi
echo "Installing:$missing"
log=$(mktemp)
trap 'rm -f "$log"' EXIT
# shellcheck disable=SC2086 # the list is meant to be split
if ! { $as_root apt-get update -q &&
       $as_root env DEBIAN_FRONTEND=noninteractive apt-get install -q -y --no-install-recommends $missing; } \
       >"$log" 2>&1; then
    tail -n 20 "$log" >&2
    exit 1
fi
