#!/bin/sh
# kvbank_report_browser.sh KVBANK [PICTURES] - a report's page in headless Chromium, light and dark: whether its
# script runs, and pictures of it, which PICTURES keeps. Skipped (77) where Chromium is not installed.
. "$(dirname "$0")/kvbank_scratch.sh"

command -v chromium >/dev/null || exit 77
pictures=${2:-$dir}

browse() { # the options of one look at the page
    HOME=$dir timeout 280 chromium --headless=new --no-sandbox --disable-gpu --disable-extensions \
        --no-first-run --disable-dev-shm-usage --hide-scrollbars --user-data-dir="$dir/profile" \
        --host-resolver-rules='MAP * ~NOTFOUND' --virtual-time-budget=2000 "$@" 2>"$dir/browser.txt"
}

"$kvbank" demo -q -o "$dir/Demo.kvs" || fail "demo"
"$kvbank" build -q "$dir/Demo.kvs" -d "$dir" -r 48000 || fail "build"
"$kvbank" report -q "$dir/Demo_0BB80.kvn" --source "$dir/Demo.kvs" -o "$dir/report.html" || fail "report"

browse --dump-dom "file://$dir/report.html" >"$dir/dom.html" || fail "the browser did not show the page"
grep -q '<html lang="en"[^>]*class="js"' "$dir/dom.html" || fail "the script did not run"
grep -q '>6 of 6</span>' "$dir/dom.html" || fail "the search does not count the samples"
[ "$(grep -o '<button type="button" title="Play">' "$dir/dom.html" | wc -l)" -eq 6 ] || fail "the play buttons"

browse --window-size=1200,1330 --screenshot="$pictures/report-light.png" "file://$dir/report.html" ||
    fail "no picture of the light page"
browse --window-size=1200,1330 --blink-settings=preferredColorScheme=0 \
    --screenshot="$pictures/report-dark.png" "file://$dir/report.html" || fail "no picture of the dark page"
for theme in light dark; do
    bytes=$(stat -c %s "$pictures/report-$theme.png") || fail "no picture of the $theme page"
    [ "$bytes" -gt 20000 ] && [ "$bytes" -lt 150000 ] || fail "the $theme picture has $bytes bytes"
done
cmp -s "$pictures/report-light.png" "$pictures/report-dark.png" && fail "light and dark look alike"
exit 0
