"""vxtif planes and vxtif stamp."""

import json
import unittest

from tool import SHORT, Page, ToolTest, gray_page, pnm, put, read_pnm, read_tiff, tiff

INKS = [bytes((7 * i + 50 * ink) % 256 for i in range(24)) for ink in range(5)]


def chunky(inks):
    return bytes(v for pixel in zip(*inks) for v in pixel)


class Planes(ToolTest):
    def test_load(self):
        separate = Page(6, 4, [8] * 4, 5, INKS[:4], {284: (SHORT, [2])})
        separate.tags[278] = (4, [4])
        for page in [Page(6, 4, [8] * 4, 5, chunky(INKS[:4])), separate]:
            put("a.tif", tiff([gray_page(), page]))
            shown = self.json("planes", "load", "a.tif", "out.pgm", "--page", "2", "--json")
            self.assertEqual([plane["output"] for plane in shown["planes"]],
                             ["out-C.pgm", "out-M.pgm", "out-Y.pgm", "out-K.pgm"])
            for ink, name in enumerate("CMYK"):
                self.assertEqual(read_pnm("out-%s.pgm" % name), ("P5", 6, 4, 255, INKS[ink]))

    def test_a_fifth_ink(self):
        put("a.tif", tiff([Page(6, 4, [8] * 5, 5, chunky(INKS), {338: (SHORT, [0])})]))
        self.ok("planes", "load", "a.tif", "out.png")
        self.assertEqual(self.files(), ["a.tif", "out-5.png", "out-C.png", "out-K.png", "out-M.png", "out-Y.png"])

    def test_there_and_back(self):
        for ink in range(4):
            put("%d.pgm" % ink, pnm(6, 4, 1, INKS[ink]))
        for name in ["cmyk", "lzw-cmyk", "packbits-cmyk"]:
            for more in [(), ("--planar",), ("--big-endian",), ("--predictor",), ("--planar", "--predictor")]:
                with self.subTest((name, more)):
                    self.ok("planes", "save", "0.pgm", "1.pgm", "2.pgm", "3.pgm", "--out", "a.tif", "--format", name,
                            *more)
                    self.ok("planes", "load", "a.tif", "b.pgm")
                    for ink, letter in enumerate("CMYK"):
                        self.assertEqual(read_pnm("b-%s.pgm" % letter)[4], INKS[ink])

    def test_appended(self):
        put("a.tif", tiff([gray_page()]))
        for ink in range(4):
            put("%d.pgm" % ink, pnm(6, 4, 1, INKS[ink]))
        self.ok("planes", "save", "0.pgm", "1.pgm", "2.pgm", "3.pgm", "--out", "a.tif", "--append", "--tag",
                "InkSet=SHORT:1")
        pages, _ = read_tiff("a.tif")
        self.assertEqual((len(pages), pages[1][332]), (2, (SHORT, [1])))

    def test_refusals(self):
        put("a.tif", tiff([gray_page()]))
        self.refused(-918, "planes", "load", "a.tif", "out.png")
        self.refused(-310, "planes", "load", "a.tif", "out.png", "--page", "2")
        self.refused(-1, "planes", "load", "a.tif", "out.png", "--max-bytes", "5")
        self.assertEqual(self.files(), ["a.tif"])
        self.misused("planes", "load", "a.tif", "out.raw")
        self.misused("planes", "save", "--out", "a.tif")


class Stamp(ToolTest):
    def test_is_the_second_page(self):
        put("a.tif", tiff([gray_page(), gray_page(2, 1, 40), gray_page()]))
        shown = json.loads(self.ok("stamp", "a.tif", "s.pnm", "--json"))
        self.assertEqual((shown["width"], shown["pageNumber"], shown["output"]), (2, 2, "s.pnm"))
        self.assertEqual(read_pnm("s.pnm"), ("P5", 2, 1, 255, bytes([40, 41])))

    def test_saved_beside_a_page(self):
        put("a.ppm", pnm(8, 8, 3, bytes(192)))
        put("s.ppm", pnm(2, 2, 3, bytes(range(12))))
        self.ok("save", "a.ppm", "a.tif", "--format", "exif", "--stamp", "s.ppm")
        self.ok("stamp", "a.tif", "t.pnm")
        self.assertEqual(read_pnm("t.pnm"), ("P6", 2, 2, 255, bytes(range(12))))

    def test_refusals(self):
        put("a.tif", tiff([gray_page()]))
        self.refused(-65, "stamp", "a.tif", "s.png")
        put("a.tif", tiff([gray_page(), gray_page(tags={259: (SHORT, [8])})]))
        self.refused(-15, "stamp", "a.tif", "s.png")
        self.assertEqual(self.files(), ["a.tif"])
        self.misused("stamp", "a.tif", "s.raw")


if __name__ == "__main__":
    unittest.main()
