#!/usr/bin/env python3
"""Turns a captured terminal pane into an SVG: tmux capture-pane -e -N -p | pane_to_svg.py"""
import re
import sys
from html import escape

CELL_WIDTH, CELL_HEIGHT, FONT_SIZE, BASELINE, MARGIN = 8.4, 18, 14, 13.5, 10
FOREGROUND, BACKGROUND = "#d0d0d0", "#101418"
CONSOLE = ("000000 cd3131 0dbc79 c5a500 2472c8 bc3fbc 11a8cd d0d0d0 "
           "666666 f14c4c 23d18b f5f543 3b8eea d670d6 29b8db ffffff").split()


def color(number):
    """A colour of the 256 as #rrggbb."""
    if number < 16:
        return "#" + CONSOLE[number]
    if number >= 232:
        return "#" + f"{8 + 10 * (number - 232):02x}" * 3
    levels = (0, 95, 135, 175, 215, 255)
    number -= 16
    return "#%02x%02x%02x" % (levels[number // 36], levels[number // 6 % 6], levels[number % 6])


def style_after(style, codes):
    """The style (foreground, background, bold, reverse) that a sequence of codes leads to."""
    fore, back, bold, reverse = style
    codes = [int(code or 0) for code in codes.replace(":", ";").split(";")]
    while codes:
        code = codes.pop(0)
        if code in (38, 48):
            kind = codes.pop(0)
            value = color(codes.pop(0)) if kind == 5 else "#%02x%02x%02x" % tuple(codes[:3])
            del codes[: 0 if kind == 5 else 3]
            fore, back = (value, back) if code == 38 else (fore, value)
        elif code == 0:
            fore, back, bold, reverse = None, None, False, False
        elif code in (1, 22):
            bold = code == 1
        elif code in (7, 27):
            reverse = code == 7
        elif code in (39, 49):
            fore, back = (None, back) if code == 39 else (fore, None)
        elif 30 <= code <= 37 or 90 <= code <= 97:
            fore = color(code - 30 if code < 90 else code - 82)
        elif 40 <= code <= 47 or 100 <= code <= 107:
            back = color(code - 40 if code < 100 else code - 92)
    return fore, back, bold, reverse


def run_svg(row, column, text, style):
    """One run of characters of the same style."""
    fore, back, bold, reverse = style
    fore, back = fore or FOREGROUND, back or BACKGROUND
    if reverse:
        fore, back = back, fore
    x, y, width = column * CELL_WIDTH, row * CELL_HEIGHT, len(text) * CELL_WIDTH
    svg = ""
    if back != BACKGROUND:
        svg += (f'<rect x="{x:.1f}" y="{y}" width="{width:.1f}" height="{CELL_HEIGHT}" '
                f'fill="{back}"/>')
    bold = ' font-weight="bold"' if bold else ""
    for words in re.finditer(r"\S+(?: \S+)*", text):  # wider gaps are not left to the viewer
        x, width = (column + words.start()) * CELL_WIDTH, len(words[0]) * CELL_WIDTH
        svg += (f'<text x="{x:.1f}" y="{y + BASELINE}" textLength="{width:.1f}" fill="{fore}"'
                f'{bold}>{escape(words[0])}</text>')
    return svg


def main():
    lines = sys.stdin.read().rstrip("\n").split("\n")
    style, body, columns = (None, None, False, False), [], 0
    for row, line in enumerate(lines):
        column = 0
        for part in re.split(r"(\x1b\[[0-9;:]*m|\x1b[()].|[\x0e\x0f])", line):
            if part.startswith("\x1b["):
                style = style_after(style, part[2:-1])
            elif part and part[0] not in "\x1b\x0e\x0f":
                body.append(run_svg(row, column, part, style))
                column += len(part)
        columns = max(columns, column)
    width, height = columns * CELL_WIDTH, len(lines) * CELL_HEIGHT
    box = f"{-MARGIN} {-MARGIN} {width + 2 * MARGIN:.0f} {height + 2 * MARGIN}"
    print(f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="{box}" '
          f'font-family="DejaVu Sans Mono, Menlo, Consolas, monospace" font-size="{FONT_SIZE}">\n'
          f'<rect x="{-MARGIN}" y="{-MARGIN}" width="100%" height="100%" fill="{BACKGROUND}"/>')
    print("\n".join(part for part in body if part))
    print("</svg>")


main()
