"""Tests of what report pages tell: numbers against dump and top, mixes of files, gaps, steps of time."""
import csv
import io
import json
import os

from browser import Browser
from page_files import click, compare_charts, holds, quiet, same, state


def test_charts_are_dumps(files, arguments):
    """Every chart of resources of every kind shows the values of a dump."""
    logs, hours = files.make("dump", "--name", "osaka", "--start", "2024-03-07", "--days", "3",
                             "--interval", "900", "--ld", "6", "--pd", "5", "--extended", "full",
                             "--hot-ld", "3")
    paths = sorted(os.path.join(hours, each) for each in os.listdir(hours))
    page = files.report("dump", hours, "--utc")
    info = {}
    with Browser() as browser:
        browser.open(page)
        kinds = browser.run("[...document.querySelectorAll('#kinds button')].length")
        count = 0
        for number in range(kinds):
            browser.run(f"document.querySelectorAll('#kinds button')[{number}].click()")
            browser.settle()
            kind = state(browser).get("kind", "ld")
            keys = browser.run("[...document.querySelectorAll('#top tr[data-key]')]"
                               ".map((row) => row.dataset.key)")
            rows = files.dump(kind, *paths) if keys else {}
            for key in keys:
                click(browser, f"#top tr[data-key='{key}'] th button")
                count += compare_charts(browser, kind, key, rows[key])
            if kind == "ld":
                count += compare_map(browser, rows[keys[-1]])
            info[kind] = len(keys)
        holds(len([each for each in info.values() if each]) >= 12, f"kinds with charts: {info}")
        holds(count > 100000, f"only {count} values were compared")
        quiet(browser, page)
        print(f"  {count} values of {len(info)} kinds agree with dump")
    del logs, arguments


def compare_map(browser, rows):
    """Holds the map of the open disk against the hours of its dump; how many values."""
    click(browser, "#detail .tools button:nth-of-type(2)")
    holds("ld " in browser.run("document.getElementById('heat-title').textContent"), "map of the open one")
    cells = list(csv.reader(io.StringIO(browser.run("document.getElementById('heat-map').csv()"))))[1:]
    dumped = [row for _, row in sorted(rows.items()) if row["g1_ops_per_s"]]
    same(len(cells), len(dumped), "cells")
    for (begin, _, mean, peak), row in zip(cells, dumped):
        same(begin[:13], row["begin"][:13], "hour of a cell")
        holds(abs(float(mean) - float(row["g1_ops_per_s"])) <= 1e-12 * float(mean), f"{begin}: {mean}, {row}")
        same(float(peak), float(row["g1_ops_per_s_max"]), f"peak at {begin}")
    click(browser, "#heat-map .tools button")
    same(browser.run("document.querySelectorAll('#heat-map tbody tr').length"), min(len(cells), 1000), "rows")
    return 2 * len(cells)


def test_top_of_a_span(files, arguments):
    """The top list of a span is that of `top`, with its totals."""
    _, hours = files.make("top", "--name", "osaka", "--start", "2024-03-07", "--days", "2",
                          "--interval", "900", "--none", "--ld", "40", "--hot-ld", "3")
    page = files.report("top", hours, "--utc")
    start = 1709769600  # 2024-03-07
    for first, hours_long in ((0, 48), (9, 5)):
        begin, end = start + 3600 * first, start + 3600 * (first + hours_long)
        text = files.tool("top", hours, "--kind", "ld", "-n", "20", "--json", "--utc", "--from",
                          f"@{begin}", "--to", f"@{end - 1}")
        expected = [each for each in json.loads(text)["resources"]]
        with Browser() as browser:
            browser.open(page, "" if hours_long == 48 else f"#from={begin}&to={end}")
            shown = browser.run("[...document.querySelectorAll('#top tr[data-key]')].map((row) => "
                                "[row.dataset.key, row.querySelector('td.own').dataset.exact])")
            same([each[0] for each in shown], [each["key"] for each in expected], "order")
            for each, other in zip(shown, expected):
                holds(abs(float(each[1]) / other["ops_per_s"] - 1) < 1e-12, f"{each} {other}")
            compare_quantiles(browser, files, hours, shown[0][0], (begin, end))
            quiet(browser, page)
    del arguments


