"""The curve of scripts/bench: what an archive run costs by the number of disks, and its memory.

The log of each size is made, measured and removed. Two shapes: every entry full, and half of the
disks idle at any time. The pictures are drawn with the pieces of docs/pictures/draw.py.
"""
import math
import shutil
import sys
from pathlib import Path

import cases
import rounds
import tables

sys.path.insert(0, str(Path(__file__).resolve().parent.parent / "docs/pictures"))
from draw import DAY, HOUR, INK, LINE, LOG, PEAK, SOFT, Svg  # noqa: E402

SIZES = [16, 32, 64, 128, 256, 512, 1024, 2048, 4096, 8192, 24576, 65535]
SHAPES = {"full": {}, "half idle": {"--idle-share": 50}}
BYTES = 120_000_000  # of a log, about; at least two hours, which is more of the largest arrays
COLOURS = [LOG, PEAK, HOUR, DAY]


def case_of(size, options, quick):
    """A case of its own for one point."""
    record = 256 + size * (56 if options else 96)
    # Whole hours, so that each size writes as much for what it reads.
    hours = max(1 if quick else 2, BYTES // (8 if quick else 1) // record // 60)
    days = -(-hours // 24)
    records = (24 * days if days > 1 else hours) * 60
    limit = {} if days > 1 else {"--records": records}
    return cases.Case("curve", "", {"ld": size}, {**options, **limit, "--days": days},
                      records * record, beside=4 << 20)


def measure(programs, maker, cache, place, turns, environment):
    """All points, as scripts/bench writes them to JSON."""
    points = []
    for shape, options in SHAPES.items():
        for size in SIZES:
            case = case_of(size, options, maker.quick)
            maker.prepare(case)
            with rounds.in_memory(case, place):
                runs, _ = rounds.measure_files(case, programs, cache, turns, environment)
            shutil.rmtree(maker.cache / case.name)
            points.append({"shape": shape, "disks": size, "slots": case.slot_bytes(), "runs": runs})
            rows = tables.curve_table(points).splitlines()
            print("\n".join(rows if len(points) == 1 else rows[-1:]), flush=True)
    return points


class Chart:
    """A chart over the number of disks."""

    WIDTH, HEIGHT, LEFT, TOP, RIGHT, BOTTOM = 860, 420, 70, 76, 210, 58

    def __init__(self, title, text, unit, most, step):
        self.svg = Svg(self.WIDTH, self.HEIGHT, title, text)
        self.most = most
        self.labels = []
        self.svg.text(24, 34, title, 17, INK, weight="bold")
        self.svg.text(24, 56, unit, 13, SOFT)
        for number in range(int(most / step) + 1):
            y = self.y(number * step)
            self.svg.line([(self.LEFT, y), (self.WIDTH - self.RIGHT, y)], LINE, 1)
            self.svg.text(self.LEFT - 10, y + 5, f"{number * step:g}", 13, SOFT, "end")
        for size in SIZES:
            self.svg.text(self.x(size), self.HEIGHT - self.BOTTOM + 22, f"{size:,}", 12, SOFT,
                          "middle")
        self.svg.text((self.LEFT + self.WIDTH - self.RIGHT) / 2, self.HEIGHT - 14,
                      "logical disks", 13, SOFT, "middle")

    def x(self, size):
        share = math.log(size / SIZES[0]) / math.log(SIZES[-1] / SIZES[0])
        return self.LEFT + share * (self.WIDTH - self.RIGHT - self.LEFT)

    def y(self, value):
        return self.HEIGHT - self.BOTTOM - (self.HEIGHT - self.BOTTOM - self.TOP) * value / self.most

    def add(self, label, points, colour, dashed=False):
        """points: (size, value) pairs; the label stands at the last one."""
        at = [(self.x(size), self.y(min(value, self.most))) for size, value in points]
        self.svg.line(at, colour, 2.5, 'stroke-dasharray="7 5"' if dashed else "")
        if not dashed:
            for x, y in at:
                self.svg.box(x - 3, y - 3, 6, 6, colour, radius=3)
        self.labels.append((at[-1][1], label, colour))

    def whole(self):
        last = -100.0
        for y, label, colour in sorted(self.labels):
            last = max(y + 5, last + 19)  # labels of lines that meet stand below each other
            self.svg.text(self.WIDTH - self.RIGHT + 14, last, label, 13, colour)
        return self.svg.whole()


def series(points, shape, name, value):
    return [(point["disks"], value(point, name)) for point in points if point["shape"] == shape]


def label_of(name, shape, names):
    return f"{name}: {shape}" if len(names) > 1 else shape


def scale(values, steps):
    """The top of an axis, and the distance of its lines."""
    most = max(values)
    step = next((step for step in steps if most / step <= 8), steps[-1])
    return math.ceil(most / step) * step, step


def draw(points, folder):
    """Writes size-cost.svg and size-memory.svg."""
    names = [name for name in points[0]["runs"] if name not in rounds.BASES]
    lines = [(name, shape) for name in names for shape in SHAPES]
    cost = {line: series(points, line[1], line[0], tables.cpu_ratio) for line in lines}
    chart = Chart("CPU time by the number of disks", "One line for each program and shape of logs.",
                  "archive run as a ratio to cat of the same log, medians",
                  *scale([value for each in cost.values() for _, value in each], (0.5, 1, 2, 5)))
    for number, (line, each) in enumerate(cost.items()):
        chart.add(label_of(*line, names), each, COLOURS[number % len(COLOURS)])
    (Path(folder) / "size-cost.svg").write_text(chart.whole())

    memory = {name: series(points, "full", name, tables.peak) for name in names}
    allowed = [(point["disks"], (point["slots"] + (4 << 20)) / (1 << 20))
               for point in points if point["shape"] == "full"]
    chart = Chart("Memory by the number of disks", "Largest resident memory of a run.",
                  "MiB, largest resident memory of any run; every entry full",
                  *scale([value for each in memory.values() for _, value in each], (5, 10, 20, 50)))
    for number, (name, each) in enumerate(memory.items()):
        chart.add(name, each, COLOURS[number % len(COLOURS)])
    chart.add("slots and 4 MiB", allowed, SOFT, dashed=True)
    (Path(folder) / "size-memory.svg").write_text(chart.whole())


