"""The values of comments as a user writes and sees them, and Exif taken over from a JPEG file."""

import json
import struct
import unittest

from tool import ASCII, BYTE, LONG, SHORT, ToolTest, get, gray_page, pnm, put, read_tiff, tiff


def picture():
    """A picture for vxtif save."""
    return put("a.ppm", pnm(4, 3, 3, bytes(range(36))))


def exif_tiff(order, entries, exif, gps):
    """The TIFF stream of an Exif segment: (tag, type, count, bytes) of its directory, of its Exif and GPS directories."""
    data = bytearray((b"II" if order == "<" else b"MM") + struct.pack(order + "HI", 42, 8))

    def directory(items):
        at = len(data)
        data.extend(bytes(2 + 12 * len(items) + 4))
        struct.pack_into(order + "H", data, at, len(items))
        for i, (tag, kind, count, value) in enumerate(items):
            if isinstance(value, list):
                value = struct.pack(order + "I", directory(value))
            if len(value) > 4:
                value = struct.pack(order + "I", len(data)) + (data.extend(value) or b"")
            struct.pack_into(order + "HHI4s", data, at + 2 + 12 * i, tag, kind, count, value)
        return at

    directory(entries + [(34665, LONG, 1, exif), (34853, LONG, 1, gps)])
    return bytes(data)


def jpeg(order="<"):
    """A JPEG file's markers, as a camera writes them."""
    def numbers(code, *values):
        return struct.pack(order + code, *values)
    stream = exif_tiff(
        order, [(271, ASCII, 10, b"The maker\0"), (272, ASCII, 10, b"The model\0"), (274, SHORT, 1, numbers("H", 6))],
        [(33434, 5, 1, numbers("2I", 1, 125)), (36864, 7, 4, b"0230"), (36867, ASCII, 20, b"2024:01:02 03:04:05\0"),
         (37121, 7, 4, b"\1\2\3\0"), (37385, SHORT, 1, numbers("H", 25)), (40962, LONG, 1, numbers("I", 9999))],
        [(0, BYTE, 4, b"\2\3\0\0"), (1, ASCII, 2, b"N\0"), (2, 5, 3, numbers("6I", 48, 1, 51, 1, 3024, 100))])
    segment = b"Exif\0\0" + stream
    return (b"\xff\xd8\xff\xe0\0\x10JFIF\0\1\1\0\0\1\0\1\0\0\xff\xff\xe1" + struct.pack(">H", 2 + len(segment)) + segment
            + b"\xff\xfe\0\4hi\xff\xda\0\2rest of it\xff\xd9")


