"""vxtif info and vxtif dump."""

import json
import struct
import unittest

from tool import ASCII, LONG, SHORT, Page, ToolTest, gray_page, put, tiff


class Info(ToolTest):
    def test_one_page(self):
        put("a.tif", tiff([gray_page(7, 5)]))
        self.assertEqual(self.json("info", "a.tif", "--json"), {
            "file": "a.tif", "fileFormat": 3, "width": 7, "height": 5, "bitsPerPixel": 8, "memorySize": 40,
            "compressionName": "", "viewPerspective": 1, "order": 1, "pageNumber": 1, "totalPages": 1,
            "xResolution": 72, "yResolution": 72, "flags": 0x8080, "directoryOffset": 60, "colorSpace": 0,
            "contents": {}})
        text = self.ok("info", "a.tif")
        for words in ["page 1 of 1", "3, uncompressed", "7 x 5 pixels, 8 bits", "72 x 72 dots per inch"]:
            self.assertIn(words, text)

    def test_pages(self):
        put("a.tif", tiff([gray_page(1 + i, 2) for i in range(4)]))
        second = self.json("info", "a.tif", "--page", "2", "--json")
        self.assertEqual((second["width"], second["pageNumber"], second["totalPages"]), (2, 2, 4))
        everything = self.json("info", "a.tif", "--page", "all", "--json")
        self.assertEqual(everything["totalPages"], 4)
        self.assertEqual([(p["width"], p["pageNumber"], p["totalPages"]) for p in everything["pages"]],
                         [(1, 1, 4), (2, 2, 4), (3, 3, 4), (4, 4, 4)])
        self.assertEqual(self.ok("info", "a.tif", "--page", "all").count("a.tif: page"), 4)

    def test_a_page_past_the_end_shows_the_last(self):
        put("a.tif", tiff([gray_page(), gray_page(9, 2)]))
        self.assertEqual(self.json("info", "a.tif", "--page", "7", "--json")["pageNumber"], 2)

    def test_several_files(self):
        put("a.tif", tiff([gray_page()]))
        put("b.tif", tiff([gray_page()], ">"))
        lines = self.ok("info", "a.tif", "b.tif", "--json").splitlines()
        self.assertEqual([json.loads(line)["file"] for line in lines], ["a.tif", "b.tif"])

    def test_a_bad_file_among_good_ones(self):
        put("a.tif", tiff([gray_page()]))
        put("b.tif", b"II*\0")
        done = self.run_tool("info", "a.tif", "b.tif", "a.tif", "--json")
        self.assertEqual(done.returncode, 1)
        self.assertEqual(len(done.stdout.splitlines()), 2)
        self.assertIn("b.tif: info: -9", done.stderr)

    def test_a_refused_page_among_good_ones(self):
        put("a.tif", tiff([gray_page(), gray_page(tags={259: (SHORT, [7])}), gray_page(9, 2)]))
        done = self.run_tool("info", "a.tif", "--page", "all", "--json")
        self.assertEqual(done.returncode, 1)
        self.assertIn("a.tif page 2: info: 0 (kResultRefused)", done.stderr)
        pages = json.loads(done.stdout)["pages"]
        self.assertEqual([page["pageNumber"] for page in pages], [1, 2, 3])
        self.assertEqual(pages[1]["result"], 0)
        self.assertEqual(pages[2]["width"], 9)

    def test_alpha_and_orientation(self):
        put("a.tif", tiff([Page(1, 1, [8, 8], 1, b"\1\2", {338: (SHORT, [2]), 274: (SHORT, [6])})]))
        self.assertEqual(self.json("info", "a.tif", "--json")["bitsPerPixel"], 8)
        self.assertEqual(self.json("info", "a.tif", "--alpha", "--json")["bitsPerPixel"], 32)
        self.assertEqual(self.json("info", "a.tif", "--json")["viewPerspective"], 6)
        self.assertEqual(self.json("info", "a.tif", "--ignore-orientation", "--json")["viewPerspective"], 1)

    def test_names_that_are_not_ascii(self):
        put("größe 画像.tif", tiff([gray_page()]))
        self.assertEqual(self.json("info", "größe 画像.tif", "--json")["file"], "größe 画像.tif")


