#!/usr/bin/env python3
"""Whole pages with Exif against exiftool and tifffile: the Exif formats of a save with every comment and a stamp, every
comment set by the command line, and the Exif of JPEG files taken over.

    exif_pages.py VXTIF

The values are those of comments_exiftool.py, written as a user writes them.
"""

import json
import os
import struct
import subprocess
import sys
import unittest

import numpy as np
import tifffile

import comments_exiftool as rows
from comments_exiftool import EXIF, EXIFTOOL, GPS, IPTC, MAIN, report, same

VXTIF = ""
GDAL_TEXTS = {"DocumentName": "DOCUMENTNAME", "ImageDescription": "IMAGEDESCRIPTION", "Software": "SOFTWARE",
              "DateTime": "DATETIME", "Artist": "ARTIST", "HostComputer": "HOSTCOMPUTER", "Copyright": "COPYRIGHT"}
ORDERS = {"little": (), "big": ("--big-endian",)}
RATIONALS = {"ShutterSpeedValue", "ApertureValue", "BrightnessValue", "ExposureBiasValue", "MaxApertureValue",
             "SubjectDistance", "FocalLength", "ExposureTime", "FNumber", "FlashEnergy", "FocalPlaneXResolution",
             "FocalPlaneYResolution", "ExposureIndex", "DigitalZoomRatio", "Gamma", "GPSLatitude", "GPSLongitude",
             "GPSAltitude", "GPSTimeStamp", "GPSDOP", "GPSSpeed", "GPSTrack", "GPSImgDirection", "GPSDestLatitude",
             "GPSDestLongitude", "GPSDestBearing", "GPSDestDistance"}
SIGNED = {"ShutterSpeedValue", "BrightnessValue", "ExposureBiasValue"}
SHORTS = {"MeteringMode", "LightSource", "Flash", "ColorSpace", "ExposureProgram", "ISOSpeedRatings", "SubjectLocation",
          "SensingMethod", "SubjectArea", "CustomRendered", "ExposureMode", "WhiteBalance", "FocalLengthIn35mmFilm",
          "SceneCaptureType", "GainControl", "Contrast", "Saturation", "Sharpness", "SubjectDistanceRange",
          "FocalPlaneResolutionUnit", "GPSDifferential"}
BLOCKS = {"OECF", "SpatialFrequencyResponse", "FileSource", "SceneType", "CFAPattern", "DeviceSettingDescription",
          "GPSVersionID", "GPSAltitudeRef"}
CODED = {"UserComment", "GPSProcessingMethod", "GPSAreaInformation"}


def run(*command):
    done = subprocess.run(list(map(str, command)), capture_output=True, text=True, errors="replace", timeout=120)
    if done.returncode != 0 or done.stderr:
        raise AssertionError(f"{' '.join(map(str, command))[:300]}: {done.returncode}\n{done.stdout}{done.stderr}")
    return done.stdout


def written(name, value, iptc):
    """Comments as settings NAME=VALUE; a repeatable one has a setting for each value."""
    if iptc:
        return [f"Iptc{name}={one.decode()}" for one in value.split(b"\1")]
    if name in SHORTS:
        text = ",".join(map(str, struct.unpack(f"<{len(value) // 2}H", value)))
    elif name in RATIONALS:
        numbers = struct.unpack(f"<{len(value) // 4}{'i' if name in SIGNED else 'I'}", value)
        text = ",".join(f"{numbers[i]}/{numbers[i + 1]}" for i in range(0, len(numbers), 2))
    elif name in BLOCKS:
        text = "x" + value.hex()
    elif name in CODED:
        text = value[8:].rstrip(b"\0").decode()
    else:
        text = value.rstrip(b"\0").decode()
    return [f"{name}={text}"]


def settings(*tables):
    return [setting for table in tables for name, value, *_ in table for setting in written(name, value, table is IPTC)]


