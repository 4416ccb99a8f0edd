#!/usr/bin/env python3
"""Compacts every file of a folder of real TIFF files and compares all pages with an independent reader.

    corpus_compaction.py COMPACT_FILE [FOLDER]        the folder is VXTIF_CORPUS when it is not given

Each file goes into a little-endian and into a big-endian destination. Tags and their values, decoded pixels, and where
the reader cannot decode, the stored pieces must be those of the source; compacting a little-endian result again must
give the same bytes. What differs is listed with its reason; a difference without a reason is a failure.
"""

import logging
import os
import struct
import subprocess
import sys
import tempfile

import numpy as np
import tifffile

logging.disable(logging.CRITICAL)

TYPE_SIZES = (0, 1, 1, 2, 4, 8, 1, 1, 2, 4, 8, 4, 8)
# Values that are places in the file, or say how long something at such a place is.
PLACES = {273, 279, 324, 325, 330, 34665, 34853, 513, 514, 519, 520, 521, 50236}


def compact(program, source, destination, order):
    if os.path.exists(destination):
        os.remove(destination)
    done = subprocess.run([program, source, destination, order], capture_output=True, text=True, timeout=120)
    return int(done.stdout) if done.returncode == 0 else f"ended with {done.returncode}: {done.stderr[-300:]}"


def raw_directories(data):
    """(next word, entries) of each directory of the chain, as they stand; entries are (tag, type, count, word, bytes)."""
    order = "<" if data[:2] == b"II" else ">"
    at, seen = struct.unpack_from(order + "I", data, 4)[0], set()
    while at and at not in seen and at + 2 <= len(data):
        seen.add(at)
        count = struct.unpack_from(order + "H", data, at)[0]
        if at + 2 + 12 * count > len(data):
            return
        entries = []
        for i in range(count):
            tag, kind, number, word = struct.unpack_from(order + "HHII", data, at + 2 + 12 * i)
            size = TYPE_SIZES[kind] if kind < len(TYPE_SIZES) else 0
            entries.append((tag, kind, number, word, size * number))
        yield entries
        behind = at + 2 + 12 * count
        at = struct.unpack_from(order + "I", data, behind)[0] if behind + 4 <= len(data) else 0


def why_refused(data, code):
    if data[:4] not in (b"II\x2a\0", b"MM\0\x2a"):
        return "no classic TIFF header" if code == -9 else None
    pages = list(raw_directories(data))
    if not pages:
        return "no directory that can be read"
    for entries in pages:
        words = {tag: word for tag, _, _, word, _ in entries}
        for tag, kind, number, word, size in entries:
            if size > 4 and word + size > len(data):
                return f"the value of tag {tag} ends behind the file"
            if tag in (519, 520, 521) and number > 1:
                order = "<" if data[:2] == b"II" else ">"
                tables = struct.unpack_from(f"{order}{number}I", data, word)
                if max(tables) + 272 > len(data):
                    return "a JPEG table lies too near to the end of the file"
            if tag in (273, 279) and number == 1 and kind == 3 and data[:2] == b"II" and word > 0xFFFF:
                return "the upper half of a SHORT's value word is not clear, and the whole word counts"
        for place, length in ((513, 514), (273, 279)):
            if place in words and length in words and words[place] + words[length] > len(data):
                return f"what tag {place} points to ends behind the file"
        for tag, kind, number, word, size in entries:
            if tag in (325, 324) and size > 4:
                return "a tile ends behind the file" if code == -7 else None
    return None


def stored_pieces(page):
    handle = page.parent.filehandle
    pieces = []
    for offset, length in zip(page.dataoffsets, page.databytecounts):
        handle.seek(offset)
        pieces.append(handle.read(length))
    return pieces


def decode(page):
    try:
        return page.asarray()
    except Exception as error:  # whatever the reader cannot decode
        return str(error)


def why_data_differ(old, new):
    """The rules by which samples change: 16-bit uncompressed ones alone follow the destination's byte order."""
    orders = old.parent.byteorder, new.parent.byteorder
    bits = old.bitspersample
    if old.compression == 1:
        if orders[0] == ">" and old.is_tiled is False and 8 < bits < 16:
            return f"uncompressed {bits}-bit strips of a big-endian file are taken for 16-bit words and not brought back"
        if bits > 16 and (orders[0] != orders[1] or orders[0] == ">"):
            return f"{bits}-bit samples keep the order in which they lie"
    elif bits >= 16 and orders[0] != orders[1]:
        return "compressed samples keep the order of the source"
    if 513 in old.tags and len(old.dataoffsets) == 1:
        return "a single strip behind a JPEG header: the entry stays at the header"
    return None


