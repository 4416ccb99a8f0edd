#!/usr/bin/env python3
"""Comments against exiftool: it reads every value that is written, in every home; what it writes is read.

    comments_exiftool.py COMMENT_TOOL

Comments are written in all ways that the library knows, into new pages and in place, in both byte orders, and exiftool
must show each with the right value; it writes them itself into files of tifffile's, and each must be read. An edit may
change nothing that it does not name: exiftool's whole report before and after differs in what was set alone.
"""

import atexit
import base64
import json
import os
import struct
import subprocess
import sys
import tempfile
import unittest

import numpy as np
import tifffile

TOOL = ""
NUMBERS = {}


def run(*command, text=None):
    done = subprocess.run(command, capture_output=True, text=True, errors="replace", timeout=120, input=text)
    if done.returncode != 0:
        raise AssertionError(f"{' '.join(command)[:300]}: {done.returncode}\n{done.stdout}{done.stderr}")
    return done.stdout


class ExifTool:
    """One exiftool that stays for all questions: starting it costs more than all that it does."""

    def __init__(self):
        self.process = None
        self.asked = 0

    def ask(self, *arguments):
        """What it says on standard output, and on standard error."""
        if self.process is None:
            self.process = subprocess.Popen(["exiftool", "-stay_open", "True", "-@", "-"], stdin=subprocess.PIPE,
                                            stdout=subprocess.PIPE, stderr=subprocess.PIPE)
            atexit.register(self.close)
        self.asked += 1
        end = f"{{end{self.asked}}}\n".encode()
        mark = end.decode().strip()
        lines = [*arguments, "-q", "-echo3", mark, "-echo4", mark, "-execute"]
        self.process.stdin.write("".join(f"{line}\n" for line in lines).encode())
        self.process.stdin.flush()
        return self.until(self.process.stdout, end), self.until(self.process.stderr, end)

    def close(self):
        """The end of its input does not end it: it waits for more."""
        self.process.communicate(b"-stay_open\nFalse\n")

    @staticmethod
    def until(stream, end):
        answer = b""
        while not answer.endswith(end):
            line = stream.readline()
            if not line:
                raise AssertionError("exiftool has ended: " + answer.decode(errors="replace"))
            answer += line
        return answer[:-len(end)]

    def json(self, *arguments):
        return json.loads(self.ask("-j", *arguments)[0].decode(errors="replace"))[0]

    def write(self, path, values):
        """Sets tags; every complaint is a failure."""
        complaints = self.ask("-n", "-overwrite_original", *values, path)[1]
        if complaints:
            raise AssertionError("exiftool: " + complaints.decode(errors="replace"))


EXIFTOOL = ExifTool()


def short(*values):
    return struct.pack(f"<{len(values)}H", *values)


def rational(*values):
    return struct.pack(f"<{len(values)}I", *values)


def signed(*values):
    return struct.pack(f"<{len(values)}i", *values)


def text(value):
    return value.encode() + b"\0"


BINARY = bytes(range(1, 30))

