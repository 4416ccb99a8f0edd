#!/usr/bin/env python3
"""Writes a small TIFF file of five pages, byte by byte, with nothing but Python itself.

    scripts/make-demo-tiff.py OUT.tif

The pages: RGB in LZW with predictor, a palette in PackBits, 16-bit grey, CMYK, and a black-and-white drawing, the last
three uncompressed.
"""
import math
import struct
import sys

WIDTH, HEIGHT = 320, 240

SHORT, LONG, RATIONAL, ASCII = 3, 4, 5, 2


def lzw(data):
    """TIFF's LZW: codes from 9 to 12 bits, high bits first, widths changing one code early."""
    out, window, have = bytearray(), 0, 0

    def put(code, width):
        nonlocal window, have
        window, have = window << width | code, have + width
        while have >= 8:
            have -= 8
            out.append(window >> have & 0xFF)
        window &= (1 << have) - 1

    table, width = {bytes([i]): i for i in range(256)}, 9
    next_code = 258
    put(256, width)
    string = b""
    for byte in data:
        longer = string + bytes([byte])
        if longer in table:
            string = longer
            continue
        put(table[string], width)
        table[longer] = next_code
        next_code += 1
        if next_code == 4094:
            put(256, 12)
            table, width, next_code = {bytes([i]): i for i in range(256)}, 9, 258
        elif next_code in (512, 1024, 2048):
            width += 1
        string = bytes([byte])
    if string:
        put(table[string], width)
        if next_code + 1 in (512, 1024, 2048):
            width += 1
    put(257, width)
    if have:
        out.append(window << (8 - have) & 0xFF)
    return bytes(out)


def packbits(row):
    """Runs of 3 and more as repeats, everything else as literals."""
    out, at = bytearray(), 0
    while at < len(row):
        run = 1
        while at + run < len(row) and run < 128 and row[at + run] == row[at]:
            run += 1
        if run >= 3:
            out += bytes([257 - run, row[at]])
            at += run
            continue
        start = at
        while at < len(row) and at - start < 128 and not (at + 2 < len(row) and row[at] == row[at + 1] == row[at + 2]):
            at += 1
        out += bytes([at - start - 1]) + row[start:at]
    return bytes(out)


def wave(x, y):
    """A smooth pattern between 0 and 1."""
    return 0.5 + 0.25 * math.sin(x / 23.0) + 0.25 * math.cos(y / 17.0 + x / 61.0)


def rgb_page():
    rows = []
    for y in range(HEIGHT):
        row = bytearray()
        for x in range(WIDTH):
            row += bytes([x * 255 // (WIDTH - 1), y * 255 // (HEIGHT - 1), int(255 * wave(x, y))])
        for i in range(len(row) - 1, 2, -1):
            row[i] = (row[i] - row[i - 3]) & 0xFF
        rows.append(bytes(row))
    strips = [lzw(b"".join(rows[at:at + 40])) for at in range(0, HEIGHT, 40)]
    return strips, [(258, SHORT, [8, 8, 8]), (259, SHORT, [5]), (262, SHORT, [2]), (277, SHORT, [3]),
                    (278, LONG, [40]), (317, SHORT, [2]), (270, ASCII, "RGB, LZW with predictor")]


def palette_page():
    colours = [[(i * 37) % 256, (i * 59 + 80) % 256, (255 - i * 16) % 256] for i in range(16)]
    strips = []
    for at in range(0, HEIGHT, 60):
        strip = b""
        for y in range(at, at + 60):
            row = bytes(((x // 20 + y // 20) % 16) << 4 | ((x + 1) // 20 + y // 20) % 16 for x in range(0, WIDTH, 2))
            strip += packbits(row)
        strips.append(strip)
    values = [colour[c] * 257 for c in range(3) for colour in colours]
    return strips, [(258, SHORT, [4]), (259, SHORT, [32773]), (262, SHORT, [3]), (277, SHORT, [1]),
                    (278, LONG, [60]), (320, SHORT, values), (270, ASCII, "16 colours, PackBits")]


def gray16_page():
    data = b"".join(struct.pack("<H", int(65535 * wave(x * 2, y))) for y in range(HEIGHT) for x in range(WIDTH))
    return [data], [(258, SHORT, [16]), (259, SHORT, [1]), (262, SHORT, [1]), (277, SHORT, [1]),
                    (278, LONG, [HEIGHT]), (270, ASCII, "16-bit grey, uncompressed")]


def cmyk_page():
    data = bytearray()
    for y in range(HEIGHT):
        for x in range(WIDTH):
            ink = x * 4 // WIDTH
            amount = y * 255 // (HEIGHT - 1)
            data += bytes(amount if i == ink else 0 for i in range(4))
    return [bytes(data)], [(258, SHORT, [8, 8, 8, 8]), (259, SHORT, [1]), (262, SHORT, [5]), (277, SHORT, [4]),
                           (278, LONG, [HEIGHT]), (270, ASCII, "CMYK, uncompressed")]


def bilevel_page():
    data = bytearray()
    for y in range(HEIGHT):
        for start in range(0, WIDTH, 8):
            byte = 0
            for x in range(start, start + 8):
                distance = math.hypot(x - WIDTH / 2, y - HEIGHT / 2)
                byte = byte << 1 | (int(distance) // 12 % 2)
            data.append(byte)
    return [bytes(data)], [(258, SHORT, [1]), (259, SHORT, [1]), (262, SHORT, [0]), (277, SHORT, [1]),
                           (278, LONG, [HEIGHT]), (270, ASCII, "black and white, uncompressed")]


def value_bytes(kind, values):
    if kind == ASCII:
        return values.encode("ascii") + b"\0", len(values) + 1
    if kind == RATIONAL:
        return b"".join(struct.pack("<II", *pair) for pair in values), len(values)
    return struct.pack("<%d%s" % (len(values), "H" if kind == SHORT else "I"), *values), len(values)


def build(pages):
    file = bytearray(b"II" + struct.pack("<HI", 42, 0))
    link = 4
    for strips, tags in pages:
        offsets = []
        for strip in strips:
            offsets.append(len(file))
            file += strip + b"\0" * (len(strip) % 2)
        tags = tags + [(256, LONG, [WIDTH]), (257, LONG, [HEIGHT]), (273, LONG, offsets),
                       (279, LONG, [len(strip) for strip in strips]), (282, RATIONAL, [(96, 1)]),
                       (283, RATIONAL, [(96, 1)]), (284, SHORT, [1]), (296, SHORT, [2])]
        entries = b""
        for tag, kind, values in sorted(tags):
            data, count = value_bytes(kind, values)
            if len(data) > 4:
                place = len(file)
                file += data + b"\0" * (len(data) % 2)
                data = struct.pack("<I", place)
            entries += struct.pack("<HHI", tag, kind, count) + data.ljust(4, b"\0")
        file[link:link + 4] = struct.pack("<I", len(file))
        link = len(file) + 2 + len(entries)
        file += struct.pack("<H", len(entries) // 12) + entries + struct.pack("<I", 0)
    return bytes(file)


def main():
    if len(sys.argv) != 2:
        sys.exit(__doc__)
    with open(sys.argv[1], "wb") as out:
        out.write(build([rgb_page(), palette_page(), gray16_page(), cmyk_page(), bilevel_page()]))


if __name__ == "__main__":
    main()