def compare_tags(old, new):
    """Differences of two pages' tags, each with its reason or None."""
    before, after = {t.code: t for t in old.tags}, {t.code: t for t in new.tags}
    for tag in sorted(set(before) - set(after)):
        dropped = tag in (34665, 34853, 330, 50236)
        yield f"tag {tag} is gone", "its directory cannot be read" if dropped else None
    for tag in sorted(set(after) - set(before)):
        yield f"tag {tag} is new", "the reader passed over it in the source: its value stood within the header"
    for tag in sorted(set(before) & set(after) - PLACES):
        old_value, new_value = before[tag].value, after[tag].value
        if str(old_value) != str(new_value) and not np.array_equal(old_value, new_value):
            words = before[tag].dtype in (3, 4) and isinstance(old_value, bytes)
            yield f"tag {tag} differs", "words in place of bytes take the destination's order" if words else None


def compare_pages(source, destination):
    """(page, difference, reason or None) for all pages of two files."""
    with tifffile.TiffFile(source) as old_file, tifffile.TiffFile(destination) as new_file:
        if len(old_file.pages) != len(new_file.pages):
            yield 0, f"{len(old_file.pages)} pages became {len(new_file.pages)}", None
            return
        for index in range(len(old_file.pages)):
            old, new = old_file.pages[index], new_file.pages[index]
            for difference, reason in compare_tags(old, new):
                yield index + 1, difference, reason
            old_data, new_data = decode(old), decode(new)
            if isinstance(old_data, str) or isinstance(new_data, str):
                same = stored_pieces(old) == stored_pieces(new)
            else:
                same = old_data.shape == new_data.shape and old_data.tobytes() == new_data.tobytes()
            if not same:
                yield index + 1, "the image data differ", why_data_differ(old, new)


def examine(program, path, folder):
    """Yields (state, text) for one source file."""
    with open(path, "rb") as stream:
        data = stream.read()
    first, second = os.path.join(folder, "first.tif"), os.path.join(folder, "second.tif")
    for order in ("little", "big"):
        code = compact(program, path, first, order)
        if code != 1:
            reason = why_refused(data, code) if isinstance(code, int) else None
            yield ("explained" if reason else "FAILED"), f"result {code}: {reason}"
            return
        if order == "little":
            again = compact(program, first, second, order)
            with open(first, "rb") as a, open(second, "rb") as b:
                same = again == 1 and a.read() == b.read()
            headed = any(513 in {e[0] for e in entries} for entries in raw_directories(data))
            if not same:
                reason = "its single strip's entry stands at the JPEG header" if headed else None
                yield ("explained" if reason else "FAILED"), f"compacted again it differs ({again}): {reason}"
        try:
            differences = list(compare_pages(path, first))
        except Exception as error:  # the reader refuses the source itself
            yield "explained", f"the independent reader refuses the file: {error}"
            return
        for page, difference, reason in differences:
            yield ("explained" if reason else "FAILED"), f"{order}, page {page}: {difference}: {reason}"
    yield "same", ""


def main():
    program = sys.argv[1]
    corpus = sys.argv[2] if len(sys.argv) > 2 else os.environ.get("VXTIF_CORPUS", "")
    if not corpus or not os.path.isdir(corpus):
        print(f"skipped: no folder of real files (VXTIF_CORPUS is '{corpus}')")
        return 0
    counts = {"same": 0, "explained": 0, "FAILED": 0}
    with tempfile.TemporaryDirectory() as folder:
        for base, _, names in sorted(os.walk(corpus)):
            for name in sorted(names):
                if not name.lower().endswith((".tif", ".tiff")):
                    continue
                path = os.path.join(base, name)
                for state, text in examine(program, path, folder):
                    counts[state] += 1
                    if text:
                        print(f"{state:9} {os.path.relpath(path, corpus)}: {text}")
    print(f"{counts['same']} files through, {counts['explained']} differences explained, {counts['FAILED']} failed")
    return 1 if counts["FAILED"] else 0


if __name__ == "__main__":
    sys.exit(main())
