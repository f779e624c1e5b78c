#!/bin/sh
# screenshots.sh - takes the pictures of docs/images again: every mode of the window, idle and busy, light and dark; a
# session in the terminal; and, where Chromium is installed, a report. The window's show the paths of a user's home,
# which is made for them below /home and removed: run this where you may do that, as root in a container.
set -eu

cd "$(dirname "$0")/.."
sh packaging/install-packages.sh build test
KV_TESTS=ON sh packaging/build.sh screenshots
mkdir -p docs/images
build/release/tests/gui/screenshots docs/images /home/anna
KV_TESTS=ON sh packaging/build.sh kvbank
python3 packaging/terminal-picture.py build/release/tools/kvbank/kvbank
sh tests/tools/kvbank/kvbank_report_browser.sh build/release/tools/kvbank/kvbank docs/images || [ $? -eq 77 ]
