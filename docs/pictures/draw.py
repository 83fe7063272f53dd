#!/usr/bin/env python3
"""Makes all pictures of the documentation: archives.svg from numbers of real files, retention.svg, and
(pages.py) what psltool's pages and charts look like, with a browser.

Usage: docs/pictures/draw.py --programs DIRECTORY [--check]
  --programs  where psltool and Qelprfarc are: build/bin
  --check     makes nothing; fails when the drawings are not those that would be made. Pictures of pages
              depend on the browser and its letters: people look at them
"""
import argparse
import csv
import io
import os
import subprocess
import sys
import tempfile
from html import escape
from pathlib import Path

import pages

HERE = Path(__file__).resolve().parent
INK, SOFT, LINE = "#1f2933", "#52606d", "#cbd2d9"
LOG, HOUR, DAY, PEAK = "#3e7cb1", "#2f8f6b", "#8a5fb0", "#d64545"
PAPER = {LOG: "#eef4fa", HOUR: "#ecf7f2", DAY: "#f5effa"}


class Svg:
    """A drawing, put together piece by piece."""

    def __init__(self, width, height, title, text):
        self.parts = [
            f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {width} {height}" width="{width}" height="{height}"'
            f' role="img" font-family="DejaVu Sans, Verdana, sans-serif" font-size="14" fill="{INK}">',
            f"<title>{escape(title)}</title>", f"<desc>{escape(text)}</desc>",
            f'<rect width="{width}" height="{height}" rx="8" fill="#ffffff"/>']

    def box(self, x, y, width, height, fill, stroke="none", radius=4, more=""):
        self.parts.append(f'<rect x="{x:g}" y="{y:g}" width="{width:g}" height="{height:g}" rx="{radius}"'
                          f' fill="{fill}" stroke="{stroke}" {more}/>')

    def line(self, points, color, width=1.5, more=""):
        self.parts.append(f'<polyline points="{" ".join(f"{x:.1f},{y:.1f}" for x, y in points)}" fill="none"'
                          f' stroke="{color}" stroke-width="{width}" {more}/>')

    def text(self, x, y, text, size=14, color=INK, anchor="start", weight="normal"):
        self.parts.append(f'<text x="{x:g}" y="{y:g}" font-size="{size}" fill="{color}" text-anchor="{anchor}"'
                          f' font-weight="{weight}">{escape(text)}</text>')

    def arrow(self, x, y, length, color=SOFT):
        """Downwards."""
        self.line([(x, y), (x, y + length - 6)], color, 2)
        self.parts.append(f'<path d="M{x - 6:g},{y + length - 9:g} h12 l-6,9 z" fill="{color}"/>')

    def whole(self):
        return "\n".join([*self.parts, "</svg>", ""])


def rows(psltool, files, kind_and_key):
    done = subprocess.run([psltool, "dump", *kind_and_key, "--format", "csv", files], check=True, text=True,
                          capture_output=True, env={**os.environ, "TZ": "UTC"})
    return list(csv.DictReader(io.StringIO(done.stdout)))


def numbers(programs):
    """Rates of one disk over three days, of the logs, the hour archives and the day archive: mean and peak."""
    psltool, archiver = (str(Path(programs).resolve() / name) for name in ("psltool", "Qelprfarc"))
    with tempfile.TemporaryDirectory() as folder:
        run = {"cwd": folder, "check": True, "env": {**os.environ, "TZ": "UTC"}}
        subprocess.run([psltool, "make", "--quiet", "--days", "3"], **run)
        logs = sorted(path.name for path in Path(folder).glob("*.psl"))
        subprocess.run([archiver, *logs], **run)
        hours = sorted(path.name for path in Path(folder).glob("*.psa"))
        subprocess.run([archiver, *hours], **run)
        disk = ["--kind", "ld", "--key", "21"]
        of_logs = [[float(row["g1_ops_per_s"] or 0) for row in rows(psltool, f"{folder}/{name}", disk)] for name in logs]
        def pairs(name):
            return [(float(row["g1_ops_per_s"]), float(row["g1_ops_per_s_max"]))
                    for row in rows(psltool, f"{folder}/{name}", disk)]
        return of_logs, [pairs(name) for name in hours], pairs("202403array01.psa")


