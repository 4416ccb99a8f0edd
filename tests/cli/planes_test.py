"""vxtif planes and vxtif stamp."""

import json
import struct
import unittest

from tool import RATIONAL, SHORT, Page, ToolTest, gray_page, pnm, put, read_png, read_pnm, read_tiff, tiff

INKS = [bytes((7 * i + 50 * ink) % 256 for i in range(24)) for ink in range(5)]


# Samples of 16 bits, high bytes and low bytes all different from ink to ink.
WIDE = [[(1000 * i + 9001 * ink + 37) % 65536 for i in range(35)] for ink in range(5)]
LETTERS = "CMYK5"


def chunky(inks):
    return bytes(v for pixel in zip(*inks) for v in pixel)


def words(values, order):
    return struct.pack("%s%dH" % (order, len(values)), *values)


def chunky_words(inks, order):
    return words([v for pixel in zip(*inks) for v in pixel], order)


def packed(rows, row_bytes):
    """PackBits literals, a row of at most 128 bytes each."""
    return b"".join(bytes([row_bytes - 1]) + rows[i:i + row_bytes] for i in range(0, len(rows), row_bytes))


def differences(inks, width, order):
    """Chunky rows of differences, sample by sample, as Predictor 2 has them."""
    out = []
    for y in range(0, len(inks[0]), width):
        for x in range(width):
            out += [(ink[y + x] - (ink[y + x - 1] if x else 0)) % 65536 for ink in inks]
    return words(out, order)