class Values(ToolTest):
    def exif_file(self, *options):
        picture()
        self.ok("save", "a.ppm", "a.tif", "--format", "exif", *options)

    def shown(self, name):
        return self.ok("comment", "get", "a.tif", name).rstrip("\n")

    def test_every_form(self):
        for options in ((), ("--big-endian",)):
            self.exif_file(*options)
            for setting, name, shown in [
                    ("ExposureTime=1/125", None, "1/125"), ("ExposureTime=0.008 s", None, "1/125"),
                    ("FNumber=f/2.8", None, "14/5"), ("FocalLength=50mm", None, "50/1"),
                    ("ExposureBiasValue=-1/3", None, "-1/3"), ("ISOSpeedRatings=100, 200", None, "100,200"),
                    ("DateTimeOriginal=2024-01-02T03:04:05", None, "2024:01:02 03:04:05"),
                    ("DateTime=2024:01:02 03:04:05", None, "2024:01:02 03:04:05"),
                    ("UserComment=Größe", None, "Größe"), ("UserComment=plain", None, "plain"),
                    ("GPSLatitude=48.8584N", None, "48°51'30.24\"N"), ("GPSLatitude=-33.5", None, "33°30'0\"S"),
                    ("GPSLatitude=-33.5", "GPSLatitudeRef", "S"),
                    ("GPSLongitude=2°17'40.2\"W", None, "2°17'40.2\"W"), ("GPSLongitude=3 30 0", None, "3°30'0\"W"),
                    ("GPSAltitude=-12m", "GPSAltitudeRef", "1"), ("GPSAltitude=35.5", None, "71/2"),
                    ("GPSTimeStamp=12:34:56.25Z", None, "12:34:56.25"), ("GPSDateStamp=2024-01-02", None, "2024:01:02"),
                    ("IptcDateCreated=2024-01-02", None, "2024-01-02"),
                    ("IptcTimeCreated=12:34:56Z", None, "12:34:56+00:00"),
                    ("Artist=a text; with = signs", None, "a text; with = signs"),
                    ("CFAPattern=x00020002", None, "0,2,0,2")]:
                with self.subTest(setting):
                    self.ok("comment", "set", "a.tif", setting)
                    self.assertEqual(self.shown(name or setting.split("=")[0]), shown)

    def test_what_is_shown_sets_the_same_again(self):
        self.exif_file("--comment", "GPSLatitude=12.3456789S", "--comment", "GPSTimeStamp=01:02:03.5", "--comment",
                       "UserComment=words", "--comment", "FNumber=2.8", "--comment", "IptcTimeCreated=010203-0330")
        before = {c["name"]: c for c in self.json("comment", "list", "a.tif", "--json")["comments"]}
        names = ["GPSLatitude", "GPSTimeStamp", "UserComment", "FNumber", "IptcTimeCreated"]
        texts = [name + "=" + self.shown(name) for name in names]
        self.exif_file()
        self.ok("comment", "set", "a.tif", *texts)
        after = {c["name"]: c for c in self.json("comment", "list", "a.tif", "--json")["comments"]}
        self.assertEqual(after, before)

    def test_json_has_the_elements_and_the_text(self):
        self.exif_file("--comment", "GPSLatitude=48.8584N", "--comment", "IptcKeywords=one", "--comment",
                       "IptcKeywords=two", "--comment", "IptcCity=Paris")
        listed = {c["name"]: c for c in self.json("comment", "list", "a.tif", "--json")["comments"]}
        self.assertEqual(listed["GPSLatitude"]["value"], ["48/1", "51/1", "756/25"])
        self.assertEqual(listed["GPSLatitude"]["text"], "48°51'30.24\"N")
        self.assertEqual(listed["ExifVersion"]["text"], "0221")
        self.assertEqual(listed["IptcKeywords"]["value"], ["one", "two"])
        self.assertEqual(listed["IptcCity"]["value"], "Paris")
        self.assertNotIn("text", listed["IptcCity"])
        for line in self.ok("comment", "list", "a.tif").splitlines():
            self.assertRegex(line, r"^ *\d+  \w+ +(page|Exif|GPS|IPTC) +(BYTE|ASCII|SHORT|RATIONAL|UNDEFINED) ")

    def test_wrong_values_are_wrong_usage(self):
        self.exif_file()
        before = get("a.tif")
        for setting in ["ExposureTime=fast", "ExposureTime=1/125,1/60", "GPSLatitude=91N", "GPSLatitude=48E",
                        "GPSLatitude=48 61 0", "DateTimeOriginal=2024-02-30 00:00:00", "DateTimeOriginal=2024-01-01",
                        "SubjectLocation=1", "IptcCategory=long", "IptcUrgency=10", "IptcTimeCreated=12:34:56",
                        "GPSTimeStamp=25:00:00", "ImageUniqueID=short", "MeteringMode=70000"]:
            with self.subTest(setting):
                message = self.misused("comment", "set", "a.tif", "Artist=someone", setting)
                self.assertIn(setting, message)
        for settings in [("Artist=a", "Artist=b"), ("GPSLatitude=1N", "GPSLatitudeRef=S")]:
            with self.subTest(settings):
                self.assertIn("twice", self.misused("comment", "set", "a.tif", *settings))
        self.assertEqual(get("a.tif"), before)

    def test_what_the_page_does_not_take_is_told(self):
        put("a.tif", tiff([gray_page()]))
        for setting, words in [("ExposureTime=1/125", "has not taken ExposureTime\n"),
                               ("ExifVersion=0230", "has not taken ExifVersion\n")]:
            before = get("a.tif")
            done = self.run_tool("comment", "set", "a.tif", setting)
            self.assertEqual((done.returncode, done.stdout), (0, ""))
            self.assertIn(words, done.stderr)
            self.assertEqual(get("a.tif"), before)
        self.exif_file()
        done = self.run_tool("comment", "set", "a.tif", "FocalPlaneResolutionUnit=1", "ExifVersion=0230")
        self.assertEqual(done.returncode, 0)
        self.assertIn("FocalPlaneResolutionUnit, which is 2\n", done.stderr)
        self.assertIn("ExifVersion, which is 0221\n", done.stderr)
        picture()
        done = self.run_tool("save", "a.ppm", "b.tif", "--comment", "ExposureTime=1/125", "--comment", "Artist=someone")
        self.assertEqual(done.returncode, 0)
        self.assertIn("exif and exif-ycbcr alone", done.stderr)
        self.assertEqual(self.ok("comment", "get", "b.tif", "Artist"), "someone\n")


    def test_a_damaged_reference_hides_nothing(self):
        self.exif_file("--comment", "GPSLatitude=48.8584N", "--comment", "GPSLongitude=2.5E")
        data = bytearray(get("a.tif"))
        at = data.index(struct.pack("<HHI", 1, ASCII, 2))
        data[at:at + 8] = struct.pack("<HHI", 1, SHORT, 2)
        put("a.tif", bytes(data))
        done = self.run_tool("comment", "list", "a.tif", "--json")
        self.assertEqual(done.returncode, 1)
        self.assertIn("comment 42: -140", done.stderr)
        listed = {c["name"]: c.get("text") for c in json.loads(done.stdout)["comments"]}
        self.assertEqual(listed["GPSLatitude"], "48°51'30.24\"")
        self.assertEqual(listed["GPSLongitude"], "2°30'0\"E")


