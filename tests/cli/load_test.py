"""vxtif load: every output, every option."""

import json
import struct
import unittest

from tool import LONG, SHORT, Page, ToolTest, get, gray_page, put, read_pam, read_png, read_pnm, tiff

RGB = Page(2, 2, [8, 8, 8], 2, bytes(range(12)))


class Load(ToolTest):
    def test_png_of_colours(self):
        put("a.tif", tiff([RGB]))
        self.assertEqual(self.ok("load", "a.tif", "a.png"), "")
        png = read_png("a.png")
        self.assertEqual((png["width"], png["height"], png["bits"], png["colour"]), (2, 2, 8, 2))
        self.assertEqual(b"".join(png["rows"]), bytes(range(12)))
        # 72 dots per inch are 2835 pixels per metre.
        self.assertEqual(png["density"], struct.pack(">IIB", 2835, 2835, 1))
        self.assertEqual(self.files(), ["a.png", "a.tif"])

    def test_png_keeps_a_palette(self):
        colours = [0x1100, 0x2200, 0x3300, 0x4400] + [0] * 4 + [0xFFFF] * 4
        put("a.tif", tiff([Page(4, 1, [2], 3, b"\x1b", {320: (SHORT, colours)})]))
        self.ok("load", "a.tif", "a.png")
        png = read_png("a.png")
        self.assertEqual((png["bits"], png["colour"], png["rows"]), (2, 3, [b"\x1b"]))
        self.assertEqual(png["palette"], bytes.fromhex("1100ff 2200ff 3300ff 4400ff"))
        self.ok("load", "a.tif", "a.pnm")
        self.assertEqual(read_pnm("a.pnm"), ("P6", 4, 1, 255, bytes.fromhex("1100ff 2200ff 3300ff 4400ff")))

    def test_png_of_bits_and_of_words(self):
        put("a.tif", tiff([Page(9, 2, [1], 0, b"\xff\x80\x00\x00"), Page(2, 1, [16], 1, struct.pack(">HH", 1, 0xABCD))],
                          ">"))
        self.ok("load", "a.tif", "a.png")
        png = read_png("a.png")
        self.assertEqual((png["bits"], png["colour"]), (1, 0))
        self.assertEqual([row[0] for row in png["rows"]], [0x00, 0xFF])
        self.ok("load", "a.tif", "b.png", "--page", "2")
        png = read_png("b.png")
        self.assertEqual((png["bits"], png["rows"]), (16, [b"\x00\x01\xab\xcd"]))

    def test_pnm_kinds(self):
        put("a.tif", tiff([Page(9, 1, [1], 0, b"\xaa\x80"), gray_page(2, 1), RGB]))
        for page, expected in [(1, ("P4", 9, 1, 1, b"\xaa\x80")), (2, ("P5", 2, 1, 255, b"\0\1")),
                               (3, ("P6", 2, 2, 255, bytes(range(12))))]:
            self.ok("load", "a.tif", "a.pnm", "--page", page)
            self.assertEqual(read_pnm("a.pnm"), expected)

    def test_pam_keeps_alpha(self):
        put("a.tif", tiff([Page(1, 1, [8, 8, 8, 8], 2, b"\1\2\3\4", {338: (SHORT, [2])})]))
        self.ok("load", "a.tif", "a.pam")
        header, data = read_pam("a.pam")
        self.assertEqual((header["DEPTH"], header["TUPLTYPE"], data), ("4", "RGB_ALPHA", b"\1\2\3\4"))
        self.ok("load", "a.tif", "a.png")
        self.assertEqual(read_png("a.png")["colour"], 6)
        self.ok("load", "a.tif", "a.pnm")
        self.assertEqual(read_pnm("a.pnm")[4], b"\1\2\3")

    def test_raw_rows(self):
        put("a.tif", tiff([Page(2, 1, [8, 8, 8, 8], 5, bytes(8)), Page(5, 2, [4], 1, b"\x12\x34\x50\x67\x89\xa0"),
                           Page(2, 1, [16], 1, b"\1\2\3\4")]))
        self.ok("load", "a.tif", "a.raw")
        self.assertEqual(get("a.raw"), b"\xff" * 6)
        self.ok("load", "a.tif", "a.raw", "--page", "2")
        self.assertEqual(get("a.raw"), b"\x12\x34\x50\x67\x89\xa0")
        self.ok("load", "a.tif", "a.raw", "--page", "3")
        self.assertEqual(get("a.raw"), b"\1\2\3\4")

    def test_orientation(self):
        put("a.tif", tiff([gray_page(3, 2, tags={274: (SHORT, [6])})]))
        self.ok("load", "a.tif", "a.pnm")
        self.assertEqual(read_pnm("a.pnm"), ("P5", 2, 3, 255, bytes([3, 0, 4, 1, 5, 2])))
        self.ok("load", "a.tif", "a.pnm", "--ignore-orientation")
        self.assertEqual(read_pnm("a.pnm"), ("P5", 3, 2, 255, bytes(range(6))))
        self.ok("load", "a.tif", "a.raw")
        self.assertEqual(get("a.raw"), bytes(range(6)))

    def test_region(self):
        put("a.tif", tiff([gray_page(10, 10)]))
        self.ok("load", "a.tif", "a.pnm", "--region", "2,3,4,2")
        self.assertEqual(read_pnm("a.pnm"), ("P5", 4, 2, 255, bytes([32, 33, 34, 35, 42, 43, 44, 45])))
        self.ok("load", "a.tif", "a.pnm", "--region", "8,8,10,10")
        self.assertEqual(read_pnm("a.pnm")[1:3], (2, 2))
        self.refused(-13, "load", "a.tif", "b.pnm", "--region", "10,0,1,1")
        self.assertNotIn("b.pnm", self.files())

    def test_force_rgb_and_alpha(self):
        put("a.tif", tiff([Page(1, 1, [8, 8, 8, 8], 5, b"\1\2\3\4"),
                           Page(1, 1, [8, 8], 1, b"\7\x80", {338: (SHORT, [2])})]))
        self.ok("load", "a.tif", "a.pnm", "--force-rgb")
        self.assertEqual(read_pnm("a.pnm")[4], b"\1\2\3")
        self.ok("load", "a.tif", "a.pam", "--page", "2")
        self.assertEqual(read_pam("a.pam")[1], b"\7")
        self.ok("load", "a.tif", "a.pam", "--page", "2", "--alpha")
        self.assertEqual(read_pam("a.pam")[1], b"\7\x80")

    def test_all_pages(self):
        put("a.tif", tiff([gray_page(2, 1, start) for start in (10, 20, 30)]))
        lines = self.ok("load", "a.tif", "out.pnm", "--page", "all", "--json").splitlines()
        self.assertEqual([json.loads(line)["output"] for line in lines], ["out-1.pnm", "out-2.pnm", "out-3.pnm"])
        self.assertEqual([json.loads(line)["pageNumber"] for line in lines], [1, 2, 3])
        self.assertEqual([read_pnm("out-%d.pnm" % i)[4][0] for i in (1, 2, 3)], [10, 20, 30])

    def test_all_pages_with_a_refused_one(self):
        put("a.tif", tiff([gray_page(), gray_page(tags={259: (SHORT, [8])}), gray_page()]))
        done = self.run_tool("load", "a.tif", "out.png", "--page", "all")
        self.assertEqual(done.returncode, 1)
        self.assertIn("-15 (kResultUnknownCompression)", done.stderr)
        self.assertEqual(self.files(), ["a.tif", "out-1.png", "out-3.png"])

    def test_refusals(self):
        put("a.tif", tiff([gray_page()]))
        self.refused(-310, "load", "a.tif", "a.png", "--page", "2")
        put("b.tif", tiff([gray_page(tags={259: (SHORT, [8])})]))
        self.refused(-15, "load", "b.tif", "b.png")
        put("c.tif", tiff([gray_page(tags={259: (SHORT, [34661])})]))
        self.assertIn("VXJBIG", self.refused(-319, "load", "c.tif", "c.png"))
        put("d.tif", tiff([gray_page(tags={259: (SHORT, [7])})]))
        self.refused(0, "load", "d.tif", "d.png")
        self.assertEqual(self.files(), ["a.tif", "b.tif", "c.tif", "d.tif"])

    def test_a_failure_keeps_the_old_file(self):
        put("a.tif", tiff([gray_page(tags={259: (SHORT, [8])})]))
        put("a.png", b"old")
        self.refused(-15, "load", "a.tif", "a.png")
        self.assertEqual(get("a.png"), b"old")
        put("a.raw", b"old")
        self.refused(-15, "load", "a.tif", "a.raw")
        self.assertEqual(get("a.raw"), b"old")
        self.assertEqual(self.files(), ["a.png", "a.raw", "a.tif"])

    def test_output_out_of_proportion(self):
        page = gray_page()
        page.tags[256] = page.tags[257] = (LONG, [1000000])
        put("a.tif", tiff([page]))
        self.assertIn("--max-bytes", self.refused(-1, "load", "a.tif", "a.png"))
        put("b.tif", tiff([gray_page(100, 100)]))
        self.refused(-1, "load", "b.tif", "b.png", "--max-bytes", "9999")
        self.ok("load", "b.tif", "b.png", "--max-bytes", "10KB")

    def test_cut_off_data(self):
        # The strip at the end of the file, half of it gone: the page loads, with a warning.
        page = gray_page(10, 10)
        data = bytearray(tiff([page]))
        entry = data.index(struct.pack("<HHII", 273, 4, 1, 8))
        data[entry + 8:entry + 12] = struct.pack("<I", len(data))
        put("a.tif", bytes(data) + bytes(range(50)))
        done = self.run_tool("load", "a.tif", "a.pnm", "--json")
        self.assertEqual(done.returncode, 0)
        self.assertIn("warning", done.stderr)
        self.assertIn("-7 (kResultReadFailed)", done.stderr)
        self.assertEqual(json.loads(done.stdout)["truncationStatus"], -7)
        self.assertEqual(read_pnm("a.pnm")[4], bytes(range(50)) + bytes(50))


