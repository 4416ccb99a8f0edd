"""Help, version, wrong usage and exit statuses."""

import os
import unittest

from tool import ToolTest, gray_page, put, tiff

COMMANDS = ["info", "load", "save", "planes", "stamp", "delete", "compact", "tag", "comment", "geo", "dump", "formats"]
SECOND = [("planes", "load"), ("planes", "save"), ("tag", "get"), ("tag", "set"), ("tag", "list"), ("comment", "get"),
          ("comment", "set"), ("comment", "list"), ("geo", "list"), ("geo", "set")]


class Usage(ToolTest):
    def test_help_names_every_command(self):
        text = self.ok("--help")
        for command in COMMANDS:
            self.assertIn("\n  %s " % command, text)

    def test_help_of_every_command(self):
        for command in [(name,) for name in COMMANDS] + SECOND:
            text = self.ok(*command, "--help")
            self.assertIn("Usage: vxtif %s" % " ".join(command), text)

    def test_version(self):
        self.assertRegex(self.ok("--version"), r"^vxtif \d+\.\d+\.\d+\n$")

    def test_wrong_usage(self):
        put("a.tif", tiff([gray_page()]))
        for arguments in [(), ("nonsense",), ("info",), ("info", "a.tif", "--nonsense"), ("info", "a.tif", "--page", "0"),
                          ("info", "a.tif", "--page", "x"), ("load", "a.tif"), ("load", "a.tif", "a.jpg"),
                          ("load", "a.tif", "a.png", "--region", "1,2,3"),
                          ("load", "a.tif", "a.png", "--region", "0,0,0,1"),
                          ("load", "a.tif", "a.png", "--max-bytes", "lots"),
                          ("load", "a.tif", "a.png", "--width", "3"),
                          ("load", "a.tif", "a.png", "--raw-format", "rows"),
                          ("delete", "a.tif"), ("delete", "a.tif", "--page", "0"), ("delete", "a.tif", "--page", "all"),
                          ("tag",), ("tag", "get", "a.tif"), ("tag", "get", "a.tif", "NoSuchTag"),
                          ("tag", "set", "a.tif", "Software"), ("tag", "set", "a.tif", "Software=text"),
                          ("tag", "set", "a.tif", "256=SHORT:70000"), ("comment", "get", "a.tif", "NoSuchComment"),
                          ("comment", "set", "a.tif", "10=x"), ("geo", "set", "a.tif", "NoSuchKey=SHORT:1"),
                          ("save", "a.png"), ("save", "a.png", "b.tif", "--format", "jpeg"),
                          ("save", "a.png", "b.tif", "--append", "--insert", "1"),
                          ("save", "a.png", "b.tif", "--tiles", "64"), ("save", "a.png", "b.tif", "--photometric", "7"),
                          ("compact", "a.tif"), ("compact", "a.tif", "b.tif", "--count", "0")]:
            with self.subTest(arguments):
                self.misused(*arguments)
        self.assertEqual(self.files(), ["a.tif"])

    def test_a_missing_file(self):
        line = self.refused(-10, "info", "missing.tif")
        self.assertEqual(line, "vxtif: missing.tif: info: -10 (kResultOpenFailed): the file cannot be opened")
        for arguments in [("load", "missing.tif", "a.png"), ("dump", "missing.tif"), ("tag", "list", "missing.tif"),
                          ("tag", "get", "missing.tif", "256"), ("tag", "set", "missing.tif", "270=ASCII:x"),
                          ("comment", "get", "missing.tif", "3"), ("comment", "list", "missing.tif"),
                          ("geo", "list", "missing.tif"), ("delete", "missing.tif", "--page", "1"),
                          ("compact", "missing.tif", "b.tif"), ("stamp", "missing.tif", "b.png"),
                          ("planes", "load", "missing.tif", "b.png"), ("save", "missing.png", "b.tif")]:
            with self.subTest(arguments):
                self.refused(-10, *arguments)
        self.assertEqual(self.files(), [])

    def test_not_a_tiff_file(self):
        put("a.tif", b"not a TIFF file at all")
        self.refused(-9, "info", "a.tif")
        self.refused(-9, "load", "a.tif", "a.png")
        self.refused(-9, "dump", "a.tif")
        self.assertEqual(self.files(), ["a.tif"])

    def test_a_failing_output(self):
        if not os.path.exists("/dev/full"):
            self.skipTest("no /dev/full here")
        put("a.tif", tiff([gray_page(100, 100)]))
        os.symlink("/dev/full", "full.pnm")
        self.refused(-5, "load", "a.tif", "full.pnm")
        self.refused(-14, "load", "a.tif", "no/such/folder/a.png")

    def test_formats(self):
        text = self.ok("formats")
        for word in ["lzw", "LZW", "34712", "VXJBIG2", "missing"]:
            self.assertIn(word, text)
        tables = self.json("formats", "--json")
        self.assertIn({"fileFormat": 17, "name": "lzw", "description": "LZW", "saved": True, "siblingRow": -1},
                      tables["formats"])
        self.assertEqual(len(tables["siblings"]), 11)
        self.assertEqual({row["present"] for row in tables["siblings"]}, {False})


if __name__ == "__main__":
    unittest.main()
