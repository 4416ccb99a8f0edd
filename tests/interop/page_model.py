"""A picture of one kind saved in one format: its source file, the tags of its page, and the rows that a reader by the
book gets from it. Written from the rules of the formats, for the tests that compare saved pages with other readers."""

import re

import numpy


class Page:
    """A picture of one kind in one format, and what a reader that goes by the book gets from the page."""

    def __init__(self, kind, name, predictor, big, tiled, chance):
        self.kind, self.name, self.predictor, self.big, self.tiled = kind, name, predictor, big, tiled
        self.bits = int(re.search(r"\d+", kind).group())
        self.lzw = name.startswith("lzw")
        self.packed = name.startswith("packbits")
        self.cmyk = "cmyk" in name
        self.ycbcr = "ycbcr" in name
        self.float = name == "geotiff" and self.kind in ("gray16", "gray32")
        self.gray = kind.startswith("gray")
        if tiled:
            self.width, self.height = 37, 21
        else:  # rows of about 2100 bytes, of which a few make a strip
            self.width, self.height = 16800 // self.bits + 1, 5
        self.expected = None
        self.make(chance)

    def __str__(self):
        return (f"{self.kind} as {self.name}{' with predictor' if self.predictor else ''}, "
                f"{'big' if self.big else 'little'}-endian, {'tiles' if self.tiled else 'strips'}")

    # The picture ------------------------------------------------------------------------------------------------------

    def make(self, chance):
        """`samples`: numbers of the pixels; `source`: the PNM or PAM file; `colours`: of palettes."""
        shape = (self.height, self.width)
        flat = chance.integers(0, 2, shape) == 0  # runs for the codecs, noise for the rest

        def numbers(limit, depth=None):
            whole = shape if depth is None else shape + (depth,)
            noise = chance.integers(0, limit, whole)
            level = numpy.broadcast_to(chance.integers(0, limit, (self.height, 1) + whole[2:]), whole)
            return numpy.where(flat if depth is None else flat[..., None], level, noise)

        self.colours = None
        if self.kind.startswith("palette"):
            self.samples = numbers(1 << self.bits)
            self.colours = chance.choice(1 << 24, 1 << self.bits, replace=False)
            picked = self.colours[self.samples]
            self.source = self.pnm(numpy.stack([picked >> 16, picked >> 8 & 255, picked & 255], axis=2), 255)
        elif self.gray and self.bits <= 8:
            self.samples = numbers(1 << self.bits)
            last = (1 << self.bits) - 1
            self.source = self.pnm(((last // 2 + 255 * self.samples) // last)[..., None], 255)
        elif self.gray:
            words = numbers(65536)
            self.samples = {12: words >> 4, 16: words, 32: words * 65537}[self.bits]
            self.source = self.pnm(words[..., None], 65535)
        elif self.kind == "words16":
            fives = numbers(32, 3)
            self.samples = fives[..., 0] << 10 | fives[..., 1] << 5 | fives[..., 2]
            self.source = self.pnm(fives << 3 | fives >> 2, 255)
        else:
            depth = 4 if self.bits in (32, 64) else 3
            limit = 65535 if self.bits >= 48 else 255
            self.samples = numbers(limit + 1, depth)
            self.source = self.pnm(self.samples, limit)

    @staticmethod
    def pnm(samples, limit):
        height, width, depth = samples.shape
        if depth == 4:
            head = (f"P7\nWIDTH {width}\nHEIGHT {height}\nDEPTH 4\nMAXVAL {limit}\nTUPLTYPE RGB_ALPHA\nENDHDR\n")
        else:
            head = f"P{5 if depth == 1 else 6}\n{width} {height}\n{limit}\n"
        return head.encode() + samples.astype(">u2" if limit > 255 else "u1").tobytes()

    # The tags ---------------------------------------------------------------------------------------------------------

    @property
    def photometric(self):
        if self.cmyk or self.ycbcr:
            return 5 if self.cmyk else 6
        return 3 if self.colours is not None else 1 if self.gray else 2

    @property
    def sample_bits(self):
        if self.float:
            return [32]
        if self.gray or self.bits <= 16:
            return [self.bits]
        return [16 if self.bits >= 48 else 8] * ((4 if self.bits in (32, 64) else 3) + self.cmyk)

    @property
    def compression(self):
        return 5 if self.lzw else 32773 if self.packed else 1

    @property
    def row_bytes(self):
        """Of a row of a strip."""
        width = 48 if self.tiled else self.width
        if self.ycbcr:
            return (width + 1) // 2 * 4
        return (width * sum(self.sample_bits) + 7) // 8

    @property
    def rows_per_strip(self):
        row = (self.width * self.bits + 7) // 8
        if self.packed:
            rows = 8192 // ((row + 127) // 128 * 129)
        else:
            rows = 8192 // (2 * row if self.lzw else row)
        return min(max(rows, 1), self.height)

    def tags(self, number, several):
        """The values of all tags but those that tell where the data are."""
        tags = {254: 2 if several else 0, 256: self.width, 257: self.height, 258: self.sample_bits,
                259: self.compression, 262: self.photometric, 274: 1, 277: len(self.sample_bits), 282: (96, 1),
                283: (96, 1), 284: 1, 296: 2, 297: (number, 0)}
        if self.tiled:
            tags.update({322: 16, 323: 16})
        else:
            tags[278] = self.rows_per_strip
        if self.predictor:
            tags[317] = 2
        if self.bits == 64 or (self.bits == 32 and not self.gray):
            tags[338] = (0,)
        if self.float:
            tags[339] = 3
        if self.ycbcr:
            tags.update({530: (2, 1), 531: (2,), 532: (0, 1, 255, 1, 128, 1, 255, 1, 128, 1, 255, 1)})
        if self.name == "geotiff":
            tags[34735] = (1, 1, 2, 1, 3072, 0, 1, 32633)
        return tags

    # The data ---------------------------------------------------------------------------------------------------------

    def plain_rows(self):
        """The rows of the picture as a little-endian page holds them."""
        samples = self.samples
        if self.bits < 8 or self.bits == 12:
            bits = samples[..., None] >> numpy.arange(self.bits - 1, -1, -1) & 1
            return numpy.packbits(bits.reshape(self.height, -1).astype("u1"), axis=1)
        kind = "<u4" if self.gray and self.bits == 32 else "<u2" if self.bits >= 48 or self.bits == 16 else "u1"
        return numpy.frombuffer(samples.astype(kind).tobytes(), "u1").reshape(self.height, -1)

    def converted(self, row, width):
        """A row, or a tile's part of it, in the form of its format. `row` is red first."""
        if self.float:
            values = row.view("<u2") if self.bits == 16 else row[:width]
            return values.astype("<f4").view("u1")
        if not (self.cmyk or self.ycbcr):
            return row
        if self.ycbcr:
            return ycbcr_row(row.reshape(-1, 3).astype(int))
        words = row.view("<u2") if self.bits >= 48 else row
        pixels = words.reshape(width, -1).copy()
        pixels[:, [0, 2]] = pixels[:, [2, 0]]  # it is made from blue first
        source = pixels.reshape(-1).view("u1")
        step = 4 if self.bits == 32 else 3  # at 48 and 64 bits too
        three = source[:step * width].reshape(width, step)
        inks = 255 - three[:, [2, 1, 0]].astype(int)
        black = inks.min(axis=1, keepdims=True)
        out = numpy.concatenate([inks - black, black] + ([three[:, 3:]] if step == 4 else []), axis=1)
        return out.astype("u1").reshape(-1)

    def predicted(self, line):
        """Differences as the library makes them: of bytes or little-endian words, by the bits of a whole pixel."""
        bits = self.bits + self.cmyk * self.sample_bits[0]
        if self.kind == "words16":
            words = line.view("<u2").astype(int)
            before = numpy.concatenate([[0], words[:-1]])
            out = words & 0x8000
            for shift in (0, 5, 10):
                out |= ((words >> shift) - (before >> shift) & 31) << shift
            return out.astype("<u2").view("u1")
        if bits not in (8, 16, 24, 32, 40, 48, 64):
            return line
        items = line.view("<u2") if bits in (16, 48, 64) else line
        pixels = items.reshape(-1, bits // (8 * items.itemsize))
        out = pixels.copy()
        out[1:] -= pixels[:-1]
        return out.reshape(-1).view("u1")

    def as_read(self, line):
        """What a reader by the book makes of a row's bytes, in little-endian samples."""
        bits = self.sample_bits[0]
        if bits in (16, 32):
            swapped = self.compression == 1 and not (bits == 16 and self.photometric == 2)
            line = line.view("<u2" if bits == 16 else "<u4")
            if self.big and not swapped:
                line = line.byteswap()
        if self.predictor:
            line = numpy.cumsum(line.reshape(-1, len(self.sample_bits)), axis=0, dtype=line.dtype).reshape(-1)
        return line.view("u1")

    def written(self, line, width):
        """A row, or a tile's part of it, as it goes into the file."""
        line = self.converted(line, width)
        if self.cmyk:  # what a row doesn't fill of the buffer stays from the row before, differenced once more
            self.inks[:line.size] = line
            line = self.inks.copy()
        if self.predictor:
            line = self.predicted(line)
            if self.cmyk:
                self.inks = line.copy()
        return line

    def expected_rows(self):
        """The rows of the whole page as libtiff should decode them."""
        if self.expected is None:
            self.inks = numpy.zeros(self.row_bytes if not self.tiled else 16 * sum(self.sample_bits) // 8, "u1")
            self.expected = self.tiled_rows() if self.tiled else numpy.stack(
                [self.as_read(self.written(line, self.width)) for line in self.plain_rows()])
        return self.expected

    def tiled_rows(self):
        """Row by row as the library fetches them, again for each column. What a row does not fill of its buffer stays
        there; YCbCr rows are made in their place, so that it shows in the chroma of an odd last pixel."""
        tile = 16 * self.bits // 8
        buffer = numpy.zeros(3 * tile, "u1")
        plain = self.plain_rows()
        if self.ycbcr:  # made from blue first
            plain = plain.reshape(self.height, -1, 3)[..., ::-1].reshape(self.height, -1)
        parts = {}
        for top in range(0, self.height, 16):
            for column in range(3):
                for y in range(top, top + 16):
                    if y < self.height:
                        buffer[:plain.shape[1]] = plain[y]
                    elif y == self.height:
                        buffer[:(plain.shape[1] + 3) // 4 * 4] = 0
                    line = buffer[column * tile:][:tile].copy()
                    line = self.written(line.reshape(-1, 3)[:, ::-1] if self.ycbcr else line, 16)
                    if self.ycbcr:
                        buffer[column * tile:][:line.size] = line
                    parts[y, column] = self.as_read(line)
        used = self.width * sum(self.sample_bits)
        rows = numpy.stack([numpy.concatenate([parts[y, column] for column in range(3)]) for y in range(self.height)])
        if self.ycbcr:
            return rows[:, :(self.width + 1) // 2 * 4]
        rows = rows[:, :(used + 7) // 8]
        if used % 8:
            rows[:, -1] &= 0xFF00 >> used % 8 & 0xFF
        return rows

    def true_rows(self):
        """The rows of the picture itself, where the format can hold them."""
        if self.bits >= 48 and self.cmyk:
            samples = 65535 - self.samples[..., :3].astype(int)
            black = samples.min(axis=2, keepdims=True)
            parts = [samples - black, black] + ([self.samples[..., 3:]] if self.bits == 64 else [])
            return numpy.frombuffer(numpy.concatenate(parts, axis=2).astype("<u2").tobytes(), "u1").reshape(
                self.height, -1)
        if self.float:
            return numpy.frombuffer(self.samples.astype("<f4").tobytes(), "u1").reshape(self.height, -1)
        if self.cmyk:
            return numpy.stack([self.converted(line, self.width) for line in self.plain_rows()])
        return self.plain_rows()


def ycbcr_row(pixels):
    """Pairs of red, green, blue as Y, Y, Cb, Cr; an odd one as Y, 0, Cb, Cr."""
    red, green, blue = pixels[:, 0], pixels[:, 1], pixels[:, 2]
    luma = (306 * red + 601 * green + 116 * blue + 512) >> 10
    out = []
    for i in range(0, len(pixels), 2):
        if i + 1 < len(pixels):
            cb = ((blue[i] - luma[i] + blue[i + 1] - luma[i + 1]) * 578 + 1024 >> 11) + 128
            cr = ((red[i] - luma[i] + red[i + 1] - luma[i + 1]) * 730 + 1024 >> 11) + 128
            second = luma[i + 1]
        else:
            cb = ((blue[i] - luma[i]) * 578 + 512 >> 10) + 128
            cr = ((red[i] - luma[i]) * 730 + 512 >> 10) + 128
            second = 0
        out += [luma[i], second, min(max(cb, 0), 255), min(max(cr, 0), 255)]
    return numpy.array(out, "u1")


# Pages whose pixels a reader by the book does not get, and why.
CHANGED = [
    ("compressed 16 and 32-bit samples stay little-endian in every file",
     lambda p: p.big and p.compression != 1 and p.sample_bits[0] in (16, 32)),
    ("RGB samples of 16 bits are never swapped", lambda p: p.big and p.photometric == 2 and p.sample_bits[0] == 16),
    ("the predictor takes 32-bit samples for four bytes", lambda p: p.predictor and p.kind == "gray32"),
    ("the predictor takes 5-5-5 words for three fields", lambda p: p.predictor and p.kind == "words16"),
    ("CMYK is made from bytes at any depth", lambda p: p.cmyk and p.bits >= 48),
    ("GeoTIFF floats of 32-bit samples are made from bytes", lambda p: p.float and p.kind == "gray32"),
]
