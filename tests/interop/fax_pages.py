#!/usr/bin/env python3
"""Saves bilevel pages in every fax format and reads them with libtiff's tools.

    fax_pages.py VXTIF

tiffcp decodes each page to uncompressed rows, which have to be those of the picture, bit for bit; tiffinfo shows the
tags; fax2ps draws as many pages as there are.
"""

import os
import random
import re
import struct
import subprocess
import sys
import tempfile
import unittest
import zlib

VXTIF = ""
FORMATS = {"ccitt": "CCITT RLE", "g3": "CCITT Group 3", "g3-2d": "CCITT Group 3",
           "g4": "CCITT Group 4"}


def run(*command):
    done = subprocess.run(command, capture_output=True, text=True, errors="replace", timeout=300)
    if done.returncode != 0:
        raise AssertionError(f"{' '.join(command)}: {done.returncode}\n{done.stdout}{done.stderr}")
    return done.stdout + done.stderr


def picture(width, height, seed):
    """Rows of runs as in text, some noise, some rows white; 1 is black, the bits behind the width are 0."""
    chance = random.Random(seed)
    rows = []
    bits = 0
    for y in range(height):
        kind = chance.random()
        if kind < 0.3:
            bits = 0
        elif kind < 0.6:
            bits ^= 1 << chance.randrange(width)
        elif kind < 0.9:
            bits = 0
            at = 0
            while at < width:
                run_length = 1 + int(chance.expovariate(1 / 30))
                if chance.random() < 0.3:
                    bits |= (((1 << run_length) - 1) << at)
                at += run_length
            bits &= (1 << width) - 1
        else:
            bits = chance.getrandbits(width)
        row_bytes = (width + 7) // 8
        rows.append((bits << (row_bytes * 8 - width)).to_bytes(row_bytes, "big"))
    return b"".join(rows)


def write_pbm(path, width, height, rows):
    with open(path, "wb") as file:
        file.write(b"P4\n%d %d\n" % (width, height) + rows)


def write_png(path, width, height, rows):
    """A 1-bit grey picture, in which 1 is white."""
    row_bytes = (width + 7) // 8
    data = b"".join(b"\0" + bytes(b ^ 0xFF for b in rows[y * row_bytes:(y + 1) * row_bytes]) for y in range(height))

    def chunk(kind, body):
        return struct.pack(">I", len(body)) + kind + body + struct.pack(">I", zlib.crc32(kind + body))

    with open(path, "wb") as file:
        file.write(b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", struct.pack(">IIBBBBB", width, height, 1, 0, 0, 0, 0))
                   + chunk(b"IDAT", zlib.compress(data)) + chunk(b"IEND", b""))


def plain_rows(path, page, folder):
    """The rows of a page, as tiffcp decodes them into one uncompressed strip with white as 0."""
    out = os.path.join(folder, "plain.tif")
    messages = run("tiffcp", "-c", "none", "-s", "-r", "1000000", "-f", "msb2lsb", "-L", f"{path},{page}", out)
    # Pages carry both option tags whatever their group; libtiff knows each with one group alone.
    strange = [line for line in messages.splitlines() if not re.search(r"Unknown field with tag 29[23]", line)]
    if strange:
        raise AssertionError(f"tiffcp says {strange}")
    with open(out, "rb") as file:
        data = file.read()
    (directory,) = struct.unpack_from("<I", data, 4)
    (count,) = struct.unpack_from("<H", data, directory)
    tags = {}
    for i in range(count):
        number, kind, _ = struct.unpack_from("<HHI", data, directory + 2 + 12 * i)
        (value,) = struct.unpack_from("<H" if kind == 3 else "<I", data, directory + 10 + 12 * i)
        tags[number] = value
    rows = data[tags[273]:tags[273] + tags[279]]
    if tags[262] == 1:
        width = tags[256]
        row_bytes = (width + 7) // 8
        last = 0xFF << (-width % 8) & 0xFF
        rows = bytearray(b ^ 0xFF for b in rows)
        for at in range(row_bytes - 1, len(rows), row_bytes):
            rows[at] &= last
        rows = bytes(rows)
    return rows


