#!/bin/sh
# batch-summary.sh OUT SOURCE... - what came of the tasks that build-task.sh ran for these sources. Needs jq.
# Prints a line for each task that is not done, and a last line with the sums. The exit code is the highest of the
# tasks; at least 1 when one has no document, because it was killed or never ran.
set -u
out=$1
shift
sums=$(mktemp) || exit 4
trap 'rm -f "$sums"' EXIT

worst=0 missing=0
for source in "$@"; do
    name=$(basename "$source")
    name=${name%.*}
    document=$out/$name.json
    if [ ! -e "$document" ]; then
        echo "$source: no document; run this task again"
        missing=$((missing + 1))
        continue
    fi
    jq -c '{code: .exit_code, built: [.banks[]? | select(.action == "built")] | length,
            there: [.banks[]? | select(.action == "skipped")] | length,
            bytes: ([.banks[]?.bytes // 0] | add // 0)}' "$document" >>"$sums" || exit 4
    code=$(jq .exit_code "$document")
    [ "$code" -eq 0 ] || echo "$source: exit code $code: $(jq -r '.errors[0] // ""' "$document")"
    [ "$code" -le $worst ] || worst=$code
done
jq -rs --argjson tasks $# --argjson missing $missing \
    '"\($tasks) tasks: \(map(select(.code == 0)) | length) done, \(map(select(.code != 0)) | length) failed, " +
     "\($missing) without a document; \(map(.built) | add // 0) banks built, \(map(.there) | add // 0) there " +
     "already, \(map(.bytes) | add // 0) bytes built"' "$sums"
[ $missing -eq 0 ] || [ $worst -ne 0 ] || worst=1
exit $worst
