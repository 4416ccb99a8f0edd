#!/usr/bin/env python3
"""GeoTIFF keys against listgeo, gdalinfo, exiftool and tifffile: they read every key that is set, with the right value;
every key that gdal_translate and geotifcp write is read.

    geo_keys.py VXTIF
"""

import json
import os
import shutil
import subprocess
import sys
import tempfile
import unittest

import numpy as np
import tifffile

VXTIF = ""
FOLDER = tempfile.TemporaryDirectory()
# Reference systems that need keys of every kind: codes alone, a model of its own with numbers, texts of several parts,
# feet, heights.
SYSTEMS = {
    "projected": "EPSG:32633",
    "geographic": "EPSG:4258",
    "feet": "EPSG:2263",
    "heights": "EPSG:32633+5773",
    "own conic": "+proj=lcc +lat_1=30.5 +lat_2=60.25 +lat_0=45 +lon_0=10 +x_0=1000 +y_0=2000 +ellps=GRS80",
    "own mercator": "+proj=tmerc +lat_0=1.5 +lon_0=-77.25 +k=0.9999 +x_0=12.5 +y_0=-3 +a=6378388 +rf=297",
}


def run(*command):
    done = subprocess.run(list(map(str, command)), capture_output=True, text=True, errors="replace", timeout=120)
    if done.returncode != 0:
        raise AssertionError(f"{' '.join(map(str, command))}: {done.returncode}\n{done.stdout}{done.stderr}")
    return done.stdout


def keys_of(path, page=1):
    """What we read: {id: (type, value)}."""
    listed = json.loads(run(VXTIF, "geo", "list", path, "--json", "--page", page))["geoKeys"]
    return {key["tag"]: (key["type"], key["value"]) for key in listed}


def set_keys(path, keys, page=1):
    run(VXTIF, "geo", "set", path, "--page", page, *(f"{key}={setting(*value)}" for key, value in keys.items()))


def setting(kind, value):
    if kind == 2:
        return "ASCII:" + value
    numbers = value if isinstance(value, list) else [value]
    return {3: "SHORT:", 12: "DOUBLE:"}[kind] + ",".join(map(repr, numbers))


def listgeo(path):
    """The lines of the keys."""
    text = run("listgeo", "-no_norm", "-no_corners", path)
    return [line.strip() for line in text.split("Keyed_Information:")[1].split("End_Of_Keys")[0].splitlines() if line.strip()]


def by_name(lines):
    return {line.split(" ")[0]: line for line in lines}


def gdalinfo(path):
    told = json.loads(run("gdalinfo", "-json", path))
    return told.get("coordinateSystem", {}).get("wkt"), told.get("geoTransform")


def independent_keys(path, page=0):
    """The keys by a reader of our own standing on tifffile's values of the three tags."""
    with tifffile.TiffFile(path) as file:
        tags = file.pages[page].tags
        shorts = tags[34735].value
        doubles = tags[34736].value if 34736 in tags else ()
        doubles = doubles if isinstance(doubles, tuple) else (doubles,)
        texts = tags[34737].value if 34737 in tags else ""
    keys = {}
    for i in range(shorts[3]):
        key, location, count, value = shorts[4 + 4 * i:8 + 4 * i]
        if location == 0:
            keys[key] = (3, value)
        elif location == 34735:
            keys[key] = (3, list(shorts[value:value + count]))
        elif location == 34736:
            numbers = list(doubles[value:value + count])
            keys[key] = (12, numbers[0] if count == 1 else numbers)
        else:
            text = texts[value:value + count]
            keys[key] = (2, text[:-1] if text.endswith("|") else text)
    return keys


