"""Every command on hostile files: it ends soon, with status 0 or with status 1 and one line, and leaves nothing else."""

import os
import random
import resource
import struct
import time
import unittest

from tool import ASCII, LONG, RATIONAL, SHORT, ToolTest, get, gray_page, pnm, put, tiff

MOST_SECONDS = 2.0  # of the processor, for all calls that a command makes on one small file
SLOWDOWN = int(os.environ.get("VX_SLOWDOWN", "1"))  # of the build; the slow ones take a part of the files
ABSURD = 0xFFFFFFFF


def header(first=8, order="<"):
    return (b"II" if order == "<" else b"MM") + struct.pack(order + "HI", 42, first)


def directory(entries, following=0, order="<"):
    body = b"".join(struct.pack(order + "HHII", *entry) for entry in entries)
    return struct.pack(order + "H", len(entries)) + body + struct.pack(order + "I", following)


def page_entries(width=4, height=4, compression=1, offset=8, count=16):
    return [(256, LONG, 1, width), (257, LONG, 1, height), (258, SHORT, 1, 8), (259, SHORT, 1, compression),
            (262, SHORT, 1, 1), (273, LONG, 1, offset), (277, SHORT, 1, 1), (278, LONG, 1, height),
            (279, LONG, 1, count)]


def with_tags(*tags):
    numbers = {tag[0] for tag in tags}
    return sorted([entry for entry in page_entries() if entry[0] not in numbers] + list(tags))


def hostile_files():
    files = {
        "empty": b"",
        "two_bytes": b"II",
        "header_only": header(),
        "big_header_only": header(order=">"),
        "no_tiff": b"GIF89a" + bytes(100),
        "text": b"II*\0 this is no TIFF file at all, only text that begins like one\n" * 10,
        "offset_0": header(0) + bytes(1000),
        "offset_4": header(4) + bytes(1000),
        "offset_behind_the_end": header(0xFFFFFFF0) + bytes(100),
        "count_behind_the_end": header() + struct.pack("<H", 65535) + bytes(100),
        "ring": header() + directory(page_entries(), 8),
        "ring_without_size": header() + directory([(256, LONG, 1, 4)], 8),
        "ring_of_empty_directories": header() + b"".join(
            directory([], 8 + 6 * (i + 1) % 600) for i in range(100)),
        "ring_behind_an_odd_page": header() + directory(page_entries(), 122) + bytes(4)
                                   + directory([(330, LONG, 1, 8)] * 30, 8),
        "itself_as_child": header() + directory(with_tags((330, LONG, 1, 8))),
        "itself_as_children": header() + directory(with_tags((330, LONG, 40, 8))),
        "itself_as_exif": header() + directory(with_tags((34665, LONG, 1, 8))),
        "itself_as_gps": header() + directory(with_tags((34853, LONG, 1, 8))),
        "itself_as_all": header() + directory([(tag, LONG, 1, 8) for tag in (330, 34665, 34853, 50236)] * 18),
        "children_that_are_refused": header() + directory([(330, LONG, 1, 8)] * 70, 8),
        "absurd_width": header() + directory(page_entries(width=ABSURD)),
        "absurd_height": header() + directory(page_entries(height=0x7FFFFFFF)),
        "absurd_pixels": header() + directory(page_entries(60000, 60000)),
        "absurd_strip": header() + directory(page_entries(count=ABSURD)),
        "absurd_lzw_strip": header() + directory(page_entries(compression=5, count=ABSURD)),
        "absurd_packbits_strip": header() + directory(page_entries(compression=32773, count=ABSURD)),
        "unknown_compression": header() + directory(page_entries(compression=7777)),
        "missing_sibling": header() + directory(page_entries(compression=34712)),
        "escape_codes": header() + directory(with_tags((270, ASCII, 300, 200))) + b"\x1b[2J\r\n\0\x07" * 60,
        "all_types": header() + directory([(40000 + kind, kind, 3, 8) for kind in range(20)]),
    }
    for tag in (258, 270, 273, 279, 320, 324, 330, 700, 33723, 34665, 34735, 34736, 34737, 37500, 50234):
        for kind in (1 + tag % 2, 3, 4):
            files["tag_%d_%d" % (tag, kind)] = header() + directory(with_tags((tag, kind, ABSURD, 8))) + bytes(64)
    return files


