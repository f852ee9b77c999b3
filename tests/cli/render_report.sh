#!/bin/sh
# Renders a report in headless Chromium: the page must load without script errors, its DOM must be
# complete, and its screenshot must hold far more ink than a blank page's.
# Usage: render_report.sh OSTRELJET SCENARIO
set -u
tool=$1
scenario=$2
chromium=/usr/bin/chromium
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

fail() {
    echo "render_report: $*" >&2
    exit 1
}

# browse NAME ARGUMENTS...: one browser run with its own profile folder.
browse() {
    profile="$work/profile-$1"
    shift
    # Every network path is closed so that only the local file loads.
    timeout 40 "$chromium" --headless --no-sandbox --disable-gpu --disable-quic --no-first-run \
        --disable-background-networking --disable-component-update --disable-sync \
        --user-data-dir="$profile" --enable-logging=stderr --v=0 "$@"
}

"$tool" report "$scenario" -o "$work/report.html" || fail "the report command failed"
printf '<!DOCTYPE html><html><body></body></html>\n' > "$work/blank.html"

browse shot --window-size=1200,3000 --screenshot="$work/report.png" "file://$work/report.html" \
    > "$work/shot.out" 2> "$work/shot.err" || fail "chromium failed on the report: $(tail -5 "$work/shot.err")"
browse blank --window-size=1200,3000 --screenshot="$work/blank.png" "file://$work/blank.html" \
    > /dev/null 2> "$work/blank.err" || fail "chromium failed on a blank page"
browse dom --dump-dom "file://$work/report.html" > "$work/dom.html" 2> "$work/dom.err" \
    || fail "chromium could not dump the DOM"

if grep -h ':CONSOLE' "$work/shot.err" "$work/dom.err" | grep -E -i 'uncaught|error' >&2; then
    fail "the page reported script errors"
fi

[ -s "$work/report.png" ] || fail "no screenshot"
size=$(wc -c < "$work/report.png")
blank=$(wc -c < "$work/blank.png")
[ "$size" -gt $((blank * 5)) ] || fail "the screenshot ($size bytes) is hardly larger than a blank page ($blank bytes)"

# The DOM as the browser built it: every chart closed and the last section present.
charts=$(grep -o '</svg>' "$work/dom.html" | wc -l)
[ "$charts" -eq 7 ] || fail "the DOM holds $charts charts instead of 7"
grep -q 'Ambient profiles' "$work/dom.html" || fail "the DOM lacks the last section"
grep -q '</html>' "$work/dom.html" || fail "the DOM is incomplete"

# With the imaging library at hand, count the pixels that are not white.
if /usr/bin/python3 -c 'import PIL' 2> /dev/null; then
    /usr/bin/python3 - "$work/report.png" << 'PYTHON' || fail "the screenshot is nearly blank"
import sys
from PIL import Image
image = Image.open(sys.argv[1]).convert("L")
inked = sum(count for value, count in enumerate(image.histogram()) if value < 250)
share = inked / (image.width * image.height)
print(f"render_report: {share:.1%} of the screenshot is not white")
sys.exit(0 if share > 0.03 else 1)
PYTHON
fi
echo "render_report: the report renders (${size} bytes of screenshot, ${charts} charts)"