def lzw(data):
    """Codes of 9 bits: a clear, then bytes as they are, with a clear before the table would need wider codes."""
    bits, count = 0, 0
    for i, byte in enumerate(data):
        for code in ([256, byte] if i % 200 == 0 else [byte]):
            bits, count = bits << 9 | code, count + 9
    bits, count = bits << 9 | 257, count + 9
    return (bits << (-count % 8)).to_bytes((count + 7) // 8, "big")


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

    def check_wide(self, count, *arguments):
        self.ok("planes", "load", "a.tif", "out.pgm", *arguments)
        for ink in range(count):
            name = "out-%s.pgm" % LETTERS[ink]
            self.assertEqual(read_pnm(name), ("P5", 7, 5, 65535, words(WIDE[ink], ">")), name)

    def test_wide_samples_side_by_side(self):
        for order in "<>":
            for count in (4, 5):
                extra = {338: (SHORT, [0])} if count == 5 else {}
                data = chunky_words(WIDE[:count], order)
                row = 14 * count
                strips = [data[at:at + 2 * row] for at in range(0, len(data), 2 * row)]
                stored = Page(7, 5, [16] * count, 5, strips, {278: (4, [2]), **extra})
                runs = Page(7, 5, [16] * count, 5, packed(data, row), {259: (SHORT, [32773]), **extra})
                codes = Page(7, 5, [16] * count, 5, lzw(data), {259: (SHORT, [5]), **extra})
                summed = Page(7, 5, [16] * count, 5, lzw(differences(WIDE[:count], 7, order)),
                              {259: (SHORT, [5]), 317: (SHORT, [2]), **extra})
                for name, page in (("stored", stored), ("runs", runs), ("codes", codes), ("summed", summed)):
                    with self.subTest((order, count, name)):
                        put("a.tif", tiff([gray_page(), page], order))
                        self.check_wide(count, "--page", "2")

    def test_wide_samples_in_planes(self):
        for order in "<>":
            for count in (4, 5):
                planes = [words(ink, order) for ink in WIDE[:count]]
                tags = {284: (SHORT, [2]), 278: (4, [5])}
                stored = Page(7, 5, [16] * count, 5, planes, tags)
                runs = Page(7, 5, [16] * count, 5, [packed(plane, 14) for plane in planes], {259: (SHORT, [32773]), **tags})
                summed = Page(7, 5, [16] * count, 5, [lzw(differences([ink], 7, order)) for ink in WIDE[:count]],
                              {259: (SHORT, [5]), 317: (SHORT, [2]), **tags})
                for name, page in (("stored", stored), ("runs", runs), ("summed", summed)):
                    with self.subTest((order, count, name)):
                        put("a.tif", tiff([page], order))
                        self.check_wide(count)

    def test_wide_samples_of_a_turned_page(self):
        put("a.tif", tiff([Page(7, 5, [16] * 4, 5, chunky_words(WIDE[:4], ">"),
                                {274: (SHORT, [3]), 282: (RATIONAL, [(300, 1)])})], ">"))
        self.ok("planes", "load", "a.tif", "out.pgm")
        self.assertEqual(read_pnm("out-K.pgm"), ("P5", 7, 5, 65535, words(WIDE[3][::-1], ">")))
        self.ok("planes", "load", "a.tif", "out.png")
        self.assertEqual(read_png("out-K.png")["density"], struct.pack(">IIB", 11811, 2835, 1))

    def test_a_page_cut_off_in_its_samples(self):
        """What is missing is 0, as in every load."""
        whole = tiff([Page(7, 5, [16] * 4, 5, chunky_words(WIDE[:4], "<"))])
        pages, _ = read_tiff(put("a.tif", whole))
        start = pages[0][273][1][0]
        # The directory goes in front, so that the file can be cut.
        body = whole[start + 280:]
        moved = bytearray(whole[:8] + body + whole[start:start + 280])
        shift = start + 280 - 8
        directory = struct.unpack_from("<I", moved, 4)[0] - shift
        struct.pack_into("<I", moved, 4, directory)
        for i in range(struct.unpack_from("<H", moved, directory)[0]):
            at = directory + 2 + 12 * i
            tag, kind, number, value = struct.unpack_from("<HHII", moved, at)
            if tag == 273:
                struct.pack_into("<I", moved, at + 8, 8 + len(body))
            elif kind == RATIONAL or (kind == SHORT and number > 2):
                struct.pack_into("<I", moved, at + 8, value - shift)
        for length in (280, 200, 101):
            put("a.tif", bytes(moved[:8 + len(body) + length]))
            self.ok("planes", "load", "a.tif", "out.pgm")
            for ink in range(4):
                data = chunky_words(WIDE[:4], "<")[:length].ljust(280, b"\0")
                samples = struct.unpack("<140H", data)[ink::4]
                self.assertEqual(read_pnm("out-%s.pgm" % LETTERS[ink])[4], words(samples, ">"))

    def test_more_samples_than_can_be_taken_apart(self):
        put("a.tif", tiff([Page(7, 5, [16] * 9, 5, bytes(7 * 5 * 18))]))
        self.refused(-27, "planes", "load", "a.tif", "out.pgm")
        put("a.tif", tiff([Page(7, 5, [32] * 4, 5, bytes(7 * 5 * 16))]))
        self.refused(-27, "planes", "load", "a.tif", "out.pgm")
        put("a.tif", tiff([Page(7, 5, [16] * 3, 2, bytes(7 * 5 * 6))]))
        self.refused(-918, "planes", "load", "a.tif", "out.pgm")
        put("a.tif", tiff([Page(7, 5, [16] * 4, 5, bytes(7 * 5 * 8), {259: (SHORT, [8])})]))
        self.refused(-15, "planes", "load", "a.tif", "out.pgm")
        self.assertEqual(self.files(), ["a.tif"])

    def test_wide_there_and_back(self):
        for ink in range(5):
            put("%d.pgm" % ink, pnm(7, 5, 1, words(WIDE[ink], ">"), 65535))
        names = ["%d.pgm" % ink for ink in range(5)]
        for count in (4, 5):
            for form in ["cmyk", "lzw-cmyk", "packbits-cmyk"]:
                for more in [(), ("--planar",), ("--planar", "--predictor")]:
                    with self.subTest((count, form, more)):
                        self.ok("planes", "save", *names[:count], "--out", "a.tif", "--format", form, *more)
                        tags = read_tiff("a.tif")[0][0]
                        self.assertEqual((tags[258][1], tags[277][1]), ([16] * count, [count]))
                        self.check_wide(count)
            # In a big-endian file the library swaps uncompressed samples only.
            for more in [(), ("--planar",)]:
                self.ok("planes", "save", *names[:count], "--out", "a.tif", "--format", "cmyk", "--big-endian", *more)
                self.assertEqual(read_tiff("a.tif")[1], ">")
                self.check_wide(count)
        self.ok("planes", "save", *names[:4], "--out", "a.tif", "--predictor")
        self.check_wide(4)

    def test_five_wide_inks_are_saved_without_predictor(self):
        for ink in range(5):
            put("%d.pgm" % ink, pnm(7, 5, 1, words(WIDE[ink], ">"), 65535))
        done = self.run_tool("planes", "save", *["%d.pgm" % i for i in range(5)], "--out", "a.tif", "--predictor")
        self.assertEqual((done.returncode, done.stderr.count("\n")), (0, 1))
        self.assertIn("warning: a.tif: without the predictor", done.stderr)
        self.assertNotIn(317, read_tiff("a.tif")[0][0])
        self.check_wide(5)

    def test_five_inks_of_bytes(self):
        for ink in range(5):
            put("%d.pgm" % ink, pnm(6, 4, 1, INKS[ink]))
        names = ["%d.pgm" % ink for ink in range(5)]
        for form in ["cmyk", "lzw-cmyk", "packbits-cmyk"]:
            for more in [(), ("--planar",), ("--predictor",), ("--big-endian",)]:
                with self.subTest((form, more)):
                    self.ok("planes", "save", *names, "--out", "a.tif", "--format", form, *more)
                    tags = read_tiff("a.tif")[0][0]
                    self.assertEqual((tags[258], tags[277], tags[338]),
                                     ((SHORT, [8] * 5), (SHORT, [5]), (SHORT, [0])))
                    self.ok("planes", "load", "a.tif", "b.pgm")
                    for ink in range(5):
                        self.assertEqual(read_pnm("b-%s.pgm" % LETTERS[ink])[4], INKS[ink])

    def test_resolution(self):
        for ink in range(4):
            put("%d.pgm" % ink, pnm(6, 4, 1, INKS[ink]))
        names = ["%d.pgm" % ink for ink in range(4)]
        self.ok("planes", "save", *names, "--out", "a.tif")
        self.assertEqual(read_tiff("a.tif")[0][0][282][1], [(96, 1)])
        self.ok("planes", "save", *names, "--out", "a.tif", "--resolution", "300")
        self.assertEqual(read_tiff("a.tif")[0][0][283][1], [(300, 1)])

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
