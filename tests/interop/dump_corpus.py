#!/usr/bin/env python3
"""Dumps every page of a folder of real TIFF files and compares the entries with what a walk of its own finds.

    dump_corpus.py VXTIF [FOLDER]          the folder is VXTIF_CORPUS when it is not given

The walk knows no more than TIFF 6.0: header, chain, entries, types. Directories, their offsets and next words, and the
tags, types, counts, values and sub-directories of all entries must be the same as those of `vxtif dump --json`, or the
reason why not is one that is worked out here from the bytes of the file. Every such page is listed with its reason; a
difference without a reason is a failure.
"""

import collections
import json
import math
import os
import struct
import subprocess
import sys

TIMEOUT = 120
SIZES = {1: 1, 2: 1, 3: 2, 4: 4, 5: 8, 6: 1, 7: 1, 8: 2, 9: 4, 10: 8, 11: 4, 12: 8}
CODES = {1: "B", 3: "H", 4: "I", 6: "b", 7: "B", 8: "h", 9: "i", 11: "f", 12: "d"}
SUB_IFDS, EXIF, GPS, PRIVATE, MAKER_NOTE, INTEROP = 330, 34665, 34853, 50236, 37500, 40965
JPEG_STREAM, JPEG_STREAM_LENGTH = 513, 514
JPEG_TABLES = (519, 520, 521)
JPEG_TABLE_BYTES = 272  # tables are fetched with this size, which must lie within the file
DEEPEST = 32

Entry = collections.namedtuple("Entry", "tag type count word inline")
Directory = collections.namedtuple("Directory", "offset entries next")


class Unreadable(Exception):
    """A directory that no reader of this kind can hold in memory, and why."""