class ExifPages(rows.Case):
    def setUp(self):
        super().setUp()
        self.folder = os.path.dirname(self.path)
        self.color = np.random.default_rng(5).integers(0, 256, (20, 30, 3), np.uint8)
        self.stamp = np.random.default_rng(6).integers(0, 256, (4, 6, 3), np.uint8)
        self.pictures = [self.picture("color.ppm", self.color), self.picture("stamp.ppm", self.stamp)]

    def picture(self, name, pixels):
        path = os.path.join(self.folder, name)
        with open(path, "wb") as file:
            file.write(b"P6\n%d %d\n255\n" % (pixels.shape[1], pixels.shape[0]) + pixels.tobytes())
        return path

    def each(self):
        for name in ("exif", "exif-ycbcr"):
            for order, options in ORDERS.items():
                with self.subTest(format=name, order=order):
                    yield name, order, options

    def save(self, name, options, *more):
        run(VXTIF, "save", self.pictures[0], self.path, "--format", name, *options, *more)

    def expect_all(self, group=""):
        found = report(self.path)
        for name, _, key, expected in MAIN + EXIF + GPS + IPTC:
            self.assertTrue(same(found.get(key), expected), f"{name}: {found.get(key)!r} for {expected!r} {group}")
        self.expect_no_complaint()
        return found

    def test_pages_with_every_comment_and_a_stamp(self):
        comments = [word for setting in settings(MAIN, EXIF, GPS, IPTC) for word in ("--comment", setting)]
        for name, _, options in self.each():
            forms = ["--stamp-ycbcr"] if name == "exif-ycbcr" else []
            self.save(name, options, "--stamp", self.pictures[1], *forms, *comments)
            found = self.expect_all()
            self.assertEqual(found["ExifIFD:ExifVersion"], "0221")
            self.assertNotIn("ExifIFD:ComponentsConfiguration", found)
            self.assertEqual((found["IFD1:ImageWidth"], found["IFD1:ImageHeight"]), (6, 4))
            with tifffile.TiffFile(self.path) as file:
                self.assertEqual(len(file.pages), 2)
                self.assertNotIn(34665, file.pages[1].tags)
                self.assertNotIn(33723, file.pages[1].tags)
                if name == "exif":
                    self.assertTrue((file.pages[0].asarray() == self.color).all())
                    self.assertTrue((file.pages[1].asarray() == self.stamp).all())
                else:
                    self.assertEqual([int(page.photometric) for page in file.pages], [6, 6])
            stamp = os.path.join(self.folder, "out.pnm")
            run(VXTIF, "stamp", self.path, stamp)
            with open(stamp, "rb") as file:
                data = file.read()
            self.assertTrue(data.startswith(b"P6\n6 4\n255\n"), data[:12])
            if name == "exif":
                self.assertEqual(data[11:], self.stamp.tobytes())

    def test_every_comment_set_at_once_in_place(self):
        for name, _, options in self.each():
            self.save(name, options, "--stamp", self.pictures[1])
            run(VXTIF, "comment", "set", self.path, *settings(MAIN, EXIF, GPS, IPTC))
            self.expect_all()
            with tifffile.TiffFile(self.path) as file:
                self.assertEqual(len(file.pages), 2)
                if name == "exif":
                    self.assertTrue((file.pages[0].asarray() == self.color).all())
                    self.assertTrue((file.pages[1].asarray() == self.stamp).all())

    def test_positions_and_times_as_people_write_them(self):
        for order, options in ORDERS.items():
            with self.subTest(order=order):
                self.save("exif", options)
                run(VXTIF, "comment", "set", self.path, "GPSLatitude=48.8584N", "GPSLongitude=-2.294481",
                    "GPSAltitude=-12.5m", "GPSTimeStamp=12:34:56.25Z", "GPSDateStamp=2024-01-31",
                    "GPSDestLatitude=33°30'44.5\"S", "DateTimeOriginal=2024-01-31T23:59:58", "ExposureTime=0.008",
                    "FNumber=f/2.8", "ExposureBiasValue=-1/3", "UserComment=Größe", "IptcDateCreated=2024-01-31",
                    "IptcTimeCreated=12:34:56+01:00")
                found = report(self.path)
                for key, expected in {
                        "GPS:GPSLatitude": 48.8584, "GPS:GPSLatitudeRef": "N", "GPS:GPSLongitude": 2.294481,
                        "GPS:GPSLongitudeRef": "W", "GPS:GPSAltitude": 12.5, "GPS:GPSAltitudeRef": 1,
                        "GPS:GPSTimeStamp": "12:34:56.25", "GPS:GPSDateStamp": "2024:01:31",
                        "GPS:GPSDestLatitude": 33 + 30 / 60 + 44.5 / 3600, "GPS:GPSDestLatitudeRef": "S",
                        "ExifIFD:DateTimeOriginal": "2024:01:31 23:59:58", "ExifIFD:ExposureTime": 0.008,
                        "ExifIFD:FNumber": 2.8, "ExifIFD:ExposureCompensation": -1 / 3, "ExifIFD:UserComment": "Größe",
                        "IPTC:DateCreated": "2024:01:31", "IPTC:TimeCreated": "12:34:56+01:00"}.items():
                    self.assertTrue(same(found.get(key), expected), f"{key}: {found.get(key)!r} for {expected!r}")
                self.expect_no_complaint()

    def gdal(self, *options):
        told = json.loads(run("gdalinfo", "-json", *options, self.path))["metadata"]
        return {**told.get("", {}), **told.get("EXIF", {})}

    def test_gdal_reads_texts_and_exif(self):
        for _, options in ORDERS.items():
            self.save("exif", options)
            run(VXTIF, "comment", "set", self.path, *settings(MAIN, EXIF, GPS))
            told = self.gdal("-mdd", "EXIF")
            for name, tag in GDAL_TEXTS.items():
                self.assertEqual(told["TIFFTAG_" + tag], next(row[3] for row in MAIN if row[0] == name))
            for name, expected in {
                    "EXIF_DateTimeOriginal": "2023:01:02 03:04:05", "EXIF_FNumber": "(2.8)", "EXIF_FocalLength": "(50.5)",
                    "EXIF_ISOSpeedRatings": "400", "EXIF_Flash": "25", "EXIF_SubjectArea": "1 2 300 4",
                    "EXIF_ShutterSpeedValue": "(8)", "EXIF_GPSLatitude": "(48) (51) (30.5)", "EXIF_GPSLatitudeRef": "N",
                    "EXIF_GPSMapDatum": "WGS-84"}.items():
                self.assertEqual(told.get(name), expected, name)

    def test_texts_that_gdal_writes(self):
        for order in ORDERS:
            self.plain_page(order)
            copy = os.path.join(self.folder, "gdal.tif")
            texts = {name: f"{name} of GDAL's" for name in GDAL_TEXTS}
            run("gdal_translate", "-q", "-co", "ENDIANNESS=" + order.upper(),
                *(word for name, tag in GDAL_TEXTS.items() for word in ("-mo", f"TIFFTAG_{tag}={texts[name]}")),
                self.path, copy)
            listed = json.loads(run(VXTIF, "comment", "list", copy, "--json"))["comments"]
            self.assertEqual({row["name"]: row["value"] for row in listed}, texts)

    def test_exif_of_a_jpeg_file(self):
        """Every value that exiftool can put into a JPEG file's Exif is in the page that it is taken over to."""
        jpeg = os.path.join(self.folder, "from.jpg")
        skipped = rows.NOT_WRITTEN_BY_EXIFTOOL | {"GPSVersionID"}
        taken = [row for row in MAIN + EXIF + GPS if row[0] not in skipped and row[0] not in
                 ("DocumentName", "PageName", "HostComputer", # exiftool keeps these three out of JPEG files
                  "ColorSpace")] # the page has its own
        values = [f"-{key}={value}" for _, _, key, value in taken if not isinstance(value, bytes)]
        values += ["-InteropIFD:InteropIndex=R98", "-ExifIFD:LensModel=A lens", "-ExifIFD:OffsetTime=+01:00",
                   "-IFD0:Rating=4"]
        for source in ("II", "MM"):
            with open(jpeg, "wb") as file:
                file.write(b"\xff\xd8\xff\xe0\0\x10JFIF\0\1\1\0\0\1\0\1\0\0\xff\xda\0\2\xff\xd9")
            EXIFTOOL.write(jpeg, [f"-ExifByteOrder={source}", *values])
            before = report(jpeg)
            self.assertEqual(before["File:ExifByteOrder"], source)
            for name, order, options in self.each():
                self.save(name, options, "--exif", jpeg)
                found = report(self.path)
                for comment, _, key, expected in taken:
                    self.assertIn(key, before, comment)
                    if key.startswith("IFD0") and len(str(expected)) < 4:
                        expected = "" # texts that stand in their entry come without their bytes
                    self.assertTrue(same(found.get(key), expected), f"{comment}: {found.get(key)!r}")
                for key in ("InteropIFD:InteropIndex", "ExifIFD:LensModel", "ExifIFD:OffsetTime"):
                    self.assertEqual(found.get(key), before[key], key)
                self.assertNotIn("ExifIFD:ComponentsConfiguration", found)
                self.assertNotIn("IFD0:Rating", found)
                self.expect_no_complaint()


if __name__ == "__main__":
    VXTIF = sys.argv.pop(1)
    unittest.main()
