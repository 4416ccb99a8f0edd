"""vxtif save and vxtif planes: every depth, format and place in the file."""

import struct
import unittest

from tool import ASCII, LONG, SHORT, ToolTest, get, pam, pnm, put, read_pam, read_png, read_pnm, read_tiff

RGB = bytes((37 * i + 11) % 256 for i in range(6 * 4 * 3))
GRAY = bytes((29 * i + 5) % 256 for i in range(6 * 4))


def bilevel(width, height):
    """P4 of a drawing with runs of many lengths."""
    rows = b""
    for y in range(height):
        bits = "".join("1" if (x * x // 7 + y * y) % 11 < 5 else "0" for x in range(width))
        bits += "0" * (-width % 8)
        rows += bytes(int(bits[i:i + 8], 2) for i in range(0, len(bits), 8))
    return b"P4\n%d %d\n" % (width, height) + rows


def chunk(kind, body):
    import zlib
    return struct.pack(">I", len(body)) + kind + body + struct.pack(">I", zlib.crc32(kind + body))


def png(width, height, bits, colour, rows, more=b""):
    import zlib
    header = struct.pack(">IIBBBBB", width, height, bits, colour, 0, 0, 0)
    data = zlib.compress(b"".join(b"\0" + row for row in rows))
    return b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", header) + more + chunk(b"IDAT", data) + chunk(b"IEND", b"")


class Save(ToolTest):
    def round_trip(self, name, *options, out="b.pnm"):
        """Saves a file, loads it again, gives the page's tags and the loaded file."""
        self.ok("save", name, "a.tif", *options)
        self.ok("load", "a.tif", out)
        return read_tiff("a.tif")[0][0]

    def test_formats_that_keep_the_pixels(self):
        put("a.ppm", pnm(6, 4, 3, RGB))
        for name, compression in [("none", 1), ("lzw", 5), ("packbits", 32773), ("17", 5), ("geotiff", 1), ("exif", 1)]:
            for more in [(), ("--big-endian",), ("--tiles", "16x16"), ("--predictor",)]:
                with self.subTest((name, more)):
                    tags = self.round_trip("a.ppm", "--format", name, *more)
                    self.assertEqual(tags[259], (SHORT, [compression]))
                    self.assertEqual((tags[258], tags[262]), ((SHORT, [8, 8, 8]), (SHORT, [2])))
                    self.assertEqual(read_pnm("b.pnm"), ("P6", 6, 4, 255, RGB))

    def test_options_show_in_the_file(self):
        put("a.ppm", pnm(100, 40, 3, bytes(12000)))
        tags = self.round_trip("a.ppm", "--tiles", "40x20", "--predictor", "--resolution", "150")
        self.assertEqual((tags[322], tags[323], len(tags[324][1])), ((LONG, [32]), (LONG, [16]), 12))
        self.assertEqual(tags[317], (SHORT, [2]))
        self.assertEqual(tags[282][1], [(150, 1)])
        self.ok("save", "a.ppm", "big.tif", "--big-endian")
        self.assertEqual(get("big.tif")[:4], b"MM\0*")
        tags = self.round_trip("a.ppm", "--keep-page-numbers", "--no-subfile-type", "--orientation", "6")
        self.assertNotIn(254, tags)
        self.assertNotIn(297, tags)
        self.assertEqual(tags[274], (SHORT, [6]))
        self.assertEqual(read_pnm("b.pnm")[1:3], (40, 100))

    def test_gray(self):
        put("a.pgm", pnm(6, 4, 1, GRAY))
        tags = self.round_trip("a.pgm")
        self.assertEqual((tags[258], tags[262]), ((SHORT, [8]), (SHORT, [1])))
        self.assertNotIn(320, tags)
        self.assertEqual(read_pnm("b.pnm"), ("P5", 6, 4, 255, GRAY))

    def test_gray_of_sixteen_bits(self):
        words = struct.pack(">24H", *[(2477 * i + 99) % 65536 for i in range(24)])
        put("a.pgm", pnm(6, 4, 1, words, 65535))
        for order in [(), ("--big-endian",)]:
            for name in ["none", "lzw", "packbits"]:
                self.ok("save", "a.pgm", "a.tif", "--format", name, *order)
                tags = read_tiff("a.tif")[0][0]
                self.assertEqual((tags[258], tags[262]), ((SHORT, [16]), (SHORT, [1])))
        tags = self.round_trip("a.pgm")
        self.assertEqual(read_pnm("b.pnm"), ("P5", 6, 4, 65535, words))
        self.round_trip("a.pgm", "--bits", "8")
        self.assertEqual(read_pnm("b.pnm")[4], words[::2])
        tags = self.round_trip("a.pgm", "--bits", "12", "--format", "none")
        self.assertEqual((tags[258], tags[262]), ((SHORT, [12]), (SHORT, [1])))
        high = [value >> 4 for value in struct.unpack(">24H", words)]
        self.assertEqual(read_pnm("b.pnm")[4], struct.pack(">24H", *[(v * 65535 + 2047) // 4095 for v in high]))
        tags = self.round_trip("a.pgm", "--bits", "32")
        self.assertEqual((tags[258], tags[277]), ((SHORT, [32]), (SHORT, [1])))

    def test_colours_of_sixteen_bits(self):
        words = struct.pack(">72H", *[(911 * i + 7) % 65536 for i in range(72)])
        put("a.ppm", pnm(6, 4, 3, words, 65535))
        for name in ["none", "lzw", "packbits"]:
            tags = self.round_trip("a.ppm", "--format", name)
            self.assertEqual(tags[258], (SHORT, [16, 16, 16]))
            self.assertEqual(read_pnm("b.pnm"), ("P6", 6, 4, 65535, words))
        self.round_trip("a.ppm", "--bits", "24")
        self.assertEqual(read_pnm("b.pnm")[4], words[::2])

    def test_alpha(self):
        data = bytes((17 * i + 3) % 256 for i in range(6 * 4 * 4))
        put("a.pam", pam(6, 4, 4, data))
        tags = self.round_trip("a.pam", out="b.pam")
        self.assertEqual((tags[258], tags[338]), ((SHORT, [8] * 4), (SHORT, [0])))
        self.assertEqual(read_pam("b.pam")[1], data)
        self.round_trip("a.pam", "--bits", "24", out="b.pam")
        self.assertEqual(read_pam("b.pam")[0]["DEPTH"], "3")
        put("a.pam", pam(6, 4, 2, data[:48]))
        self.round_trip("a.pam", out="b.pam")
        self.assertEqual(read_pam("b.pam")[1][:8], bytes([data[0]] * 3 + [data[1]] + [data[2]] * 3 + [data[3]]))

    def test_colour_words(self):
        put("a.ppm", pnm(2, 1, 3, bytes([255, 132, 0, 8, 0, 255])))
        tags = self.round_trip("a.ppm", "--bits", "16", "--format", "none")
        self.assertEqual((tags[258], tags[262], tags[277]), ((SHORT, [16]), (SHORT, [2]), (SHORT, [1])))
        self.assertEqual(struct.unpack_from("<2H", get("a.tif"), tags[273][1][0]), (31 << 10 | 16 << 5, 1 << 10 | 31))
        self.assertEqual(read_pnm("b.pnm")[4], bytes([255, 132, 0, 8, 0, 255]))

    def test_palettes_keep_their_depth(self):
        for bits in (1, 2, 4, 8):
            palette = bytes((i * 7 + c * 50 + 20) % 256 for i in range(1 << bits) for c in range(3))
            rows = [bytes((y * 31 + i * 77) % 256 for i in range(bits)) for y in range(3)]
            put("a.png", png(8, 3, bits, 3, rows, chunk(b"PLTE", palette)))
            for name in ["none", "lzw", "packbits"]:
                tags = self.round_trip("a.png", "--format", name, out="b.png")
                self.assertEqual((tags[258], tags[262]), ((SHORT, [bits]), (SHORT, [3])))
                again = read_png("b.png")
                self.assertEqual((again["bits"], again["palette"], again["rows"]), (bits, palette, rows))

    def test_fewer_colours(self):
        put("a.ppm", pnm(6, 4, 3, RGB))
        for bits in range(2, 9):
            tags = self.round_trip("a.ppm", "--bits", bits)
            self.assertEqual((tags[258], tags[262], len(tags[320][1])), ((SHORT, [bits]), (SHORT, [3]), 3 << bits))
        # 24 different colours fit into 5 bits.
        self.round_trip("a.ppm", "--bits", "5")
        self.assertEqual(read_pnm("b.pnm")[4], RGB)

    def test_gray_option(self):
        put("a.ppm", pnm(2, 1, 3, bytes([200, 100, 40, 0, 255, 7])))
        tags = self.round_trip("a.ppm", "--gray", "--bits", "8")
        self.assertEqual(tags[262], (SHORT, [1]))
        self.assertEqual(read_pnm("b.pnm"), ("P5", 2, 1, 255, bytes([123, 150])))
        tags = self.round_trip("a.ppm", "--gray", "--bits", "16")
        self.assertEqual((tags[258], tags[262]), ((SHORT, [16]), (SHORT, [1])))
        tags = self.round_trip("a.ppm", "--photometric", "0", "--gray", "--bits", "8")
        self.assertEqual(tags[262], (SHORT, [0]))

    def test_bilevel_in_every_format(self):
        for width, height in [(1, 1), (8, 3), (100, 37), (513, 20)]:
            put("a.pbm", bilevel(width, height))
            for name in ["none", "lzw", "packbits", "ccitt", "g3", "g3-2d", "g4", "variant"]:
                for more in [(), ("--big-endian",), ("--fill-order-2",)]:
                    if (name, more) == ("ccitt", ("--fill-order-2",)):
                        continue  # this format has no tag that would tell a reader of the reversed bits
                    with self.subTest((width, name, more)):
                        self.round_trip("a.pbm", "--format", name, *more)
                        self.assertEqual(get("b.pnm"), get("a.pbm"))

    def test_fax_takes_colours_for_black_and_white(self):
        put("a.ppm", pnm(8, 1, 3, bytes([0, 0, 0] * 4 + [255, 255, 255] * 4)))
        tags = self.round_trip("a.ppm", "--format", "g4")
        self.assertEqual((tags[259], tags[258]), ((SHORT, [4]), (SHORT, [1])))
        self.assertEqual(read_pnm("b.pnm"), ("P4", 8, 1, 1, b"\xf0"))

    def test_cmyk_and_ycbcr(self):
        put("a.ppm", pnm(6, 4, 3, RGB))
        for name in ["cmyk", "lzw-cmyk", "packbits-cmyk"]:
            tags = self.round_trip("a.ppm", "--format", name)
            self.assertEqual((tags[258], tags[262]), ((SHORT, [8] * 4), (SHORT, [5])))
            self.assertEqual(read_pnm("b.pnm")[4], RGB)
        gray = bytes(v for g in GRAY for v in (g, g, g))
        put("a.ppm", pnm(6, 4, 3, gray))
        for name in ["ycbcr", "lzw-ycbcr", "packbits-ycbcr", "exif-ycbcr"]:
            tags = self.round_trip("a.ppm", "--format", name)
            self.assertEqual((tags[262], tags[530]), ((SHORT, [6]), (SHORT, [2, 1])))
            near = max(abs(a - b) for a, b in zip(read_pnm("b.pnm")[4], gray))
            self.assertLessEqual(near, 3)

    def test_raw_lzw(self):
        put("a.pgm", pnm(6, 4, 1, GRAY))
        self.ok("save", "a.pgm", "a.lzw", "--format", "raw-lzw")
        self.assertEqual(get("a.lzw")[0], 0x80)  # 256, the code that clears the table, in 9 bits

    def test_tags_and_comments_and_keys(self):
        put("a.pgm", pnm(6, 4, 1, GRAY))
        self.ok("save", "a.pgm", "a.tif", "--format", "geotiff", "--tag", "65000=SHORT:1,2,3", "--tag",
                "DotRange=SHORT:0,255", "--comment", "Artist=Jane Doe", "--geo", "GTModelType=SHORT:2")
        tags = read_tiff("a.tif")[0][0]
        self.assertEqual(tags[65000], (SHORT, [1, 2, 3]))
        self.assertEqual(tags[336], (SHORT, [0, 255]))
        self.assertEqual(tags[315], (ASCII, "Jane Doe"))
        self.assertEqual(tags[34735], (SHORT, [1, 1, 2, 1, 1024, 0, 1, 2]))

    def test_exif_comments(self):
        put("a.ppm", pnm(6, 4, 3, RGB))
        self.ok("save", "a.ppm", "a.tif", "--format", "exif", "--comment", "ExposureTime=1/250", "--comment",
                "DateTimeOriginal=2024:01:02 03:04:05")
        self.assertEqual(self.ok("comment", "get", "a.tif", "ExposureTime"), "1/250\n")
        self.assertEqual(self.ok("comment", "get", "a.tif", "DateTimeOriginal"), "2024:01:02 03:04:05\n")

    def test_resolution_of_a_png(self):
        density = chunk(b"pHYs", struct.pack(">IIB", 11811, 5906, 1))
        put("a.png", png(1, 1, 8, 0, [b"\7"], density))
        tags = self.round_trip("a.png")
        self.assertEqual((tags[282][1], tags[283][1]), ([(300, 1)], [(150, 1)]))

    def test_places(self):
        for i in range(6):
            put("%d.pgm" % i, pnm(1, 1, 1, bytes([i])))
        self.ok("save", "0.pgm", "a.tif")
        self.ok("save", "1.pgm", "a.tif", "--append")
        self.ok("save", "2.pgm", "a.tif", "--append")
        self.ok("save", "3.pgm", "a.tif", "--insert", "1")
        self.ok("save", "4.pgm", "a.tif", "--replace", "3")
        self.assertEqual(self.values(), [3, 0, 4, 2])
        self.ok("save", "5.pgm", "a.tif", "--insert", "9")
        self.assertEqual(self.values(), [3, 0, 4, 2, 5])
        pages, _ = read_tiff("a.tif")
        self.assertEqual([page[297][1][0] for page in pages], [0, 1, 2, 3, 4])
        self.ok("save", "5.pgm", "a.tif")
        self.assertEqual(self.values(), [5])
        self.ok("save", "1.pgm", "new.tif", "--append")
        self.assertEqual(len(read_tiff("new.tif")[0]), 1)

    def values(self):
        found = []
        for page in range(1, len(read_tiff("a.tif")[0]) + 1):
            self.ok("load", "a.tif", "v.raw", "--page", page)
            found.append(get("v.raw")[0])
        return found

    def test_refusals_leave_the_old_file(self):
        put("a.ppm", pnm(6, 4, 3, RGB))
        put("a.tif", b"old")
        for code, options in [(-27, ("--format", "g4", "--bits", "8")), (-27, ("--bits", "9")),
                              (-27, ("--format", "ycbcr", "--bits", "8")), (-16, ("--format", "vector")),
                              (-16, ("--format", "deflate")), (-319, ("--format", "jbig")),
                              (-541, ("--format", "jpeg2000"))]:
            with self.subTest(options):
                self.refused(code, "save", "a.ppm", "a.tif", *options)
                self.assertEqual(get("a.tif"), b"old")
        self.refused(-14, "save", "a.ppm", "no/such/folder/a.tif")
        put("broken.png", b"\x89PNG\r\n\x1a\n")
        self.refused(-7, "save", "broken.png", "a.tif")
        put("text.png", b"hello")
        self.refused(-7, "save", "text.png", "a.tif")
        self.assertEqual(self.files(), ["a.ppm", "a.tif", "broken.png", "text.png"])


class PlanesSave(ToolTest):
    def setUp(self):
        super().setUp()
        self.inks = [bytes((7 * i + 50 * ink) % 256 for i in range(24)) for ink in range(5)]
        for ink, data in enumerate(self.inks):
            put("%d.pgm" % ink, pnm(6, 4, 1, data))

    def test_interleaved_and_planar(self):
        names = ["%d.pgm" % ink for ink in range(4)]
        for name, compression in [("cmyk", 1), ("lzw-cmyk", 5), ("packbits-cmyk", 32773)]:
            self.ok("planes", "save", *names, "--out", "a.tif", "--format", name)
            tags = read_tiff("a.tif")[0][0]
            self.assertEqual((tags[258], tags[259], tags[262], tags[284]),
                             ((SHORT, [8] * 4), (SHORT, [compression]), (SHORT, [5]), (SHORT, [1])))
            self.ok("planes", "save", *names, "--out", "a.tif", "--format", name, "--planar")
            tags = read_tiff("a.tif")[0][0]
            self.assertEqual((tags[277], tags[284]), ((SHORT, [4]), (SHORT, [2])))
        self.ok("planes", "save", *names, "--out", "a.tif", "--format", "cmyk")
        tags = read_tiff("a.tif")[0][0]
        at = tags[273][1][0]
        self.assertEqual(get("a.tif")[at:at + 96], bytes(v for pixel in zip(*self.inks[:4]) for v in pixel))

    def test_refusals(self):
        put("wide.pgm", pnm(7, 4, 1, bytes(28)))
        put("colours.ppm", pnm(1, 1, 3, bytes(3)))
        self.refused(-11, "planes", "save", "0.pgm", "1.pgm", "2.pgm", "wide.pgm", "--out", "a.tif")
        self.refused(-12, "planes", "save", "0.pgm", "1.pgm", "2.pgm", "colours.ppm", "--out", "a.tif")
        # A CMYK page has four inks, and one more at most.
        for count in (1, 3, 6):
            self.misused("planes", "save", *(["0.pgm"] * count), "--out", "a.tif")
        self.assertNotIn("a.tif", self.files())


if __name__ == "__main__":
    unittest.main()
