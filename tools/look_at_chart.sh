#!/bin/sh
# look_at_chart.sh DIRECTORY PAGE...
#
# Looks at pages of ctlmap chart in a browser, 360, 800 and 1600 pixels wide: says what sticks out of the
# window or of its drawing and which texts of a drawing overlap, with status 1. Leaves pictures of each
# page, light and dark, and a print of it in the directory.
set -eu
dir=$(realpath "$1")
shift
profile=$(mktemp -d)
trap 'rm -rf "$profile"' EXIT
MOST_HEIGHT=16000 # of a picture
failed=0

browse() { # OPTION... URL
    chromium --headless --no-sandbox --disable-gpu --disable-quic --no-first-run \
        --disable-background-networking --disable-component-update --disable-sync \
        --allow-file-access-from-files --hide-scrollbars --user-data-dir="$profile/user" "$@" 2>"$profile/log" ||
        { cat "$profile/log" >&2 && return 1; }
}

# Loads the page in a frame of a width, which a window may not be, and lists what is wrong with it.
# The last line is its height.
measure() { # PAGE WIDTH
    cat >"$profile/measure.html" <<EOT
<!DOCTYPE html><meta charset="utf-8"><pre id="result"></pre>
<iframe id="frame" width="$2" height="900" style="border:0" src="file://$1"></iframe>
<script>
const lines = [];
const fault = text => lines.push('fault: ' + text);
const name = e => e.tagName + ' "' + e.textContent.trim().slice(0, 40) + '"';
const leaves = (r, box) => r.width > 0 && (r.left < box.left - 0.5 || r.right > box.right + 0.5);
const meet = (a, b) => Math.min(a.right, b.right) - Math.max(a.left, b.left) > 0.5 &&
    Math.min(a.bottom, b.bottom) - Math.max(a.top, b.top) > 0.3 * a.height;
onload = () => {
    const page = frame.contentDocument, root = page.documentElement;
    const all = selector => [...page.querySelectorAll(selector)];
    if (root.scrollWidth > root.clientWidth)
        fault('the page is ' + root.scrollWidth + ' wide');
    for (const e of all('body *:not(thead, thead *, .hidden)'))
        if (leaves(e.getBoundingClientRect(), {left: 0, right: root.clientWidth}))
            fault('sticks out: ' + name(e));
    for (const panel of all('.panel')) {
        const box = panel.getBoundingClientRect();
        const texts = [...panel.querySelectorAll('text')].map(e => [e, e.getBoundingClientRect()]);
        texts.forEach(([e, r], i) => {
            if (leaves(r, box) || r.bottom > box.bottom)
                fault('leaves its drawing: ' + name(e));
            for (const [other, r2] of texts.slice(i + 1))
                if (meet(r, r2))
                    fault('overlap: ' + name(e) + ' and ' + name(other));
        });
    }
    if (all('.panel text').length < 100)
        fault('the front is missing');
    result.textContent = ['', ...lines, 'height ' + root.scrollHeight, ''].join('\n');
};
</script>
EOT
    browse --dump-dom --window-size=1800,1000 --virtual-time-budget=5000 \
        "file://$profile/measure.html" >"$profile/result"
}

# Takes a picture: SCHEME 0 is dark, 1 is light.
shoot() { # PAGE WIDTH HEIGHT SCHEME PICTURE
    browse --window-size="$2,$3" --blink-settings=preferredColorScheme="$4" --screenshot="$5" "file://$1"
}

for page; do
    page=$(realpath "$page")
    name=$(basename "$page" .html)
    for width in 360 800 1600; do
        measure "$page" $width
        height=$(sed -n 's/^height //p' "$profile/result")
        if [ -z "$height" ] || grep '^fault: ' "$profile/result"; then
            failed=1
        fi
        echo "$name: $width pixels wide, ${height:-unknown how} high"
        [ "${height:-0}" -le $MOST_HEIGHT ] || height=$MOST_HEIGHT
        shoot "$page" $width "${height:-1000}" 1 "$dir/$name-$width-light.png"
        shoot "$page" $width "${height:-1000}" 0 "$dir/$name-$width-dark.png"
    done
    shoot "$page" 1100 695 1 "$dir/$name-front.png"
    browse --no-pdf-header-footer --print-to-pdf="$dir/$name.pdf" "file://$page"
done
exit $failed
