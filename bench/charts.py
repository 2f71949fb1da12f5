#!/usr/bin/env python3
"""charts.py ROWS FOLDER: charts of the ROWS that a benchmark wrote (bench/support/report.h), as FOLDER/SUBJECT.svg.

A bar is a ratio of times: 1 is the floor, 2 is twice as slow. Bars begin at 0; where ratios are far apart the scale is
logarithmic, and bars begin at the floor."""

import json
import math
import pathlib
import re
import sys
import xml.etree.ElementTree as ET

WIDTH, MARGIN, GAP = 760, 24, 10
ROW, BAR, GROUP = 22, 12, 30  # heights
CHARACTER = 7.8  # what a character takes at most on average, in fonts that are wide
FAR_APART = 15
WHO = {"floor": "floor: the plainest way", "ours": "this library", "peer": "others"}
STYLE = """
  text { font: 12px system-ui, -apple-system, 'Segoe UI', 'DejaVu Sans', sans-serif; fill: #1f2328 }
  .title { font-size: 16px; font-weight: 600 }
  .strong { font-weight: 600 }
  .end { text-anchor: end }
  .middle { text-anchor: middle }
  .muted { fill: #59636e }
  .missing { fill: #59636e; font-style: italic }
  .panel { fill: #ffffff; stroke: #d1d9e0 }
  .grid { stroke: #e6eaef }
  .one { stroke: #818b98; stroke-dasharray: 3 3 }
  .best { stroke: #1f2328; stroke-width: 1.5 }
  .value { stroke: #ffffff; stroke-width: 4px; stroke-linejoin: round; paint-order: stroke }
  .floor { fill: #9aa4af }
  .ours { fill: #0969da }
  .peer { fill: #d9a032 }
  @media (prefers-color-scheme: dark) {
    text { fill: #f0f6fc }
    .muted, .missing { fill: #9198a1 }
    .panel { fill: #0d1117; stroke: #3d444d }
    .grid { stroke: #262c36 }
    .one { stroke: #9198a1 }
    .best { stroke: #f0f6fc }
    .value { stroke: #0d1117 }
    .floor { fill: #656c76 }
    .ours { fill: #4493f8 }
    .peer { fill: #b9862a }
  }
"""


def number(value):
    """Three digits, or more before the point."""
    if value >= 1e6:
        return f"{value:.1e}".replace("e+0", "e").replace("e+", "e")
    if value < 0.1:
        return f"{value:.2g}"
    return f"{value:.{0 if value >= 100 else 1 if value >= 10 else 2}f}"


def is_measured(row):
    return row["median"] is not None


class Scale:
    """Where ratios lie between @left and @right."""

    def __init__(self, ratios, left, right):
        self.left, self.right = left, right
        least, most = min(1, *ratios), max(1, *ratios)
        self.is_logarithmic = most / least > FAR_APART
        if self.is_logarithmic:
            self.low, self.high = math.log10(least), math.log10(most)
            self.ticks = self.logarithmic_ticks()
        else:
            step = next(s for s in (0.2, 0.25, 0.5, 1, 2, 5) if most / s <= 6)
            self.low, self.high = 0, most
            self.ticks = [step * i for i in range(math.floor(most / step) + 1)]

    def logarithmic_ticks(self):
        decades = range(math.floor(self.low), math.ceil(self.high) + 1)
        step = math.ceil(len(decades) / 8)
        parts = (1, 2, 5) if len(decades) <= 4 else (1,)
        ticks = [part * 10.0**decade for decade in decades if decade % step == 0 for part in parts]
        return [tick for tick in ticks if self.low - 1e-9 <= math.log10(tick) <= self.high + 1e-9]

    def x(self, ratio):
        at = math.log10(ratio) if self.is_logarithmic else ratio
        return self.left + (at - self.low) / (self.high - self.low) * (self.right - self.left)

    @property
    def start(self):
        """Where bars begin."""
        return self.x(1) if self.is_logarithmic else self.left