# Each comment: its value in host order, exiftool's name of it, and what exiftool says with -n. A value with a formula
# of its own there (APEX values, positions) is given as the formula's result.
MAIN = [
    ("Artist", text("A. Painter"), "IFD0:Artist", "A. Painter"),
    ("Copyright", text("(c) nobody"), "IFD0:Copyright", "(c) nobody"),
    ("DateTime", text("2024:01:02 03:04:05"), "IFD0:ModifyDate", "2024:01:02 03:04:05"),
    ("ImageDescription", text("A tower, seen from below"), "IFD0:ImageDescription", "A tower, seen from below"),
    ("HostComputer", text("host"), "IFD0:HostComputer", "host"),
    ("Make", text("Maker"), "IFD0:Make", "Maker"),
    ("Model", text("abc"), "IFD0:Model", "abc"),
    ("DocumentName", text("a document"), "IFD0:DocumentName", "a document"),
    ("PageName", text("page"), "IFD0:PageName", "page"),
    ("Software", text("a program"), "IFD0:Software", "a program"),
]
EXIF = [
    ("DateTimeOriginal", text("2023:01:02 03:04:05"), "ExifIFD:DateTimeOriginal", "2023:01:02 03:04:05"),
    ("DateTimeDigitized", text("2022:01:02 03:04:05"), "ExifIFD:CreateDate", "2022:01:02 03:04:05"),
    ("ShutterSpeedValue", signed(8, 1), "ExifIFD:ShutterSpeedValue", 2**-8),
    ("ApertureValue", rational(9, 2), "ExifIFD:ApertureValue", 2 ** (4.5 / 2)),
    ("BrightnessValue", signed(-3, 2), "ExifIFD:BrightnessValue", -1.5),
    ("ExposureBiasValue", signed(-1, 3), "ExifIFD:ExposureCompensation", -1 / 3),
    ("MaxApertureValue", rational(3, 1), "ExifIFD:MaxApertureValue", 2**1.5),
    ("SubjectDistance", rational(5, 2), "ExifIFD:SubjectDistance", 2.5),
    ("MeteringMode", short(5), "ExifIFD:MeteringMode", 5),
    ("LightSource", short(4), "ExifIFD:LightSource", 4),
    ("Flash", short(25), "ExifIFD:Flash", 25),
    ("FocalLength", rational(101, 2), "ExifIFD:FocalLength", 50.5),
    ("ExposureTime", rational(1, 250), "ExifIFD:ExposureTime", 0.004),
    ("FNumber", rational(28, 10), "ExifIFD:FNumber", 2.8),
    ("UserComment", b"ASCII\0\0\0a comment", "ExifIFD:UserComment", "a comment"),
    ("SubSecTime", text("12"), "ExifIFD:SubSecTime", 12),
    ("SubSecTimeOriginal", text("345"), "ExifIFD:SubSecTimeOriginal", 345),
    ("SubSecTimeDigitized", text("6789"), "ExifIFD:SubSecTimeDigitized", 6789),
    ("ColorSpace", short(65535), "ExifIFD:ColorSpace", 65535),
    ("ExposureProgram", short(2), "ExifIFD:ExposureProgram", 2),
    ("SpectralSensitivity", text("red"), "ExifIFD:SpectralSensitivity", "red"),
    ("ISOSpeedRatings", short(400), "ExifIFD:ISO", 400),
    ("OECF", BINARY, "ExifIFD:Opto-ElectricConvFactor", BINARY),
    ("RelatedSoundFile", text("SOUND001.WAV"), "ExifIFD:RelatedSoundFile", "SOUND001.WAV"),
    ("FlashEnergy", rational(25, 2), "ExifIFD:FlashEnergy", 12.5),
    ("SpatialFrequencyResponse", BINARY, "ExifIFD:SpatialFrequencyResponse", BINARY),
    ("FocalPlaneXResolution", rational(6001, 2), "ExifIFD:FocalPlaneXResolution", 3000.5),
    ("FocalPlaneYResolution", rational(6003, 2), "ExifIFD:FocalPlaneYResolution", 3001.5),
    ("SubjectLocation", short(1000, 20), "ExifIFD:SubjectLocation", "1000 20"),
    ("ExposureIndex", rational(100, 1), "ExifIFD:ExposureIndex", 100),
    ("SensingMethod", short(2), "ExifIFD:SensingMethod", 2),
    ("FileSource", b"\3", "ExifIFD:FileSource", 3),
    ("SceneType", b"\1", "ExifIFD:SceneType", 1),
    ("CFAPattern", b"\0\2\0\2\0\1\1\2", "ExifIFD:CFAPattern", "2 2 0 1 1 2"),
    ("SubjectArea", short(1, 2, 300, 4), "ExifIFD:SubjectArea", "1 2 300 4"),
    ("CustomRendered", short(1), "ExifIFD:CustomRendered", 1),
    ("ExposureMode", short(2), "ExifIFD:ExposureMode", 2),
    ("WhiteBalance", short(1), "ExifIFD:WhiteBalance", 1),
    ("DigitalZoomRatio", rational(3, 2), "ExifIFD:DigitalZoomRatio", 1.5),
    ("FocalLengthIn35mmFilm", short(75), "ExifIFD:FocalLengthIn35mmFormat", 75),
    ("SceneCaptureType", short(2), "ExifIFD:SceneCaptureType", 2),
    ("GainControl", short(1), "ExifIFD:GainControl", 1),
    ("Contrast", short(1), "ExifIFD:Contrast", 1),
    ("Saturation", short(2), "ExifIFD:Saturation", 2),
    ("Sharpness", short(2), "ExifIFD:Sharpness", 2),
    ("DeviceSettingDescription", BINARY, "ExifIFD:DeviceSettingDescription", BINARY),
    ("SubjectDistanceRange", short(3), "ExifIFD:SubjectDistanceRange", 3),
    ("ImageUniqueID", text("0123456789abcdef0123456789abcdeX"), "ExifIFD:ImageUniqueID",
     "0123456789abcdef0123456789abcdeX"),
    ("FocalPlaneResolutionUnit", short(3), "ExifIFD:FocalPlaneResolutionUnit", 3),
    ("Gamma", rational(22, 10), "ExifIFD:Gamma", 2.2),
]
GPS = [
    ("GPSVersionID", b"\2\3\0\0", "GPS:GPSVersionID", "2 3 0 0"),
    ("GPSLatitudeRef", text("N"), "GPS:GPSLatitudeRef", "N"),
    ("GPSLatitude", rational(48, 1, 51, 1, 61, 2), "GPS:GPSLatitude", 48 + 51 / 60 + 30.5 / 3600),
    ("GPSLongitudeRef", text("E"), "GPS:GPSLongitudeRef", "E"),
    ("GPSLongitude", rational(2, 1, 17, 1, 40, 1), "GPS:GPSLongitude", 2 + 17 / 60 + 40 / 3600),
    ("GPSAltitudeRef", b"\1", "GPS:GPSAltitudeRef", 1),
    ("GPSAltitude", rational(71, 2), "GPS:GPSAltitude", 35.5),
    ("GPSTimeStamp", rational(12, 1, 34, 1, 56, 1), "GPS:GPSTimeStamp", "12:34:56"),
    ("GPSSatellites", text("G05,G07,G12"), "GPS:GPSSatellites", "G05,G07,G12"),
    ("GPSStatus", text("A"), "GPS:GPSStatus", "A"),
    ("GPSMeasureMode", text("3"), "GPS:GPSMeasureMode", 3),
    ("GPSDOP", rational(5, 4), "GPS:GPSDOP", 1.25),
    ("GPSSpeedRef", text("K"), "GPS:GPSSpeedRef", "K"),
    ("GPSSpeed", rational(11, 2), "GPS:GPSSpeed", 5.5),
    ("GPSTrackRef", text("T"), "GPS:GPSTrackRef", "T"),
    ("GPSTrack", rational(361, 4), "GPS:GPSTrack", 90.25),
    ("GPSImgDirectionRef", text("M"), "GPS:GPSImgDirectionRef", "M"),
    ("GPSImgDirection", rational(45, 1), "GPS:GPSImgDirection", 45),
    ("GPSMapDatum", text("WGS-84"), "GPS:GPSMapDatum", "WGS-84"),
    ("GPSDestLatitudeRef", text("S"), "GPS:GPSDestLatitudeRef", "S"),
    ("GPSDestLatitude", rational(1, 1, 2, 1, 3, 1), "GPS:GPSDestLatitude", 1 + 2 / 60 + 3 / 3600),
    ("GPSDestLongitudeRef", text("W"), "GPS:GPSDestLongitudeRef", "W"),
    ("GPSDestLongitude", rational(4, 1, 5, 1, 6, 1), "GPS:GPSDestLongitude", 4 + 5 / 60 + 6 / 3600),
    ("GPSDestBearingRef", text("T"), "GPS:GPSDestBearingRef", "T"),
    ("GPSDestBearing", rational(7, 2), "GPS:GPSDestBearing", 3.5),
    ("GPSDestDistanceRef", text("M"), "GPS:GPSDestDistanceRef", "M"),
    ("GPSDestDistance", rational(9, 2), "GPS:GPSDestDistance", 4.5),
    ("GPSProcessingMethod", b"ASCII\0\0\0CELLID", "GPS:GPSProcessingMethod", "CELLID"),
    ("GPSAreaInformation", b"ASCII\0\0\0Paris", "GPS:GPSAreaInformation", "Paris"),
    ("GPSDateStamp", text("2024:01:02"), "GPS:GPSDateStamp", "2024:01:02"),
    ("GPSDifferential", short(1), "GPS:GPSDifferential", 1),
]
IPTC = [
    ("ObjectTypeReference", b"01:News", "IPTC:ObjectTypeReference", "01:News"),
    ("ObjectAttributeReference", b"001:Now\1" b"002:Then", "IPTC:ObjectAttributeReference", ["001:Now", "002:Then"]),
    ("ObjectName", b"Tower", "IPTC:ObjectName", "Tower"),
    ("EditStatus", b"done", "IPTC:EditStatus", "done"),
    ("EditorialUpdate", b"01", "IPTC:EditorialUpdate", "01"),
    ("Urgency", b"5", "IPTC:Urgency", 5),
    ("SubjectReference", b"IPTC:01004000", "IPTC:SubjectReference", "IPTC:01004000"),
    ("Category", b"POL", "IPTC:Category", "POL"),
    ("SupplementalCategory", b"one\1two", "IPTC:SupplementalCategories", ["one", "two"]),
    ("FixtureIdentifier", b"fixture", "IPTC:FixtureIdentifier", "fixture"),
    ("Keywords", b"tower\1iron\1Paris", "IPTC:Keywords", ["tower", "iron", "Paris"]),
    ("ContentLocationCode", b"FRA", "IPTC:ContentLocationCode", "FRA"),
    ("ContentLocationName", b"France", "IPTC:ContentLocationName", "France"),
    ("ReleaseDate", b"20240102", "IPTC:ReleaseDate", "2024:01:02"),
    ("ReleaseTime", b"123456+0100", "IPTC:ReleaseTime", "12:34:56+01:00"),
    ("ExpirationDate", b"20250102", "IPTC:ExpirationDate", "2025:01:02"),
    ("ExpirationTime", b"123456-0200", "IPTC:ExpirationTime", "12:34:56-02:00"),
    ("SpecialInstructions", b"x" * 256, "IPTC:SpecialInstructions", "x" * 256),
    ("ActionAdvised", b"01", "IPTC:ActionAdvised", "01"),
    ("ReferenceService", b"service", "IPTC:ReferenceService", "service"),
    ("ReferenceDate", b"20230102", "IPTC:ReferenceDate", "2023:01:02"),
    ("ReferenceNumber", b"12345678", "IPTC:ReferenceNumber", 12345678),
    ("DateCreated", b"20220102", "IPTC:DateCreated", "2022:01:02"),
    ("TimeCreated", b"010203+0000", "IPTC:TimeCreated", "01:02:03+00:00"),
    ("DigitalCreationDate", b"20210102", "IPTC:DigitalCreationDate", "2021:01:02"),
    ("DigitalCreationTime", b"040506+0000", "IPTC:DigitalCreationTime", "04:05:06+00:00"),
    ("OriginatingProgram", b"program", "IPTC:OriginatingProgram", "program"),
    ("ProgramVersion", b"1.2.3", "IPTC:ProgramVersion", "1.2.3"),
    ("ObjectCycle", b"a", "IPTC:ObjectCycle", "a"),
    ("ByLine", b"A. Painter\1B. Writer", "IPTC:By-line", ["A. Painter", "B. Writer"]),
    ("ByLineTitle", b"staff", "IPTC:By-lineTitle", "staff"),
    ("City", b"Paris", "IPTC:City", "Paris"),
    ("SubLocation", b"left bank", "IPTC:Sub-location", "left bank"),
    ("ProvinceState", b"Ile-de-France", "IPTC:Province-State", "Ile-de-France"),
    ("CountryCode", b"FRA", "IPTC:Country-PrimaryLocationCode", "FRA"),
    ("CountryName", b"France", "IPTC:Country-PrimaryLocationName", "France"),
    ("OriginalTransmissionReference", b"ref", "IPTC:OriginalTransmissionReference", "ref"),
    ("Headline", b"A tower stands", "IPTC:Headline", "A tower stands"),
    ("Credit", b"credit", "IPTC:Credit", "credit"),
    ("Source", b"source", "IPTC:Source", "source"),
    ("CopyrightNotice", b"(c) nobody", "IPTC:CopyrightNotice", "(c) nobody"),
    ("Contact", b"one\1two", "IPTC:Contact", ["one", "two"]),
    ("Caption", b"c" * 2000, "IPTC:Caption-Abstract", "c" * 2000),
    ("WriterEditor", b"writer", "IPTC:Writer-Editor", "writer"),
    ("LanguageIdentifier", b"en", "IPTC:LanguageIdentifier", "en"),
]
ALL = MAIN + EXIF + GPS + IPTC

