"""What the tests of the command line share: running the tool, making TIFF, PNM and PNG files, reading them again."""

import json
import os
import shutil
import struct
import subprocess
import tempfile
import unittest
import zlib

BYTE, ASCII, SHORT, LONG, RATIONAL = 1, 2, 3, 4, 5
SIZES = {1: 1, 2: 1, 3: 2, 4: 4, 5: 8, 6: 1, 7: 1, 8: 2, 9: 4, 10: 8, 11: 4, 12: 8}
CODES = {BYTE: "B", SHORT: "H", LONG: "I"}


class ToolTest(unittest.TestCase):
    """Runs in a folder of its own."""

    def setUp(self):
        self.folder = tempfile.mkdtemp(prefix="vxtif-cli-")
        self.before = os.getcwd()
        os.chdir(self.folder)

    def tearDown(self):
        os.chdir(self.before)
        shutil.rmtree(self.folder)

    def run_tool(self, *arguments):
        command = [os.environ["VXTIF"], *map(str, arguments)]
        return subprocess.run(command, capture_output=True, text=True, timeout=120, check=False)

    def ok(self, *arguments):
        """Runs a command that must succeed without a word on stderr; gives its output."""
        done = self.run_tool(*arguments)
        self.assertEqual((done.returncode, done.stderr), (0, ""), arguments)
        return done.stdout

    def json(self, *arguments):
        return json.loads(self.ok(*arguments))

    def refused(self, code, *arguments):
        """Runs a command that the library refuses: status 1, one line with the code and its name."""
        done = self.run_tool(*arguments)
        self.assertEqual(done.returncode, 1, (arguments, done.stdout, done.stderr))
        lines = done.stderr.splitlines()
        self.assertEqual(len(lines), 1, done.stderr)
        self.assertRegex(lines[0], r"^vxtif: .*: %d \(kResult\w+\): \w" % code)
        return lines[0]

    def misused(self, *arguments):
        """Runs a command that is wrong usage: status 2, a message, nothing on stdout."""
        done = self.run_tool(*arguments)
        self.assertEqual((done.returncode, done.stdout), (2, ""), (arguments, done.stderr))
        self.assertTrue(done.stderr.startswith("vxtif: "), done.stderr)
        return done.stderr

    def files(self):
        return sorted(os.listdir("."))


def put(name, data):
    with open(name, "wb") as file:
        file.write(data)
    return name


def get(name):
    with open(name, "rb") as file:
        return file.read()


