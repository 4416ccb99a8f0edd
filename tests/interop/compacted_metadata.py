#!/usr/bin/env python3
"""Compacts files full of metadata from each byte order into each, and compares what exiftool and listgeo read.

    compacted_metadata.py VXTIF

The source has, on two pages, Exif with a maker note and an interoperability directory, GPS, IPTC, GeoTIFF keys, texts,
and two pictures in SubIFDs with strips and tiles. exiftool must show the same values before and after, listgeo the
same keys, and libtiff the same pixels; the maker note as another camera has it, which is no directory, the same bytes.
"""

import json
import os
import struct
import subprocess
import sys
import tempfile
import unittest

VXTIF = ""
BYTE, ASCII, SHORT, LONG, RATIONAL, UNDEFINED, SRATIONAL, DOUBLE = 1, 2, 3, 4, 5, 7, 10, 12
CODES = {BYTE: "B", SHORT: "H", LONG: "I", RATIONAL: "I", SRATIONAL: "i", DOUBLE: "d"}
# What exiftool says of places and of the file rather than of values.
PLACES = {"SourceFile", "ExifTool:ExifToolVersion", "File:ExifByteOrder"}
PLACE_NAMES = {"StripOffsets", "StripByteCounts", "TileOffsets", "TileByteCounts", "SubIFD", "IDC_IFD",
               "PreviewImageStart", "JpgFromRawStart", "OtherImageStart", "ThumbnailOffset"}


def run(*command):
    done = subprocess.run(command, capture_output=True, text=True, errors="replace", timeout=120)
    if done.returncode != 0:
        raise AssertionError(f"{' '.join(command)}: {done.returncode}\n{done.stdout}{done.stderr}")
    return done.stdout


class Builder:
    """A TIFF file from nested lists of (tag, type, value); a value may be a directory or a list of them."""

    def __init__(self, order):
        self.order = order
        self.data = bytearray((b"II" if order == "<" else b"MM") + struct.pack(order + "HI", 42, 8))

    def pack(self, kind, value):
        if kind in (ASCII, UNDEFINED) or isinstance(value, bytes):
            return value
        return struct.pack(f"{self.order}{len(value)}{CODES[kind]}", *value)

    def append(self, body):
        self.data += b"\0" * (len(self.data) % 2)
        at = len(self.data)
        self.data += body
        return at

    def directory(self, entries, last=True):
        entries = sorted(entries, key=lambda entry: entry[0])
        at = self.append(bytes(2 + 12 * len(entries) + 4))
        struct.pack_into(self.order + "H", self.data, at, len(entries))
        for i, (tag, kind, value) in enumerate(entries):
            if kind == "directories":
                body = struct.pack(f"{self.order}{len(value)}I", *[self.directory(child) for child in value])
                kind, count = LONG, len(value)
            elif kind == "pieces":
                places = [self.append(piece) for piece in value]
                body, kind, count = struct.pack(f"{self.order}{len(value)}I", *places), LONG, len(value)
            elif kind == "note":
                # A directory whose offsets count from the start of the file, as many cameras write it.
                body, kind = None, UNDEFINED
                place = self.directory(value)
                count = len(self.data) - place
            else:
                body = self.pack(kind, value)
                count = len(value) if kind not in (RATIONAL, SRATIONAL) else len(value) // 2
            if body is None:
                word = struct.pack(self.order + "I", place)
            elif len(body) <= 4:
                word = body.ljust(4, b"\0")
            else:
                word = struct.pack(self.order + "I", self.append(body))
            struct.pack_into(self.order + "HHI", self.data, at + 2 + 12 * i, tag, kind, count)
            self.data[at + 2 + 12 * i + 8:at + 2 + 12 * i + 12] = word
        self.data += b"\0" * (len(self.data) % 2)
        struct.pack_into(self.order + "I", self.data, at + 2 + 12 * len(entries), 0 if last else len(self.data))
        return at


def picture(width, height, seed, tiled=False):
    if tiled:
        count = (width + 15) // 16 * ((height + 15) // 16)
        tiles = [bytes((seed + i * 7 + j) % 256 for j in range(256)) for i in range(count)]
        return [(256, LONG, [width]), (257, LONG, [height]), (258, SHORT, [8]), (259, SHORT, [1]), (262, SHORT, [1]),
                (277, SHORT, [1]), (322, LONG, [16]), (323, LONG, [16]), (324, "pieces", tiles),
                (325, LONG, [256] * len(tiles))]
    rows = [bytes((seed + x * 3 + y * 5) % 256 for x in range(width)) for y in range(height)]
    return [(256, LONG, [width]), (257, LONG, [height]), (258, SHORT, [8]), (259, SHORT, [1]), (262, SHORT, [1]),
            (277, SHORT, [1]), (278, LONG, [1]), (273, "pieces", rows), (279, LONG, [width] * height)]


def iptc():
    def record(number, text):
        return struct.pack(">BBBH", 0x1C, 2, number, len(text)) + text
    return (record(0, b"\0\2") + record(5, b"object name") + record(25, b"one") + record(25, b"another")
            + record(80, b"by-line") + record(120, b"a caption of some length"))


def camera_note():
    return [(1, SHORT, [92] + [i % 5 for i in range(45)]), (6, ASCII, b"Canon PowerShot of the tests\0"),
            (7, ASCII, b"Firmware Version 1.00\0"), (8, LONG, [1234567]), (9, ASCII, b"The owner of it\0")]


