#!/usr/bin/env python3
"""CMYK pages as one picture an ink, against tifffile, libtiff and GDAL.

    cmyk_planes.py VXTIF

Pages that `vxtif planes save` writes are read by all three with the samples of the inks; separated pages that they
write, in every layout, are taken apart by `vxtif planes load` into the same inks.
"""

import os
import subprocess
import sys
import tempfile
import unittest

import numpy as np
import tifffile
from osgeo import gdal

gdal.UseExceptions()

VXTIF = ""
LETTERS = "CMYK5"
WIDTH, HEIGHT = 45, 38


def run(*command):
    done = subprocess.run([str(part) for part in command], capture_output=True, text=True, errors="replace",
                          timeout=300)
    if done.returncode != 0:
        raise AssertionError(f"{command}: {done.returncode}\n{done.stdout}{done.stderr}")
    return done.stdout + done.stderr


def inks(count, bits):
    """Height x width x inks: smooth parts, equal parts and noise."""
    chance = np.random.default_rng(20 * count + bits)
    y, x, ink = np.meshgrid(np.arange(HEIGHT), np.arange(WIDTH), np.arange(count), indexing="ij")
    samples = (x * 5 + y * 3 + ink * 40) * (1 if bits == 8 else 257)
    noise = chance.integers(0, 1 << bits, samples.shape)
    samples = np.where(y % 5 == 0, noise, samples)
    samples = np.where(y % 7 == 1, ink * 11 + 3, samples)
    return (samples % (1 << bits)).astype(np.uint8 if bits == 8 else np.uint16)


def write_pgm(path, plane):
    with open(path, "wb") as file:
        file.write(b"P5\n%d %d\n%d\n" % (plane.shape[1], plane.shape[0], 255 if plane.dtype == np.uint8 else 65535))
        file.write(plane.astype(plane.dtype.newbyteorder(">")).tobytes())


def read_pgm(path):
    with open(path, "rb") as file:
        data = file.read()
    kind, width, height, maximum, pixels = data.split(maxsplit=3)[:3] + data.split(b"\n", 3)[2:]
    assert kind == b"P5", kind
    sample = np.dtype(np.uint8 if maximum == b"255" else ">u2")
    return np.frombuffer(pixels, sample).reshape(int(height), int(width)).astype(sample.newbyteorder("="))


def chunky(samples, planar):
    """Height x width x inks whatever the file's layout."""
    return np.moveaxis(samples, 0, 2) if planar else samples