class LoadRaw(ToolTest):
    def test_rows(self):
        put("a.bin", b"xx" + bytes(range(12)))
        self.ok("load", "a.bin", "a.pnm", "--raw-format", "rows", "--width", "4", "--height", "3", "--bits", "8",
                "--offset", "2", "--black-first")
        self.assertEqual(read_pnm("a.pnm"), ("P5", 4, 3, 255, bytes(range(12))))
        self.ok("load", "a.bin", "a.pnm", "--raw-format", "rows", "--width", "2", "--height", "2", "--bits", "24",
                "--offset", "2")
        self.assertEqual(read_pnm("a.pnm"), ("P6", 2, 2, 255, bytes(range(12))))

    def test_padded_rows_and_view(self):
        put("a.bin", bytes([1, 2, 3, 0, 4, 5, 6, 0]))
        self.ok("load", "a.bin", "a.pnm", "--raw-format", "rows", "--width", "3", "--height", "2", "--bits", "8",
                "--padded-rows", "--black-first", "--view", "2")
        self.assertEqual(read_pnm("a.pnm")[4], bytes([3, 2, 1, 6, 5, 4]))

    def test_rows_that_end_early(self):
        put("a.bin", bytes(10))
        self.refused(-7, "load", "a.bin", "a.png", "--raw-format", "rows", "--width", "4", "--height", "3", "--bits", "8")
        self.refused(-10, "load", "none.bin", "a.png", "--raw-format", "rows", "--width", "4", "--height", "3")

    def test_packbits(self):
        put("a.bin", bytes([0xFE, 7, 2, 1, 2, 3]))
        self.ok("load", "a.bin", "a.raw", "--raw-format", "packbits", "--width", "3", "--height", "2", "--bits", "8")
        self.assertEqual(get("a.raw"), bytes([7, 7, 7, 1, 2, 3]))
        self.ok("load", "a.bin", "a.pnm", "--raw-format", "packbits", "--width", "3", "--height", "2", "--bits", "8",
                "--black-first")
        self.assertEqual(read_pnm("a.pnm"), ("P5", 3, 2, 255, bytes([7, 7, 7, 1, 2, 3])))

    def test_fax(self):
        # Modified Huffman, a row of 4 white and 4 black: 1011 011, padded to a byte.
        put("a.bin", bytes([0b10110110]))
        self.ok("load", "a.bin", "a.pnm", "--raw-format", "fax", "--width", "8", "--height", "1")
        self.assertEqual(read_pnm("a.pnm"), ("P4", 8, 1, 1, b"\x0f"))
        self.refused(-27, "load", "a.bin", "a.png", "--raw-format", "fax", "--width", "8", "--height", "1", "--bits", "8")


if __name__ == "__main__":
    unittest.main()