def compare_quantiles(browser, files, hours, key, span):
    """Holds peak, median and 95th percentile of a row against the values of a dump."""
    paths = sorted(os.path.join(hours, each) for each in os.listdir(hours))
    text = "".join(files.tool("dump", path, "--kind", "ld", "--key", key, "--format", "csv", "--utc",
                              "--from", f"@{span[0]}", "--to", f"@{span[1] - 1}", status=None)
                   for path in paths)
    rows = [row for row in csv.reader(io.StringIO(text)) if row]
    at = {name: i for i, name in enumerate(rows[0])}
    rows = [row for row in rows if row[0] != rows[0][0]]
    pairs = sorted((float(row[at["g1_ops_per_s"]]), int(row[at["interval_ms"]])) for row in rows)

    def quantile(share):
        total, so_far = sum(weight for _, weight in pairs), 0
        for value, weight in pairs:
            so_far += weight
            if so_far >= share * total:
                return value
        return None

    peak = max(float(row[at["g1_ops_per_s_max"]]) for row in rows)
    cells = browser.run(f"[...document.querySelectorAll('#top tr[data-key=\\'{key}\\'] td[data-exact]')]"
                        ".slice(-3).map((cell) => Number(cell.dataset.exact))")
    same(cells, [peak, quantile(0.5), quantile(0.95)], f"peak, median and 95 % of ld {key}")


def test_many_intervals(files, arguments):
    """Charts of more intervals than they can draw keep the extremes, and their numbers are exact."""
    logs, _ = files.make("many", "--name", "osaka", "--start", "2024-03-07", "--days", "2",
                         "--interval", "60", "--none", "--ld", "1")
    page = files.report("many", logs)
    with Browser() as browser:
        browser.open(page, "#open=0")
        browser.settle()
        axis = browser.run("document.querySelector('#detail .axis').textContent")
        holds("steps of 2 intervals" in axis, axis)
        paths = sorted(os.path.join(logs, each) for each in os.listdir(logs))
        holds(compare_charts(browser, "ld", "0", files.dump("ld", *paths)["0"]) > 20000, "values")
        click(browser, "#spans button:nth-child(2)")
        axis = browser.run("document.querySelector('#detail .axis').textContent")
        holds("steps" not in axis, f"a day has room: {axis}")
        quiet(browser, page)
    del arguments


