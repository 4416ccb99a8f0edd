#!/usr/bin/env python3
"""Exchanges compressed strips with libtiff, in both directions.

    codec_streams.py CODEC_TOOL

TIFF files are put together here around strips that our encoders made, and tiffcp decodes them; tiffcp compresses
uncompressed files, and our decoders take the strips apart. Rows must come back bit for bit.
"""

import struct
import subprocess
import sys
import tempfile
from pathlib import Path

import numpy as np

TIMEOUT = 120
SEED = 20240607

# Name, samples, bits of a sample.
LAYOUTS = [("bilevel", 1, 1), ("gray4", 1, 4), ("gray8", 1, 8), ("gray16", 1, 16), ("rgb8", 3, 8), ("rgba8", 4, 8),
           ("rgb16", 3, 16), ("rgba16", 4, 16), ("five8", 5, 8)]


def run(*command, data=None):
    done = subprocess.run([str(part) for part in command], input=data, capture_output=True, timeout=TIMEOUT)
    if done.returncode != 0 or (data is None and done.stderr):
        raise RuntimeError(f"{' '.join(map(str, command))}: exit {done.returncode}: {done.stderr.decode(errors='replace')}")
    return done.stdout


class Image:
    """Rows of one kind of picture, in the byte order given."""

    def __init__(self, kind, samples, bits, width, height, big_endian, random):
        self.samples, self.bits, self.width, self.height, self.big_endian = samples, bits, width, height, big_endian
        self.row_bytes = (width * samples * bits + 7) // 8
        if kind == "flat":
            rows = np.zeros((height, self.row_bytes), np.uint8)
            rows[height // 3:, self.row_bytes // 2:] = 0x5A
        elif kind == "noise":
            rows = random.integers(0, 256, (height, self.row_bytes), np.uint8)
        else:  # slow ramps with little noise, as a photograph has them
            count = width * samples
            ramp = np.arange(count)[None, :] // samples + np.arange(height)[:, None] * 2
            values = ramp * (1 if bits < 16 else 150) + random.integers(0, 3, (height, count))
            if bits == 16:
                rows = values.astype(">u2" if big_endian else "<u2").view(np.uint8).reshape(height, self.row_bytes)
            elif bits == 8:
                rows = values.astype(np.uint8)
            else:
                rows = np.packbits(((values[..., None] >> np.arange(bits - 1, -1, -1)) & 1).astype(np.uint8)
                                   .reshape(height, -1), axis=1)
        if width * samples * bits % 8:
            rows[:, -1] &= 0xFF << (8 - width * samples * bits % 8) & 0xFF
        self.rows = np.ascontiguousarray(rows)


def write_tiff(path, image, compression, predictor, rows_per_strip, strips):
    order = ">" if image.big_endian else "<"
    values = []  # (tag, type, count, packed value)

    def short(tag, *numbers):
        values.append((tag, 3, len(numbers), struct.pack(f"{order}{len(numbers)}H", *numbers)))

    def long(tag, *numbers):
        values.append((tag, 4, len(numbers), struct.pack(f"{order}{len(numbers)}I", *numbers)))

    offsets = []
    data = b""
    for strip in strips:
        offsets.append(8 + len(data))
        data += strip + b"\0" * (len(strip) % 2)
    long(256, image.width)
    long(257, image.height)
    short(258, *[image.bits] * image.samples)
    short(259, compression)
    short(262, 1 if image.samples < 3 else 2)
    long(273, *offsets)
    short(277, image.samples)
    long(278, rows_per_strip)
    long(279, *[len(strip) for strip in strips])
    short(284, 1)
    if predictor:
        short(317, 2)
    extra = image.samples - (1 if image.samples < 3 else 3)
    if extra:
        short(338, *[0] * extra)
    directory = 8 + len(data)
    body = struct.pack(f"{order}H", len(values))
    tail = b""
    for tag, kind, count, packed in values:
        if len(packed) <= 4:
            word = packed.ljust(4, b"\0")
        else:
            word = struct.pack(f"{order}I", directory + 2 + 12 * len(values) + 4 + len(tail))
            tail += packed + b"\0" * (len(packed) % 2)
        body += struct.pack(f"{order}HHI", tag, kind, count) + word
    body += struct.pack(f"{order}I", 0)
    path.write_bytes((b"MM" if image.big_endian else b"II") + struct.pack(f"{order}HI", 42, directory) + data + body + tail)


def read_strips(path):
    """The strips of a classic TIFF file of one page, and its tags."""
    data = path.read_bytes()
    order = ">" if data[:2] == b"MM" else "<"
    (directory,) = struct.unpack_from(f"{order}I", data, 4)
    (count,) = struct.unpack_from(f"{order}H", data, directory)
    tags = {}
    for i in range(count):
        at = directory + 2 + 12 * i
        tag, kind, number = struct.unpack_from(f"{order}HHI", data, at)
        size = {3: 2, 4: 4}.get(kind)
        if size is None:
            continue
        place = at + 8 if size * number <= 4 else struct.unpack_from(f"{order}I", data, at + 8)[0]
        tags[tag] = struct.unpack_from(f"{order}{number}{'H' if kind == 3 else 'I'}", data, place)
    return [data[offset:offset + size] for offset, size in zip(tags[273], tags[279])], tags


def codec_name(compression, predictor, big_endian):
    if compression == 32773:
        return "packbits"
    return "lzw" if not predictor else "lzw-predictor-big" if big_endian else "lzw-predictor"


def ours_to_theirs(tool, folder, image, compression, predictor, rows_per_strip):
    """Our encoder's strips through tiffcp. Differencing works in host order, so only little-endian files are honest."""
    codec = codec_name(compression, predictor, False)
    strips = []
    for first in range(0, image.height, rows_per_strip):
        rows = image.rows[first:first + rows_per_strip]
        strips.append(run(tool, "encode", codec, image.row_bytes, image.width, image.bits, image.samples,
                          data=rows.tobytes()))
    source, target = folder / "ours.tif", folder / "decoded.tif"
    write_tiff(source, image, compression, predictor, rows_per_strip, strips)
    run("tiffcp", "-c", "none", source, target)
    decoded = b"".join(read_strips(target)[0])
    return decoded == image.rows.tobytes()


def theirs_to_ours(tool, folder, image, compression, predictor, rows_per_strip):
    """tiffcp's strips through our decoder."""
    source, target = folder / "plain.tif", folder / "theirs.tif"
    write_tiff(source, image, 1, False, image.height, [image.rows.tobytes()])
    option = "packbits" if compression == 32773 else "lzw:2" if predictor else "lzw:1"
    run("tiffcp", "-B" if image.big_endian else "-L", "-c", option, "-r", rows_per_strip, source, target)
    strips, tags = read_strips(target)
    assert tags[259] == (compression,) and (317 in tags and tags[317] == (2,)) == predictor
    decoded = b""
    for index, strip in enumerate(strips):
        rows = min(rows_per_strip, image.height - index * rows_per_strip)
        decoded += run(tool, "decode", codec_name(compression, predictor, image.big_endian), image.row_bytes, image.width,
                       image.bits, image.samples, rows, data=strip)
    return decoded == image.rows.tobytes()


def main():
    tool = Path(sys.argv[1])
    random = np.random.default_rng(SEED)
    print(f"seed {SEED}")
    done = failed = 0
    with tempfile.TemporaryDirectory() as name:
        folder = Path(name)
        for layout, samples, bits in LAYOUTS:
            for kind in ("flat", "ramp", "noise"):
                for compression, predictor in ((5, False), (5, True), (32773, False)):
                    if predictor and bits < 8:
                        continue
                    for big_endian in (False, True):
                        image = Image(kind, samples, bits, 61 if samples > 1 else 203, 90, big_endian, random)
                        checks = [("theirs to ours", theirs_to_ours)]
                        if not big_endian:
                            checks.append(("ours to theirs", ours_to_theirs))
                        for what, check in checks:
                            done += 1
                            if not check(tool, folder, image, compression, predictor, 37):
                                failed += 1
                                print(f"FAILED: {layout} {kind}, compression {compression}, predictor {predictor}, "
                                      f"big-endian {big_endian}: {what}")
    print(f"{done - failed} of {done} exchanges came back bit for bit")
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
