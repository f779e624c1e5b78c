#!/bin/sh
# bare-root.sh - run.sh and test.sh of a clone of HEAD, in a Debian system with nothing in it: shows that the tree
# installs all it needs and depends on nothing of this machine. Needs root; packages come from the sources that apt has.
# Exit code: 77 when it cannot be done here, the last line says why.
set -eu

cd "$(dirname "$0")/.."
. packaging/bare-system.sh
git clone --quiet --no-hardlinks . "$root/tree"

in_root sh -c 'cd /tree && ./run.sh && ./test.sh'
