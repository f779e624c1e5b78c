#!/bin/sh
# desktop_files.sh - what the desktop reads: its entry, the description for software centres, the MIME types and icons
# hold what their formats demand, and name each other. Exit code 77 when a program that checks one is not installed.
set -eu

cd "$(dirname "$0")/../.."
for program in desktop-file-validate appstreamcli xmllint update-mime-database; do
    command -v $program >/dev/null || { echo "$program is not installed"; exit 77; }
done
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
fail() { echo "desktop_files.sh: $1" >&2; exit 1; }

name=com.kestrova.kvbankmgr
cd packaging/desktop
said=$(desktop-file-validate $name.desktop)
[ -z "$said" ] || fail "$said"
appstreamcli validate --no-net --pedantic $name.metainfo.xml >"$scratch/said" || fail "$(cat "$scratch/said")"
xmllint --noout $name.svg $name.metainfo.xml $name.mime.xml
grep -qx 'Exec=kvbankmgr manager %f' $name.desktop || fail "the entry does not open a file in the manager"
grep -q "setDesktopFileName(\"$name\")" ../../app/qt/GuiStart.cpp || fail "the window does not name its entry"
for size in 48 128; do
    # Bytes 16 to 23 of a PNG are its width and height.
    found=$(od -A n -t u1 -j 16 -N 8 $name-$size.png | tr -s ' ')
    [ "$found" = " 0 0 0 $size 0 0 0 $size" ] || fail "$name-$size.png is not $size by $size"
done

# A file is known by its first bytes, whatever its name.
mkdir -p "$scratch/mime/packages"
cp $name.mime.xml "$scratch/mime/packages/"
XDG_DATA_HOME=$scratch update-mime-database "$scratch/mime"
# type_of WORD - what the magic of the database has for a file that begins so.
type_of() { grep -a -B 1 "$1" "$scratch/mime/magic" | sed -n 's/^\[[0-9]*:\(.*\)\]$/\1/p'; }
[ "$(type_of QXDB)" = application/x-calderine-source-bank ] || fail "a source bank is not known"
[ "$(type_of QXEU)" = application/x-calderine-bank ] || fail "a bank is not known"
grep -q "^MimeType=.*application/x-calderine-source-bank;" $name.desktop || fail "the entry does not open source banks"
