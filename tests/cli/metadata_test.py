"""vxtif tag, comment and geo."""

import json
import unittest

from tool import ASCII, RATIONAL, SHORT, ToolTest, get, gray_page, put, read_tiff, tiff


class Tags(ToolTest):
    def test_get(self):
        for order in "<>":
            put("a.tif", tiff([gray_page(tags={270: (ASCII, "some text"), 65000: (SHORT, [1, 2, 300])}),
                               gray_page(tags={270: (ASCII, "page two")})], order))
            self.assertEqual(self.ok("tag", "get", "a.tif", "ImageDescription"), "some text\n")
            self.assertEqual(self.ok("tag", "get", "a.tif", "270", "--page", "2"), "page two\n")
            self.assertEqual(self.ok("tag", "get", "a.tif", "65000"), "1,2,300\n")
            self.assertEqual(self.ok("tag", "get", "a.tif", "XResolution"), "72/1\n")
            self.assertEqual(self.json("tag", "get", "a.tif", "65000", "--json"),
                             {"file": "a.tif", "tag": 65000, "type": 3, "count": 3, "value": [1, 2, 300]})

    def test_get_refusals(self):
        put("a.tif", tiff([gray_page()]))
        self.refused(-404, "tag", "get", "a.tif", "Software")
        self.refused(-310, "tag", "get", "a.tif", "256", "--page", "2")

    def test_list(self):
        put("a.tif", tiff([gray_page(tags={65000: (SHORT, [5] * 100)})], ">"))
        text = self.ok("tag", "list", "a.tif")
        self.assertIn("256  ImageWidth", text)
        self.assertIn("... (100)", text)
        tags = self.json("tag", "list", "a.tif", "--json")
        self.assertEqual((tags["pageNumber"], len(tags["tags"])), (1, 14))
        self.assertEqual(tags["tags"][0], {"tag": 256, "name": "ImageWidth", "type": 4, "count": 1, "value": 4})
        self.assertEqual(tags["tags"][-1]["value"], [5] * 100)
        self.refused(-310, "tag", "list", "a.tif", "--page", "2")

    def test_a_refused_page_can_be_listed(self):
        put("a.tif", tiff([gray_page(tags={259: (SHORT, [7])})]))
        self.assertIn("Compression", self.ok("tag", "list", "a.tif"))

    def test_set(self):
        for order in "<>":
            put("a.tif", tiff([gray_page(), gray_page()], order))
            pixels = self.pixels("a.tif")
            self.ok("tag", "set", "a.tif", "Software=ASCII:made by hand", "65000=SHORT:1,2,3", "65001=DOUBLE:1.5",
                    "282=RATIONAL:300/2", "--page", "2")
            pages, _ = read_tiff("a.tif")
            self.assertNotIn(305, pages[0])
            self.assertEqual(pages[1][305], (ASCII, "made by hand"))
            self.assertEqual(pages[1][65000], (SHORT, [1, 2, 3]))
            self.assertEqual(pages[1][65001], (12, [1.5]))
            self.assertEqual(pages[1][282], (RATIONAL, [(300, 2)]))
            self.assertEqual(self.pixels("a.tif"), pixels)

    def pixels(self, name):
        self.ok("load", name, "p.raw")
        return get("p.raw")

    def test_set_refusals(self):
        put("a.tif", tiff([gray_page()]))
        before = get("a.tif")
        self.refused(-310, "tag", "set", "a.tif", "305=ASCII:x", "--page", "2")
        self.assertEqual(get("a.tif"), before)


