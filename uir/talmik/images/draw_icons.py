#!/usr/bin/env python3
"""Draws the resource browser's 16-pixel icons and the two pieces of its connecting lines.

The PNG files beside this script are its output; run it again after changing a drawing:
    python3 uir/talmik/images/draw_icons.py
Only the standard library is used.
"""
import os
import struct
import zlib

HERE = os.path.dirname(os.path.abspath(__file__))
SIZE = 16


class Icon:
    def __init__(self, width=SIZE, height=SIZE):
        self.w, self.h = width, height
        self.px = [[None] * width for _ in range(height)]

    def set(self, x, y, color):
        if 0 <= x < self.w and 0 <= y < self.h:
            self.px[y][x] = color

    def rect(self, x0, y0, x1, y1, fill=None, outline=None):
        for y in range(y0, y1 + 1):
            for x in range(x0, x1 + 1):
                edge = x in (x0, x1) or y in (y0, y1)
                color = outline if edge and outline is not None else fill
                if color is not None:
                    self.set(x, y, color)

    def hline(self, x0, x1, y, color):
        for x in range(x0, x1 + 1):
            self.set(x, y, color)

    def vline(self, x, y0, y1, color):
        for y in range(y0, y1 + 1):
            self.set(x, y, color)

    # A connector shell: a trapezoid, wide at the top, narrowing by one pixel a side every
    # `step` rows.
    def trapezoid(self, x0, x1, y0, y1, step, fill, outline):
        for y in range(y0, y1 + 1):
            inset = (y - y0) // step
            a, b = x0 + inset, x1 - inset
            for x in range(a, b + 1):
                edge = x in (a, b) or y in (y0, y1)
                self.set(x, y, outline if edge else fill)

    def pattern(self, rows, palette, x0=0, y0=0):
        for y, row in enumerate(rows):
            for x, ch in enumerate(row):
                if ch in palette:
                    self.set(x0 + x, y0 + y, palette[ch])

    def save(self, name):
        raw = bytearray()
        for row in self.px:
            raw.append(0)
            for color in row:
                if color is None:
                    raw += b"\0\0\0\0"
                else:
                    raw += bytes(((color >> 16) & 255, (color >> 8) & 255, color & 255, 255))
        def chunk(kind, data):
            body = kind + data
            return struct.pack(">I", len(data)) + body + struct.pack(">I", zlib.crc32(body) & 0xFFFFFFFF)
        png = b"\x89PNG\r\n\x1a\n"
        png += chunk(b"IHDR", struct.pack(">IIBBBBB", self.w, self.h, 8, 6, 0, 0, 0))
        png += chunk(b"IDAT", zlib.compress(bytes(raw), 9))
        png += chunk(b"IEND", b"")
        with open(os.path.join(HERE, name), "wb") as f:
            f.write(png)


INK = 0x1E1E1E
GOLD = 0xF2C230
INSULATOR = 0x2E2E2E


def connector_pins(icon, xs_top, xs_bottom, y):
    for x in xs_top:
        icon.set(x, y, GOLD)
    for x in xs_bottom:
        icon.set(x, y + 2, GOLD)


def gpib():
    # The 24-way GPIB plug seen from its face: a wide blue shell with two rows of contacts.
    i = Icon()
    i.trapezoid(0, 15, 3, 12, 4, 0x4F7FC8, 0x1C3F7A)
    i.trapezoid(2, 13, 5, 10, 4, INSULATOR, INSULATOR)
    connector_pins(i, [3, 5, 7, 9, 11], [4, 6, 8, 10, 12], 6)
    i.hline(1, 14, 4, 0x9CB9E8)  # light on the shell's upper edge
    return i


def serial():
    # The nine-way serial plug: a narrower green shell, five contacts over four.
    i = Icon()
    i.trapezoid(1, 14, 3, 12, 3, 0x3E9A4A, 0x185A22)
    i.trapezoid(3, 12, 5, 10, 3, INSULATOR, INSULATOR)
    connector_pins(i, [4, 6, 8, 10], [5, 7, 9], 6)
    i.hline(2, 13, 4, 0x92D49A)
    return i


def card_cage(i, x0, y0, x1, y1, frame, face, shade, leds):
    i.rect(x0, y0, x1, y1, fill=frame, outline=INK)
    i.hline(x0 + 1, x1 - 1, y1 - 1, 0x3A3A3A)  # bottom rail
    x = x0 + 1
    n = 0
    while x + 1 <= x1 - 1:
        i.vline(x, y0 + 1, y1 - 2, face)
        i.vline(x + 1, y0 + 1, y1 - 2, shade)
        i.set(x, y0 + 2, leds[n % len(leds)])
        x += 2
        n += 1