class Dump(ToolTest):
    def test_entries(self):
        for order in "<>":
            put("a.tif", tiff([gray_page(tags={270: (ASCII, "a text"), 65000: (SHORT, [1, 2, 3])}), gray_page()], order))
            dump = self.json("dump", "a.tif", "--json")
            self.assertEqual((dump["byteOrder"], dump["version"]), (73 if order == "<" else 77, 42))
            self.assertEqual([page["pageNumber"] for page in dump["pages"]], [1, 2])
            self.assertEqual(dump["pages"][0]["nextDirectoryOffset"], dump["pages"][1]["directoryOffset"])
            records = {record["tag"]: record for record in dump["pages"][0]["records"]}
            self.assertEqual(records[270], {"tag": 270, "name": "ImageDescription", "type": 2, "count": 7,
                                            "value": "a text", "class": 0, "size": 7})
            self.assertEqual(records[256], {"tag": 256, "name": "ImageWidth", "type": 4, "count": 1, "value": 4,
                                            "class": 2, "size": 4})
            self.assertEqual(records[65000]["value"], [1, 2, 3])
            self.assertEqual((records[273]["class"], records[273]["value"]), (6, 8))
            self.assertEqual(records[282]["value"], "72/1")

    def test_layout_flags(self):
        strips = [b"\1\2\3\4"] * 3
        put("plain.tif", tiff([Page(4, 3, [8], 1, strips)]))
        put("lzw.tif", tiff([Page(4, 3, [8], 1, strips, {259: (SHORT, [5])})]))
        put("one.tif", tiff([gray_page()]))
        flags = [self.json("dump", name, "--json")["pages"][0]["layoutFlags"]
                 for name in ("plain.tif", "lzw.tif", "one.tif")]
        self.assertEqual(flags, [2, 3, 0])
        self.assertIn("layout 3 (pieces, bands)", self.ok("dump", "lzw.tif"))

    def test_strip_offsets_are_the_files(self):
        put("a.tif", tiff([Page(4, 3, [8], 1, [b"abcd", b"efgh", b"ijkl"])]))
        records = {record["tag"]: record for record in self.json("dump", "a.tif", "--json")["pages"][0]["records"]}
        self.assertEqual(records[273]["value"], [8, 12, 16])

    def test_sub_directories(self):
        child = struct.pack("<H", 2)
        child += struct.pack("<HHII", 36867, 2, 20, 0) + struct.pack("<HHIHH", 41986, 3, 1, 1, 0) + struct.pack("<I", 0)
        data = bytearray(tiff([gray_page(tags={34665: (LONG, [0])})]))
        where = len(data)
        text = where + len(child)
        child = child[:10] + struct.pack("<I", text) + child[14:]
        data += child + b"2024:01:02 03:04:05\0"
        entry = data.index(struct.pack("<HHII", 34665, 4, 1, 0))
        data[entry + 8:entry + 12] = struct.pack("<I", where)
        put("a.tif", bytes(data))
        records = {record["tag"]: record for record in self.json("dump", "a.tif", "--json")["pages"][0]["records"]}
        exif = records[34665]
        self.assertEqual(exif["class"], 3)
        self.assertEqual([(r["name"], r["value"]) for r in exif["directories"][0]["records"]],
                         [("DateTimeOriginal", "2024:01:02 03:04:05"), ("ExposureMode", 1)])
        self.assertIn("DateTimeOriginal", self.ok("dump", "a.tif"))

    def test_one_page(self):
        put("a.tif", tiff([gray_page(), gray_page(9, 2)]))
        dump = self.json("dump", "a.tif", "--page", "2", "--json")
        self.assertEqual([page["pageNumber"] for page in dump["pages"]], [2])
        self.refused(-310, "dump", "a.tif", "--page", "3")

    def test_a_chain_that_loops(self):
        data = bytearray(tiff([gray_page(), gray_page()]))
        first = struct.unpack_from("<I", data, 4)[0]
        data[-4:] = struct.pack("<I", first)
        put("a.tif", bytes(data))
        self.assertEqual(len(self.json("dump", "a.tif", "--json")["pages"]), 2)
        self.assertEqual(self.json("info", "a.tif", "--page", "all", "--json")["totalPages"], 2)


if __name__ == "__main__":
    unittest.main()