# Read and never written from a comment, or tried as a directory: tests of their own.
APART = {"ExifVersion", "FlashpixVersion", "MakerNote", "RecordVersion"}
# exiftool writes no binary blocks of these tags, and no maker notes.
NOT_WRITTEN_BY_EXIFTOOL = {"OECF", "SpatialFrequencyResponse", "DeviceSettingDescription"}


def comment_lines(rows):
    return "".join(f"{NUMBERS[name]} {value.hex()}\n" for name, value, *_ in rows)


def comments_of(path, page=1):
    lines = run(TOOL, "get", path, str(page)).splitlines()
    return {int(number): bytes.fromhex(value) for number, value in (line.split(" ", 1) for line in lines)}


def report(path, *options):
    """What exiftool says, numbers as they are; binary values as bytes."""
    values = EXIFTOOL.json("-n", "-b", "-G1", "-a", "-u", *options, path)
    binary = {}
    for key, value in values.items():
        if isinstance(value, str) and value.startswith("base64:"):
            binary[key] = base64.b64decode(value[7:])
    return {**values, **binary}


def same(found, expected):
    if isinstance(expected, (int, float)) and not isinstance(found, (list, bytes)):
        try:
            return abs(float(found) - expected) <= 1e-7 * max(1, abs(expected))
        except (TypeError, ValueError):
            return False
    if isinstance(expected, bytes):
        return found == expected or (isinstance(found, str) and found.encode("latin-1", "replace") == expected)
    if isinstance(expected, list):
        return isinstance(found, list) and [str(value) for value in found] == expected
    return str(found) == expected


