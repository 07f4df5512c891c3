#!/bin/sh
# check_links.sh
#
# Says which links of the documents lead to no file or to no heading. Status 1 if there is one.
set -u
cd "$(dirname "$0")/.." || exit 2

# The headings of a document, as the web makes anchors of them.
anchors() { # FILE
    sed -n 's/^##* //p' "$1" | sed -E 's/\[([^]]*)\]\([^)]*\)/\1/g' | tr '[:upper:] ' '[:lower:]-' | tr -cd '[:alnum:]_\n-'
}

find . -name '*.md' -not -path './build/*' | while read -r file; do
    grep -oE '\]\([^) ]+\)' "$file" | sed 's/^](//; s/)$//' | grep -v '^https*:' | while read -r link; do
        path=${link%%#*}
        target=$file
        [ -z "$path" ] || target=$(dirname "$file")/$path
        if [ ! -e "$target" ]; then
            echo "$file: $link: there is no such file"
        elif [ "$link" != "$path" ] && ! anchors "$target" | grep -qx -e "${link#*#}"; then
            echo "$file: $link: there is no such heading"
        fi
    done
done | grep . && exit 1
exit 0