class Walker:
    def __init__(self, data):
        self.data = data
        self.order = "<" if data[:2] == b"II" else ">"
        self.version = self.number("H", 2)
        self.first = self.number("I", 4)

    def number(self, code, at):
        size = struct.calcsize(code)
        if at < 0 or at + size > len(self.data):
            raise Unreadable(f"no bytes at {at}")
        return struct.unpack_from(self.order + code, self.data, at)[0]

    def directory(self, offset):
        count = self.number("H", offset)
        if count == 0:
            raise Unreadable("a directory without entries")
        if offset + 2 + 12 * count > len(self.data):
            raise Unreadable("the directory runs over the end of the file")
        entries = []
        for at in range(offset + 2, offset + 2 + 12 * count, 12):
            tag, kind, number, word = struct.unpack_from(self.order + "HHII", self.data, at)
            entries.append(Entry(tag, kind, number, word, self.data[at + 8 : at + 12]))
        try:
            following = self.number("I", offset + 2 + 12 * count)
        except Unreadable:
            following = 0
        return Directory(offset, entries, following)

    def value(self, entry):
        """The bytes of a value; None when they are not in the file."""
        size = SIZES.get(entry.type, 0) * entry.count
        if size <= 4:
            return entry.inline[:size]
        if entry.word + size > len(self.data):
            return None
        return self.data[entry.word : entry.word + size]

    def offsets(self, entry):
        """Where the children of an entry stand."""
        if entry.tag == SUB_IFDS and entry.type == 4 and entry.count > 1:
            return [self.number("I", entry.word + 4 * i) for i in range(entry.count)]
        return [self.word_of(entry)]

    def word_of(self, entry):
        """The value word as a little-endian file has it."""
        if self.order == "<":
            return entry.word
        if entry.type in (3, 8) and entry.count < 3:
            first, second = struct.unpack(">HH", entry.inline)
            return first if entry.count == 1 else first | second << 16
        if SIZES.get(entry.type) == 1 and entry.count < 5:
            return struct.unpack("<I", entry.inline)[0]
        return entry.word

    def elements(self, entry, data):
        """What JSON is expected to show."""
        if entry.type == 2:
            text = data.rstrip(b"\0")
            try:
                return text.decode("utf-8")
            except UnicodeDecodeError:
                return text.decode("latin-1")
        if entry.type in (5, 10):
            words = struct.unpack(self.order + ("I" if entry.type == 5 else "i") * (len(data) // 4), data)
            values = [f"{a}/{b}" for a, b in zip(words[::2], words[1::2])]
        elif entry.type in CODES:
            values = list(struct.unpack(self.order + CODES[entry.type] * entry.count, data))
        else:
            values = []
        return values[0] if len(values) == 1 else values


def same_value(expected, shown):
    if isinstance(expected, list):
        return isinstance(shown, list) and len(expected) == len(shown) and all(map(same_value, expected, shown))
    if isinstance(expected, float):
        if shown is None:  # JSON has no numbers for these
            return not math.isfinite(expected)
        return isinstance(shown, (int, float)) and math.isclose(expected, shown, rel_tol=1e-7)
    return expected == shown


class Comparison:
    """One page and its children; `notes` are the differences with a reason, `faults` those without."""

    def __init__(self, walker):
        self.walker = walker
        self.notes = []
        self.faults = []

    def children_kind(self, entry, kind):
        """What directory an entry of a directory of this kind points to, or None."""
        if kind == "page":
            return {SUB_IFDS: "page", EXIF: "exif", GPS: "gps", PRIVATE: "private"}.get(entry.tag)
        if kind == "exif":
            return {MAKER_NOTE: "note", INTEROP: "interop"}.get(entry.tag)
        return None

    def compare(self, shown, offset, kind, path, where):
        directory = self.walker.directory(offset)
        if shown["nextDirectoryOffset"] != directory.next:
            self.faults.append(f"{where}: next word {shown['nextDirectoryOffset']}, not {directory.next}")
        records = collections.deque(shown["records"])
        for entry in directory.entries:
            label = f"{where} tag {entry.tag}"
            record = records[0] if records else None
            if record is None or record["tag"] != entry.tag or record["type"] != entry.type:
                self.missing(entry, kind, path, label)
                continue
            records.popleft()
            self.compare_entry(record, entry, directory, kind, path, label)
        for record in records:
            self.faults.append(f"{where}: tag {record['tag']} is not in the file there")

    def missing(self, entry, kind, path, label):
        child = self.children_kind(entry, kind)
        if child is None:
            self.faults.append(f"{label} is not shown")
            return
        reason = self.why_unreadable(self.walker.word_of(entry), child, path)
        if reason is None:
            self.faults.append(f"{label} is not shown, though its directory can be read")
        else:
            self.notes.append(f"{label} is left out with its directory: {reason}")

    def compare_entry(self, record, entry, directory, kind, path, label):
        child = self.children_kind(entry, kind)
        if "directories" in record:
            offsets = self.walker.offsets(entry)
            if child is None or len(offsets) != len(record["directories"]):
                self.faults.append(f"{label}: directories that the file does not have")
                return
            for number, (shown, offset) in enumerate(zip(record["directories"], offsets)):
                self.compare(shown, offset, child, path + [offset], f"{label}[{number}]")
        elif child is not None and self.why_unreadable(self.walker.word_of(entry), child, path) is None:
            self.faults.append(f"{label}: its directory is not shown")
        if entry.tag == JPEG_STREAM and kind not in ("exif", "gps"):
            self.compare_stream(record, entry, directory, label)
            return
        if record["count"] != entry.count:
            self.faults.append(f"{label}: count {record['count']}, not {entry.count}")
            return
        self.compare_value(record, entry, label)

    def compare_value(self, record, entry, label):
        data = self.walker.value(entry)
        if SIZES.get(entry.type, 0) == 0:
            if record.get("value", []) not in ([], ""):
                self.faults.append(f"{label}: a value of the unknown type {entry.type}")
            return
        if data is None:
            if "value" in record:
                self.faults.append(f"{label}: a value that is not in the file")
            else:
                self.notes.append(f"{label}: its value lies outside the file")
            return
        expected = self.walker.elements(entry, data)
        if not same_value(expected, record.get("value")):
            self.faults.append(f"{label}: {str(record.get('value'))[:80]!r}, not {str(expected)[:80]!r}")

    def compare_stream(self, record, entry, directory, label):
        """The stream's record takes the length that another tag tells for its count."""
        lengths = [other for other in directory.entries if other.tag == JPEG_STREAM_LENGTH]
        count = self.walker.word_of(lengths[0]) if lengths else entry.count
        if record["count"] != count:
            self.faults.append(f"{label}: count {record['count']}, not the stream's length {count}")
        if record.get("value") != self.walker.word_of(entry):
            self.faults.append(f"{label}: {record.get('value')}, not {self.walker.word_of(entry)}")

    # --- why a directory is not there ---

    def why_unreadable(self, offset, kind, path):
        """A reason found in the file, or None."""
        if offset in path:
            return "it is one of its own parents"
        if len(path) > DEEPEST:
            return "it lies too deep"
        try:
            directory = self.walker.directory(offset)
        except Unreadable as reason:
            return str(reason)
        if 1 <= offset < 8:
            return "it stands in the header"
        for entry in directory.entries:
            reason = self.why_refused(entry, kind, path + [offset])
            if reason is not None:
                return f"tag {entry.tag}: {reason}"
        return self.why_image_refused(directory, kind)

    def why_refused(self, entry, kind, path):
        child = self.children_kind(entry, kind)
        if child is not None:
            if entry.tag != SUB_IFDS or entry.type != 4 or entry.count < 2:
                if entry.tag == MAKER_NOTE and self.why_unreadable(self.walker.word_of(entry), child, path):
                    outside = self.walker.word_of(entry) + entry.count > len(self.walker.data)
                    return "a maker note outside the file" if entry.type == 7 and outside else None
                return None  # left out alone
            try:
                offsets = self.walker.offsets(entry)
            except Unreadable as reason:
                return str(reason)
            reasons = [self.why_unreadable(offset, child, path) for offset in offsets]
            return next((reason for reason in reasons if reason), None)
        metadata = kind in ("exif", "gps")
        if not metadata and entry.tag in JPEG_TABLES:
            return self.why_tables_refused(entry)
        if not metadata and entry.tag in (273, 324, JPEG_STREAM):
            return None
        return "its value lies outside the file" if self.walker.value(entry) is None else None

    def why_tables_refused(self, entry):
        if entry.count > 4:
            return "more than four JPEG tables"
        if entry.count < 2:
            return None
        try:
            places = [self.walker.number("I", entry.word + 4 * i) for i in range(entry.count)]
        except Unreadable as reason:
            return str(reason)
        outside = any(place + JPEG_TABLE_BYTES > len(self.walker.data) for place in places)
        return "a JPEG table too near to the end of the file" if outside else None

    def why_image_refused(self, directory, kind):
        if kind in ("exif", "gps"):
            return None
        found = {}
        for entry in directory.entries:
            found.setdefault(entry.tag, entry)
        size = len(self.walker.data)
        if JPEG_STREAM in found:
            length = found.get(JPEG_STREAM_LENGTH)
            if length and self.walker.word_of(found[JPEG_STREAM]) + self.walker.word_of(length) > size:
                return "the JPEG stream runs over the end of the file"
            return None
        if kind != "page" or 273 not in found or 279 not in found:
            return None
        offsets, counts = found[273], found[279]
        if offsets.count != 1:
            if offsets.count != counts.count:
                return "as many strips as byte counts are wanted"
            if SIZES.get(counts.type, 0) * counts.count <= 4:
                return "byte counts that stand in the entry are no table"
            return None
        if self.walker.word_of(offsets) + self.walker.word_of(counts) > size:
            return "the strip runs over the end of the file"
        return None


def chain(walker):
    """The offsets of the pages, up to the end, a loop, or a directory whose entries cannot be counted."""
    seen = []
    offset = walker.first
    while offset and offset not in seen and offset + 2 <= len(walker.data):
        count = walker.number("H", offset)
        seen.append(offset)
        end = offset + 2 + 12 * count
        if end + 4 > len(walker.data):
            break
        offset = walker.number("I", end)
    return seen


def explain_refused_file(data, code):
    if len(data) < 8:
        return "shorter than a header"
    if data[:2] not in (b"II", b"MM"):
        return "no byte order mark"
    walker = Walker(data)
    if walker.version not in (42, 12622):
        return "BigTIFF is another version word" if walker.version == 43 else f"version word {walker.version}"
    if walker.first < 8 or walker.first + 2 > len(data):
        return "no directory where the header says"
    return None


def dump(tool, path):
    done = subprocess.run([tool, "dump", "--json", path], capture_output=True, timeout=TIMEOUT)
    if done.returncode not in (0, 1):
        return None, f"the tool ended with {done.returncode}: {done.stderr[-200:]!r}"
    try:
        return json.loads(done.stdout.decode("utf-8")), ""
    except ValueError:
        return None, done.stderr.decode(errors="replace").strip()


def compare_file(tool, path):
    """Lists (state, text) of the pages."""
    with open(path, "rb") as handle:
        data = handle.read()
    shown, message = dump(tool, path)
    if shown is None:
        reason = None if message.startswith("the tool ended") else explain_refused_file(data, message)
        return [("explained", reason) if reason else ("FAILED", f"no dump: {message}")]
    walker = Walker(data)
    results = []
    if (shown["byteOrder"], shown["version"], shown["fileSize"]) != (data[0], walker.version, len(data)):
        results.append(("FAILED", "the header is shown wrongly"))
    offsets = chain(walker)
    if [page["directoryOffset"] for page in shown["pages"]] != offsets:
        results.append(("FAILED", f"pages at {[p['directoryOffset'] for p in shown['pages']]}, not {offsets}"))
        return results
    for number, page in enumerate(shown["pages"], 1):
        comparison = Comparison(walker)
        offset = page["directoryOffset"]
        if "result" in page:
            reason = comparison.why_unreadable(offset, "page", [])
            results.append(("explained", f"page {number}: {reason}") if reason else
                           ("FAILED", f"page {number}: refused with {page['result']}"))
            continue
        try:
            comparison.compare(page, offset, "page", [offset], f"page {number}")
        except Unreadable as reason:
            comparison.faults.append(f"page {number} is shown, though {reason}")
        for fault in comparison.faults:
            results.append(("FAILED", fault))
        if not comparison.faults:
            results.append(("explained", "; ".join(comparison.notes)) if comparison.notes else ("same", ""))
    return results


def main():
    tool = sys.argv[1]
    corpus = sys.argv[2] if len(sys.argv) > 2 else os.environ.get("VXTIF_CORPUS", "")
    if not corpus:
        print("skipped: no folder of real files (VXTIF_CORPUS is not set)")
        return 0
    if not os.path.isdir(corpus):
        print(f"skipped: there is no folder {corpus}")
        return 0
    counts = {"same": 0, "explained": 0, "FAILED": 0}
    for base, _, names in sorted(os.walk(corpus)):
        for name in sorted(names):
            if not name.lower().endswith((".tif", ".tiff")):
                continue
            path = os.path.join(base, name)
            for state, text in compare_file(tool, path):
                counts[state] += 1
                if state != "same":
                    print(f"{state:9} {os.path.relpath(path, corpus)}: {text}")
    print(f"{counts['same']} pages the same, {counts['explained']} explained, {counts['FAILED']} failed")
    return 1 if counts["FAILED"] or counts["same"] == 0 else 0


if __name__ == "__main__":
    sys.exit(main())