# tiffcp scrambles planar tiles of 16 bits, which GDAL, over the same libtiff, does not.
class CmykPlanes(unittest.TestCase):
    def setUp(self):
        holder = tempfile.TemporaryDirectory()
        self.addCleanup(holder.cleanup)
        self.folder = holder.name

    def path(self, name):
        return os.path.join(self.folder, name)

    def save(self, samples, *options):
        names = [self.path(f"{ink}.pgm") for ink in range(samples.shape[2])]
        for ink, name in enumerate(names):
            write_pgm(name, samples[:, :, ink])
        run(VXTIF, "planes", "save", *names, "--out", self.path("out.tif"), *options)
        return self.path("out.tif")

    def load(self, path, *options):
        run(VXTIF, "planes", "load", path, self.path("ink.pgm"), *options)
        planes = []
        for letter in LETTERS:
            name = self.path(f"ink-{letter}.pgm")
            if os.path.exists(name):
                planes.append(read_pgm(name))
                os.remove(name)
        return np.stack(planes, axis=2)

    def by_gdal(self, path, page=1):
        """Without GDAL's own conversion to RGB."""
        bands = gdal.Open(f"GTIFF_RAW:{path}" if page == 1 else f"GTIFF_DIR:{page}:{path}").ReadAsArray()
        return np.moveaxis(bands, 0, 2)

    def by_libtiff(self, path, planar):
        """Through tiffcp into stored samples, which tifffile then only has to copy."""
        run("tiffcp", "-c", "none", "-s", path, self.path("plain.tif"))
        return chunky(tifffile.imread(self.path("plain.tif")), planar)

    def assert_same(self, found, expected, what):
        self.assertEqual(found.shape, expected.shape, what)
        wrong = np.argwhere(found != expected)
        self.assertEqual(len(wrong), 0, f"{what}: first wrong at {wrong[:1]}")

    def read_by_all(self, path, expected, stored, planar, tiffcp_can=True):
        self.assert_same(self.by_gdal(path), expected, "GDAL")
        if tiffcp_can:
            self.assert_same(self.by_libtiff(path, planar), expected, "libtiff")
        if stored:
            self.assert_same(chunky(tifffile.imread(path), planar), expected, "tifffile")

    def test_ours_read_by_others(self):
        for bits in (8, 16):
            for count in (4, 5):
                expected = inks(count, bits)
                for name in ("cmyk", "lzw-cmyk", "packbits-cmyk"):
                    for planar in (False, True):
                        for more in ((), ("--big-endian",), ("--predictor",)):
                            if more == ("--predictor",) and (name != "lzw-cmyk" or (bits, count, planar) == (16, 5, False)):
                                continue
                            if more == ("--big-endian",) and bits == 16 and name != "cmyk":
                                continue  # below
                            options = ("--format", name, *(("--planar",) if planar else ()), *more)
                            with self.subTest(bits=bits, count=count, options=options):
                                path = self.save(expected, *options)
                                self.read_by_all(path, expected, name == "cmyk", planar)
                                with tifffile.TiffFile(path) as file:
                                    page = file.pages[0]
                                    self.assertEqual((int(page.photometric), page.samplesperpixel, page.bitspersample,
                                                      int(page.planarconfig), len(page.extrasamples)),
                                                     (5, count, bits, 2 if planar else 1, count - 4))
                                    self.assertEqual(file.byteorder, ">" if "--big-endian" in more else "<")
                                self.assert_same(self.load(path), expected, "itself")

    def test_compressed_words_of_a_big_endian_file_stay_little_endian(self):
        expected = inks(4, 16)
        for name in ("lzw-cmyk", "packbits-cmyk"):
            for planar in ((), ("--planar",)):
                path = self.save(expected, "--format", name, "--big-endian", *planar)
                self.assert_same(self.by_gdal(path), expected.byteswap(), "GDAL")
                self.assert_same(self.by_libtiff(path, planar != ()), expected.byteswap(), "libtiff")

    def test_tiled_planes(self):
        for bits in (8, 16):
            expected = inks(4, bits)
            for name in ("cmyk", "lzw-cmyk", "packbits-cmyk"):
                path = self.save(expected, "--format", name, "--planar", "--tiles", "16x32")
                self.read_by_all(path, expected, name == "cmyk", True, bits == 8)
                self.assert_same(self.load(path), expected, "itself")

    def test_planes_behind_other_pages(self):
        first, second = inks(4, 8), inks(5, 16)
        self.save(first, "--format", "lzw-cmyk")
        path = self.save(second, "--format", "packbits-cmyk", "--planar", "--append")
        self.assert_same(self.load(path, "--page", "1"), first, "first page")
        self.assert_same(self.load(path, "--page", "2"), second, "second page")
        self.assert_same(self.by_gdal(path, 2), second, "GDAL's second page")

    def test_those_of_tifffile(self):
        for bits in (8, 16):
            for count in (4, 5):
                expected = inks(count, bits)
                for planar in (False, True):
                    for order in "<>":
                        for more in ({}, {"rowsperstrip": 7}, {"tile": (16, 32)}):
                            with self.subTest(bits=bits, count=count, planar=planar, order=order, more=more):
                                tifffile.imwrite(self.path("in.tif"), np.moveaxis(expected, 2, 0) if planar else expected,
                                                 photometric="separated", byteorder=order,
                                                 planarconfig="separate" if planar else "contig",
                                                 extrasamples=["unspecified"] * (count - 4) or None, **more)
                                self.assert_same(self.load(self.path("in.tif")), expected, "loaded")

    def test_those_of_libtiff(self):
        for bits in (8, 16):
            for count in (4, 5):
                expected = inks(count, bits)
                for planar in (False, True):
                    tifffile.imwrite(self.path("in.tif"), np.moveaxis(expected, 2, 0) if planar else expected,
                                     photometric="separated", planarconfig="separate" if planar else "contig",
                                     extrasamples=["unspecified"] * (count - 4) or None)
                    for compression in ("none", "lzw", "lzw:2", "packbits"):
                        for order in ("-L", "-B"):
                            for pieces in (("-s", "-r", "9"), ("-t", "-w", "16", "-l", "16")):
                                if planar and bits == 16 and "-t" in pieces:
                                    continue
                                options = ("-c", compression, order, *pieces)
                                with self.subTest(bits=bits, count=count, planar=planar, options=options):
                                    run("tiffcp", *options, self.path("in.tif"), self.path("made.tif"))
                                    self.assert_same(self.load(self.path("made.tif")), expected, "loaded")

    def test_those_of_gdal(self):
        for bits in (8, 16):
            expected = inks(4, bits)
            source = gdal.GetDriverByName("MEM").Create("", WIDTH, HEIGHT, 4, gdal.GDT_Byte if bits == 8 else gdal.GDT_UInt16)
            for ink in range(4):
                source.GetRasterBand(ink + 1).WriteArray(expected[:, :, ink])
            for compression in (("COMPRESS=NONE",), ("COMPRESS=LZW",), ("COMPRESS=LZW", "PREDICTOR=2"), ("COMPRESS=PACKBITS",)):
                for interleave in ("PIXEL", "BAND"):
                    for order in ("LITTLE", "BIG"):
                        for tiled in ((), ("TILED=YES", "BLOCKXSIZE=32", "BLOCKYSIZE=16")):
                            options = ["PHOTOMETRIC=CMYK", *compression, f"INTERLEAVE={interleave}", f"ENDIANNESS={order}",
                                       *tiled]
                            with self.subTest(bits=bits, options=options):
                                gdal.GetDriverByName("GTiff").CreateCopy(self.path("made.tif"), source, options=options)
                                self.assert_same(self.load(self.path("made.tif")), expected, "loaded")


if __name__ == "__main__":
    VXTIF = sys.argv.pop(1)
    unittest.main()