class Case(unittest.TestCase):
    maxDiff = None

    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.path = os.path.join(folder.name, "page.tif")

    def each_order(self):
        for order in ("little", "big"):
            with self.subTest(order=order):
                if os.path.exists(self.path):
                    os.remove(self.path)
                yield order

    def plain_page(self, order):
        """A page as another writer makes it, without metadata."""
        pixels = np.arange(600, dtype=np.uint16).reshape(20, 30)
        tifffile.imwrite(self.path, pixels, byteorder="<" if order == "little" else ">", metadata=None, software=False)

    def expect_in_exiftool(self, rows):
        found = report(self.path)
        for name, _, key, expected in rows:
            self.assertIn(key, found, name)
            self.assertTrue(same(found[key], expected), f"{name}: {found[key]!r} for {expected!r}")
        self.expect_no_complaint()

    def expect_no_complaint(self):
        complaints = EXIFTOOL.json("-a", "-Warning", "-Error", self.path)
        complaints.pop("SourceFile")
        self.assertEqual(complaints, {})

    def expect_in_comments(self, rows):
        found = comments_of(self.path)
        for name, value, *_ in rows:
            self.assertEqual(found.get(NUMBERS[name]), value, name)


class Tables(unittest.TestCase):
    def test_every_comment_is_tried(self):
        self.assertEqual({row[0] for row in ALL} | APART, set(NUMBERS))
        self.assertEqual(len(ALL) + len(APART), 140)