def commands(name):
    """Every command that takes a file, with the files that it may leave."""
    return [
        (["info", name, "--page", "all"], []),
        (["info", name, "--page", "all", "--json"], []),
        (["info", name, "--page", "5"], []),
        (["load", name, "out.png"], ["out.png"]),
        (["load", name, "out%d.pnm", "--page", "all"], None),
        (["load", name, "out.pam", "--alpha", "--force-rgb"], ["out.pam"]),
        (["load", name, "out.raw", "--ignore-orientation"], ["out.raw"]),
        (["load", name, "out.png", "--region", "0,0,2,2"], ["out.png"]),
        (["planes", "load", name, "out%d.png"], None),
        (["stamp", name, "out.png"], ["out.png"]),
        (["dump", name], []),
        (["dump", name, "--json"], []),
        (["tag", "list", name], []),
        (["tag", "get", name, "270"], []),
        (["tag", "get", name, "33723"], []),
        (["comment", "list", name], []),
        (["comment", "get", name, "192"], []),
        (["geo", "list", name], []),
        (["compact", name, "out.tif"], ["out.tif"]),
        (["tag", "set", name, "270=ASCII:text"], []),
        (["tag", "set", name, "270=ASCII:text", "--page", "3"], []),
        (["comment", "set", name, "192=some words"], []),
        (["geo", "set", name, "1024=SHORT:1"], []),
        (["save", "honest.pgm", name, "--append"], []),
        (["save", "honest.pgm", name, "--insert", "2"], []),
        (["save", "honest.pgm", name, "--replace", "1"], []),
        (["delete", name, "--page", "2"], []),
    ]


class Hostile(ToolTest):
    def run_on(self, name, data):
        for arguments, outputs in commands("hostile.tif"):
            for file in self.files():
                os.remove(file)
            put("honest.pgm", pnm(4, 4, 1, bytes(16)))
            put("hostile.tif", data)
            before = resource.getrusage(resource.RUSAGE_CHILDREN)
            done = self.run_tool(*arguments)
            after = resource.getrusage(resource.RUSAGE_CHILDREN)
            seconds = after.ru_utime + after.ru_stime - before.ru_utime - before.ru_stime
            what = (name, arguments, done.returncode, done.stdout[-300:], done.stderr[-300:])
            self.slowest = max(self.slowest, (seconds, name, " ".join(arguments)))
            self.assertIn(done.returncode, (0, 1), what)
            self.assertLess(seconds, MOST_SECONDS * SLOWDOWN, what)
            if done.returncode == 1:
                lines = done.stderr.splitlines()
                # Commands that go through all pages tell of each page that is refused.
                pages = "all" in arguments or arguments[0] == "dump"
                self.assertLessEqual(len(lines), 200 if pages else 1, what)
                for line in lines:
                    self.assertRegex(line, r"^vxtif: .*: -?\d+ \(kResult\w+\): \w", what)
            if outputs is not None:
                left = set(self.files()) - {"honest.pgm", "hostile.tif"}
                self.assertTrue(left <= (set(outputs) if done.returncode == 0 else set()), (what, left))
            if arguments[0] in ("info", "load", "planes", "stamp", "dump", "compact") or arguments[1] in ("get", "list"):
                self.assertEqual(get("hostile.tif"), data, what)

    def test_every_command_on_every_hostile_file(self):
        self.slowest = (0, "", "")
        files = hostile_files()
        for name, data in list(files.items())[::SLOWDOWN]:
            with self.subTest(name):
                self.run_on(name, data)
        print("slowest of %d files: %.3f s, %s, %s" % ((len(files),) + self.slowest))

    def test_damaged_files(self):
        """An honest file with some bytes changed. VX_SEED sets another seed."""
        self.slowest = (0, "", "")
        seed = int(os.environ.get("VX_SEED", "20"))
        print("seed", seed)
        numbers = random.Random(seed)
        tags = {270: (ASCII, "a text"), 271: (ASCII, "a maker"), 530: (SHORT, [2, 1]), 283: (RATIONAL, [(300, 7)])}
        honest = tiff([gray_page(9, 7, tags=tags), gray_page(5, 5)])
        for _ in range(max(8 // SLOWDOWN, 1)):
            data = bytearray(honest)
            for _ in range(6):
                data[numbers.randrange(8, len(data))] = numbers.choice((0, 1, 8, 127, 128, 255))
            self.run_on("damaged", bytes(data))


if __name__ == "__main__":
    unittest.main()
