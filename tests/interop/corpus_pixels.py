#!/usr/bin/env python3
"""Loads every page of a folder of real TIFF files and compares the rows with those of libtiff.

    corpus_pixels.py VXTIF [FOLDER]        the folder is VXTIF_CORPUS when it is not given

Each page is decoded by `vxtif load` to the rows as the row sink got them, and by tiffcp to uncompressed, little-endian,
chunky rows, from which the expected rows are worked out here: the same bytes where this system keeps a layout as stored,
and by the documented arithmetic where it converts (CMYK, CIELab, YCbCr, signed samples, extra samples). Every page that
differs, or that only one side decodes, is listed with its reason; a difference without a reason is a failure.
"""

import logging
import os
import subprocess
import sys
import tempfile

import numpy as np
import tifffile

TIMEOUT = 120


def run(*command):
    return subprocess.run(command, capture_output=True, text=True, errors="replace", timeout=TIMEOUT)


def tag(page, number, default=None):
    entry = page.tags.get(number)
    return default if entry is None else entry.value


def as_tuple(value):
    return tuple(value) if isinstance(value, (tuple, list, np.ndarray)) else (int(value),)


class Layout:
    """What the tags of one page say, in this system's terms."""

    def __init__(self, page, big_endian):
        self.big_endian = big_endian
        self.width = int(tag(page, 256, -1))
        self.height = int(tag(page, 257, -1))
        self.samples = int(tag(page, 277, 1))
        bits = as_tuple(tag(page, 258, 1))
        self.bits = tuple(int(b) for b in bits) if len(bits) == self.samples else (int(bits[0]),) * self.samples
        self.photometric = int(tag(page, 262, 0))
        self.compression = int(tag(page, 259, 1))
        self.planar = int(tag(page, 284, 1))
        extra = tag(page, 338)
        self.extra = 0 if extra is None else len(as_tuple(extra))
        formats = as_tuple(tag(page, 339, 1))
        self.format = int(formats[0]) if len(formats) == 1 else 1  # several values are not looked at
        self.predictor = int(tag(page, 317, 1))
        self.fill_order = int(tag(page, 266, 1))
        self.subsampling = as_tuple(tag(page, 530, (2, 2)))
        self.tiled = 322 in page.tags and 273 not in page.tags
        self.tone = tag(page, 280) is not None or tag(page, 281) is not None
        self.page = page

    @property
    def total_bits(self):
        return sum(self.bits)


def reference_rows(path, index, folder):
    """The page as uncompressed chunky little-endian strips from libtiff, or None with its complaint."""
    out = os.path.join(folder, "reference.tif")
    if os.path.exists(out):
        os.remove(out)
    done = run("tiffcp", "-L", "-s", "-p", "contig", "-f", "msb2lsb", "-c", "none", f"{path},{index}", out)
    if not os.path.exists(out) or done.returncode != 0:
        lines = (done.stderr or "no output").strip().splitlines()
        return None, None, lines[-1] if lines else "no output"
    with tifffile.TiffFile(out) as tif:
        page = tif.pages[0]
        data = b""
        with open(out, "rb") as handle:
            for offset, count in zip(page.dataoffsets, page.databytecounts):
                handle.seek(offset)
                data += handle.read(count)
        return data, page, done.stderr


def drop_extra(rows, layout, keep_samples):
    sample_bytes = layout.bits[0] // 8
    pixels = rows.reshape(layout.height, layout.width, layout.samples * sample_bytes)
    return pixels[:, :, : keep_samples * sample_bytes].reshape(layout.height, -1)


def cmyk_rows(rows, layout):
    kind, top = (np.uint8, 255) if layout.bits[0] == 8 else (np.dtype("<u2"), 65535)
    samples = np.ascontiguousarray(rows).view(kind).reshape(layout.height, layout.width, layout.samples).astype(np.int64)
    white = top - samples[:, :, 3:4]
    rgb = np.maximum(0, white - samples[:, :, :3])
    if layout.samples > 4:  # the fifth sample is kept as alpha
        rgb = np.concatenate([rgb, samples[:, :, 4:5]], axis=2)
    return np.ascontiguousarray(rgb.astype(kind)).view(np.uint8).reshape(layout.height, -1)