class Saved(Case):
    def test_every_comment_of_a_new_page(self):
        for order in self.each_order():
            run(TOOL, "save", self.path, order, text=comment_lines(ALL))
            self.expect_in_exiftool(ALL)
            self.expect_in_comments(ALL)
            found = report(self.path)
            self.assertEqual(found["ExifIFD:ExifVersion"], "0221")
            self.assertEqual(found["ExifIFD:FlashpixVersion"], "0100")
            self.assertEqual(found["IPTC:ApplicationRecordVersion"], 2)

    def test_page_without_comments(self):
        for order in self.each_order():
            run(TOOL, "save", self.path, order, text="")
            found = report(self.path)
            self.assertEqual({key: value for key, value in found.items() if key.startswith(("ExifIFD", "GPS", "IPTC"))},
                             {"ExifIFD:ExifVersion": "0221", "ExifIFD:FlashpixVersion": "0100", "ExifIFD:ColorSpace": 1})
            self.expect_no_complaint()

    def test_texts_of_every_short_length(self):
        for order in self.each_order():
            for length in range(1, 10):
                value = "abcdefghi"[:length]
                rows = [(name, text(value), key, value) for name, _, key, _ in MAIN if name != "DateTime"]
                run(TOOL, "save", self.path, order, text=comment_lines(rows))
                self.expect_in_exiftool(rows)


    def test_pixels_stand_behind_all_of_it(self):
        wanted = np.add.outer(16 * np.arange(4), np.arange(4))
        for order in self.each_order():
            for rows in ([], ALL):
                run(TOOL, "save", self.path, order, text=comment_lines(rows))
                self.assertTrue((tifffile.imread(self.path) == wanted).all())

    def test_pages_of_other_formats_hold_all_but_exif_and_gps(self):
        for order in self.each_order():
            for number in ("3", "17", "87", "174"):
                run(TOOL, "save", self.path, order, number, text=comment_lines(ALL))
                self.expect_in_exiftool(MAIN + IPTC)
                self.assertEqual({number for number in comments_of(self.path)} - {NUMBERS["RecordVersion"]},
                                 {NUMBERS[row[0]] for row in MAIN + IPTC})
                self.assertFalse([key for key in report(self.path) if key.startswith(("ExifIFD", "GPS"))])

    def test_keys_beside_comments(self):
        citation = b"somewhere in the north\0"
        for order in self.each_order():
            run(TOOL, "save", self.path, order, "174", text=comment_lines(ALL))
            keys = dict(line.split(" ", 1) for line in run(TOOL, "keys", self.path).splitlines())
            self.assertEqual(keys["1024"], "3 1 0100")
            self.assertEqual(keys["3072"], "3 1 " + short(32633).hex())
            self.assertEqual(keys["3092"], "12 1 " + struct.pack("<d", 0.9996).hex())
            kind, count, value = keys["1026"].split()
            self.assertEqual((kind, bytes.fromhex(value).rstrip(b"\0")), ("2", citation.rstrip(b"\0")))
            self.assertEqual(int(count), len(value) // 2)
            found = report(self.path)
            for name, expected in (("GTModelType", 1), ("GTCitation", "somewhere in the north"),
                                   ("ProjectedCSType", 32633), ("ProjScaleAtNatOrigin", 0.9996)):
                self.assertTrue(same(found["GeoTiff:" + name], expected), f"{name}: {found['GeoTiff:' + name]}")
            self.expect_in_comments(MAIN + IPTC)
            self.expect_no_complaint()

    def test_every_page_of_a_file_has_its_own(self):
        for order in self.each_order():
            pages = []
            for number, (kind, rows) in enumerate((("96", ALL), ("3", MAIN[:4]), ("17", IPTC), ("174", MAIN[4:]))):
                rows = [(name, value.replace(b"a", b"%c" % (ord("k") + number)), *rest) for name, value, *rest in rows]
                run(TOOL, "save", self.path, order, kind, *(("append",) if number else ()), text=comment_lines(rows))
                pages.append(rows)
            for number, rows in enumerate(pages):
                found = comments_of(self.path, number + 1)
                found.pop(NUMBERS["RecordVersion"], None)
                for name in ("ExifVersion", "FlashpixVersion") if number == 0 else ():
                    found.pop(NUMBERS[name])
                self.assertEqual(found, {NUMBERS[name]: value for name, value, *_ in rows}, f"page {number + 1}")
            self.assertEqual(len(run(TOOL, "keys", self.path, "4").splitlines()), 4)


class Edited(Case):
    def test_every_comment_at_once(self):
        for order in self.each_order():
            run(TOOL, "save", self.path, order, text="")
            run(TOOL, "set", self.path, text=comment_lines(ALL))
            self.expect_in_exiftool(ALL)
            self.expect_in_comments(ALL)

    def test_every_comment_one_after_the_other(self):
        for order in self.each_order():
            run(TOOL, "save", self.path, order, text="")
            for row in ALL:
                run(TOOL, "set", self.path, text=comment_lines([row]))
            self.expect_in_comments(ALL)
            self.expect_in_exiftool(ALL)

    def test_page_of_another_writer_takes_all_but_exif(self):
        for order in self.each_order():
            self.plain_page(order)
            before = tifffile.imread(self.path)
            run(TOOL, "set", self.path, text=comment_lines(ALL))
            self.expect_in_exiftool(MAIN + GPS + IPTC)
            self.expect_in_comments(MAIN + GPS + IPTC)
            self.assertFalse([key for key in report(self.path) if key.startswith("ExifIFD")])
            self.assertTrue((tifffile.imread(self.path) == before).all())

    def test_what_cannot_be_written_is_passed_over(self):
        for order in self.each_order():
            run(TOOL, "save", self.path, order, text="")
            with open(self.path, "rb") as file:
                before = file.read()
            assigned = set(NUMBERS.values())
            free = "".join(f"{number} 30323330\n" for number in range(247) if number not in assigned)
            versions = "".join(f"{NUMBERS[name]} {value.hex()}\n" for name, value in
                               (("ExifVersion", b"0230"), ("FlashpixVersion", b"0110"), ("RecordVersion", b"\0\4")))
            run(TOOL, "set", self.path, text=free + versions)
            with open(self.path, "rb") as file:
                self.assertEqual(file.read(), before)

    def test_maker_note_of_no_known_form_is_kept(self):
        for order in self.each_order():
            run(TOOL, "save", self.path, order, text="")
            run(TOOL, "set", self.path, text=f"{NUMBERS['MakerNote']} {BINARY.hex()}\n")
            self.assertEqual(comments_of(self.path)[NUMBERS["MakerNote"]], BINARY)
            with tifffile.TiffFile(self.path) as file: # exiftool shows no note that it cannot read
                self.assertEqual(file.pages[0].tags[34665].value["MakerNote"], BINARY)

    def test_edit_disturbs_nothing_that_it_does_not_name(self):
        """A file full of exiftool's own metadata: after each edit its report differs in the one name alone."""
        for order in self.each_order():
            self.rich_page(order)
            pixels = tifffile.imread(self.path)
            for name, value, key, expected in [row for row in MAIN + EXIF + GPS]:
                before = self.settled_report()
                run(TOOL, "set", self.path, text=comment_lines([(name, value)]))
                after = self.settled_report()
                self.assertTrue(same(after.get(key), expected), f"{name}: {after.get(key)!r}")
                # A focal-plane resolution brings its unit.
                touched = {key} | ({"ExifIFD:FocalPlaneResolutionUnit"} if "FocalPlane" in name else set())
                changed = {other for other in before.keys() | after.keys()
                           if before.get(other) != after.get(other) and other not in touched}
                self.assertEqual(changed, set(), name)
            self.assertTrue((tifffile.imread(self.path) == pixels).all())
            self.expect_no_complaint()

    def test_edit_of_an_iptc_block_keeps_its_other_sets(self):
        for order in self.each_order():
            run(TOOL, "save", self.path, order, text=comment_lines(IPTC))
            for name, value, key, expected in IPTC:
                fresh = {"Keywords": (b"one\1two", ["one", "two"])}.get(name)
                value, expected = fresh or (value, expected)
                before = self.settled_report()
                run(TOOL, "set", self.path, text=comment_lines([(name, value)]))
                after = self.settled_report()
                self.assertTrue(same(after.get(key), expected), name)
                changed = {other for other in before.keys() | after.keys()
                           if before.get(other) != after.get(other) and other != key}
                self.assertEqual(changed, set(), name)

    def rich_page(self, order):
        self.plain_page(order)
        values = [f"-{key}={value}" for name, _, key, value in MAIN + EXIF + GPS
                  if name not in NOT_WRITTEN_BY_EXIFTOOL and name != "GPSVersionID" and not isinstance(value, bytes)]
        values += ["-ExifIFD:LensModel=A lens", "-ExifIFD:OffsetTime=+01:00", "-XMP-dc:Title=a title",
                   "-IFD0:XPTitle=another title", "-IFD0:Rating=4", "-ExifIFD:SerialNumber=12345",
                   "-InteropIFD:InteropIndex=R98"]
        EXIFTOOL.write(self.path, values)

    def settled_report(self):
        """The report without what tells of places, sizes and times of the file."""
        found = report(self.path, "--File:All", "--ExifTool:All", "--System:All", "--Composite:All")
        return {key: value for key, value in found.items()
                if key not in ("SourceFile", "IFD0:StripOffsets") and not key.startswith("Composite")}


class ReadBack(Case):
    def test_every_comment_that_exiftool_writes(self):
        for order in self.each_order():
            self.plain_page(order)
            rows = [row for row in ALL if row[0] not in NOT_WRITTEN_BY_EXIFTOOL]
            options = []
            for _, _, key, value in rows:
                if isinstance(value, list):
                    options += [f"-{key}={one}" for one in value]
                else:
                    options.append(f"-{key}={value}")
            EXIFTOOL.write(self.path, options)
            shown = report(self.path)
            found = comments_of(self.path)
            for name, value, key, expected in rows:
                self.assertTrue(same(shown.get(key), expected), f"exiftool wrote {shown.get(key)!r} for {name}")
                self.assertIn(NUMBERS[name], found, name)
                if name == "CFAPattern" and order == "little":
                    value = b"\2\0\2\0\0\1\1\2" # its two sizes are numbers of the file's order there
                self.expect_value(name, found[NUMBERS[name]], value)
            self.assertEqual(found[NUMBERS["ExifVersion"]][:2], b"02")

    def expect_value(self, name, found, expected):
        """Rationals as their quotients: exiftool chooses its own fractions. All else byte for byte."""
        codes = {row[0]: "i" for row in EXIF if row[0] in ("ShutterSpeedValue", "BrightnessValue", "ExposureBiasValue")}
        rationals = {row[0] for row in EXIF + GPS if isinstance(row[3], float)} | {
            "GPSTimeStamp", "ExposureIndex", "GPSImgDirection", *codes}
        if name not in rationals:
            self.assertEqual(found, expected, name)
            return
        self.assertEqual(len(found), len(expected), name)
        for at in range(0, len(found), 8):
            layout = "<2" + codes.get(name, "I")
            one, other = (struct.unpack_from(layout, value, at) for value in (found, expected))
            self.assertAlmostEqual(one[0] / one[1], other[0] / other[1], places=5, msg=name)


if __name__ == "__main__":
    TOOL = sys.argv.pop(1)
    NUMBERS = {name: int(number) for number, name in (line.split() for line in run(TOOL, "names").splitlines())}
    unittest.main()
