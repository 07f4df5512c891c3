#!/usr/bin/env python3
"""Draws resources/orv_midi_screen.ppm and orv_midi_screen_wide.ppm, the same bytes every time.

The screen has 480 by 272 pixels of 16 bits, and the console puts its characters on black: so the
ground is black, every colour is one of the screen's, and the first image, shown with labels, keeps
clear of their places in orvik.softlabelpos.cfg.
"""

from math import sqrt
from pathlib import Path

WIDTH, HEIGHT = 480, 272

LEFT = (255, 142, 41)  # each deck has its colour
RIGHT = (41, 190, 206)
INK = (231, 235, 239)
GROOVE = (33, 36, 41)
EDGE = (66, 73, 82)

# Letters as strokes, 4 wide and 6 high.
LETTERS = {
    "O": [(1, 0, 3, 0), (3, 0, 4, 1), (4, 1, 4, 5), (4, 5, 3, 6), (3, 6, 1, 6), (1, 6, 0, 5),
          (0, 5, 0, 1), (0, 1, 1, 0)],
    "R": [(0, 6, 0, 0), (0, 0, 3, 0), (3, 0, 4, 1), (4, 1, 4, 2), (4, 2, 3, 3), (3, 3, 0, 3),
          (2, 3, 4, 6)],
    "V": [(0, 0, 2, 6), (2, 6, 4, 0)],
    "I": [(0, 0, 0, 6)],
    "K": [(0, 0, 0, 6), (4, 0, 0, 4), (1.3, 2.7, 4, 6)],
    "A": [(0, 6, 2, 0), (2, 0, 4, 6), (0.7, 4, 3.3, 4)],
    "B": [(0, 0, 0, 6), (0, 0, 3, 0), (3, 0, 4, 1), (4, 1, 4, 2), (4, 2, 3, 3), (3, 3, 0, 3),
          (3, 3, 4, 4), (4, 4, 4, 5), (4, 5, 3, 6), (3, 6, 0, 6)],
}


class Canvas:
    def __init__(self):
        self.pixels = [(0, 0, 0)] * (WIDTH * HEIGHT)

    def paint(self, box, colour, distance):
        """Colours where distance(x, y) is below 0, with smooth edges; box bounds the shape."""
        left, top, right, bottom = box
        for y in range(max(0, int(top) - 1), min(HEIGHT, int(bottom) + 2)):
            for x in range(max(0, int(left) - 1), min(WIDTH, int(right) + 2)):
                cover = min(1.0, max(0.0, 0.5 - distance(x + 0.5, y + 0.5)))
                if cover > 0:
                    old = self.pixels[y * WIDTH + x]
                    mixed = (round(o + (c - o) * cover) for o, c in zip(old, colour))
                    self.pixels[y * WIDTH + x] = tuple(mixed)

    def ring(self, cx, cy, radius, width, colour, wanted=lambda dx, dy: True):
        """A circle of this line width, of which only the wanted directions are drawn."""

        def distance(x, y):
            dx, dy = x - cx, y - cy
            return abs(sqrt(dx * dx + dy * dy) - radius) - width / 2 if wanted(dx, dy) else 1

        reach = radius + width
        self.paint((cx - reach, cy - reach, cx + reach, cy + reach), colour, distance)

    def disc(self, cx, cy, radius, colour):
        self.ring(cx, cy, 0, 2 * radius, colour)

    def line(self, x1, y1, x2, y2, width, colour):
        dx, dy = x2 - x1, y2 - y1
        square = dx * dx + dy * dy

        def distance(x, y):
            t = min(1.0, max(0.0, ((x - x1) * dx + (y - y1) * dy) / square)) if square else 0.0
            ex, ey = x - x1 - t * dx, y - y1 - t * dy
            return sqrt(ex * ex + ey * ey) - width / 2

        box = (min(x1, x2) - width, min(y1, y2) - width, max(x1, x2) + width, max(y1, y2) + width)
        self.paint(box, colour, distance)

    def text(self, word, centre, top, scale, colour):
        """Letters with strokes of 3 pixels and gaps of 10."""
        widths = [max(x for stroke in LETTERS[letter] for x in stroke[::2]) for letter in word]
        x = centre - (sum(widths) * scale + 10 * (len(word) - 1)) // 2 + 0.5
        for letter, letter_width in zip(word, widths):
            for x1, y1, x2, y2 in (tuple(v * scale for v in stroke) for stroke in LETTERS[letter]):
                self.line(x + x1, top + y1 + 0.5, x + x2, top + y2 + 0.5, 3, colour)
            x += letter_width * scale + 10

    def save(self, name):
        data = bytearray(b"P6\n%d %d\n255\n" % (WIDTH, HEIGHT))
        for pixel in self.pixels:  # 5 bits of each colour, widened as the screen widens 5, 6 and 5
            r, g, b = (level >> 3 for level in pixel)
            data += bytes((r << 3 | r >> 2, g << 3 | g >> 4 << 2 | g >> 3, b << 3 | b >> 2))
        (Path(__file__).resolve().parent.parent / "resources" / name).write_bytes(data)


def platter(canvas, cx, cy, radius, colours):
    """A record with grooves; its two sides have an arc and half a label of their colour each."""
    for groove in range(int(radius * 0.42), int(radius * 0.92), max(4, radius // 12)):
        canvas.ring(cx, cy, groove, 1, GROOVE)
    canvas.ring(cx, cy, radius, 1.6, EDGE)
    for side, colour in zip((-1, 1), colours):
        canvas.ring(cx, cy, radius, 4, colour, lambda dx, dy: side * dx > abs(dy))
        canvas.ring(cx, cy, radius * 0.3, 2.4, colour, lambda dx, dy: side * dx > 0)
    canvas.disc(cx, cy, 2.5, INK)
    canvas.line(cx, cy - radius * 0.42, cx, cy - radius * 0.92, 2, INK)


def waveform(canvas, left, right, middle, height):
    """Bars of a piece of music, the left deck's colour up to the middle, then the right deck's."""
    seed = 5
    for x in range(left, right, 4):
        seed = (seed * 1103515245 + 12345) % 2**31
        beat = 1.0 - ((x - left) // 4 % 8) / 11
        bar = max(1.0, height * beat * (0.3 + 0.7 * (seed >> 16) / 2**15))
        canvas.line(x + 1, middle - bar, x + 1, middle + bar, 2, LEFT if x < WIDTH / 2 else RIGHT)


def narrow():
    canvas = Canvas()
    for centre, name, colour in ((84, "A", LEFT), (396, "B", RIGHT)):
        canvas.text(name, centre, 6, 3, colour)
        for side in (-1, 1):
            canvas.line(centre + side * 20, 15.5, centre + side * 75, 15.5, 1, EDGE)
    platter(canvas, 240, 94, 62, (LEFT, RIGHT))
    canvas.text("ORVIK", 240, 182, 4, INK)
    waveform(canvas, 9, 472, 250, 13)
    canvas.save("orv_midi_screen.ppm")


def wide():
    canvas = Canvas()
    platter(canvas, 92, 108, 80, (LEFT, LEFT))
    platter(canvas, 388, 108, 80, (RIGHT, RIGHT))
    canvas.text("ORVIK", 240, 90, 4, INK)
    canvas.line(190, 137, 290, 137, 2, EDGE)
    canvas.line(240, 132, 240, 142, 6, INK)
    waveform(canvas, 9, 472, 238, 20)
    canvas.save("orv_midi_screen_wide.ppm")


if __name__ == "__main__":
    narrow()
    wide()