def exif(note):
    return [(33434, RATIONAL, [1, 250]), (33437, RATIONAL, [28, 10]), (34855, SHORT, [400]),
            (36864, UNDEFINED, b"0220"), (36867, ASCII, b"2001:02:03 04:05:06\0"),
            (37121, UNDEFINED, b"\1\2\3\0"), (37380, SRATIONAL, [-1, 3]), note,
            (37510, UNDEFINED, b"ASCII\0\0\0a comment of the user"), (40962, LONG, [40]), (40963, LONG, [30]),
            (40965, "directories", [[(1, ASCII, b"R98\0"), (2, UNDEFINED, b"0100")]])]


def gps():
    return [(0, BYTE, [2, 2, 0, 0]), (1, ASCII, b"N\0"), (2, RATIONAL, [48, 1, 12, 1, 345, 10]), (3, ASCII, b"E\0"),
            (4, RATIONAL, [11, 1, 30, 1, 0, 1]), (5, BYTE, [0]), (6, RATIONAL, [519, 1]), (18, ASCII, b"WGS-84\0")]


def geo():
    return [(33550, DOUBLE, [10.0, 10.0, 0.0]), (33922, DOUBLE, [0.0, 0.0, 0.0, 440720.0, 3751320.0, 0.0]),
            (34735, SHORT, [1, 1, 0, 5, 1024, 0, 1, 1, 1025, 0, 1, 1, 1026, 34737, 13, 0, 2057, 34736, 1, 0,
                            3072, 0, 1, 32611]),
            (34736, DOUBLE, [6378206.4]), (34737, ASCII, b"UTM of tests|\0")]


def source(order, raw_note):
    builder = Builder(order)
    note = ((37500, UNDEFINED, b"TESTNOTE\0\1 no directory at all") if raw_note
            else (37500, "note", camera_note()))
    first = picture(40, 30, 1) + geo() + [
        (270, ASCII, b"a description\0"), (271, ASCII, b"Canon\0"), (272, ASCII, b"Canon PowerShot of the tests\0"),
        (282, RATIONAL, [300, 1]), (283, RATIONAL, [300, 1]), (296, SHORT, [2]), (305, ASCII, b"tests\0"),
        (306, ASCII, b"2002:03:04 05:06:07\0"), (33432, ASCII, b"nobody\0"), (33723, BYTE, iptc()),
        (330, "directories", [picture(20, 10, 2), picture(33, 18, 3, tiled=True)]),
        (34665, "directories", [exif(note)]), (34853, "directories", [gps()])]
    builder.directory(first, last=False)
    builder.directory(picture(17, 40, 9, tiled=True) + [(270, ASCII, b"the second page\0")])
    return bytes(builder.data)


def shown(path):
    """What exiftool reads, all groups and directories, without places."""
    values = json.loads(run("exiftool", "-j", "-a", "-u", "-U", "-G1", "-ee", path))[0]
    kept = {}
    for name, value in values.items():
        plain = name.split(":")[-1]
        if name in PLACES or name.startswith(("System:", "File:File", "File:Directory")) or plain in PLACE_NAMES:
            continue
        kept[name] = value
    return kept


class CompactedMetadata(unittest.TestCase):
    def setUp(self):
        holder = tempfile.TemporaryDirectory()
        self.addCleanup(holder.cleanup)
        self.folder = holder.name

    def path(self, name):
        return os.path.join(self.folder, name)

    def compact(self, source_name, name, *options):
        run(VXTIF, "compact", self.path(source_name), self.path(name), *options)
        with open(self.path(name), "rb") as file:
            return file.read()

    def every_way(self, raw_note):
        for order in "<>":
            with open(self.path("source.tif"), "wb") as file:
                file.write(source(order, raw_note))
            before = shown(self.path("source.tif"))
            for options in ((), ("--big-endian",)):
                with self.subTest(source=order, options=options):
                    data = self.compact("source.tif", "out.tif", *options)
                    self.assertEqual(data[:2], b"MM" if options else b"II")
                    yield before, data
                    os.remove(self.path("out.tif"))

    def test_exiftool_reads_the_same(self):
        for before, _ in self.every_way(raw_note=False):
            for name in ("ExifIFD:DateTimeOriginal", "GPS:GPSLatitude", "IPTC:Keywords",
                         "InteropIFD:InteropIndex", "SubIFD:ImageWidth", "SubIFD1:ImageWidth", "Canon:OwnerName",
                         "Canon:CanonFirmwareVersion", "GeoTiff:ProjectedCSType", "IFD1:ImageDescription"):
                self.assertIn(name, before, "the source holds what the test is about")
            self.assertEqual(shown(self.path("out.tif")), before)

    def test_a_note_that_is_no_directory_keeps_its_bytes(self):
        for before, data in self.every_way(raw_note=True):
            self.assertIn(b"TESTNOTE\0\1 no directory at all", data)
            self.assertEqual(shown(self.path("out.tif")), before)

    def test_listgeo_reads_the_same(self):
        for _, _ in self.every_way(raw_note=False):
            told = run("listgeo", "-no_corners", self.path("source.tif"))
            self.assertIn("32611", told)
            self.assertEqual(run("listgeo", "-no_corners", self.path("out.tif")), told)

    def test_libtiff_reads_the_same_pixels(self):
        for _, _ in self.every_way(raw_note=False):
            for page in (0, 1):
                rows = []
                for name in ("source.tif", "out.tif"):
                    plain = self.path("plain.tif")
                    run("tiffcp", "-c", "none", "-s", "-r", "1000", "-L", f"{self.path(name)},{page}", plain)
                    rows.append(run("tiffinfo", "-d", plain).split("Strip 0:")[1])
                self.assertEqual(*rows)

    def test_compacting_a_little_endian_result_again_gives_the_same_bytes(self):
        for raw_note in (False, True):
            for _, data in self.every_way(raw_note):
                if data[:2] == b"II":
                    self.assertEqual(self.compact("out.tif", "again.tif"), data)


if __name__ == "__main__":
    VXTIF = sys.argv.pop(1)
    unittest.main()
