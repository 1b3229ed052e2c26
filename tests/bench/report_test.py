#!/usr/bin/env python3
"""What the benchmarks make of their numbers: statistics, link map, plots, and the page's regions."""

import pathlib
import sys
import unittest
import xml.etree.ElementTree

ROOT = pathlib.Path(__file__).resolve().parents[2]
sys.path.insert(0, str(ROOT / "bench"))

import link_map
import report
import svg
from samples import Samples, percentile

TWO_ROUNDS = "library\t0\t30\t10\t20\nbare\t0\t10\t10\t10\nlibrary\t1\t40\t50\t30\nbare\t1\t20\t20\t20\n"

MAP = """before
Linker script and memory map

 *(.text)
 .text$_ZN11flatbuffers7Builder
                0x0000000010001000       0x20 core.a(request.cpp.obj)
 .text$_ZNSt8__detail9_CompilerE 0x0000000010001020 0x30 core.a(catalogue.cpp.obj)
 .text          0x0000000010001050       0x40 core.a(merge.cpp.obj)
 .text          0x0000000010001090       0x50 /usr/lib/libstdc++.a(locale-inst.o)
 .text          0x00000000100010e0       0x60 /usr/lib/libstdc++.a(string-inst.o)
 .bss           0x0000000010002000      0x999 core.a(merge.cpp.obj)
                0x0000000010001050                a_symbol
"""


class Statistics(unittest.TestCase):
    def test_percentiles_lie_between_the_values(self):
        self.assertEqual(percentile([1, 2, 3, 4], 50), 2.5)
        self.assertEqual(percentile([1, 2, 3, 4], 0), 1)
        self.assertEqual(percentile([1, 2, 3, 4], 100), 4)
        self.assertEqual(percentile([7], 99), 7)

    def test_rounds_are_joined_for_the_median_and_kept_for_the_spread(self):
        samples = Samples(TWO_ROUNDS)
        self.assertEqual(samples.names(), ["library", "bare"])
        self.assertEqual(samples.all("library"), [10, 20, 30, 30, 40, 50])
        self.assertEqual(samples.median("library"), 30)
        self.assertEqual(samples.median("library", "bare"), 20)
        self.assertEqual(samples.ratio("library", "bare"), 2)
        self.assertEqual(samples.ratio_of_rounds("library", "bare"), (2, 2))

    def test_numbers_have_three_digits_that_count(self):
        self.assertEqual([report.us(value) for value in (1_234, 12_345, 1_234_567)], ["1.23", "12.3", "1,235"])


class LinkMap(unittest.TestCase):
    def test_bytes_are_counted_once_by_their_origin(self):
        sums = link_map.by_origin(MAP)
        self.assertEqual(sums["FlatBuffers"], 0x20)
        self.assertEqual(sums["regular expressions"], 0x30)
        self.assertEqual(sums["the library's own code"], 0x40)
        self.assertEqual(sums["locales and streams"], 0x50)
        self.assertEqual(sums["strings, exceptions and the rest of the C++ runtime"], 0x60)
        self.assertEqual(sum(sums.values()), 0x140)


class Plots(unittest.TestCase):
    def draw(self):
        x = svg.horizontal(1, 1000, logarithmic=True, ticks=[1, 10, 100, 1000])
        y = svg.vertical(0, 100, ticks=[0, 50, 100])
        return svg.plot("A < B", "here", x, y, "x", "y", [("one", [(1, 0), (10, 50), (5000, 200)])])

    def test_are_the_same_for_the_same_numbers_and_well_formed(self):
        self.assertEqual(self.draw(), self.draw())
        root = xml.etree.ElementTree.fromstring(self.draw())
        line = next(one for one in root.iter() if one.tag.endswith("polyline"))
        points = [tuple(map(float, point.split(","))) for point in line.get("points").split()]
        # What lies outside is drawn at the edge.
        self.assertEqual(points[0], (svg.LEFT, svg.HEIGHT - svg.BOTTOM))
        self.assertEqual(points[2], (svg.WIDTH - svg.RIGHT, svg.TOP))
        self.assertAlmostEqual(points[1][1], (svg.TOP + svg.HEIGHT - svg.BOTTOM) / 2, places=1)


class Page(unittest.TestCase):
    def test_has_each_region_once(self):
        page = report.PAGE.read_text(encoding="utf-8")
        for name in report.REGIONS:
            self.assertEqual(page.count(f"<!-- {name}: written by ./dev bench -->"), 1, name)
            self.assertEqual(page.count(f"<!-- end of {name} -->"), 1, name)
        self.assertEqual(page.count("written by ./dev bench"), len(report.REGIONS))


if __name__ == "__main__":
    unittest.main()
