#!/bin/sh
# Renders a report in headless Chromium: no script errors, a complete DOM with its seven charts, and a
# screenshot with far more ink than a blank page's.  Usage: render_report.sh OSTRELJET SCENARIO
set -u
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
fail() {
    echo "render_report: $*" >&2
    exit 1
}
# browse NAME ARGUMENTS...: one browser run with its own profile, every network path closed.
browse() {
    profile="$work/profile-$1"
    shift
    timeout 40 /usr/bin/chromium --headless --no-sandbox --disable-gpu --disable-quic --no-first-run \
        --disable-background-networking --disable-component-update --disable-sync \
        --user-data-dir="$profile" --enable-logging=stderr --v=0 "$@"
}

"$1" report "$2" -o "$work/report.html" || fail "the report command failed"
printf '<!DOCTYPE html><html><body></body></html>\n' > "$work/blank.html"
for page in report blank; do
    browse "$page" --window-size=1200,3000 --screenshot="$work/$page.png" "file://$work/$page.html" \
        > /dev/null 2> "$work/$page.err" || fail "chromium failed on $page.html: $(tail -5 "$work/$page.err")"
done
browse dom --dump-dom "file://$work/report.html" > "$work/dom.html" 2> "$work/dom.err" \
    || fail "chromium could not dump the DOM"
if grep -h ':CONSOLE' "$work/report.err" "$work/dom.err" | grep -E -i 'uncaught|error' >&2; then
    fail "the page reported script errors"
fi
size=$(wc -c < "$work/report.png")
blank=$(wc -c < "$work/blank.png")
[ "$size" -gt $((blank * 5)) ] || fail "the screenshot ($size bytes) is hardly larger than a blank page ($blank bytes)"
charts=$(grep -o '</svg>' "$work/dom.html" | wc -l)
[ "$charts" -eq 9 ] || fail "the DOM holds $charts charts instead of 9"
grep -q 'Ambient profiles' "$work/dom.html" || fail "the DOM lacks the last section"
grep -q '</html>' "$work/dom.html" || fail "the DOM is incomplete"
echo "render_report: the report renders (${size} bytes of screenshot, ${charts} charts)"