def vxi():
    # A VXI mainframe: a tall card cage full of modules.
    i = Icon()
    card_cage(i, 1, 0, 14, 15, 0x6A6A6A, 0xDADADA, 0x8A8A8A, [0xD83A2E, 0x3CB043, 0xF2C230])
    return i


def pxi():
    # A PXI chassis: wider and lower, teal, with its controller at the left.
    i = Icon()
    card_cage(i, 0, 3, 15, 13, 0x267A7A, 0xCFEAEA, 0x7FB3B3, [0x3CB043])
    i.rect(1, 4, 3, 11, fill=0x2E2E2E)
    i.set(2, 5, 0x6FD0FF)
    return i


def gpib_vxi():
    # A VXI mainframe reached through a GPIB plug on top.
    i = Icon()
    card_cage(i, 1, 6, 14, 15, 0x6A6A6A, 0xDADADA, 0x8A8A8A, [0xD83A2E, 0x3CB043, 0xF2C230])
    i.trapezoid(3, 12, 0, 4, 2, 0x4F7FC8, 0x1C3F7A)
    i.hline(5, 10, 2, INSULATOR)
    for x in (5, 7, 9):
        i.set(x, 2, GOLD)
    i.vline(7, 5, 5, INK)
    i.vline(8, 5, 5, INK)
    return i


def tcpip():
    # The network: a globe with its grid.
    i = Icon()
    r = 7.0
    c = 7.5
    for y in range(SIZE):
        for x in range(SIZE):
            d = ((x - c) ** 2 + (y - c) ** 2) ** 0.5
            if d <= r - 0.6:
                i.set(x, y, 0x3B82C4)
            elif d <= r + 0.4:
                i.set(x, y, 0x1D4F80)
    grid = 0xBFE0FF
    for x in range(2, 14):
        i.set(x, 7, grid)
        i.set(x, 8, grid)
    for y in range(2, 14):
        i.set(7, y, grid)
        i.set(8, y, grid)
    for x in range(3, 13):
        i.set(x, 4, grid)
        i.set(x, 11, grid)
    for y in range(3, 13):
        w = 3 if 4 <= y <= 11 else 2
        i.set(int(c - w), y, grid)
        i.set(int(c + w) + 1, y, grid)
    for x in range(SIZE):  # the outline again over the grid
        for y in range(SIZE):
            d = ((x - c) ** 2 + (y - c) ** 2) ** 0.5
            if r - 0.6 < d <= r + 0.4:
                i.set(x, y, 0x1D4F80)
    return i


def computer():
    i = Icon()
    i.pattern([
        "................",
        ".kkkkkkkkkkkkkk.",
        ".kggggggggggggk.",
        ".kgbbbbbbbbbbgk.",
        ".kgbBBBBBBBBbgk.",
        ".kgbBwBBBBBBbgk.",
        ".kgbBBBBBBBBbgk.",
        ".kgbBBBBBBBBbgk.",
        ".kgbbbbbbbbbbgk.",
        ".kggggggggggggk.",
        ".kkkkkkkkkkkkkk.",
        "......kGGk......",
        "......kGGk......",
        "...kkkkkkkkkk...",
        "...kllllllllk...",
        "...kkkkkkkkkk...",
    ], {"k": INK, "g": 0xB8B8B8, "G": 0x8A8A8A, "b": 0x1C4E8C, "B": 0x4F9BE0,
        "w": 0xE6F3FF, "l": 0xD0D0D0})
    return i


def unknown():
    i = Icon()
    i.rect(1, 1, 14, 14, fill=0xD6D6D6, outline=0x7A7A7A)
    i.pattern([
        "..kkkk..",
        ".kk..kk.",
        ".....kk.",
        "....kk..",
        "...kk...",
        "...kk...",
        "........",
        "...kk...",
        "...kk...",
    ], {"k": 0x404040}, 4, 3)
    return i


def lines():
    # Dotted connecting lines: one dot in two, the gaps left clear.
    grey = 0x8C8C8C
    v = Icon(1, 18)
    for y in range(0, 18, 2):
        v.set(0, y, grey)
    h = Icon(18, 1)
    for x in range(0, 18, 2):
        h.set(x, 0, grey)
    return v, h


def main():
    for name, make in [("rsrc_gpib.png", gpib), ("rsrc_serial.png", serial), ("rsrc_vxi.png", vxi),
                       ("rsrc_pxi.png", pxi), ("rsrc_gpibvxi.png", gpib_vxi), ("rsrc_tcpip.png", tcpip),
                       ("rsrc_computer.png", computer), ("rsrc_unknown.png", unknown)]:
        make().save(name)
    v, h = lines()
    v.save("tree_line_v.png")
    h.save("tree_line_h.png")


if __name__ == "__main__":
    main()
