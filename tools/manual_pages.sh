#!/bin/sh
# manual_pages.sh [--check]
#
# Writes docs/NAME.md from each docs/NAME.in, the manual pages for reading on the web. With
# --check it only compares. .Ql in a page makes mandoc write bad Markdown: use .Li.
set -eu
cd "$(dirname "$0")/.."
version=$(sed -n 's/^project(ctlbridge VERSION \([0-9.]*\).*/\1/p' CMakeLists.txt)

# Headings go one level down, below a title, and the pages link to each other.
page() {
    echo "<!-- tools/manual_pages.sh makes this from $1.in -->"
    sed "s/@PROJECT_VERSION@/$version/" "docs/$1.in" | mandoc -T markdown -W warning,stop |
        sed -e '/^CTL[A-Z]*(/!s/\(ctl[a-z]*\)(\([15]\))/[&](\1.\2.md)/g' -e 's/^#/##/' -e 's/^CTL[A-Z]*(/# &/'
}

for name in ctlbridge.1 ctlbridge.5 ctlmap.1; do
    if [ "${1-}" != --check ]; then
        page $name >"docs/$name.md"
    elif ! page $name | cmp - "docs/$name.md"; then
        echo "docs/$name.md is not made from docs/$name.in: run tools/manual_pages.sh" >&2
        exit 1
    fi
done

# docs/wire.md as it is up to the comment that names this script, then the chart of resources/.
wire() {
    sed '/^<!-- tools\/manual_pages.sh/q' docs/wire.md
    echo
    build/default/ctlmap/ctlmap chart --markdown resources
}
new=$(wire)
if [ "${1-}" != --check ]; then
    printf '%s\n' "$new" >docs/wire.md
elif ! printf '%s\n' "$new" | cmp - docs/wire.md; then
    echo "docs/wire.md does not have the chart of resources/: run tools/manual_pages.sh" >&2
    exit 1
fi