class Chart:
    def __init__(self, rows):
        self.rows = rows
        self.subject, unit = rows[0]["subject"], rows[0]["unit"]
        self.values = [f"{number(row['median'])} {unit}" if is_measured(row) else "" for row in rows]
        labels = max(len(row["name"]) for row in rows) * CHARACTER
        values = max(len(f"{number(row['median_ratio'] or 0)} × {value}") for row, value in zip(rows, self.values))
        ratios = [row[key] for row in rows for key in ("median_ratio", "best_ratio") if row[key]]
        self.scale = Scale(ratios or [1], MARGIN + labels + GAP, WIDTH - MARGIN - GAP - values * CHARACTER)
        self.svg = ET.Element("svg", {"xmlns": "http://www.w3.org/2000/svg", "role": "img", "width": str(WIDTH),
                                      "aria-labelledby": "title description"})
        self.draw()

    def add(self, tag, text=None, parent=None, **attributes):
        attributes = {name.rstrip("_").replace("_", "-"): f"{value:.1f}" if isinstance(value, float) else str(value)
                      for name, value in attributes.items()}
        element = ET.SubElement(self.svg if parent is None else parent, tag, attributes)
        element.text = text
        return element

    def draw(self):
        self.add("title", self.subject, id="title")
        self.add("desc", self.description(), id="description")
        self.add("style", STYLE)
        panel = self.add("rect", x=0.5, y=0.5, width=WIDTH - 1, rx=8, class_="panel")
        self.add("text", self.subject, x=MARGIN, y=34, class_="title")
        scale = "; the scale is logarithmic" if self.scale.is_logarithmic else ""
        self.add("text", f"Time as a multiple of the floor's{scale}. Shorter is faster.",
                 x=MARGIN, y=54, class_="muted")
        self.draw_legend(77)
        top = 92
        axis = self.add("g")  # below the bars
        bottom = self.draw_groups(top)
        self.draw_axis(axis, top, bottom + 6)
        height = bottom + 44
        panel.set("height", str(height - 1))
        self.svg.set("height", str(height))
        self.svg.set("viewBox", f"0 0 {WIDTH} {height}")

    def description(self):
        def said(row):
            if not is_measured(row):
                return f"{row['name']} not measured here"
            times = f"{number(row['median_ratio'])} times the floor, " if row["median_ratio"] else ""
            return f"{row['name']} {times}{number(row['median'])} {row['unit']}"

        cases = dict.fromkeys(row["case"] for row in self.rows)
        return " ".join(f"{case}: {'; '.join(said(row) for row in self.rows if row['case'] == case)}."
                        for case in cases)

    def draw_legend(self, y):
        x = MARGIN
        there = {row["who"] for row in self.rows}
        for who, text in WHO.items():
            if who in there:
                self.add("rect", x=x, y=y - 9, width=10, height=10, rx=2, class_=who)
                self.add("text", text, x=x + 15, y=y, class_="muted")
                x += 15 + len(text) * 6.6 + 16
        self.add("line", x1=x + 1, x2=x + 1, y1=y - 11, y2=y + 3, class_="best")
        self.add("text", "best (bars are medians)", x=x + 8, y=y, class_="muted")

    def draw_groups(self, y):
        case = None
        for row, value in zip(self.rows, self.values):
            if row["case"] != case:
                case = row["case"]
                self.add("text", case, x=MARGIN, y=y + 21, class_="strong")
                y += GROUP
            self.draw_row(row, value, y + ROW / 2)
            y += ROW
        return y

    def draw_row(self, row, value, y):
        scale, ratio = self.scale, row["median_ratio"]
        group = self.add("g", class_="row")
        self.add("text", row["name"], group, x=scale.left - GAP, y=y + 4,
                 class_="end strong" if row["who"] == "ours" else "end")
        after = scale.start
        if ratio:
            left, right = sorted((scale.start, scale.x(ratio)))
            self.add("rect", None, group, x=left, y=y - BAR / 2, width=max(right - left, 2.0), height=BAR, rx=2,
                     class_=row["who"])
            best = scale.x(row["best_ratio"])
            self.add("line", None, group, x1=best, x2=best, y1=y - 7.5, y2=y + 7.5, class_="best")
            after = max(after, right, best)
        text = self.add("text", None, group, x=after + 8, y=y + 4, class_="value")
        if not is_measured(row):
            text.text = "not measured here"
            text.set("class", "value missing")
            return
        if ratio:
            self.add("tspan", number(ratio) + " ×", text, class_="strong")
        self.add("tspan", value, text, class_="muted", dx=4)

    def draw_axis(self, axis, top, y):
        for tick in self.scale.ticks:
            x = self.scale.x(tick)
            self.add("line", None, axis, x1=x, x2=x, y1=top, y2=y, class_="grid")
            self.add("text", f"{tick:g}" if tick < 1e6 else number(tick), axis, x=x, y=y + 16,
                     class_="middle muted")
        self.add("line", None, axis, x1=self.scale.x(1), x2=self.scale.x(1), y1=top, y2=y, class_="one")


def draw(rows):
    """The chart of one subject, as the text of an SVG file."""
    svg = Chart(rows).svg
    ET.indent(svg)
    return ET.tostring(svg, encoding="unicode") + "\n"


def read(file):
    """{subject: rows} of a file of rows, one JSON object a line."""
    subjects = {}
    for line in pathlib.Path(file).read_text(encoding="utf-8").splitlines():
        row = json.loads(line)
        subjects.setdefault(row["subject"], []).append(row)
    return subjects


def file_name(subject):
    return re.sub(r"[^a-z0-9]+", "-", subject.lower()).strip("-") + ".svg"


def write(rows, file):
    file.write_text(draw(rows), encoding="utf-8")


if __name__ == "__main__":
    for subject, rows in read(sys.argv[1]).items():
        write(rows, pathlib.Path(sys.argv[2], file_name(subject)))