class ExifOfJpeg(ToolTest):
    def test_goes_into_a_page_of_either_order(self):
        picture()
        for source in "<>":
            put("from.jpg", jpeg(source))
            for name, options in (("exif", ()), ("exif-ycbcr", ()), ("exif", ("--big-endian",))):
                with self.subTest(source=source, format=name, options=options):
                    self.ok("save", "a.ppm", "a.tif", "--format", name, "--exif", "from.jpg", "--comment", "Model=mine",
                            "--comment", "FNumber=2.8", *options)
                    comments = {c["name"]: c["value"]
                                for c in self.json("comment", "list", "a.tif", "--json")["comments"]}
                    self.assertEqual(comments, {
                        "Make": "The maker", "Model": "mine", "ExifVersion": [48, 50, 50, 49],
                        "DateTimeOriginal": "2024:01:02 03:04:05", "Flash": 25, "ExposureTime": "1/125",
                        "FNumber": "14/5", "FlashpixVersion": [48, 49, 48, 48], "ColorSpace": 1,
                        "GPSVersionID": [2, 2, 0, 0], "GPSLatitudeRef": "N", "GPSLatitude": ["48/1", "51/1", "3024/100"]})
                    pages, order = read_tiff("a.tif")
                    self.assertEqual(order, ">" if options else "<")
                    self.assertNotIn(37121, pages[0]) # what tells of the JPEG file's compression is left behind
                    self.assertEqual(pages[0][274], (SHORT, [1]))

    def test_other_formats_keep_the_texts_alone(self):
        picture()
        put("from.jpg", jpeg())
        done = self.run_tool("save", "a.ppm", "a.tif", "--exif", "from.jpg")
        self.assertEqual(done.returncode, 0)
        self.assertIn("exif and exif-ycbcr alone", done.stderr)
        pages, _ = read_tiff("a.tif")
        self.assertEqual(pages[0][271], (ASCII, "The maker"))
        self.assertNotIn(34665, pages[0])

    def test_refusals(self):
        picture()
        self.refused(-10, "save", "a.ppm", "a.tif", "--exif", "missing.jpg")
        put("none.jpg", b"\xff\xd8\xff\xda\0\2\xff\xd9")
        self.assertIn("no Exif", self.refused(-7, "save", "a.ppm", "a.tif", "--exif", "none.jpg"))
        put("no.jpg", b"P5 1 1")
        self.refused(-7, "save", "a.ppm", "a.tif", "--exif", "no.jpg")
        self.assertNotIn("a.tif", self.files())