def lab8_rows(rows, layout):
    f = np.float32
    samples = rows.reshape(layout.height, layout.width, layout.samples)
    lightness = samples[:, :, 0].astype(np.int32) * 100
    a = samples[:, :, 1].view(np.int8).astype(f)
    b = samples[:, :, 2].view(np.int8).astype(f)
    fy = (lightness.astype(f) * f(0.003921569) + f(16.0)) * f(0.00862069)
    fx = a * f(0.002) + fy
    fz = fy - b * f(0.005)
    x = ((fx * fx) * fx) * f(250.155)
    y = ((fy * fy) * fy) * f(255.0)
    z = ((fz * fz) * fz) * f(300.135)
    d = np.float64
    red = (x * f(1.91)).astype(d) - y.astype(d) * 0.534 - z.astype(d) * 0.289
    green = y.astype(d) * 1.999 - (x * f(0.984)).astype(d) - z.astype(d) * 0.028
    blue = (x * f(0.058)).astype(d) - y.astype(d) * 0.119 + z.astype(d) * 0.902
    out = samples.copy()
    for channel, value in enumerate((red, green, blue)):
        out[:, :, channel] = np.clip(np.trunc(value), 0, 255).astype(np.uint8)
    return out.reshape(layout.height, -1)


def expected_rows(layout, data):
    """The rows that this system hands out, and a note where they are not the stored ones. None: no expectation."""
    row_bytes = (layout.total_bits * layout.width + 7) // 8
    if len(data) < row_bytes * layout.height:
        return None, "libtiff gives fewer rows than the page has"
    rows = np.frombuffer(data[: row_bytes * layout.height], np.uint8).reshape(layout.height, row_bytes).copy()
    depth = layout.bits[0]
    if len(set(layout.bits)) != 1:
        return rows, "samples of different depth, as stored"
    if layout.photometric == 5:
        if depth in (8, 16) and layout.samples >= 4:
            return cmyk_rows(rows, layout), "CMYK converted"
        return None, "CMYK at a depth without conversion"
    if layout.photometric == 8 and depth == 8 and layout.samples in (3, 4):
        return lab8_rows(rows, layout), "CIELab converted"
    if layout.extra:
        colours = layout.samples - layout.extra
        keep = colours + (1 if colours == 3 and depth in (8, 16) else 0)
        if depth % 8 or keep * depth // 8 not in (1, 2, 3, 4, 6, 8):
            return rows, "extra samples that are not whole bytes stay"
        rows = drop_extra(rows, layout, min(keep, layout.samples))
        if layout.big_endian and depth == 16:
            rows = rows.reshape(-1, 2)[:, ::-1].reshape(layout.height, -1)
            return rows, "rows with extra samples are never byte-swapped"
        return rows, "extra samples dropped, but for one alpha sample of colour pages"
    if layout.format == 2 and depth in (8, 16):
        kind = np.int8 if depth == 8 else np.dtype("<i2")
        signed = rows.view(kind)
        return np.maximum(signed, 0).astype(kind).view(np.uint8).reshape(layout.height, -1), "negative samples cleared"
    return rows, "as stored"


EXPLAINED = [
    # (test on the layout, reason) for pages on which both sides decode and no expectation is worked out here.
    (lambda l: l.photometric == 6, "YCbCr is converted by tables; its arithmetic has tests of its own"),
    (lambda l: l.predictor == 3, "the floating point predictor is not undone"),
    (lambda l: l.compression in (2, 3, 4) and l.samples > 1, "fax compressions force one sample of 1 bit"),
    (lambda l: l.total_bits - l.extra * l.bits[0] == 12, "pixels of 12 bits are re-ordered to the toolkit's packing"),
    (
        lambda l: l.predictor == 2 and l.total_bits == 16 and l.samples == 1 and l.photometric > 1,
        "16-bit samples of a page that is not grey are undone as 5-5-5 words",
    ),
    (lambda l: l.bits[0] == 32 and l.samples == 1, "32-bit samples pass through the range scan and tone table"),
    (lambda l: l.bits[0] == 32, "pages of 32-bit samples go through a bitmap of one such sample a pixel"),
    (lambda l: l.bits[0] in (24, 64), "samples of this depth are handed on in the file's own byte order"),
    (lambda l: l.photometric == 8 and l.bits[0] == 16, "16-bit CIELab is converted with the narrow read of b"),
]


