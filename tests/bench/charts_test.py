"""What the charts of the benchmarks show, and that nothing in them leaves the picture."""

import pathlib
import sys
import unittest
import xml.etree.ElementTree as ET

sys.path.insert(0, str(pathlib.Path(__file__).parents[2] / "bench"))
import charts

SVG = "{http://www.w3.org/2000/svg}"


def said(text):
    return " ".join("".join(text.itertext()).split())


def row(name, ratio, who="peer", best=None, **more):
    measured = None if ratio is None else ratio * 50
    return {"subject": "Queues", "case": "one", "who": who, "name": name, "unit": "ns", "better": "less",
            "median": measured, "best": measured, "median_ratio": ratio, "best_ratio": best or ratio, **more}


def rows(*ratios):
    return [row("bare", 1, "floor"), row("Queue", ratios[0], "ours"), *(row(f"peer {r}", r) for r in ratios[1:])]


class Picture:
    def __init__(self, of):
        self.root = ET.fromstring(charts.draw(of))
        self.rows = self.root.findall(f".//{SVG}g[@class='row']")

    def bar(self, index):
        """Where the bar of a row begins and ends; None without one."""
        bar = self.rows[index].find(f"{SVG}rect")
        return None if bar is None else (float(bar.get("x")), float(bar.get("x")) + float(bar.get("width")))

    def value(self, index):
        return self.rows[index].findall(f"{SVG}text")[1]


class ChartTest(unittest.TestCase):
    def test_bars_are_in_proportion_from_zero(self):
        picture = Picture(rows(1.5, 3))
        lengths = [end - begin for begin, end in map(picture.bar, range(3))]
        self.assertEqual(len({picture.bar(index)[0] for index in range(3)}), 1)
        self.assertAlmostEqual(lengths[1] / lengths[0], 1.5, delta=0.01)
        self.assertAlmostEqual(lengths[2] / lengths[0], 3, delta=0.01)

    def test_ratios_far_apart_have_a_logarithmic_scale_from_the_floor(self):
        picture = Picture(rows(0.1, 10, 100))
        floor = picture.bar(0)[0]
        faster, slower, slowest = map(picture.bar, (1, 2, 3))
        self.assertAlmostEqual(faster[1], floor, delta=0.2)
        self.assertAlmostEqual(slower[1] - floor, floor - faster[0], delta=0.3)
        self.assertAlmostEqual(slowest[1] - floor, 2 * (slower[1] - floor), delta=0.3)
        self.assertIn("logarithmic", "".join(picture.root.itertext()))

    def test_what_was_not_measured_is_said_to_be_missing(self):
        missing = Picture([row("bare", 1, "floor"), row("Queue", 2, "ours"), row("gone", None)])
        self.assertIsNone(missing.bar(2))
        self.assertEqual(said(missing.value(2)), "not measured here")

        # A figure without a floor is shown, and no ratio is made up for it.
        alone = Picture([row("bare", None, "floor"), row("Queue", None, "ours", median=50, best=40)])
        self.assertIsNone(alone.bar(1))
        self.assertEqual(said(alone.value(1)), "50.0 ns")

    def test_nothing_leaves_the_picture(self):
        for why, of in (
            ("huge", rows(1.2, 3e9, 7e12)),
            ("tiny", rows(4e-7, 2)),
            ("best far from the median", [row("bare", 1, "floor"), row("Queue", 2, "ours", best=13)]),
            ("long names", [row("bare", 1, "floor"), row("a name of as many as 34 characters", 9.99)]),
        ):
            with self.subTest(why):
                picture = Picture(of)
                width, height = (float(picture.root.get(side)) for side in ("width", "height"))
                self.assertEqual(picture.root.get("viewBox"), f"0 0 {width:.0f} {height:.0f}")
                for index, group in enumerate(picture.rows):
                    label = group.find(f"{SVG}text")
                    begin, end = picture.bar(index)
                    self.assertGreaterEqual(float(label.get("x")) - 6.8 * len(label.text), 0)
                    self.assertGreater(begin, float(label.get("x")))
                    self.assertGreater(end, begin)
                    self.assertGreaterEqual(float(picture.value(index).get("x")), end)
                for text in picture.root.iter(f"{SVG}text"):
                    if not {"end", "middle"} & set(text.get("class", "").split()):
                        self.assertLessEqual(float(text.get("x")) + 6.8 * len(said(text)), width)
                for element in picture.root.iter():
                    for name, limit in (("x", width), ("x1", width), ("x2", width), ("y", height), ("y2", height)):
                        self.assertTrue(0 <= float(element.get(name, 0)) <= limit, (element.tag, element.attrib))


if __name__ == "__main__":
    unittest.main()
