"""vxtif save --data: finished strip data from files and pipes."""

import os
import subprocess
import unittest

from tool import ASCII, LONG, SHORT, ToolTest, get, gray_page, pnm, put, read_pnm, read_tiff, tiff

ROWS = bytes((31 * i + i // 20) % 256 for i in range(60))  # 20 x 3 bytes, 5 x 4 pixels of 3


def strip(name, page=0):
    """The one strip of a page."""
    tags = read_tiff(name)[0][page]
    (offset,), (count,) = tags[273][1], tags[279][1]
    return get(name)[offset:offset + count]


class SaveData(ToolTest):
    def setUp(self):
        super().setUp()
        put("in.bin", ROWS)

    def save(self, *arguments):
        return self.ok("save", "in.bin", "a.tif", "--data", *arguments)

    def tags(self, page=0):
        return read_tiff("a.tif")[0][page]

    def test_bytes_go_in_as_they_are(self):
        for order in ((), ("--big-endian",)):
            self.save("--width", 5, "--height", 4, "--bits", 24, *order)
            tags = self.tags()
            self.assertEqual([tags[tag][1] for tag in (256, 257, 258, 259, 262, 277, 278)],
                             [[5], [4], [8, 8, 8], [1], [2], [3], [4]])
            self.assertEqual((tags[282][1], tags[274][1]), ([(96, 1)], [1]))
            self.assertEqual(strip("a.tif"), ROWS)
            self.ok("load", "a.tif", "b.ppm")
            self.assertEqual(read_pnm("b.ppm"), ("P6", 5, 4, 255, ROWS))

    def test_the_flag_in_front(self):
        self.ok("save", "--data", "in.bin", "a.tif", "--width", 5, "--height", 4, "--bits", 24)
        self.assertEqual(strip("a.tif"), ROWS)

    def test_from_a_pipe(self):
        for size in (1, 60, 700001):
            data = bytes(i * i % 251 for i in range(size))
            command = [os.environ["VXTIF"], "save", "-", "a.tif", "--data", "--compression", "7", "--width", "640",
                       "--height", "480", "--bits", "24"]
            done = subprocess.run(command, input=data, capture_output=True, timeout=120, check=False)
            self.assertEqual((done.returncode, done.stdout, done.stderr), (0, b"", b""))
            self.assertEqual(strip("a.tif"), data)
            self.assertEqual(self.tags()[259], (SHORT, [7]))

    def test_from_a_named_pipe(self):
        os.mkfifo("fifo")
        with subprocess.Popen(["cp", "in.bin", "fifo"]) as writer:
            self.ok("save", "fifo", "a.tif", "--data", "--width", 5, "--height", 4, "--bits", 24)
            self.assertEqual(writer.wait(60), 0)
        self.assertEqual(strip("a.tif"), ROWS)

    def test_an_empty_pipe_touches_nothing(self):
        put("a.tif", tiff([gray_page()]))
        before = get("a.tif")
        for place in ((), ("--append",)):
            command = [os.environ["VXTIF"], "save", "-", "a.tif", "--data", "--width", "1", "--height", "1", "--bits",
                       "8", *place]
            done = subprocess.run(command, input="", capture_output=True, text=True, timeout=120, check=False)
            self.assertEqual((done.returncode, done.stdout), (1, ""))
            self.assertEqual(done.stderr,
                             "vxtif: -: read: -7 (kResultReadFailed): reading failed or came back short: there are no "
                             "data\n")
        self.assertEqual(get("a.tif"), before)

    def test_compressions_by_name_and_number(self):
        names = [("none", 1), ("ccitt", 2), ("g3", 3), ("g4", 4), ("lzw", 5), ("jpeg", 7), ("deflate", 8),
                 ("packbits", 32773), ("old-deflate", 32946), ("7", 7), ("34892", 34892), ("65535", 65535)]
        for name, value in names:
            with self.subTest(name):
                bits = 1 if value in (2, 3, 4) else 24
                size = (5, 4) if value == 1 else (100, 100)
                self.save("--compression", name, "--width", size[0], "--height", size[1], "--bits", bits)
                self.assertEqual(self.tags()[259], (SHORT, [value]))
                self.assertEqual(strip("a.tif"), ROWS)
        # Every name that the tables show.
        for row in self.json("formats", "--json")["compressions"]:
            if row["name"] and row["compression"] > 4:
                self.save("--compression", row["name"], "--width", 100, "--height", 100, "--bits", 24)
                self.assertEqual(self.tags()[259], (SHORT, [row["compression"]]))

    def test_two_dimensional_fax(self):
        for name, options in (("g3", 4), ("g3-2d", 5), ("65537", 5)):
            self.save("--compression", name, "--width", 100, "--height", 100)
            tags = self.tags()
            self.assertEqual((tags[258][1], tags[259][1], tags[292]), ([1], [3], (LONG, [options])))

    def test_bilevel_colours(self):
        self.save("--compression", "g4", "--width", 9, "--height", 9)
        self.assertEqual(self.tags()[262], (SHORT, [0]))
        for photometric in (0, 1):
            self.save("--compression", "g4", "--width", 9, "--height", 9, "--photometric", photometric)
            self.assertEqual(self.tags()[262], (SHORT, [photometric]))
            self.assertNotIn(320, self.tags())
        self.save("--compression", "g4", "--width", 9, "--height", 9, "--fill-order-2")
        self.assertEqual(self.tags()[266], (SHORT, [2]))

    def test_grey_of_every_depth(self):
        for bits in (2, 4, 8, 12, 16):
            put("in.bin", (3 * ROWS)[:bits * 10])
            self.save("--width", 20, "--height", 4, "--bits", bits)
            tags = self.tags()
            self.assertEqual((tags[258][1], tags[262][1], tags[277][1]), ([bits], [1], [1]))
        put("in.bin", ROWS)
        self.save("--width", 10, "--height", 6, "--bits", 8)
        self.ok("load", "a.tif", "b.pgm")
        self.assertEqual(read_pnm("b.pgm"), ("P5", 10, 6, 255, ROWS))
        put("in.bin", bytes([0x12, 0x34, 0xFF, 0x00]))
        self.save("--width", 2, "--height", 1, "--bits", 16, "--big-endian")
        self.ok("load", "a.tif", "b.pgm")
        self.assertEqual(read_pnm("b.pgm"), ("P5", 2, 1, 65535, bytes([0x12, 0x34, 0xFF, 0x00])))

    def test_deep_colours(self):
        for bits, samples in ((24, [8] * 3), (32, [8] * 4), (48, [16] * 3), (64, [16] * 4)):
            put("in.bin", ROWS[:bits // 4])
            self.save("--width", 2, "--height", 1, "--bits", bits)
            self.assertEqual((self.tags()[258][1], self.tags()[262][1]), (samples, [2]))
        self.save("--compression", "jpeg", "--width", 9, "--height", 9, "--bits", 24, "--photometric", 6)
        self.assertEqual(self.tags()[262], (SHORT, [6]))

    def test_palettes(self):
        colours = bytes(i * 5 % 256 for i in range(12))
        put("colours.ppm", pnm(4, 1, 3, colours))
        put("in.bin", bytes([0b00011011, 0b11100100]))
        self.save("--width", 4, "--height", 2, "--bits", 2, "--palette", "colours.ppm")
        self.assertEqual(self.tags()[262], (SHORT, [3]))
        self.assertEqual(self.tags()[320], (SHORT, [colours[3 * i + c] << 8 for c in range(3) for i in range(4)]))
        self.ok("load", "a.tif", "b.ppm")
        self.assertEqual(read_pnm("b.ppm")[4], colours + b"".join(colours[3 * i:3 * i + 3] for i in (3, 2, 1, 0)))
        # The library asks for a colour for every value.
        self.refused(-13, "save", "in.bin", "c.tif", "--data", "--width", 4, "--height", 1, "--bits", 4, "--palette",
                     "colours.ppm")
        self.refused(-10, "save", "in.bin", "c.tif", "--data", "--width", 4, "--height", 1, "--bits", 4, "--palette",
                     "missing.ppm")
        put("gray.pgm", pnm(4, 1, 1, bytes(4)))
        self.refused(-12, "save", "in.bin", "c.tif", "--data", "--width", 4, "--height", 1, "--bits", 2, "--palette",
                     "gray.pgm")
        self.assertNotIn("c.tif", self.files())

    def test_places(self):
        put("a.tif", tiff([gray_page(tags={297: (SHORT, [0, 0])}), gray_page(tags={297: (SHORT, [1, 0])})]))
        more = ("--width", 5, "--height", 4, "--bits", 24)
        self.save(*more, "--append")
        self.assertEqual([page[256][1][0] for page in read_tiff("a.tif")[0]], [4, 4, 5])
        self.save("--width", 6, "--height", 4, "--bits", 24, "--compression", "7", "--insert", 1)
        self.assertEqual([page[256][1][0] for page in read_tiff("a.tif")[0]], [6, 4, 4, 5])
        self.save("--width", 7, "--height", 4, "--bits", 24, "--compression", "7", "--replace", 3)
        self.assertEqual([page[256][1][0] for page in read_tiff("a.tif")[0]], [6, 4, 7, 5])
        for page in (0, 2, 3):
            self.assertEqual(strip("a.tif", page), ROWS)
        self.save(*more)
        self.assertEqual(len(read_tiff("a.tif")[0]), 1)

    def test_tags_comments_and_resolution(self):
        self.save("--width", 5, "--height", 4, "--bits", 24, "--resolution", 300, "--tag", "33000=SHORT:1,2,3",
                  "--comment", "Artist=somebody")
        tags = self.tags()
        self.assertEqual((tags[282][1], tags[33000], tags[315]), ([(300, 1)], (SHORT, [1, 2, 3]), (ASCII, "somebody")))

    def test_a_wrong_amount_of_stored_bytes_is_told(self):
        done = self.run_tool("save", "in.bin", "a.tif", "--data", "--width", 5, "--height", 5, "--bits", 24)
        self.assertEqual((done.returncode, done.stderr),
                         (0, "vxtif: warning: a.tif: 60 bytes of data for a page of 75\n"))

    def test_refusals(self):
        size = ("--width", 5, "--height", 4, "--bits", 24)
        for value in (0, -1, 65536, 65538, 2147483647):
            self.refused(-16, "save", "in.bin", "a.tif", "--data", "--compression=%d" % value, *size)
        self.refused(-10, "save", "missing.bin", "a.tif", "--data", *size)
        self.refused(-14, "save", "in.bin", "no/folder/a.tif", "--data", *size)
        self.assertEqual(self.files(), ["in.bin"])

    def test_wrong_usage(self):
        size = ("--width", 5, "--height", 4, "--bits", 24)
        for more in [(), ("--width", 5), ("--width", 5, "--height", 4), ("--height", 4, "--bits", 8),
                     ("--width", 0, "--height", 4, "--bits", 8), ("--width", 5, "--height", 4, "--bits", 23),
                     ("--width", 5, "--height", 4, "--bits", 40), (*size, "--compression", "zip"),
                     (*size, "--compression", ""), (*size, "--format", "lzw"), (*size, "--tiles", "16x16"),
                     (*size, "--predictor"), (*size, "--orientation", 3), (*size, "--stamp", "in.bin"),
                     (*size, "--geo", "1024=SHORT:1"), (*size, "--gray"), (*size, "--palette", "in.bin")]:
            with self.subTest(more):
                self.misused("save", "in.bin", "a.tif", "--data", *more)
        for more in [("--width", 5), ("--height", 5), ("--compression", "g4"), ("--palette", "in.bin")]:
            with self.subTest(more):
                self.misused("save", "in.bin", "a.tif", *more)
        self.assertEqual(self.files(), ["in.bin"])


if __name__ == "__main__":
    unittest.main()
