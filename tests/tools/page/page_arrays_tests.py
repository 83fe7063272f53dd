"""Tests of pages of several arrays: the overview in front against dumps, its order, the choice of one."""
import csv
import io
import os

from browser import Browser
from page_files import click, holds, quiet, same, state

HOUR = 3600
START = 1709769600  # 2024-03-07, three days
HEADS = {"operations": "g1_ops", "operations per second, ops/s": "g1_ops_per_s",
         "volume per second, KiB/s": "g1_kvolume_per_s", "first average, unit of the file": "g1_first_mean",
         "busy ratio, %": "busy_pct", "operations per second, 95 %": "p95",
         "operations per second, largest interval": "largest"}


def overview(browser):
    """Cells of the overview by array and head, as texts and as numbers."""
    heads = browser.run("[...document.querySelectorAll('#overview thead th')].map((e) => e.textContent)")
    rows = browser.run("[...document.querySelectorAll('#overview tbody tr')].map((row) => [row.dataset.array, "
                       "[...row.children].map((cell) => [cell.innerText, cell.dataset.exact ?? null])])")
    return {array: dict(zip(heads, cells)) for array, cells in rows}


def near(a, b, what):
    """The same but for the seventh digit: sums over an array are kept to six."""
    holds(abs(float(a) - b) <= 2e-5 * abs(b) + 1e-9, f"{what}: {a} is not {b}")


