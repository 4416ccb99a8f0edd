"""vxtif delete and vxtif compact."""

import os
import unittest

from tool import ASCII, SHORT, Page, ToolTest, get, gray_page, put, read_tiff, tiff


class PageTest(ToolTest):
    def make(self, name, count, start=0, order="<"):
        put(name, tiff([gray_page(4, 3, start + i, {297: (SHORT, [i, 0])}) for i in range(count)], order))

    def values(self, name):
        found = []
        for page in range(1, len(read_tiff(name)[0]) + 1):
            self.ok("load", name, "v.raw", "--page", page)
            found.append(get("v.raw")[0])
        return found


class Delete(PageTest):
    def test_pages(self):
        for order in "<>":
            for page, left in [(1, [1, 2, 3]), (2, [0, 2, 3]), (4, [0, 1, 2])]:
                self.make("a.tif", 4, order=order)
                size = os.path.getsize("a.tif")
                self.ok("delete", "a.tif", "--page", page)
                self.assertEqual(self.values("a.tif"), left)
                self.assertEqual([p[297][1][0] for p in read_tiff("a.tif")[0]], [0, 1, 2])
                self.assertEqual(os.path.getsize("a.tif"), size)

    def test_keep_page_numbers(self):
        self.make("a.tif", 3)
        self.ok("delete", "a.tif", "--page", "2", "--keep-page-numbers")
        self.assertEqual([p[297][1][0] for p in read_tiff("a.tif")[0]], [0, 2])

    def test_refusals(self):
        self.make("a.tif", 1)
        before = get("a.tif")
        self.refused(-311, "delete", "a.tif", "--page", "1")
        self.refused(-310, "delete", "a.tif", "--page", "2")
        self.assertEqual(get("a.tif"), before)


class Compact(PageTest):
    def test_gives_space_back(self):
        self.make("a.tif", 4)
        self.ok("delete", "a.tif", "--page", "2")
        self.ok("tag", "set", "a.tif", "ImageDescription=ASCII:a longer text than before")
        self.ok("compact", "a.tif", "b.tif")
        self.assertLess(os.path.getsize("b.tif"), os.path.getsize("a.tif"))
        self.assertEqual(self.values("b.tif"), [0, 2, 3])
        self.assertEqual(read_tiff("b.tif")[0][0][270], (ASCII, "a longer text than before"))

    def test_onto_itself(self):
        self.make("a.tif", 3)
        self.ok("delete", "a.tif", "--page", "1")
        size = os.path.getsize("a.tif")
        self.ok("compact", "a.tif", "a.tif")
        self.assertLess(os.path.getsize("a.tif"), size)
        self.assertEqual(self.values("a.tif"), [1, 2])
        self.assertEqual(self.files(), ["a.tif", "v.raw"])

    def test_some_pages(self):
        self.make("a.tif", 5)
        self.ok("compact", "a.tif", "b.tif", "--first", "2", "--count", "3")
        self.assertEqual(self.values("b.tif"), [1, 2, 3])
        self.ok("compact", "a.tif", "b.tif", "--first", "9")
        self.assertEqual(self.values("b.tif"), [4])

    def test_places(self):
        self.make("a.tif", 2, 10)
        self.make("b.tif", 3)
        self.ok("compact", "a.tif", "b.tif", "--append")
        self.assertEqual(self.values("b.tif"), [0, 1, 2, 10, 11])
        self.make("b.tif", 3)
        self.ok("compact", "a.tif", "b.tif", "--insert", "2")
        self.assertEqual(self.values("b.tif"), [0, 10, 11, 1, 2])
        self.make("b.tif", 4)
        self.ok("compact", "a.tif", "b.tif", "--replace", "2")
        self.assertEqual(self.values("b.tif"), [0, 10, 11, 3])

    def test_byte_order_and_subfile_type(self):
        words = bytes([1, 2, 3, 4])
        put("a.tif", tiff([Page(2, 1, [16], 1, words, {254: (4, [2])})]))
        self.ok("compact", "a.tif", "b.tif", "--big-endian", "--no-subfile-type")
        pages, order = read_tiff("b.tif")
        self.assertEqual(order, ">")
        self.assertNotIn(254, pages[0])
        self.ok("load", "a.tif", "a.raw")
        self.ok("load", "b.tif", "b.raw")
        self.assertEqual((get("a.raw"), get("b.raw")), (words, words))

    def test_failures_leave_the_old_file(self):
        put("a.tif", b"no TIFF")
        put("b.tif", b"old")
        self.refused(-9, "compact", "a.tif", "b.tif")
        self.assertEqual(get("b.tif"), b"old")
        self.assertEqual(self.files(), ["a.tif", "b.tif"])


if __name__ == "__main__":
    unittest.main()