def archives(programs):
    of_logs, of_hours, of_days = numbers(programs)
    svg = Svg(960, 640, "From logs to archives", "Three days of one disk: the log has a record every five minutes, the "
              "hour archive one every hour, the day archive one every day. The highest peak stays at its height.")
    left, day, high, gap = 200, 240, 110, 14
    tops = (64, 258, 452)
    top_rate = 400.0
    names = ("Mon 4 March", "Tue 5 March", "Wed 6 March")
    for number, name in enumerate(names):
        svg.text(left + number * day + (day - gap) / 2, 34, name, 14, SOFT, "middle")
    labels = (("Logs", LOG, ["written by the monitor", "a file a day", "288 records a day", "4.3 MB a day"]),
              ("Hour archives", HOUR, ["a file a day", "24 records a day:", "mean and peak", "0.6 MB a day"]),
              ("Day archive", DAY, ["a file a month", "1 record a day:", "mean and peak", "0.03 MB a day"]))
    files = (("20240304array01.psl", "20240305array01.psl", "20240306array01.psl"),
             ("20240304array01.psa", "20240305array01.psa", "20240306array01.psa"), ("202403array01.psa",))
    for top, (label, color, lines), of_row in zip(tops, labels, files):
        svg.text(24, top + 18, label, 17, color, weight="bold")
        for number, line in enumerate(lines):
            svg.text(24, top + 42 + 20 * number, line, 13, SOFT)
        width = day - gap if len(of_row) == 3 else 3 * day - gap
        for number, name in enumerate(of_row):
            svg.box(left + number * day, top, width, high + 26, PAPER[color], color)
            svg.text(left + number * day + 8, top + high + 20, name, 12, color)

    def at(top, rate):
        return top + high - rate / top_rate * (high - 8)

    for number in range(3):
        x = left + number * day + 6
        wide = day - gap - 12
        values = of_logs[number]
        svg.line([(x + wide * i / (len(values) - 1), at(tops[0], v)) for i, v in enumerate(values)], LOG, 1.3)
        step = wide / 24
        for hour, (mean, peak) in enumerate(of_hours[number]):
            svg.box(x + hour * step + 1, at(tops[1], mean), step - 2, tops[1] + high - at(tops[1], mean), HOUR, radius=0)
            svg.line([(x + hour * step, at(tops[1], peak)), (x + (hour + 1) * step, at(tops[1], peak))], PEAK, 2.5)
        mean, peak = of_days[number]
        svg.box(x + 30, at(tops[2], mean), wide - 60, tops[2] + high - at(tops[2], mean), DAY, radius=0)
        svg.line([(x + 20, at(tops[2], peak)), (x + wide - 20, at(tops[2], peak))], PEAK, 2.5)
    # The highest peak of Monday, at the same height in all three.
    where = max(range(288), key=lambda i: of_logs[0][i])
    x = left + 6 + (day - gap - 12) * where / 287
    y = at(tops[0], of_logs[0][where])
    svg.parts.append(f'<circle cx="{x:.1f}" cy="{y:.1f}" r="4.5" fill="none" stroke="{PEAK}" stroke-width="2"/>')
    svg.line([(x, y + 5), (x, at(tops[1], of_logs[0][where]) - 2)], PEAK, 1.2, 'stroke-dasharray="4 4"')
    svg.line([(x, at(tops[1], of_logs[0][where]) + 3), (x, at(tops[2], of_logs[0][where]) - 3)], PEAK, 1.2,
             'stroke-dasharray="4 4"')
    svg.text(x - 10, y + 4, f"{of_logs[0][where]:.0f} operations/s", 12, PEAK, "end")
    for top, words in ((tops[0], "hour run: every night, from the log of the day that is over"),
                       (tops[1], "day run: on the first of a month, from the hour archives of the month before")):
        svg.arrow(left + 165, top + high + 32, 20)
        svg.text(left + 182, top + high + 48, words, 13, SOFT)
    svg.box(left, 612, 14, 12, HOUR, radius=0)
    svg.box(left + 18, 612, 14, 12, DAY, radius=0)
    svg.text(left + 40, 623, "mean rate of operations of one disk", 12, SOFT)
    svg.line([(left + 320, 618), (left + 345, 618)], PEAK, 2.5)
    svg.text(left + 353, 623, "largest rate of an interval", 12, SOFT)
    return svg.whole()