def explain_refusal(layout, code, version):
    if code == -9 and version == 43:
        return "BigTIFF is another version word"
    if code == -27 and layout.total_bits > 64:
        return "pixels are wider than the toolkit's bitmaps"
    if code == -15 and layout.compression not in (1, 2, 3, 4, 5, 32773):
        return f"compression {layout.compression} has no decoder in this system"
    if code in (-319, -824, -309, -541, -355, -818, -822, -823):
        return f"compression {layout.compression} belongs to a sibling library"
    if code == -12 and layout.photometric == 6:
        return "YCbCr that is not 24 bits chunky"
    if code == -12 and layout.planar == 2:
        return "separate planes that are too few to merge"
    if code == 0 and layout.compression in (6, 7, 9, 10, 34709):
        return "the report refuses this compression: another filter takes the file"
    return None


def load_page(tool, path, number, out):
    if os.path.exists(out):
        os.remove(out)
    done = run(tool, "load", path, out, "--page", str(number))
    if done.returncode == 0 and os.path.exists(out):
        with open(out, "rb") as handle:
            return handle.read(), 1, done.stderr
    code = None
    for word in done.stderr.replace(",", " ").replace("(", " ").replace(")", " ").replace(":", " ").split():
        if word.lstrip("-").isdigit() and (word.startswith("-") or word == "0"):
            code = int(word)
            break
    if done.returncode not in (0, 1):
        code = f"exit {done.returncode}"
    return None, code, done.stderr


def compare_page(tool, path, index, layout, version, folder):
    """('same' | 'explained' | 'FAILED', text)"""
    rows, code, message = load_page(tool, path, index + 1, os.path.join(folder, "page.raw"))
    data, copied, complaint = reference_rows(path, index, folder)
    if isinstance(code, str):
        return "FAILED", f"the tool ended with {code}: {message.strip()[-200:]}"
    if rows is None:
        if data is None:
            return "explained", f"neither decodes it (result {code}; libtiff: {complaint})"
        reason = explain_refusal(layout, code, version)
        return ("explained", reason) if reason else ("FAILED", f"refused with {code}: {message.strip()}")
    if data is None:
        return "explained", f"libtiff does not decode it: {complaint}"
    expected, note = expected_rows(layout, data) if layout.photometric != 6 else (None, "")
    if expected is None:
        for test, reason in EXPLAINED:
            if test(layout):
                return "explained", reason
        return ("explained", note) if note else ("FAILED", "no expectation")
    if rows == expected.tobytes():
        return "same", note
    for test, reason in EXPLAINED:
        if test(layout):
            return "explained", reason
    if complaint and complaint.strip():
        return "explained", "libtiff complains about the data: " + complaint.strip().splitlines()[0]
    different = "sizes differ" if len(rows) != expected.size else "pixels differ"
    return "FAILED", f"{different} ({len(rows)} bytes against {expected.size}; {note})"


def main():
    logging.getLogger("tifffile").setLevel(logging.CRITICAL)  # damaged files are no news here
    tool = sys.argv[1]
    corpus = sys.argv[2] if len(sys.argv) > 2 else os.environ.get("VXTIF_CORPUS", "")
    if not corpus:
        print("skipped: no folder of real files (VXTIF_CORPUS is not set)")
        return 0
    if not os.path.isdir(corpus):
        print(f"skipped: there is no folder {corpus}")
        return 0
    counts = {"same": 0, "explained": 0, "FAILED": 0}
    with tempfile.TemporaryDirectory() as folder:
        for base, _, names in sorted(os.walk(corpus)):
            for name in sorted(names):
                if not name.lower().endswith((".tif", ".tiff")):
                    continue
                path = os.path.join(base, name)
                label = os.path.relpath(path, corpus)
                try:
                    tif = tifffile.TiffFile(path)
                    layouts = [Layout(p.keyframe if not hasattr(p, "tags") else p, tif.byteorder == ">") for p in tif.pages]
                    version = 43 if tif.is_bigtiff else 42
                    tif.close()
                except Exception as error:  # a damaged file: the independent reader's refusals are many
                    rows, code, message = load_page(tool, path, 1, os.path.join(folder, "page.raw"))
                    state = "FAILED" if isinstance(code, str) else "explained"
                    counts[state] += 1
                    print(f"{state:9} {label}: the independent reader refuses the file ({error}); our result {code}")
                    continue
                for index, layout in enumerate(layouts):
                    state, text = compare_page(tool, path, index, layout, version, folder)
                    counts[state] += 1
                    if state != "same":
                        print(f"{state:9} {label} page {index + 1}: {text}")
    print(f"{counts['same']} pages the same, {counts['explained']} explained, {counts['FAILED']} failed")
    return 1 if counts["FAILED"] else 0


if __name__ == "__main__":
    sys.exit(main())
