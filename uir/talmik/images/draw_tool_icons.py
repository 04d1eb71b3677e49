#!/usr/bin/env python3
"""Draws the 32-pixel icons of the companion tools on the " ZU I/O" sheet.

    python3 uir/talmik/images/draw_tool_icons.py
"""
from draw_icons import Icon

SIZE = 32
FRAME = 0x3C3C3C
SCREEN = 0x101418

PROMPT = [
    "k.......",
    ".k......",
    "..k.....",
    ".k......",
    "k....kkk",
]


def terminal(text_color, band):
    i = Icon(SIZE, SIZE)
    i.rect(1, 3, 30, 26, fill=SCREEN, outline=FRAME)
    i.rect(2, 4, 29, 6, fill=band)
    i.pattern(PROMPT, {"k": text_color}, 5, 11)
    i.hline(5, 20, 19, text_color)
    i.hline(5, 14, 22, text_color)
    i.rect(10, 27, 21, 29, fill=FRAME)
    return i


def panel():
    i = Icon(SIZE, SIZE)
    i.rect(1, 3, 30, 28, fill=0xE8E8E8, outline=FRAME)
    i.rect(2, 4, 29, 7, fill=0x2F6DB5)
    for x0 in (5, 13, 21):  # knobs
        i.rect(x0, 12, x0 + 5, 17, fill=0x9A9A9A, outline=0x505050)
        i.set(x0 + 2, 13, 0x202020)
    for n, x0 in enumerate((5, 12, 19, 26)):  # LEDs
        i.rect(x0, 22, x0 + 2, 24, fill=0x3BC14A if n % 2 == 0 else 0x7A1010)
    return i


def main():
    panel().save("tool_vxpan.png")
    terminal(0x5CE65C, 0x2F6DB5).save("tool_vxterm.png")
    terminal(0xF2B230, 0xF2C230).save("tool_gpterm.png")


if __name__ == "__main__":
    main()