class Model:
    """A file of GDAL's with the keys of a reference system, and what the tools say of it. Of the revisions of keys 1.1 is
    the one that listgeo names keys and codes for as it does for ours."""

    made = {}

    def __init__(self, folder, order, system, version):
        self.path = os.path.join(folder, f"model{len(self.made)}.tif")
        plain = write_plain(os.path.join(folder, "plain.tif"), order)
        run("gdal_translate", "-q", "-a_srs", system, "-a_ullr", 500000, 5000000, 500300, 4999800, "-co",
            "ENDIANNESS=" + order.upper(), "-co", "GEOTIFF_VERSION=" + version, plain, self.path)
        self.keys = keys_of(self.path)
        self.listed = listgeo(self.path)
        self.wkt, self.place = gdalinfo(self.path)

    @classmethod
    def of(cls, order, system, version="1.1"):
        name = (order, system, version)
        if name not in cls.made:
            cls.made[name] = cls(FOLDER.name, order, system, version)
        return cls.made[name]


def write_plain(path, order, pages=1):
    """Pages as another writer makes them, without keys."""
    with tifffile.TiffWriter(path, byteorder="<" if order == "little" else ">") as file:
        for page in range(pages):
            file.write(np.arange(600, dtype=np.uint8).reshape(20, 30) + page, metadata=None, software=False)
    return path


class Case(unittest.TestCase):
    maxDiff = None

    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = folder.name

    def path(self, name):
        return os.path.join(self.folder, name)

    def plain(self, order, pages=1):
        return write_plain(self.path("ours.tif"), order, pages)

    def copy(self, model):
        return shutil.copy(model.path, self.path("ours.tif"))

    def expect_model(self, path, model):
        self.assertEqual(keys_of(path), model.keys)
        self.assertEqual(independent_keys(path), model.keys)
        self.assertEqual(listgeo(path), model.listed)
        self.assertEqual(gdalinfo(path)[0], model.wkt)

    def each_model(self, *names):
        for order in ("little", "big"):
            for name in names or SYSTEMS:
                with self.subTest(order=order, system=name):
                    yield order, Model.of(order, SYSTEMS[name])


class Read(Case):
    def test_every_key_that_gdal_writes(self):
        kinds = set()
        for _, model in self.each_model():
            self.assertEqual(model.keys, independent_keys(model.path))
            self.assertEqual(len(model.keys), len(model.listed))
            kinds |= {kind for kind, _ in model.keys.values()}
        self.assertEqual(kinds, {2, 3, 12})

    def test_known_values(self):
        for order in ("little", "big"):
            keys = Model.of(order, SYSTEMS["projected"], "1.0").keys
            self.assertEqual(keys, {1024: (3, 1), 1025: (3, 1), 1026: (2, "WGS 84 / UTM zone 33N"), 2049: (2, "WGS 84"),
                                    2054: (3, 9102), 3072: (3, 32633), 3076: (3, 9001)})
            keys = Model.of(order, SYSTEMS["own conic"]).keys
            self.assertEqual((keys[3075], keys[3078], keys[3079], keys[3084], keys[3085], keys[3086], keys[3087]),
                             ((3, 8), (12, 30.5), (12, 60.25), (12, 10.0), (12, 45.0), (12, 1000.0), (12, 2000.0)))

    def test_every_key_that_geotifcp_writes(self):
        for order, model in self.each_model():
            told, copy = self.path("told.txt"), self.path("copy.tif")
            with open(told, "w", encoding="utf-8") as file:
                file.write(run("listgeo", "-no_norm", "-no_corners", model.path))
            run("geotifcp", "-g", told, self.plain(order), copy)
            self.assertEqual(keys_of(copy), independent_keys(copy))
            self.assertEqual(listgeo(copy), model.listed)