class Contents(ToolTest):
    def test_what_a_page_carries(self):
        picture()
        put("from.jpg", jpeg())
        put("note", bytes(range(200, 230)))
        for options in ((), ("--big-endian",)):
            self.ok("save", "a.ppm", "a.tif", "--format", "exif", "--exif", "from.jpg", "--comment", "MakerNote=@note",
                    "--comment", "IptcCity=Paris", "--comment", "IptcKeywords=a", "--comment", "IptcKeywords=b",
                    "--stamp", "a.ppm", "--tag", "700=BYTE:1,2,3,4,5", "--tag", "34377=BYTE:1,2,3,4,5,6",
                    "--tag", "34675=UNDEFINED:1,2,3,4,5,6,7", *options)
            self.ok("geo", "set", "a.tif", "GTModelType=SHORT:2", "GeogSemiMajorAxis=DOUBLE:6378137")
            contents = {"texts": 2, "exif": 7, "makerNote": 30, "gps": 3, "iptc": 4, "xmp": 5, "photoshop": 6, "icc": 7,
                        "geoKeys": 2, "stamp": True}
            self.assertEqual(self.json("info", "a.tif", "--json")["contents"], contents)
            self.assertEqual(self.json("info", "a.tif", "--page", "all", "--json")["pages"][0]["contents"], contents)
            text = self.ok("info", "a.tif")
            self.assertIn("carries     2 texts, Exif (7 values), a maker note (30 bytes), GPS (3 values), "
                          "IPTC (4 data sets), XMP (5 bytes), Photoshop (6 bytes), an ICC profile (7 bytes), "
                          "2 GeoTIFF keys, a stamp\n", text)

    def test_damaged_metadata_counts_as_far_as_it_goes(self):
        for order in "<>":
            put("a.tif", tiff([gray_page(tags={
                34665: (LONG, [0xFFFFFFF0]), 34853: (LONG, [4]), 33723: (BYTE, [0x1C, 2, 25, 0, 1, 65, 0x1C, 2, 25, 0xFF]),
                34735: (SHORT, [1, 1, 0, 9, 0])})], order))
            contents = self.json("info", "a.tif", "--json")["contents"]
            self.assertNotIn("exif", contents)
            self.assertNotIn("geoKeys", contents)
            self.assertEqual(contents["iptc"], 1)

    def test_a_plain_page_carries_nothing(self):
        put("a.tif", tiff([gray_page()]))
        self.assertEqual(self.json("info", "a.tif", "--json")["contents"], {})
        self.assertNotIn("carries", self.ok("info", "a.tif"))

    def test_sub_pictures(self):
        put("a.tif", tiff([gray_page(tags={330: (LONG, [8, 8, 8])})]))
        self.assertEqual(self.json("info", "a.tif", "--json")["contents"], {"subDirectories": 3})
        self.assertIn("3 sub-pictures", self.ok("info", "a.tif"))


if __name__ == "__main__":
    unittest.main()
