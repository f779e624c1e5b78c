#!/bin/sh
# screenshots.sh - takes the pictures of docs/images anew: every mode, idle and busy, light and dark. They show the
# paths of a user's home, which is made for them below /home and removed: run this where you may do that, as root in a
# container.
set -eu

cd "$(dirname "$0")/.."
sh packaging/install-packages.sh build test
KV_TESTS=ON sh packaging/build.sh screenshots
mkdir -p docs/images
build/release/tests/gui/screenshots docs/images /home/anna
