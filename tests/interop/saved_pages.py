#!/usr/bin/env python3
"""Saves pages of every strip format, depth and layout and reads them with libtiff, tifffile and exiftool.

    saved_pages.py VXTIF

Pages are saved in both byte orders, in strips and in tiles, as new files and appended, inserted and replacing in files
of many pages. tiffcp has to hand out the rows that the picture gives by the rules of the format, tiffinfo and tifffile
the tags; tifffile and tiff2rgba read what they can for themselves. What a tool remarks on is allowed only where REMARKS
says why; a page whose pixels are not the picture's for a reader that goes by the book only where CHANGED does.
"""

import concurrent.futures
import logging
import os
import re
import shutil
import struct
import subprocess
import sys
import tempfile
import unittest

sys.dont_write_bytecode = True

import numpy
import tifffile

from page_model import CHANGED, Page, ycbcr_row

VXTIF = ""
SEED = int(os.environ.get("VX_SEED", "20260301"))

# What a tool may remark on a page, and why.
REMARKS = {
    "exiftool": [
        (r"Invalid value for IFD0 tag 0x0106 PhotometricInterpretation", lambda page: page.photometric in (5, 6),
         "exiftool takes the values 0 to 3 alone for good"),
        (r"Undersized IFD0 (Strip|Tile)ByteCounts", lambda page: page.photometric == 6,
         "exiftool reckons with three samples a pixel, sub-sampled pages have two"),
        (r"Oversized IFD0 StripByteCounts", lambda page: page.width * page.bits % 8,
         "exiftool does not reckon with whole bytes a row"),
        (r"Oversized IFD0 TileByteCounts", lambda page: page.tiled, "nor with the padding of tiles"),
        (r"Invalid value for IFD0 tag 0x0115 SamplesPerPixel", lambda page: page.kind == "words16",
         "5-5-5 colours are one sample, and RGB all the same"),
        (r"Invalid value for IFD0 tag 0x0115 SamplesPerPixel", lambda page: page.bits in (32, 64) and not page.gray,
         "exiftool takes the value 0 of ExtraSamples, unspecified data, for no extra sample"),
        (r"Missing required TIFF IFD0 tag 0x0111 StripOffsets", lambda page: page.tiled,
         "exiftool wants strips, also where there are tiles"),
        (r"Missing required TIFF IFD0 tag 0x0116 RowsPerStrip", lambda page: page.tiled, "likewise"),
        (r"Missing required TIFF IFD0 tag 0x0117 StripByteCounts", lambda page: page.tiled, "likewise"),
    ],
    "libtiff": [
        (r"Unknown field with tag 347(35|36|37) ", lambda page: page.name == "geotiff",
         "libtiff leaves the tags of GeoTIFF to a library of their own"),
    ],
}


GRAYS = [f"gray{bits}" for bits in (1, 2, 3, 4, 5, 6, 7, 8, 12, 16, 32)]
PALETTES = [f"palette{bits}" for bits in range(1, 9)]
COLOURS = ["rgb24", "rgb32", "rgb48", "rgb64"]


def combinations():
    for name in ("none", "lzw", "packbits"):
        for kind in GRAYS + PALETTES + ["words16"] + COLOURS:
            yield kind, name, False
    for kind in ("gray8", "gray16", "gray32", "palette8", "words16", *COLOURS):
        yield kind, "lzw", True
    for kind in COLOURS:
        for name in ("cmyk", "lzw-cmyk", "packbits-cmyk"):
            yield kind, name, False
        yield kind, "lzw-cmyk", True
    for name in ("ycbcr", "lzw-ycbcr", "packbits-ycbcr"):
        yield "rgb24", name, False
    for kind in ("gray8", "gray16", "gray32", "rgb24", "rgb48"):
        yield kind, "geotiff", False


def run(*command, fails=False):
    done = subprocess.run(command, capture_output=True, text=True, errors="replace", timeout=300)
    if (done.returncode != 0) != fails:
        raise AssertionError(f"{' '.join(command)}: {done.returncode}\n{done.stdout}{done.stderr}")
    return done.stdout, done.stderr