def retention():
    svg = Svg(960, 430, "How long files are kept", "A log is kept for 30 days, the hour archive of its day for 12 months, "
              "the day archive of its month for 2 years; each is removed by the night after that.")
    left, right = 190, 850
    # Not to scale: what happens soon needs room.
    marks = (("the day", left), ("night after", left + 70), ("1st of next month", left + 180), ("30 days", left + 290),
             ("12 months", left + 450), ("2 years", right - 40))
    x = dict(marks)
    svg.text(24, 36, "What becomes of one day", 17, weight="bold")
    svg.text(24, 58, "with --keep-psl 30d --keep-hour 12m --keep-day 2y", 13, SOFT)
    axis = 100
    svg.line([(left, axis), (right + 40, axis)], SOFT, 1.5)
    svg.parts.append(f'<path d="M{right + 40},{axis - 5} l10,5 l-10,5 z" fill="{SOFT}"/>')
    svg.text(right + 50, axis + 20, "time", 12, SOFT, "end")
    for name, place in marks:
        svg.line([(place, axis - 5), (place, axis + 5)], SOFT, 1.5)
        svg.line([(place, axis + 8), (place, 352)], LINE, 1, 'stroke-dasharray="3 4"')
        svg.text(place, axis - 12, name, 12, SOFT, "middle")
    bars = (("Log", LOG, x["the day"], x["30 days"], 128, "20240304array01.psl", "an interval of minutes"),
            ("Hour archive", HOUR, x["night after"], x["12 months"], 206, "20240304array01.psa", "every hour of the day"),
            ("Day archive", DAY, x["1st of next month"], x["2 years"], 284, "202403array01.psa", "every day of the month"))
    for name, color, begin, end, y, file, what in bars:
        svg.text(24, y + 20, name, 15, color, weight="bold")
        svg.text(24, y + 39, what, 12, SOFT)
        svg.box(begin, y, end - begin, 44, PAPER[color], color)
        svg.text(begin + 10, y + 27, file, 13, color)
        svg.line([(end - 7, y + 15), (end + 7, y + 29)], PEAK, 3)
        svg.line([(end - 7, y + 29), (end + 7, y + 15)], PEAK, 3)
        svg.text(end + 14, y + 27, "removed", 12, PEAK)
    for place, top in ((x["night after"], 172), (x["1st of next month"], 250)):
        svg.arrow(place + 14, top, 34)
    svg.text(x["night after"] + 28, 193, "hour run", 12, SOFT)
    svg.text(x["1st of next month"] + 28, 271, "day run", 12, SOFT)
    for number, line in enumerate((
            "The hour archive must be there on the first of the next month: keep hour archives for two months or more.",
            "A log that expires before a night has archived it is gone: keep logs for longer than a failure may stay unnoticed.")):
        svg.text(24, 384 + 22 * number, line, 13)
    return svg.whole()


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--programs", required=True)
    parser.add_argument("--check", action="store_true")
    options = parser.parse_args()
    stale = []
    for name, drawn in (("archives.svg", archives(options.programs)), ("retention.svg", retention())):
        path = HERE / name
        if not options.check:
            path.write_text(drawn, encoding="utf-8")
        elif path.read_text(encoding="utf-8") != drawn:
            stale.append(name)
    if not options.check:
        pages.take(options.programs)
    for name in stale:
        print(f"docs/pictures/{name} is not what docs/pictures/draw.py draws")
    return 1 if stale else 0


if __name__ == "__main__":
    sys.exit(main())
