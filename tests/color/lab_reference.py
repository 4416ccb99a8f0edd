#!/usr/bin/env python3
"""Prints the expectations of LabRowsTest.cpp, computed with exact fractions rounded to binary32 and binary64.

Nothing here uses the machine's floating point but as a container: every product and every sum is formed exactly and
rounded once, to nearest even, to the width that it has in the library. Run by hand when a constant is to be checked;
with --mutate it also tells whether each constant, off by one unit in the last place, would change the table.
"""
import struct
import sys
from fractions import Fraction


def bits(word):
    return Fraction(struct.unpack("<f", struct.pack("<I", word))[0])


def round_to(value, precision):
    if value == 0:
        return value
    sign = -1 if value < 0 else 1
    value = abs(value)
    exponent = value.numerator.bit_length() - value.denominator.bit_length()
    if value < Fraction(2) ** exponent:
        exponent -= 1
    unit = Fraction(2) ** (exponent - precision + 1)
    whole, rest = divmod(value, unit)
    if rest * 2 > unit or (rest * 2 == unit and whole % 2 == 1):
        whole += 1
    return sign * whole * unit


def single(value):
    return round_to(value, 24)


def double(value):
    return round_to(value, 53)


NAMES = {
    "luma8": 0x3B808081, "a8": 0x3B03126F, "b8": 0x3BA3D70A, "x8": 0x437A27AE, "y8": 0x437F0000, "z8": 0x43961148,
    "luma16": 0x37800080, "a16": 0x3703126F, "b16": 0x37A3D70A, "x16": 0x477B21D6, "y16": 0x477FFF00,
    "z16": 0x4796A759, "lightness": 0x3C0D3DCB, "redX": 0x3FF47AE1, "greenX": 0x3F7BE76D, "blueX": 0x3D6D9168,
}
DOUBLES = {name: Fraction(float(name)) for name in ("0.534", "0.289", "1.999", "0.028", "0.119", "0.902")}


def truncate_and_clamp(value, full):
    whole = abs(value).numerator // abs(value).denominator
    whole = -whole if value < 0 else whole
    return min(max(whole, 0), full)


class Lab:
    """Keeps what depends on L, on L and a, on L and b, so that large tables of samples come out in minutes."""

    def __init__(self, width, constants=NAMES):
        self.width = width
        self.full = (1 << width) - 1
        self.c = {name: bits(word) for name, word in constants.items()}
        self.fy, self.x, self.z = {}, {}, {}

    def constant(self, name):
        return self.c[name + str(self.width)]

    def scaled_cube(self, f, factor):
        return single(single(single(f * f) * f) * factor)

    def of_l(self, l):
        if l not in self.fy:
            scaled = single(single(Fraction(l * 100)) * self.constant("luma"))
            fy = single(single(scaled + 16) * self.c["lightness"])
            y = self.scaled_cube(fy, self.constant("y"))
            self.fy[l] = (fy, [double(y * DOUBLES[k]) for k in ("0.534", "1.999", "0.119")])
        return self.fy[l]

    def of_a(self, l, a):
        if (l, a) not in self.x:
            fx = single(single(single(Fraction(a)) * self.constant("a")) + self.of_l(l)[0])
            x = self.scaled_cube(fx, self.constant("x"))
            y = self.of_l(l)[1]
            products = [single(x * self.c[k]) for k in ("redX", "greenX", "blueX")]
            self.x[l, a] = (double(products[0] - y[0]), double(y[1] - products[1]), double(products[2] - y[2]))
        return self.x[l, a]

    def of_b(self, l, b):
        if (l, b) not in self.z:
            fz = single(self.of_l(l)[0] - single(single(Fraction(b)) * self.constant("b")))
            z = self.scaled_cube(fz, self.constant("z"))
            self.z[l, b] = [double(z * DOUBLES[k]) for k in ("0.289", "0.028", "0.902")]
        return self.z[l, b]

    def convert(self, l, a, b):
        x, z = self.of_a(l, a), self.of_b(l, b)
        sums = (double(x[0] - z[0]), double(x[1] - z[1]), double(x[2] + z[2]))
        return tuple(truncate_and_clamp(s, self.full) for s in sums)

    def hash(self, samples):
        h = 0
        for l, a, b in samples:
            for value in self.convert(l, a, b):
                h = (h * 1099511628211 + value) % (1 << 64)
        return h


def samples8(step=5):
    for l in range(0, 256, step):
        for a in range(-128, 128, step):
            for b in range(-128, 128, step):
                yield l, a, b


def samples16():
    for l in range(0, 65536, 1285):
        for a in range(-32768, 32768, 1285):
            for b in range(-128, 128, 5):
                yield l, a, b


# Colours at which one constant or another, off by a unit in the last place, changes the result.
SENSITIVE8 = [(38, -97, -27), (15, 83, -115), (8, 69, 64), (22, 127, 98), (11, -23, -90), (1, -82, -105),
              (37, 100, 110), (41, -25, 98), (55, -43, 50), (4, 70, -61), (34, 116, -59), (56, -12, 70),
              (74, -87, -116), (148, 120, -1)]
TABLE8 = [(255, 0, 0), (0, 0, 0), (128, 0, 0), (255, 127, 127), (255, -128, -128), (0, 127, -128), (0, -128, 127),
          (1, 1, -1), (64, 20, 30), (64, -20, -30), (200, 45, -60), (200, -45, 60), (100, 100, 100), (17, 3, -99)]
SENSITIVE16 = [(1028, -28668, 91), (771, -30973, 114), (0, -24320, -15), (0, 12032, 96), (2827, 11531, -116),
               (0, 6400, 94), (0, -10752, -75), (0, -11264, -107), (0, -6912, 17), (0, -26368, -115), (0, 15360, 9),
               (2827, -9973, 45), (1542, -3322, 27), (514, 21250, 47), (0, 31488, -100), (8364, 28672, -125)]
TABLE16 = [(65535, 0, 0), (0, 0, 0), (32768, 0, 0), (65535, 32767, 127), (65535, -32768, -128), (0, 32767, -128),
           (0, -32768, 127), (257, 256, -1), (16448, 5120, 30), (16448, -5120, -30), (51400, 11520, -60),
           (51400, -11520, 60), (25700, 25600, 100), (40000, 1234, -128)]


def mutate(width, table, reference):
    for name, word in NAMES.items():
        if name.endswith("16" if width == 8 else "8"):
            continue
        for delta in (-1, 1):
            lab = Lab(width, dict(NAMES, **{name: word + delta}))
            print(width, name, delta, "UNSEEN" if [lab.convert(*s) for s in table] == reference else "seen")


def main():
    for width, table, samples in ((8, TABLE8 + SENSITIVE8, samples8), (16, TABLE16 + SENSITIVE16, samples16)):
        lab = Lab(width)
        reference = [lab.convert(*sample) for sample in table]
        for sample, result in zip(table, reference):
            print("    {" + ", ".join(map(str, sample + result)) + "},")
        if "--mutate" in sys.argv:
            mutate(width, table, reference)
        else:
            print(width, "hash", hex(lab.hash(samples())))


main()
