#!/bin/sh
# format.sh - clang-format must have nothing to change in any source, and no comment may be wider than 110 characters.
# It needs no build and takes seconds. Sources that git does not know yet are looked at, too.
set -eu

cd "$(dirname "$0")/.."
sh packaging/install-packages.sh lint
git ls-files --cached --others --exclude-standard '*.h' '*.cpp' | xargs clang-format --dry-run -Werror
# The formatter leaves comments as they were wrapped, so it does not see that one is too wide.
if git grep --untracked -n -E '^ *//.{109,}$' -- '*.h' '*.cpp'; then
    echo "format.sh: these comments are wider than 110 characters: wrap them" >&2
    exit 1
fi