class Page:
    """A page of one or more strips; tags as {number: (type, values)} over those that every page has."""

    def __init__(self, width, height, bits, photometric, strips, tags=None):
        self.strips = strips if isinstance(strips, list) else [strips]
        self.tags = {
            256: (LONG, [width]), 257: (LONG, [height]), 258: (SHORT, bits), 259: (SHORT, [1]),
            262: (SHORT, [photometric]), 277: (SHORT, [len(bits)]),
            278: (LONG, [-(-height // len(self.strips))]),
            282: (RATIONAL, [(72, 1)]), 283: (RATIONAL, [(72, 1)]), 284: (SHORT, [1]), 296: (SHORT, [2]),
        }
        self.tags.update(tags or {})


def tiff(pages, order="<"):
    """A file of these pages; order is struct's sign."""
    file = bytearray((b"II" if order == "<" else b"MM") + struct.pack(order + "HI", 42, 0))
    link = 4
    for page in pages:
        offsets = []
        for strip in page.strips:
            offsets.append(len(file))
            file += strip + b"\0" * (len(strip) % 2)
        tags = dict(page.tags)
        tags[273] = (LONG, offsets)
        tags[279] = (LONG, [len(strip) for strip in page.strips])
        entries = b""
        for tag, (kind, values) in sorted(tags.items()):
            if kind == ASCII:
                data, count = values.encode() + b"\0", len(values) + 1
            elif kind == RATIONAL:
                data, count = b"".join(struct.pack(order + "II", *pair) for pair in values), len(values)
            else:
                data, count = struct.pack("%s%d%s" % (order, len(values), CODES[kind]), *values), len(values)
            if len(data) > 4:
                place = len(file)
                file += data + b"\0" * (len(data) % 2)
                data = struct.pack(order + "I", place)
            entries += struct.pack(order + "HHI", tag, kind, count) + data.ljust(4, b"\0")
        file[link:link + 4] = struct.pack(order + "I", len(file))
        link = len(file) + 2 + len(entries)
        file += struct.pack(order + "H", len(entries) // 12) + entries + struct.pack(order + "I", 0)
    return bytes(file)


def gray_page(width=4, height=3, start=0, tags=None):
    return Page(width, height, [8], 1, bytes((start + i) % 256 for i in range(width * height)), tags)


def read_tiff(name):
    """The pages of a file as [{tag: (type, [values])}], and its byte order sign. One reader that owes the tool nothing."""
    data = get(name)
    order = "<" if data[:2] == b"II" else ">"
    offset = struct.unpack_from(order + "I", data, 4)[0]
    pages = []
    while offset:
        count = struct.unpack_from(order + "H", data, offset)[0]
        page = {}
        for i in range(count):
            at = offset + 2 + 12 * i
            tag, kind, number = struct.unpack_from(order + "HHI", data, at)
            size = SIZES[kind] * number
            place = at + 8 if size <= 4 else struct.unpack_from(order + "I", data, at + 8)[0]
            raw = data[place:place + size]
            if kind == ASCII:
                values = raw.rstrip(b"\0").decode("latin-1")
            elif kind in (5, 10):
                flat = struct.unpack("%s%d%s" % (order, 2 * number, "I" if kind == 5 else "i"), raw)
                values = list(zip(flat[::2], flat[1::2]))
            else:
                code = {1: "B", 3: "H", 4: "I", 6: "b", 7: "B", 8: "h", 9: "i", 11: "f", 12: "d"}[kind]
                values = list(struct.unpack("%s%d%s" % (order, number, code), raw))
            page[tag] = (kind, values)
        pages.append(page)
        offset = struct.unpack_from(order + "I", data, offset + 2 + 12 * count)[0]
    return pages, order


def pnm(width, height, channels, data, maximum=255):
    kind = {1: b"P5", 3: b"P6"}[channels]
    return kind + b"\n%d %d\n%d\n" % (width, height, maximum) + data


def pam(width, height, depth, data, maximum=255):
    return b"P7\nWIDTH %d\nHEIGHT %d\nDEPTH %d\nMAXVAL %d\nENDHDR\n" % (width, height, depth, maximum) + data


def read_pnm(name):
    """(kind, width, height, maximum, data) of a P4, P5 or P6 file as the tool writes it."""
    data = get(name)
    fields, at = [], 0
    need = 3 if data[:2] == b"P4" else 4
    while len(fields) < need:
        end = min(data.index(sign, at) for sign in (b" ", b"\n") if sign in data[at:])
        fields.append(data[at:end])
        at = end + 1
    numbers = list(map(int, fields[1:]))
    return fields[0].decode(), numbers[0], numbers[1], numbers[2] if need == 4 else 1, data[at:]


def read_pam(name):
    """({header}, data) of a PAM file."""
    data = get(name)
    end = data.index(b"ENDHDR\n")
    header = dict(line.split(None, 1) for line in data[:end].decode().splitlines()[1:])
    return header, data[end + 7:]


def read_png(name):
    """A dictionary of a PNG file: width, height, bits, colour type, palette, rows without filters."""
    data = get(name)
    assert data[:8] == b"\x89PNG\r\n\x1a\n"
    at, chunks, packed = 8, {}, b""
    while at < len(data):
        size, kind = struct.unpack_from(">I4s", data, at)
        body = data[at + 8:at + 8 + size]
        assert zlib.crc32(data[at + 4:at + 8 + size]) == struct.unpack_from(">I", data, at + 8 + size)[0]
        if kind == b"IDAT":
            packed += body
        chunks[kind] = body
        at += 12 + size
    width, height, bits, colour = struct.unpack(">IIBB", chunks[b"IHDR"][:10])
    channels = {0: 1, 2: 3, 3: 1, 4: 2, 6: 4}[colour]
    stride, step = (width * bits * channels + 7) // 8, max(1, bits * channels // 8)
    raw, rows, above = zlib.decompress(packed), [], bytes(stride)
    for y in range(height):
        kind, line = raw[y * (stride + 1)], bytearray(raw[y * (stride + 1) + 1:(y + 1) * (stride + 1)])
        for i in range(stride):
            left = line[i - step] if i >= step else 0
            corner = above[i - step] if i >= step else 0
            guess = left + above[i] - corner
            paeth = min((abs(guess - v), n, v) for n, v in enumerate((left, above[i], corner)))[2]
            line[i] = (line[i] + (0, left, above[i], (left + above[i]) // 2, paeth)[kind]) & 255
        rows.append(bytes(line))
        above = rows[-1]
    return {"width": width, "height": height, "bits": bits, "colour": colour, "palette": chunks.get(b"PLTE"),
            "density": chunks.get(b"pHYs"), "rows": rows}