class Comments(ToolTest):
    def test_page_texts(self):
        put("a.tif", tiff([gray_page()]))
        self.ok("comment", "set", "a.tif", "Artist=Jane Doe", "3=a description")
        pages, _ = read_tiff("a.tif")
        self.assertEqual(pages[0][315], (ASCII, "Jane Doe"))
        self.assertEqual(pages[0][270], (ASCII, "a description"))
        self.assertEqual(self.ok("comment", "get", "a.tif", "artist"), "Jane Doe\n")
        self.assertEqual(self.json("comment", "get", "a.tif", "0", "--json"),
                         {"file": "a.tif", "comment": 0, "name": "Artist", "home": "page", "size": 9, "type": 2,
                          "count": 9, "value": "Jane Doe"})

    def test_gps_and_iptc(self):
        put("a.tif", tiff([gray_page()]))
        self.ok("comment", "set", "a.tif", "GPSLatitude=52/1,31/1,12/1", "GPSLatitudeRef=N", "IptcKeywords=one",
                "IptcKeywords=two", "IptcCity=Berlin")
        self.assertEqual(self.ok("comment", "get", "a.tif", "GPSLatitude"), "52°31'12\"N\n")
        self.assertEqual(self.ok("comment", "get", "a.tif", "IptcKeywords"), "one;two\n")
        listed = {c["name"]: c["value"] for c in self.json("comment", "list", "a.tif", "--json")["comments"]}
        self.assertEqual(listed["GPSVersionID"], [2, 2, 0, 0])
        self.assertEqual(listed["GPSLatitude"], ["52/1", "31/1", "12/1"])
        self.assertEqual(listed["GPSLatitudeRef"], "N")
        self.assertEqual(listed["IptcCity"], "Berlin")
        self.assertIn("IptcCity", self.ok("comment", "list", "a.tif"))

    def test_refusals(self):
        put("a.tif", tiff([gray_page()]))
        self.refused(-13, "comment", "get", "a.tif", "10")
        self.refused(-13, "comment", "get", "a.tif", "247")
        self.refused(0, "comment", "get", "a.tif", "Artist")
        self.refused(-310, "comment", "list", "a.tif", "--page", "2")
        self.assertEqual(self.json("comment", "list", "a.tif", "--json")["comments"], [])

    def test_a_text_that_is_not_utf8(self):
        put("a.tif", tiff([gray_page()]))
        put("text", b"M\xfcller")
        self.ok("comment", "set", "a.tif", "Artist=@text")
        self.assertEqual(self.json("comment", "get", "a.tif", "Artist", "--json")["value"], "Müller")


class GeoKeys(ToolTest):
    def test_set_and_list(self):
        for order in "<>":
            put("a.tif", tiff([gray_page()], order))
            self.assertEqual(self.json("geo", "list", "a.tif", "--json")["geoKeys"], [])
            self.ok("geo", "set", "a.tif", "2049=ASCII:a citation", "GTModelType=SHORT:2",
                    "GeogSemiMajorAxis=DOUBLE:6378137")
            keys = self.json("geo", "list", "a.tif", "--json")["geoKeys"]
            self.assertEqual([(key["name"], key["value"]) for key in keys],
                             [("GTModelTypeGeoKey", 2), ("GeogCitationGeoKey", "a citation"),
                              ("GeogSemiMajorAxisGeoKey", 6378137.0)])
            pages, _ = read_tiff("a.tif")
            self.assertEqual(pages[0][34735][1][:4], [1, 1, 2, 3])
            self.assertEqual(pages[0][34736], (12, [6378137.0]))
            self.assertEqual(pages[0][34737], (ASCII, "a citation|"))
            self.assertIn("GTModelTypeGeoKey", self.ok("geo", "list", "a.tif"))

    def test_named_keys_need_no_type(self):
        put("a.tif", tiff([gray_page()]))
        self.ok("geo", "set", "a.tif", "GTCitation=a: text", "ProjectedCSType=32633", "GeogInvFlattening=298.25",
                "60000=DOUBLE:1,2", "ProjectionGeoKey=SHORT:16033")
        keys = self.json("geo", "list", "a.tif", "--json")["geoKeys"]
        self.assertEqual([(key["tag"], key["type"], key["value"]) for key in keys],
                         [(1026, 2, "a: text"), (2059, 12, 298.25), (3072, 3, 32633), (3074, 3, 16033),
                          (60000, 12, [1.0, 2.0])])
        self.misused("geo", "set", "a.tif", "60000=1")
        self.misused("geo", "set", "a.tif", "ProjectedCSType=70000")

    def test_refusals(self):
        put("a.tif", tiff([gray_page()]))
        self.refused(-310, "geo", "list", "a.tif", "--page", "2")
        self.refused(-310, "geo", "set", "a.tif", "1024=SHORT:1", "--page", "2")


class Json(ToolTest):
    def test_is_one_object_on_a_line(self):
        put("a.tif", tiff([gray_page()]))
        for arguments in [("info", "a.tif"), ("dump", "a.tif"), ("tag", "list", "a.tif"), ("comment", "list", "a.tif"),
                          ("geo", "list", "a.tif"), ("formats",), ("tag", "get", "a.tif", "256")]:
            lines = self.ok(*arguments, "--json").splitlines()
            self.assertEqual(len(lines), 1)
            self.assertIsInstance(json.loads(lines[0]), dict)


if __name__ == "__main__":
    unittest.main()
