#!/usr/bin/env python3
"""Strips that other programs have compressed, streamed into pages by `vxtif save --data` and read by other programs.

    strip_data.py VXTIF

libtiff's tools, Pillow and zlib make the strips; they are taken out of their files and given to the tool, as a file and
through a pipe, into files of both byte orders, alone and behind other pages. GDAL, libtiff and tifffile then have to see
the picture that went in.
"""

import io
import os
import struct
import subprocess
import sys
import tempfile
import unittest
import zlib

import numpy as np
import tifffile
from PIL import Image
from osgeo import gdal

gdal.UseExceptions()
gdal.PushErrorHandler("CPLQuietErrorHandler")  # libtiff tells of every JPEG whose sub-sampling only the stream names

VXTIF = ""
WIDTH, HEIGHT = 203, 60
WAYS = [(pipe, order, append) for pipe in (False, True) for order in ((), ("--big-endian",)) for append in (False, True)]


def run(*command, data=None):
    done = subprocess.run([str(part) for part in command], input=data, capture_output=True, timeout=300)
    if done.returncode != 0:
        raise AssertionError(f"{command}: {done.returncode}\n{done.stdout}{done.stderr}")
    return done.stderr.decode("utf-8", "replace")


def bilevel():
    """1 is black: runs of all lengths, some noise."""
    chance = np.random.default_rng(5)
    picture = np.zeros((HEIGHT, WIDTH), np.uint8)
    for y in range(HEIGHT):
        at, black = 0, 0
        while at < WIDTH:
            length = int(chance.integers(1, 60))
            picture[y, at:at + length] = black
            at, black = at + length, 1 - black
        if y % 3 == 0 and y:
            picture[y] = picture[y - 1]
        if y % 17 == 5:
            picture[y] = chance.integers(0, 2, WIDTH)
    return picture


