#!/bin/sh
# installation.sh BUILD - installs this build into a folder of its own and looks for what must be there; the command runs
# from where it was installed.
set -eu

scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
fail() { echo "installation.sh: $1" >&2; exit 1; }

cmake --install "$1" --prefix "$scratch" >"$scratch/log" 2>&1 || fail "$(cat "$scratch/log")"
cd "$scratch"
name=com.kestrova.kvbankmgr
for file in bin/kvbank bin/kvbankmgr \
            share/man/man1/kvbank.1 share/man/man1/kvbankmgr.1 share/man/man5/kvbank-format.5 \
            share/bash-completion/completions/kvbank share/zsh/*/_kvbank share/fish/vendor_completions.d/kvbank.fish \
            share/applications/$name.desktop share/metainfo/$name.metainfo.xml share/mime/packages/$name.xml \
            share/icons/hicolor/scalable/apps/$name.svg share/icons/hicolor/48x48/apps/$name.png \
            share/icons/hicolor/128x128/apps/$name.png \
            share/doc/kvbank/copyright share/doc/kvbank/FORMATS.md share/doc/kvbank/GUIDE.md \
            share/doc/calderine-bank-manager/copyright; do
    [ -s "$file" ] || fail "$file was not installed"
done
[ "$(bin/kvbank --version)" = "kvbank 1.0" ] || fail "the installed command does not run"
[ "$(bin/kvbankmgr --version)" = "kvbankmgr 1.0" ] || fail "the installed window does not start"
