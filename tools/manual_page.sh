#!/bin/sh
# manual_page.sh FILE VERSION DATE
#
# Prints the manual page that docs/NAME.SECTION.md is the source of. A list item whose first lines end in a
# backslash becomes a tagged paragraph: these lines are its tags.
set -eu
page=$(basename "$1" .md)
sed -e 1d -e 's/^## .*/\U&/' "$1" |
    lowdown -s -t man --out-no-smarty --nroff-nolinks -m shiftheadinglevelby=-1 -m title="${page%.*}" \
        -m section="${page##*.}" -m date="$3" -m source="ctlbridge $2" |
    sed -zE '
        s/(\.TH "[^"]*)/\U\1/
        s/(\.S[HS]\n[^\n]*\n)\.LP\n/\1/g
        s/(\nNAME\n[^\n]*) - /\1 \\- /
        s/(\.if n \\\n\.sp -1\n\.if t \\\n\.sp -0\.25v\n)?\.IP "\\\(bu" 2\n([^\n]*)\n\.br\n/.TP\n\2\n/g
        :tags
        s/(\n\.T[PQ]\n[^\n]*\n)(\\f[BCI][^\n]*)\n\.br\n/\1.TQ\n\2\n/
        t tags
        s/\n\.EX\n/\n.RS 4&/g
        s/\n\.EE\n/&.RE\n/g
        s/ expand allbox;/;/g
        s/T\{\n([^.\n][^\n]{0,31})\nT\}/\1/g
        s/\\fC/\\fB/g'