class Set(Case):
    def test_the_same_keys_make_the_same_reference_system(self):
        """The keys of GDAL's file set on a page without any: listgeo and gdalinfo read the same from both."""
        for order, model in self.each_model():
            path = self.plain(order)
            pixels = tifffile.imread(path)
            set_keys(path, model.keys)
            self.expect_model(path, model)
            self.assertTrue((tifffile.imread(path) == pixels).all())

    def test_one_by_one_in_descending_order(self):
        for order, model in self.each_model("own conic"):
            path = self.plain(order)
            for key, value in sorted(model.keys.items(), reverse=True):
                set_keys(path, {key: value})
            self.expect_model(path, model)

    def test_a_key_set_on_gdals_file_changes_it_alone(self):
        for _, model in self.each_model("projected", "own conic"):
            path = self.copy(model)
            before = by_name(model.listed)
            for key, kind, value, line in [
                    (1026, 2, "a citation of ours", 'GTCitationGeoKey (Ascii,19): "a citation of ours"'),
                    (2057, 12, 6377397.155, "EllipsoidSemiMajorAxisGeoKey (Double,1): 6377397.155"),
                    (1025, 3, 2, "GTRasterTypeGeoKey (Short,1): RasterPixelIsPoint")]:
                set_keys(path, {key: (kind, value)})
                after = by_name(listgeo(path))
                name = line.split(" ")[0]
                self.assertEqual(" ".join(after.get(name, "").split()), line, after)
                self.assertEqual({other: told for other, told in after.items() if other != name},
                                 {other: told for other, told in before.items() if other != name})
                before = after
            with tifffile.TiffFile(path) as ours, tifffile.TiffFile(model.path) as theirs:
                for tag in (33550, 33922, 256, 273, 279):
                    self.assertEqual(ours.pages[0].tags[tag].value, theirs.pages[0].tags[tag].value)

    def test_several_values_of_each_kind(self):
        for order in ("little", "big"):
            path = self.plain(order)
            keys = {1024: (3, 1), 2062: (12, [1.5, -2.25, 3.0]), 60000: (3, [7, 8, 9]), 60001: (12, [0.1, 1e300]),
                    60002: (2, "one"), 60003: (2, "the other"), 60004: (3, [65535, 0])}
            set_keys(path, keys)
            self.assertEqual(keys_of(path), keys)
            self.assertEqual(independent_keys(path), keys)
            told = [line.split(":", 1)[1].split() for line in listgeo(path) if line.startswith("Unknown-60000")]
            self.assertEqual(told, [["7", "8", "9"]])

    def test_a_further_page(self):
        for order in ("little", "big"):
            path = self.plain(order, pages=3)
            set_keys(path, {1024: (3, 2), 2049: (2, "the second page")}, page=2)
            self.assertEqual(keys_of(path, 1), {})
            self.assertEqual(keys_of(path, 3), {})
            self.assertEqual(independent_keys(path, 1), {1024: (3, 2), 2049: (2, "the second page")})

    def test_exiftool_reads_them(self):
        for order in ("little", "big"):
            path = self.plain(order)
            set_keys(path, {1024: (3, 1), 1025: (3, 1), 3072: (3, 32633), 1026: (2, "ours"), 2057: (12, 6378137.5)})
            told = json.loads(run("exiftool", "-j", "-n", "-GeoTiff:all", path))[0]
            self.assertEqual((told["GTModelType"], told["GTRasterType"], told["ProjectedCSType"], told["GTCitation"],
                              told["GeogSemiMajorAxis"]), (1, 1, 32633, "ours", 6378137.5))


class Saved(Case):
    def test_a_new_page_of_the_geotiff_format(self):
        rows = bytes((x * 5 + y) % 256 for y in range(20) for x in range(30))
        with open(self.path("in.pgm"), "wb") as file:
            file.write(b"P5\n30 20\n255\n" + rows)
        for order, model in self.each_model():
            path = self.path("ours.tif")
            run(VXTIF, "save", self.path("in.pgm"), path, "--format", "geotiff",
                *(["--big-endian"] if order == "big" else []),
                *(word for key, value in model.keys.items() for word in ("--geo", f"{key}={setting(*value)}")))
            self.expect_model(path, model)
            self.assertEqual(tifffile.imread(path).tobytes(), rows)

    def test_keys_survive_compaction(self):
        for order, model in self.each_model("own conic", "heights"):
            path = self.path("ours.tif")
            run(VXTIF, "compact", model.path, path, *([] if order == "big" else ["--big-endian"]))
            self.expect_model(path, model)
            self.assertEqual(gdalinfo(path)[1], model.place)


if __name__ == "__main__":
    VXTIF = sys.argv.pop(1)
    unittest.main()
