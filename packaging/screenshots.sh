#!/bin/sh
# screenshots.sh - takes the pictures of docs/images anew: every mode, idle and busy, light and dark.
set -eu

cd "$(dirname "$0")/.."
sh packaging/install-packages.sh build test
KV_TESTS=ON sh packaging/build.sh screenshots
mkdir -p docs/images
build/release/tests/gui/screenshots docs/images
