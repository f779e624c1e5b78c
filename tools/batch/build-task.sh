#!/bin/sh
# build-task.sh SOURCE OUT RATES [OPTION...] - one task of a batch: builds the banks of one source.
#   OUT/NAME/      the banks; NAME is that of the source, without its end
#   OUT/NAME.json  what came of it, as `kvbank --json build` tells it; there when the task has ended by itself
# Further options go to `kvbank build`. The environment's KVBANK is the program, if it is not on the PATH.
# The exit code is that of kvbank. A task that was killed is run again with the same words.
set -u
source=$1 out=$2 rates=$3
shift 3
name=$(basename "$source")
name=${name%.*}

mkdir -p "$out/$name" || exit 4
rm -f "$out/$name.json"
# A file of its own name first: a reader never sees half a document.
new=$out/$name.json.new
"${KVBANK:-kvbank}" --json build "$source" -d "$out/$name" -r "$rates" --wait "$@" >"$new"
code=$?
# Above 128 a signal ended it, and the document may be cut short.
if [ $code -gt 128 ]; then
    rm -f "$new"
else
    mv "$new" "$out/$name.json" || exit 4
fi
exit $code