def test_several_arrays(files, arguments):
    """The front tells all arrays, whole and in part, and every panel is about the one that is chosen."""
    _, hours = files.make("several", "--arrays", "3", "--name", "osaka", "--start", "2024-03-07", "--days", "3",
                          "--interval", "900", "--none", "--ld", "12", "--pd", "3", "--hot-ld", "3")
    # Of one array a day is missing, of another the last day is broken in its middle.
    os.remove(os.path.join(hours, "20240308osaka02.psa"))
    broken = os.path.join(hours, "20240309osaka03.psa")
    with open(broken, "r+b") as file:
        file.truncate(os.path.getsize(broken) // 2)
    page = files.report("several", hours, status=1)
    dumped = {}
    for name in sorted(os.listdir(hours)):
        text = files.tool("dump", os.path.join(hours, name), "--kind", "ld", "--utc", "--format", "csv", status=None)
        dumped.setdefault(name[8:-4], []).extend(csv.DictReader(io.StringIO(text)))
    with Browser() as browser:
        count = 0
        for first, long in ((0, 72), (30, 12)):
            begin, end = START + HOUR * first, START + HOUR * (first + long)
            browser.open(page, "" if long == 72 else f"#from={begin}&to={end}")
            rows = overview(browser)
            same(list(rows), ["osaka01", "osaka02", "osaka03"], "arrays")
            count += compare_with_dump(browser, dumped, (begin, end), rows)
            complete = {array: row["complete"][0] for array, row in rows.items()}
            same(complete["osaka01"], "100 %", "complete")
            same(complete["osaka02"], "66.7 %" if long == 72 else "0.0 %", "complete")
            holds(", 1 broken" in complete["osaka03"], f"{complete}")
        print(f"  {count} numbers of the overview agree with what dumps amount to")
        browser.open(page)
        order_and_choose(browser)
        quiet(browser, page)
    del arguments


def summed(rows, span):
    """What the entries of a dump amount to over a span: rates of a record are added up, and records count by
    the time that they measured; averages of an operation by operations, ratios by time."""
    number = lambda row, name: float(row[name] or "nan")
    stamps = {}
    for row in rows:
        if span[0] < int(row["stamp"]) <= span[1] and row["valid"] == "true":
            stamps.setdefault(row["stamp"], []).append(row)
    if not stamps:
        return None
    longest = {stamp: max(number(row, "interval_ms") for row in there) for stamp, there in stamps.items()}
    everything = [row for there in stamps.values() for row in there]
    means = {"g1_ops": sum(number(row, "g1_ops") for row in everything)}
    for name in ("g1_ops_per_s", "g1_kvolume_per_s"):
        rates = {stamp: sum(number(row, name) for row in there) for stamp, there in stamps.items()}
        means[name] = sum(rates[stamp] * longest[stamp] for stamp in rates) / sum(longest.values())
        if name == "g1_ops_per_s":
            order = sorted((rate, longest[stamp]) for stamp, rate in rates.items())
    told = [row for row in everything if row["g1_first_mean"]]
    means["g1_first_mean"] = (sum(number(row, "g1_first_mean") * number(row, "g1_ops") for row in told) /
                              sum(number(row, "g1_ops") for row in told))
    busy = {stamp: sum(number(row, "busy_pct") * number(row, "interval_ms") for row in there) /
            sum(number(row, "interval_ms") for row in there) for stamp, there in stamps.items()}
    means["busy_pct"] = sum(busy[stamp] * longest[stamp] for stamp in busy) / sum(longest.values())
    for name, share in (("median", 0.5), ("p95", 0.95)):
        passed = 0
        for rate, weight in order:
            passed += weight
            if passed >= share * sum(longest.values()):
                means[name] = rate
                break
    means["largest"] = order[-1][0]
    return means


def compare_with_dump(browser, dumped, span, rows):
    """Holds the overview, and the figures of the chosen array, against what dumps amount to; how many."""
    count = 0
    for array, row in rows.items():
        expected = summed(dumped[array], span)
        if expected is None:
            same(row["operations per second, ops/s"][0], "–", f"{array} has nothing in the span")
            continue
        for head, name in HEADS.items():
            near(row[head][1], expected[name], f"{array} {head}")
            count += 1
    expected = summed(dumped["osaka01"], span)
    figures = browser.run("[...document.querySelectorAll('.figure[data-quantiles]')].map((e) => "
                          "[e.querySelector('.what').textContent, e.dataset.quantiles])")
    median, high = next(each for title, each in figures if title == "operations per second").split(" ")
    near(median, expected["median"], "median of a figure")
    near(high, expected["p95"], "95 % of a figure")
    return count + 2


def order_and_choose(browser):
    """Orders by a head, chooses an array, searches in all of them."""
    # With keys, and who orders stays at his head.
    browser.run("[...document.querySelectorAll('#overview thead button')].find((e) => e.textContent === "
                "'operations').focus()")
    browser.key("Enter")
    browser.settle()
    same(browser.run("document.activeElement.textContent"), "operations", "focus")
    rows = overview(browser)
    values = [float(row["operations"][1]) for row in rows.values()]
    same(values, sorted(values, reverse=True), "order by operations")
    same(browser.run("document.querySelector('#overview th[aria-sort]').textContent"), "operations", "sorted by")
    same(state(browser), {"order": "operations"}, "the address keeps the order")
    click(browser, "#overview tr[data-array=osaka02] button")
    same(state(browser)["array"], "osaka02", "chosen")
    text = browser.run("document.getElementById('arrays').innerText")
    holds("osaka02" in text and "3 days: 2 whole, 1 missing" in text and "1 gap, 24 hours" in text, text)
    same(browser.run("document.querySelector('#overview tr.open').dataset.array"), "osaka02", "row of the chosen")
    own = browser.run("[...document.querySelectorAll('.figure')].find((e) => e.textContent.startsWith("
                      "'operations per second')).dataset.exact")
    same(own, overview(browser)["osaka02"]["operations per second, ops/s"][1], "its figures")
    strip = browser.run("document.querySelector('#overview tr.open canvas.strip').getAttribute('aria-label')")
    same(strip, "Time told by 48 records of hour archives", "what a strip says")
    browser.run("(() => { const e = document.getElementById('find'); e.value = '1*';"
                "e.dispatchEvent(new Event('input')); })()")
    browser.run("new Promise((done) => setTimeout(done, 250))")
    browser.settle()
    found = {array: row["logical disks"][0] for array, row in overview(browser).items()}
    same(found, {"osaka01": "3", "osaka02": "3", "osaka03": "3"}, "found in each")
    browser.allow("clipboardReadWrite")
    click(browser, "#overview .tools button")
    browser.wait("document.querySelector('#overview .tools button').textContent === 'Copied'")
    lines = browser.run("navigator.clipboard.readText()").splitlines()
    holds(len(lines) == 4 and lines[0].startswith("array,begin,end,complete,ld,operations,"), f"{lines}")