class FaxPages(unittest.TestCase):
    def setUp(self):
        holder = tempfile.TemporaryDirectory()
        self.addCleanup(holder.cleanup)
        self.folder = holder.name

    def path(self, name):
        return os.path.join(self.folder, name)

    def save(self, name, rows, width, height, *options, png=False):
        source = self.path("in.png" if png else "in.pbm")
        (write_png if png else write_pbm)(source, width, height, rows)
        run(VXTIF, "save", source, self.path(name), *options)
        return self.path(name)

    def test_every_format_bit_for_bit(self):
        for width, height in ((1, 1), (7, 3), (32, 40), (1000, 300), (1728, 200), (9001, 20)):
            rows = picture(width, height, width)
            for name, told in FORMATS.items():
                if name == "ccitt" and width == 7:
                    continue  # as with the smallest tiles below
                for png in (False, True):
                    for options in ((), ("--big-endian",), ("--fill-order-2",) if name != "ccitt" else ()):
                        with self.subTest(width=width, format=name, png=png, options=options):
                            path = self.save("out.tif", rows, width, height, "--format", name, *options, png=png)
                            self.assertEqual(plain_rows(path, 0, self.folder), rows)
                            info = run("tiffinfo", path)
                            self.assertIn(f"Compression Scheme: {told}", info)
                            os.remove(path)

    def test_tags_as_tiffinfo_shows_them(self):
        rows = picture(1000, 300, 5)
        for name in FORMATS:
            with self.subTest(format=name):
                path = self.save("out.tif", rows, 1000, 300, "--format", name, "--resolution", "204")
                info = run("tiffinfo", path)
                for line in ("Image Width: 1000 Image Length: 300", "Resolution: 204, 204 pixels/inch",
                             "Bits/Sample: 1", "Photometric Interpretation: min-is-white", "Samples/Pixel: 1",
                             "Planar Configuration: single image plane", "Orientation: row 0 top, col 0 lhs",
                             f"Rows/Strip: {65 if name == 'ccitt' else 300}"):
                    self.assertIn(line, info)
                options = re.search(r"Group 3 Options: (.*)", info)
                if name == "g3":
                    self.assertEqual(options.group(1), "EOL padding (4 = 0x4)")
                elif name == "g3-2d":
                    self.assertEqual(options.group(1), "2-d encoding+EOL padding (5 = 0x5)")
                os.remove(path)

    def test_tiles(self):
        for width, height, tile in ((500, 300, "64x128"), (129, 65, "128x64"), (1000, 90, "16x16")):
            rows = picture(width, height, height)
            for name in FORMATS:
                if name == "ccitt" and tile == "16x16":
                    # libtiff loses its place where the last row of a piece has fewer bits than it looks ahead.
                    continue
                with self.subTest(format=name, tile=tile):
                    path = self.save("out.tif", rows, width, height, "--format", name, "--tiles", tile)
                    self.assertIn(f"Tile Width: {tile.split('x')[0]} Tile Length: {tile.split('x')[1]}",
                                  run("tiffinfo", path))
                    self.assertEqual(plain_rows(path, 0, self.folder), rows)
                    os.remove(path)

    def test_a_page_too_wide_for_strips(self):
        rows = picture(200001, 4, 8)
        for name in FORMATS:
            with self.subTest(format=name):
                path = self.save("out.tif", rows, 200001, 4, "--format", name)
                self.assertIn("Tile Width: 8192 Tile Length: 4", run("tiffinfo", path))
                os.remove(path)

    def test_appended_pages(self):
        pages = [(picture(300 + 50 * i, 100 + i, i), 300 + 50 * i, 100 + i) for i in range(8)]
        for i, (rows, width, height) in enumerate(pages):
            append = ("--append",) if i else ()
            self.save("many.tif", rows, width, height, "--format", list(FORMATS)[i % 4], *append)
        for i, (rows, _, _) in enumerate(pages):
            self.assertEqual(plain_rows(self.path("many.tif"), i, self.folder), rows, f"page {i}")
        info = run("tiffinfo", self.path("many.tif"))
        self.assertEqual([int(n) for n in re.findall(r"Page Number: (\d+)-0", info)], list(range(8)))
        self.assertEqual(info.count("Subfile Type: multi-page document"), 8)

    def test_fax2ps_draws_every_page(self):
        for i, name in enumerate(FORMATS):
            self.save("many.tif", picture(1728, 100, i), 1728, 100, "--format", name, "--resolution", "204",
                      *(("--append",) if i else ()))
        drawn = run("fax2ps", self.path("many.tif"))
        self.assertEqual(len(re.findall(r"^%%Page: ", drawn, re.M)), 4)

    def test_a_variant_page_loads_back(self):
        rows = picture(400, 1300, 3)
        for options in ((), ("--tiles", "128x128")):
            path = self.save("variant.tif", rows, 400, 1300, "--format", "variant", *options)
            with open(path, "rb") as file:
                self.assertEqual(file.read(4), b"II" + struct.pack("<H", 12622))
            run(VXTIF, "load", path, self.path("back.raw"))
            with open(self.path("back.raw"), "rb") as file:
                self.assertEqual(file.read(), rows)


if __name__ == "__main__":
    VXTIF = sys.argv.pop(1)
    unittest.main()
