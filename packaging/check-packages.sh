#!/bin/sh
# check-packages.sh [DIR] - looks at the packages that build-packages.sh has left in DIR (build/packages), and at what
# goes into them. Nothing is built or installed. Every check runs; the exit code is 1 when one fails.
set -eu

cd "$(dirname "$0")/.."
sh packaging/install-packages.sh package test
dir=${1:-build/packages}
status=0
check() {
    echo "== $*"
    "$@" || { status=1; echo "check-packages.sh: this check failed: $*" >&2; }
}

scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
needs_no() {
    package=$1
    word=$2
    ! dpkg-deb -f "$dir/$package"_*.deb Depends Pre-Depends Recommends | grep -i "$word"
}
has_no_maintainer_script() {
    for script in preinst postinst prerm postrm; do
        ! dpkg-deb -I "$1" "$script" >/dev/null 2>&1 || return 1
    done
}

check lintian --fail-on error,warning "$dir"/*.deb
check needs_no kvbank qt
for package in "$dir"/*.deb; do
    dpkg-deb -x "$package" "$scratch"
    # Without such a script nothing but the package's own files is ever touched, in a purge neither.
    check has_no_maintainer_script "$package"
done
check sh tests/packaging/desktop_files.sh
check sh tests/packaging/manual_pages.sh $(find "$scratch/usr/share/man" -type f)
# Programs and shared libraries, and not the archives beside them.
check sh tests/packaging/hardening.sh $(find "$scratch/usr" -type f \( -path '*/bin/*' -o -name '*.so.*' \))
exit $status