def test_gaps_and_broken_files(files, arguments):
    """What is missing or broken is told on the front, and status and page agree."""
    logs, _ = files.make("gaps", "--name", "osaka", "--start", "2024-03-07", "--days", "3",
                         "--interval", "900", "--none", "--ld", "4")
    names = sorted(os.listdir(logs))
    os.remove(os.path.join(logs, names[1]))
    broken = os.path.join(logs, names[2])
    size = os.path.getsize(broken)
    with open(broken, "r+b") as file:
        file.truncate(size // 2)
    page = files.report("gaps", logs, status=1)
    with Browser() as browser:
        browser.open(page)
        text = browser.run("document.getElementById('arrays').textContent")
        holds("1 gap," in text and "1 of 2 files broken" in text, text)
        holds("2024-03-07 23:45 to 2024-03-09 00:00 (24.3 hours)" in text, f"the missing day: {text}")
        quiet(browser, page)
    # A file of which nothing can be read, first in the order of arrays, beside a sound one.
    with open(files.path("20240307aaa.psl"), "wb") as file:
        file.write(b"nothing")
    page = files.report("beside", files.path("20240307aaa.psl"), os.path.join(logs, names[0]), status=1)
    with Browser() as browser:
        browser.open(page)
        text = browser.run("document.getElementById('arrays').textContent")
        holds("Nothing could be read" in text, text)
        same(browser.run("document.querySelectorAll('#top tr[data-key]').length"), 4, "disks")
        quiet(browser, page)
    files.tool("report", files.path("20240307aaa.psl"), "-o", files.path("none.html"), status=1)
    holds(not os.path.exists(files.path("none.html")), "a page of nothing")
    del arguments


def test_mix_of_levels(files, arguments):
    """Of logs, hour and day archives of the same time the finest count, and the page says so."""
    logs, hours = files.make("mix", "--name", "osaka", "--start", "2024-03-07", "--days", "3",
                             "--interval", "900", "--none", "--ld", "3")
    days = files.path("mix-days")
    os.mkdir(days)
    names = sorted(os.listdir(hours))
    files.archive(days, *[os.path.join(hours, each) for each in names])
    # The day archive has three days, hours tell two of them, a log the second one.
    os.remove(os.path.join(hours, names[2]))
    for name in sorted(os.listdir(logs)):
        if not name.startswith("20240308"):
            os.remove(os.path.join(logs, name))
    page = files.report("mix", days, hours, logs, "--utc")
    with Browser() as browser:
        browser.open(page, "#open=1")
        levels = [row.split(",")[3] for row in
                  browser.run("document.querySelector('#detail figure').csv()").splitlines()[1:]]
        same({each: levels.count(each) for each in set(levels)},
             {"log": 96, "hour archive": 24, "day archive": 1}, "records by level")
        notes = browser.run("document.getElementById('notes').textContent")
        holds("2 of 3 records" in notes and "24 of 24 records" in notes, notes)
        quiet(browser, page)
    files.tool("report", days, hours, *[os.path.join(hours, each) for each in names[:1]], "-o",
               files.path("twice.html"), status=2)
    holds(not os.path.exists(files.path("twice.html")), "a page of what counts twice")
    del arguments


def test_told_in_steps(files, arguments):
    """Resources that have no room are ranked and drawn by steps of time, near their values."""
    _, hours = files.make("steps", "--name", "osaka", "--start", "2024-03-07", "--days", "2",
                          "--interval", "3600", "--none", "--ld", "1500")
    page = files.report("steps", hours, "--utc", "--size", "1")
    holds(os.path.getsize(page) < 1_500_000, f"size {os.path.getsize(page)}")
    paths = sorted(os.path.join(hours, each) for each in os.listdir(hours))
    with Browser() as browser:
        browser.open(page)
        holds("Told in full: the" in browser.run("document.querySelector('#top .note').textContent"), "note")
        for key in ("1400", "1499"):
            browser.open(page, f"#open={key}")
            browser.settle()
            charts = browser.run("[...document.querySelectorAll('#detail figure.chart')]"
                                 ".map((f) => [f.chartName, f.csv()])")
            charts = {name.rsplit("/", 1)[1]: text for name, text in charts if name.startswith("rough/")}
            holds("g1_ops" in charts, f"ld {key}: {sorted(charts)}")
            rows = files.dump("ld", *paths, key=key)[key].values()
            compare_steps(charts["g1_ops"], list(rows))
        quiet(browser, page)
    del arguments


def compare_steps(text, rows):
    """Holds a chart of steps against the rows of a dump that fall into them."""
    table = list(csv.reader(io.StringIO(text)))[1:]
    values = [float(row["g1_ops_per_s"]) for row in rows]
    stamps = [row["time"].replace(" ", "T")[:19] for row in rows]
    largest = max(values)
    for begin, end, *_, value, most in table:
        inside = [each for each, stamp in zip(values, stamps) if begin[:19] <= stamp < end[:19]]
        mean = sum(inside) / len(inside)
        holds(abs(float(value) - mean) <= largest / 254, f"{begin}: {value}, dumped {mean}")
        holds(float(most) >= max(inside) - largest / 254, f"{begin}: peak {most} of {inside}")