class Directory:
    """The directories of a little-endian file of one strip a page, as tiffcp writes it."""

    SIZES = {1: 1, 2: 1, 3: 2, 4: 4, 5: 8, 7: 1, 12: 8}

    def __init__(self, data, at):
        (count,) = struct.unpack_from("<H", data, at)
        self.values = {}
        for i in range(count):
            tag, kind, number, word = struct.unpack_from("<HHII", data, at + 2 + 12 * i)
            size = self.SIZES[kind] * number
            place = at + 2 + 12 * i + 8 if size <= 4 else word
            letter = {3: "H", 4: "I"}.get(kind, "B")
            body = data[place:place + size]
            self.values[tag] = struct.unpack(f"<{len(body) // struct.calcsize(letter)}{letter}", body)
        (self.next,) = struct.unpack_from("<I", data, at + 2 + 12 * count)

    @staticmethod
    def all(path):
        with open(path, "rb") as file:
            data = file.read()
        (at,) = struct.unpack_from("<I", data, 4)
        pages = []
        while at:
            page = Directory(data, at)
            page.strip = data[page.values[273][0]:page.values[273][0] + page.values[279][0]]
            pages.append(page)
            at = page.next
        return pages


def disguise(path, out):
    """Makes grey pages of a file's YCbCr pages, so that libtiff hands their data out as they are: a unit's four bytes
    are four pixels."""
    with open(path, "rb") as file:
        data = bytearray(file.read())
    order = "<" if data[:2] == b"II" else ">"
    (at,) = struct.unpack_from(order + "I", data, 4)
    while at:
        (count,) = struct.unpack_from(order + "H", data, at)
        places = {struct.unpack_from(order + "H", data, at + 2 + 12 * i)[0]: at + 2 + 12 * i for i in range(count)}
        (photometric,) = struct.unpack_from(order + "H", data, places[262] + 8)
        if photometric == 6:
            for tag in (256, 322):
                if tag in places:
                    (width,) = struct.unpack_from(order + "I", data, places[tag] + 8)
                    struct.pack_into(order + "I", data, places[tag] + 8, (width + 1) // 2 * 4)
            struct.pack_into(order + "HIHH", data, places[258] + 2, 3, 1, 8, 0)
            struct.pack_into(order + "H", data, places[262] + 8, 1)
            struct.pack_into(order + "H", data, places[277] + 8, 1)
            for tag in (530, 531, 532):  # tags of nobody
                struct.pack_into(order + "H", data, places[tag], 65000 + tag - 530)
        (at,) = struct.unpack_from(order + "I", data, at + 2 + 12 * count)
    with open(out, "wb") as file:
        file.write(data)


class SavedPages(unittest.TestCase):
    longMessage = True

    @classmethod
    def setUpClass(cls):
        print(f"saved pages: seed {SEED}", file=sys.stderr)
        holder = tempfile.TemporaryDirectory()
        cls.addClassCleanup(holder.cleanup)
        cls.folder = holder.name
        cls.made = set()
        chance = numpy.random.default_rng(SEED)
        cls.groups = {}
        for big in (False, True):
            for tiled in (False, True):
                pages = [Page(*combination, big, tiled, chance) for combination in combinations()]
                for i, page in enumerate(pages):
                    page.path = os.path.join(cls.folder, f"{'big' if big else 'little'}-"
                                                         f"{'tiles' if tiled else 'strips'}-{i}")
                    with open(page.path + ".pnm", "wb") as file:
                        file.write(page.source)
                cls.groups[big, tiled] = pages
        with concurrent.futures.ThreadPoolExecutor(2) as workers:
            list(workers.map(cls.save_group, cls.groups.values()))

    @classmethod
    def save_group(cls, pages):
        """All pages as files of their own, and files in which they were appended, inserted and put in the place of
        others."""
        first = pages[0]
        stem = re.sub(r"-\d+$", "", first.path)
        first.files = {kind: f"{stem}-{kind}.tif" for kind in ("appended", "inserted", "replaced")}
        for i, page in enumerate(pages):
            cls.save(page, page.path + ".tif")
            cls.save(page, first.files["appended"], *(("--append",) if i else ()))
            # Each page in front of the one before: they stand in reverse order.
            cls.save(page, first.files["inserted"], *(("--insert", "1") if i else ()))
        # Every page takes the place of another.
        shutil.copy(first.files["appended"], first.files["replaced"])
        for i, page in enumerate(pages[::-1]):
            cls.save(page, first.files["replaced"], "--replace", str(i + 1))

    @staticmethod
    def save(page, path, *options):
        if page.predictor:
            options += ("--predictor",)
        if page.big:
            options += ("--big-endian",)
        if page.tiled:
            options += ("--tiles", "16x16")
        if page.gray:
            options += ("--gray",)
        if page.name == "geotiff":
            options += ("--geo", "3072=SHORT:32633")
        run(VXTIF, "save", page.path + ".pnm", path, "--format", page.name, "--bits", str(page.bits), *options)

    def each_file(self):
        """Files with the pages that they should hold."""
        for pages in self.groups.values():
            for page in pages:
                yield page.path + ".tif", [page]
            yield pages[0].files["appended"], pages
            yield pages[0].files["inserted"], pages[::-1]
            yield pages[0].files["replaced"], pages[::-1]

    def check_remarks(self, tool, text, pages):
        """Each line of what a tool says of some pages has to be one of those that are explained."""
        for line in text.splitlines():
            known = [remark for remark in REMARKS[tool] if re.search(remark[0], line) and any(map(remark[1], pages))]
            self.made.update(known)
            if not known:
                self.fail(f"{tool} says of {pages[0]} and {len(pages) - 1} others: {line}")

    def test_changed_pages_are_the_ones_that_are_known(self):
        for pages in self.groups.values():
            for page in pages:
                if page.ycbcr:
                    continue
                differs = not numpy.array_equal(page.expected_rows(), page.true_rows())
                self.assertEqual(differs, any(applies(page) for _, applies in CHANGED), str(page))

    def test_pixels_as_libtiff_decodes_them(self):
        for i, (path, pages) in enumerate(self.each_file()):
            source = path
            if any(page.ycbcr for page in pages):
                source = os.path.join(self.folder, "disguised.tif")
                disguise(path, source)
            out = os.path.join(self.folder, "plain.tif")
            _, said = run("tiffcp", "-c", "none", "-s", "-r", "1000000", "-L", source, out)
            self.check_remarks("libtiff", re.sub(r".*Unknown field with tag 650.*\n", "", said), pages)
            plain = Directory.all(out)
            self.assertEqual(len(plain), len(pages), path)
            for page, read in zip(pages, plain):
                self.compare(page, read, f"{os.path.basename(path)}: {page}")

    def compare(self, page, read, what):
        expected = page.expected_rows()
        rows = numpy.frombuffer(read.strip, "u1").reshape(page.height, -1)
        spare = -page.width * sum(page.sample_bits) % 8
        if spare and not page.ycbcr:
            rows = rows.copy()
            rows[:, -1] &= 0xFF << spare & 0xFF
        if page.colours is None:
            self.assertTrue(numpy.array_equal(rows, expected), what)
            return
        # The same colours, whatever their places in the map.
        entries = 1 << page.bits
        map_ = numpy.array(read.values[320]).reshape(3, entries) >> 8
        bits = numpy.unpackbits(rows, axis=1)[:, :page.width * page.bits].reshape(page.height, page.width, page.bits)
        indices = (bits.astype(int) << numpy.arange(page.bits - 1, -1, -1)).sum(axis=2)
        got = map_[0][indices] << 16 | map_[1][indices] << 8 | map_[2][indices]
        self.assertTrue(numpy.array_equal(got, page.colours[page.samples]), what)

    def test_tags_as_tifffile_reads_them(self):
        places = {273, 279, 320, 324, 325}
        for path, pages in self.each_file():
            with self.assertNoLogs("tifffile", logging.WARNING), tifffile.TiffFile(path) as file:
                self.assertEqual(file.byteorder, ">" if pages[0].big else "<")
                self.assertEqual(len(file.pages), len(pages), path)
                for number, (page, read) in enumerate(zip(pages, file.pages)):
                    tags = {tag.code: tag.value for tag in read.tags if tag.code not in places}
                    tags[258] = [tags[258]] if isinstance(tags[258], int) else list(tags[258])
                    tags = {code: (tuple(value) if isinstance(value, tuple) and code != 258 else value)
                            for code, value in tags.items()}
                    self.assertEqual({code: self.number(value) for code, value in tags.items()},
                                     page.tags(number, len(pages) > 1), f"{os.path.basename(path)}: {page}")
                    self.assertEqual(320 in read.tags, page.colours is not None, str(page))
                    self.check_places(page, read)

    @staticmethod
    def number(value):
        if isinstance(value, (tuple, list)):
            return type(value)(int(item) for item in value)
        return int(value)

    def check_places(self, page, read):
        """One strip or tile behind the other, in front of each the tables."""
        offsets, counts = read.dataoffsets, read.databytecounts
        if page.tiled:
            self.assertEqual(len(offsets), 6)
        else:
            self.assertEqual(len(offsets), -(-page.height // page.rows_per_strip))
        for i in range(len(offsets) - 1):
            self.assertEqual(offsets[i + 1], offsets[i] + counts[i], str(page))
        if page.compression == 1 and not page.tiled:
            rows = [page.rows_per_strip] * (len(offsets) - 1)
            rows.append(page.height - sum(rows))
            self.assertEqual(list(counts), [n * page.row_bytes for n in rows], str(page))

    def test_pixels_as_tifffile_reads_them(self):
        read_pages = 0
        for (big, _), pages in self.groups.items():
            with tifffile.TiffFile(pages[0].files["appended"]) as file:
                for page, read in zip(pages, file.pages):
                    # Its own codecs are none; samples of other sizes and sub-sampling are beyond it.
                    if page.compression != 1 or page.ycbcr or page.sample_bits[0] not in (1, 8, 16, 32):
                        continue
                    got = read.asarray()
                    if page.sample_bits == [1]:
                        rows = numpy.packbits(got, axis=1)
                    else:
                        got = got.astype(got.dtype.newbyteorder("<"))
                        rows = numpy.frombuffer(got.tobytes(), "u1").reshape(page.height, -1)
                    if page.colours is None:
                        self.assertTrue(numpy.array_equal(rows, page.expected_rows()), str(page))
                    else:
                        map_ = read.colormap >> 8
                        colours = map_[:, got.astype(int)]
                        self.assertTrue(numpy.array_equal(colours[0].astype(int) << 16 | colours[1].astype(int) << 8
                                                          | colours[2], page.colours[page.samples]), str(page))
                    read_pages += 1
        self.assertEqual(read_pages, 4 * 20)

    def test_ycbcr_colours_as_libtiff_shows_them(self):
        for (big, tiled), pages in self.groups.items():
            for page in pages:
                if not page.ycbcr:
                    continue
                out = os.path.join(self.folder, "rgba.tif")
                run("tiff2rgba", "-c", "none", "-n", page.path + ".tif", out)
                with tifffile.TiffFile(out) as file:
                    got = file.pages[0].asarray()[..., :3].astype(int)
                units = page.expected_rows().reshape(page.height, -1, 4).astype(float)
                luma = units[..., :2].reshape(page.height, -1)[:, :page.width]
                cb, cr = (numpy.repeat(units[..., i] - 128, 2, axis=1)[:, :page.width] for i in (2, 3))
                red, blue = luma + 1.402 * cr, luma + 1.772 * cb
                green = (luma - 0.299 * red - 0.114 * blue) / 0.587
                wanted = numpy.clip(numpy.stack([red, green, blue], axis=2), 0, 255)
                self.assertLessEqual(numpy.abs(got - wanted).max(), 4, str(page))

    def test_tiffinfo_finds_nothing_strange(self):
        for pages in self.groups.values():
            for kind in ("appended", "inserted", "replaced"):
                shown, said = run("tiffinfo", pages[0].files[kind])
                self.check_remarks("libtiff", said, pages)
                self.assertEqual(shown.count("=== TIFF directory"), len(pages))
                ordered = pages if kind == "appended" else pages[::-1]
                for page, text in zip(ordered, shown.split("=== TIFF directory")[1:]):
                    self.assertIn(f"Image Width: {page.width} Image Length: {page.height}", text)
                    self.assertIn(f"Samples/Pixel: {len(page.sample_bits)}", text)
                    self.assertEqual("Tile Width: 16 Tile Length: 16" in text, page.tiled)
                    self.assertEqual("Predictor: horizontal differencing" in text, page.predictor)

    def test_exiftool_finds_nothing_strange(self):
        new = [(path, pages[0]) for path, pages in self.each_file() if len(pages) == 1]
        by_name = {os.path.basename(path): page for path, page in new}
        shown, _ = run("exiftool", "-validate", "-warning", "-a", "-S", *[path for path, _ in new])
        page = None
        told = 0
        for line in shown.splitlines():
            if line.startswith("======== "):
                page = by_name[os.path.basename(line[9:])]
                told += 1
            elif line.startswith("Warning: "):
                self.check_remarks("exiftool", line, [page])
            elif line.startswith("Validate: "):
                self.assertRegex(line, r"OK|\d+ Warning")
            elif "image files read" not in line:
                self.fail(line)
        self.assertEqual(told, len(new))
        self.assertEqual(set(REMARKS["exiftool"]) - self.made, set(), "explained, but never made")

    def test_gdal_knows_the_projection_and_the_samples(self):
        for pages in self.groups.values():
            for page in pages:
                if page.name != "geotiff":
                    continue
                shown, said = run("gdalinfo", page.path + ".tif")
                self.assertEqual(said, "", str(page))
                self.assertIn("WGS 84 / UTM zone 33N", shown, str(page))
                self.assertIn(f"Size is {page.width}, {page.height}", shown)
                kind = "Float32" if page.float else "UInt16" if page.sample_bits[0] == 16 else "Byte"
                self.assertEqual(len(re.findall(rf"Band \d+ Block=\d+x\d+ Type={kind}", shown)),
                                 len(page.sample_bits), str(page))


class TwelveBitsWithThePredictor(unittest.TestCase):
    def test_is_beyond_libtiff(self):
        with tempfile.TemporaryDirectory() as folder:
            path = os.path.join(folder, "in.pgm")
            with open(path, "wb") as file:
                file.write(b"P5\n4 1\n65535\n" + struct.pack(">4H", 1, 2, 3, 4))
            out = os.path.join(folder, "out.tif")
            run(VXTIF, "save", path, out, "--format", "lzw", "--bits", "12", "--gray", "--predictor")
            _, said = run("tiffcp", "-c", "none", out, os.path.join(folder, "plain.tif"), fails=True)
            self.assertIn('"Predictor" not supported with 12-bit samples', said)


class ExifPages(unittest.TestCase):
    """Main page and stamp of the Exif formats, which always make a new file."""

    def setUp(self):
        holder = tempfile.TemporaryDirectory()
        self.addCleanup(holder.cleanup)
        self.folder = holder.name
        chance = numpy.random.default_rng(SEED)
        self.pixels = chance.integers(0, 256, (9, 14, 3)).astype("u1")
        self.small = chance.integers(0, 256, (3, 4, 3)).astype("u1")
        for name, pixels in (("in", self.pixels), ("stamp", self.small)):
            with open(os.path.join(self.folder, name + ".ppm"), "wb") as file:
                file.write(Page.pnm(pixels, 255))

    def test_pixels_and_exif_directory(self):
        for name in ("exif", "exif-ycbcr"):
            for big in (False, True):
                with self.subTest(format=name, big=big):
                    out = os.path.join(self.folder, "out.tif")
                    run(VXTIF, "save", os.path.join(self.folder, "in.ppm"), out, "--format", name, "--stamp",
                        os.path.join(self.folder, "stamp.ppm"), *(("--big-endian",) if big else ()))
                    with self.assertNoLogs("tifffile", logging.WARNING), tifffile.TiffFile(out) as file:
                        self.assertEqual(len(file.pages), 2)
                        page, stamp = file.pages
                        for read in (page, stamp):
                            self.assertNotIn(254, [tag.code for tag in read.tags])
                            self.assertNotIn(297, [tag.code for tag in read.tags])
                        self.assertIn(34665, [tag.code for tag in page.tags])
                        self.assertNotIn(34665, [tag.code for tag in stamp.tags])
                        if name == "exif":
                            self.assertTrue(numpy.array_equal(page.asarray(), self.pixels))
                            self.assertTrue(numpy.array_equal(stamp.asarray(), self.small))
                        else:
                            file.filehandle.seek(page.dataoffsets[0])
                            rows = numpy.frombuffer(file.filehandle.read(page.databytecounts[0]), "u1")
                            wanted = [ycbcr_row(row.astype(int)) for row in self.pixels]
                            self.assertTrue(numpy.array_equal(rows, numpy.concatenate(wanted)))
                            # The flag for blue first stays set behind a YCbCr page.
                            self.assertTrue(numpy.array_equal(stamp.asarray(), self.small[..., ::-1]))
                    shown, _ = run("exiftool", "-S", "-ExifIFD:all", "-validate", "-warning", "-a", out)
                    self.assertIn("FlashpixVersion: 0100", shown)
                    self.assertIn("ColorSpace: ", shown)
                    os.remove(out)


if __name__ == "__main__":
    VXTIF = sys.argv.pop(1)
    unittest.main()