def colours(bits=8, samples=3):
    y, x, c = np.meshgrid(np.arange(HEIGHT), np.arange(WIDTH), np.arange(samples), indexing="ij")
    values = (x * 3 + y * 5 + c * 60 + (x * y) // 9) * (1 if bits == 8 else 131)
    return (values % (1 << bits)).astype(np.uint8 if bits == 8 else np.uint16)


class StripData(unittest.TestCase):
    def setUp(self):
        holder = tempfile.TemporaryDirectory()
        self.addCleanup(holder.cleanup)
        self.folder = holder.name
        self.out = self.path("out.tif")

    def path(self, name):
        return os.path.join(self.folder, name)

    def one_strip(self, path):
        """The bytes of the only strip of a file."""
        with tifffile.TiffFile(path) as file:
            page = file.pages[0]
            self.assertEqual(len(page.dataoffsets), 1)
            with open(path, "rb") as raw:
                raw.seek(page.dataoffsets[0])
                return raw.read(page.databytecounts[0])

    def by_libtiff(self, picture, *options, **tags):
        tifffile.imwrite(self.path("in.tif"), picture, rowsperstrip=len(picture), **tags)
        run("tiffcp", "-s", "-r", len(picture), *options, self.path("in.tif"), self.path("made.tif"))
        return self.one_strip(self.path("made.tif"))

    def save(self, strip, way, *options):
        """Gives the number of the page, from 1."""
        pipe, order, append = way
        if os.path.exists(self.out):
            os.remove(self.out)
        if append:
            tifffile.imwrite(self.out, np.zeros((5, 4), np.uint8), byteorder=">" if order else "<")
        with open(self.path("strip"), "wb") as file:
            file.write(strip)
        more = ("--append",) if append else order
        run(VXTIF, "save", "-" if pipe else self.path("strip"), self.out, "--data", *options, *more,
            data=strip if pipe else None)
        with open(self.out, "rb") as file:
            self.assertEqual(file.read(2), b"MM" if order else b"II")
        self.assertEqual(self.page_strip(1 if append else 0), strip)
        return 2 if append else 1

    def page_strip(self, index):
        with tifffile.TiffFile(self.out) as file:
            page = file.pages[index]
            with open(self.out, "rb") as raw:
                raw.seek(page.dataoffsets[0])
                return raw.read(page.databytecounts[0])

    def seen_by_gdal(self, page):
        picture = gdal.Open(f"GTIFF_DIR:{page}:{self.out}").ReadAsArray()
        return picture if picture.ndim == 2 else np.moveaxis(picture, 0, 2)

    def seen_by_libtiff(self, page):
        """What tiffcp says of tags that fax pages carry for the other group is no fault."""
        run("tiffcp", "-c", "none", "-s", f"{self.out},{page - 1}", self.path("plain.tif"))
        with tifffile.TiffFile(self.path("plain.tif")) as file:
            return file.pages[0].asarray()

    def assert_seen(self, page, expected, tifffile_too=False):
        for name, seen in (("GDAL", self.seen_by_gdal(page)), ("libtiff", self.seen_by_libtiff(page))):
            np.testing.assert_array_equal(seen, expected, name)
        if tifffile_too:
            np.testing.assert_array_equal(tifffile.imread(self.out, key=page - 1), expected, "tifffile")

    def size(self, picture):
        return ("--width", picture.shape[1], "--height", picture.shape[0])

    def test_ccitt_of_libtiff(self):
        picture = bilevel()
        for name, option in (("g3", "g3:1d:fill"), ("g3-2d", "g3:2d:fill"), ("g4", "g4")):
            for photometric in (0, 1):
                samples = picture.astype(bool) if photometric == 0 else ~picture.astype(bool)
                for reverse in (False, True):
                    strip = self.by_libtiff(samples, "-c", option, "-f", "lsb2msb" if reverse else "msb2lsb",
                                            photometric="miniswhite" if photometric == 0 else "minisblack")
                    for way in WAYS:
                        with self.subTest(name=name, photometric=photometric, reverse=reverse, way=way):
                            page = self.save(strip, way, "--compression", name, *self.size(picture), "--photometric",
                                             photometric, *(("--fill-order-2",) if reverse else ()))
                            # GDAL gives white as 1 or 0 by the photometric value, tifffile as bool.
                            np.testing.assert_array_equal(self.seen_by_gdal(page), samples.astype(np.uint8))
                            np.testing.assert_array_equal(self.seen_by_libtiff(page), samples)

    def test_ccitt_run_length_of_pillow(self):
        picture = bilevel()
        Image.fromarray(picture == 0).save(self.path("made.tif"), compression="tiff_ccitt", strip_size=1 << 30)
        strip = self.one_strip(self.path("made.tif"))
        with tifffile.TiffFile(self.path("made.tif")) as file:
            photometric = int(file.pages[0].photometric)
        for way in WAYS:
            page = self.save(strip, way, "--compression", "ccitt", *self.size(picture), "--photometric", photometric)
            expected = (picture if photometric == 0 else 1 - picture).astype(np.uint8)
            np.testing.assert_array_equal(self.seen_by_gdal(page), expected)
            np.testing.assert_array_equal(self.seen_by_libtiff(page), expected.astype(bool))

    def test_deflate_of_zlib(self):
        for name in ("deflate", "old-deflate", "8"):
            for way in WAYS:
                picture = colours()
                page = self.save(zlib.compress(picture.tobytes()), way, "--compression", name, *self.size(picture),
                                 "--bits", 24)
                self.assert_seen(page, picture, tifffile_too=True)
                picture = colours()[:, :, 0]
                page = self.save(zlib.compress(picture.tobytes()), way, "--compression", name, *self.size(picture),
                                 "--bits", 8)
                self.assert_seen(page, picture, tifffile_too=True)
                # Words stand in the byte order of the file.
                picture = colours(16, 1)[:, :, 0]
                data = picture.astype(">u2" if way[1] else "<u2").tobytes()
                page = self.save(zlib.compress(data), way, "--compression", name, *self.size(picture), "--bits", 16)
                self.assert_seen(page, picture, tifffile_too=True)

    def test_lzw_and_packbits_of_libtiff(self):
        for compression in ("lzw", "packbits"):
            for picture, bits in ((colours(), 24), (colours()[:, :, 1], 8), (colours(16), 48), (colours(8, 4), 32)):
                for way in WAYS:
                    photometric = "minisblack" if picture.ndim == 2 else "rgb"
                    more = {} if picture.ndim == 2 or picture.shape[2] == 3 else {"extrasamples": ["unspecified"]}
                    strip = self.by_libtiff(picture, "-c", compression, "-B" if way[1] else "-L",
                                            photometric=photometric, **more)
                    with self.subTest(compression=compression, bits=bits, way=way):
                        page = self.save(strip, way, "--compression", compression, *self.size(picture), "--bits", bits)
                        self.assert_seen(page, picture)
                        if bits in (8, 24):
                            out = self.path("back.ppm" if bits == 24 else "back.pgm")
                            run(VXTIF, "load", self.out, out, "--page", page)
                            np.testing.assert_array_equal(np.asarray(Image.open(out)), picture, "itself")

    def test_strips_with_a_predictor(self):
        picture = colours()
        strip = self.by_libtiff(picture, "-c", "lzw:2", photometric="rgb")
        for way in WAYS:
            page = self.save(strip, way, "--compression", "lzw", *self.size(picture), "--bits", 24)
            run(VXTIF, "tag", "set", self.out, "Predictor=SHORT:2", "--page", page)
            self.assert_seen(page, picture)

    def test_palette_pixels(self):
        indices = colours()[:, :, 0] % 16
        table = np.array([[i * 17, 255 - i * 3, i * i] for i in range(16)], np.uint8)
        Image.fromarray(table.reshape(1, 16, 3)).save(self.path("colours.png"))
        even = np.concatenate([indices, np.zeros((HEIGHT, 1), np.uint8)], axis=1)
        packed = (even[:, ::2] << 4 | even[:, 1::2]).astype(np.uint8)
        page = self.save(zlib.compress(packed.tobytes()), WAYS[0], "--compression", "deflate", *self.size(indices),
                         "--bits", 4, "--palette", self.path("colours.png"))
        np.testing.assert_array_equal(self.seen_by_gdal(page), indices)
        with tifffile.TiffFile(self.out) as file:  # the bytes of the colours stand in the upper halves of the map's words
            np.testing.assert_array_equal(file.pages[0].colormap, table.T.astype(np.uint16) << 8)

    def test_jpeg_of_pillow(self):
        picture = colours()
        for subsampling in (0, 2):  # 4:4:4 and 4:2:0, of which the stream itself tells
            stream = io.BytesIO()
            Image.fromarray(picture).save(stream, "JPEG", quality=90, subsampling=subsampling)
            with open(self.path("in.jpg"), "wb") as file:
                file.write(stream.getvalue())
            expected = np.moveaxis(gdal.Open(self.path("in.jpg")).ReadAsArray(), 0, 2)
            for way in WAYS:
                with self.subTest(subsampling=subsampling, way=way):
                    page = self.save(stream.getvalue(), way, "--compression", "jpeg", *self.size(picture), "--bits", 24,
                                     "--photometric", 6)
                    self.assert_seen(page, expected)
        stream = io.BytesIO()
        Image.fromarray(picture[:, :, 0]).save(stream, "JPEG", quality=90)
        with open(self.path("in.jpg"), "wb") as file:
            file.write(stream.getvalue())
        for way in WAYS:
            page = self.save(stream.getvalue(), way, "--compression", "jpeg", *self.size(picture), "--bits", 8)
            self.assert_seen(page, gdal.Open(self.path("in.jpg")).ReadAsArray())

    def test_many_pages_of_one_file(self):
        picture = bilevel().astype(bool)
        strips = [("g4", self.by_libtiff(picture, "-c", "g4", photometric="miniswhite")),
                  ("g3", self.by_libtiff(picture, "-c", "g3:1d:fill", photometric="miniswhite")),
                  ("none", np.packbits(picture, axis=1).tobytes())] * 3
        for i, (name, strip) in enumerate(strips):
            run(VXTIF, "save", "-", self.out, "--data", "--compression", name, *self.size(picture), "--bits", 1,
                *(("--append",) if i else ()), data=strip)
        for i in range(len(strips)):
            np.testing.assert_array_equal(self.seen_by_libtiff(i + 1), picture)
            run(VXTIF, "load", self.out, self.path("back.pbm"), "--page", i + 1)
            np.testing.assert_array_equal(~np.asarray(Image.open(self.path("back.pbm"))), picture, f"page {i + 1}")
        with open(self.out, "rb") as file:
            (directory,) = struct.unpack_from("<I", file.read(8), 4)
        self.assertEqual(directory, 8)


if __name__ == "__main__":
    VXTIF = sys.argv.pop(1)
    unittest.main()
