"""Looks at report pages in a real browser: makes files, makes pages of them, and holds what the
page shows against `psltool dump` and `psltool top`. Exit status 77: there is no browser.

Usage: report_page.py PSLTOOL ARCHIVER [--pictures DIRECTORY] [TEST...]"""
import argparse
import csv
import io
import json
import os
import shutil
import sys
import traceback

from browser import Browser, find_browser
from page_files import OVERLAPS, Files, compare_charts, click, holds, quiet, same, state

SKIPPED = 77


def test_charts_are_dumps(files, arguments):
    """Every chart of resources of every kind shows the values of a dump."""
    logs, hours = files.make("dump", "--name", "osaka", "--start", "2024-03-07", "--days", "2",
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
            for key in keys[:2]:
                click(browser, f"#top tr[data-key='{key}'] th button")
                rows = files.dump(kind, key, *paths)
                count += compare_charts(browser, kind, key, rows)
            info[kind] = len(keys)
        holds(len([each for each in info.values() if each]) >= 12, f"kinds with charts: {info}")
        holds(count > 20000, f"only {count} values were compared")
        quiet(browser, page)
        print(f"  {count} values of {len(info)} kinds agree with dump")
    del logs, arguments


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


def test_hands(files, arguments):
    """Clicks, zoom, keys, search, the address, themes, a phone, paper."""
    _, hours = files.make("hands", "--arrays", "2", "--name", "osaka", "--start", "2024-03-07",
                          "--days", "2", "--interval", "900", "--none", "--ld", "30", "--pd", "12",
                          "--hot-ld", "3")
    page = files.report("hands", hours)
    with Browser() as browser:
        browser.open(page)
        use_charts(browser)
        use_controls(browser, page)
        use_sizes(browser, arguments)
        quiet(browser, page)


def use_charts(browser):
    """Zooms with the mouse and with keys."""
    everything = browser.run("document.getElementById('span-text').textContent")
    x, y, wide, tall = browser.box("#totals .plot")
    browser.drag(x + wide * 0.4, y + tall / 2, x + wide * 0.6, y + tall / 2)
    browser.settle()
    zoomed = state(browser)
    holds(int(zoomed["to"]) - int(zoomed["from"]) < 20 * 3600, f"not zoomed: {zoomed}")
    holds(browser.run("document.getElementById('span-text').textContent") != everything, "span text")
    intervals = browser.run("document.querySelector('#figures strong').textContent")
    same(int(intervals), (int(zoomed["to"]) - int(zoomed["from"])) // 3600, "intervals of the span")
    # Every chart shows the same span.
    ends = browser.run("[...document.querySelectorAll('#totals figure.chart')].length")
    holds(ends >= 3, "charts of all together")
    browser.run("document.querySelector('#totals .plot').focus()")
    browser.key("ArrowLeft")
    first = browser.run("document.getElementById('spoken').textContent")
    browser.key("ArrowLeft")
    second = browser.run("document.getElementById('spoken').textContent")
    holds(first and second and first != second, f"spoken: {first!r}, {second!r}")
    readings = browser.run("[...document.querySelectorAll('#totals .reading')].map((e) => e.textContent)")
    same(len({each.split(": ")[0] for each in readings}), 1, "moments of linked charts")
    browser.key("ArrowLeft", modifiers=8)
    browser.settle()
    holds(int(state(browser)["from"]) < int(zoomed["from"]), "not moved to earlier times")
    browser.key("-")
    browser.settle()
    browser.key("0")
    browser.settle()
    same(state(browser), {}, "view after showing all")
    browser.run("history.back()")
    browser.settle()
    browser.run("new Promise((done) => setTimeout(done, 100))")
    holds("from" in state(browser), "going back leads to the span before")
    browser.run("document.querySelector('#spans button').click()")
    browser.settle()
    browser.run("for (const [id, text] of [['from', '2024-03-07T06:00'], ['to', '2024-03-07T18:00']]) {"
                "const e = document.getElementById(id); e.value = text;"
                "e.dispatchEvent(new Event('change')); }")
    browser.settle()
    same(state(browser), {"from": "1709791200", "to": "1709834400"}, "a span that was typed")
    same(browser.run("document.querySelector('#figures strong').textContent"), "12", "its intervals")
    browser.run("document.querySelector('#spans button').click()")
    browser.settle()


def use_controls(browser, page):
    """Searches, opens, sorts, shows tables, and comes back by the address."""
    browser.run("(() => { const e = document.getElementById('find'); e.focus(); e.value = '1*';"
                "e.dispatchEvent(new Event('input')); })()")
    browser.run("new Promise((done) => setTimeout(done, 250))")
    browser.settle()
    keys = browser.run("[...document.querySelectorAll('#top tr[data-key]')].map((e) => e.dataset.key)")
    holds(keys and all(each.startswith("1") for each in keys), f"found: {keys}")
    title = browser.run("document.querySelector('#totals h4').textContent")
    holds(f"{len(keys)} logical disks found" in title, f"totals follow the search: {title}")
    # The sum of those found is that of their own values, in the chart and in the figures.
    sums = [float(row.split(",")[4]) for row in
            browser.run("document.querySelector('#totals figure').csv()").splitlines()[1:]]
    own = browser.run("[...document.querySelectorAll('#top td.own')].map((e) => +e.dataset.exact)")
    holds(abs(sum(sums) / len(sums) / sum(own) - 1) < 1e-9, f"sum of those found: {own}")
    figure = browser.run("+[...document.querySelectorAll('.figure')].find((e) => "
                         "e.textContent.startsWith('operations per second')).dataset.exact")
    holds(abs(figure / sum(own) - 1) < 1e-9, f"figure of those found: {figure}")
    holds("found by" in browser.run("document.getElementById('heat-title').textContent"), "heat map")
    click(browser, f"#top tr[data-key='{keys[1]}'] th button")
    holds(browser.run("document.querySelectorAll('#detail figure').length") > 5, "charts")
    click(browser, "#detail figure .tools button[aria-expanded]")
    rows = browser.run("document.querySelectorAll('#detail figure table tbody tr').length")
    same(rows, 48, "rows of the table")
    address = browser.run("location.hash")
    browser.open(page, address)
    browser.settle()
    same(browser.run("location.hash"), address, "fragment")
    same(browser.run("document.querySelector('#detail h2').textContent"),
         f"ld {keys[1]} of osaka01", "what a link leads to")
    same(browser.run("document.getElementById('find').value"), "1*", "search of a link")
    browser.run("document.querySelectorAll('#arrays button')[1].click()")
    browser.settle()
    same(state(browser)["array"], "osaka02", "array")
    browser.run("[...document.querySelectorAll('#top thead button')].pop().click()")
    browser.settle()
    same(state(browser).get("by"), "peak", "sorted by peaks")
    browser.run("document.getElementById('heat-canvas').focus()")
    browser.key("ArrowDown")
    holds("peak" in browser.run("document.getElementById('spoken').textContent"), "cell is spoken")


def use_sizes(browser, arguments):
    """Light, dark, wide, narrow and on paper."""
    colours = set()
    for dark in (False, True):
        browser.dark(dark)
        browser.settle()
        for wide in (1280, 390):
            browser.size(wide, 1100)
            browser.run("new Promise((done) => setTimeout(done, 350))")
            browser.settle()
            colours.add(browser.run("getComputedStyle(document.body).backgroundColor"))
            holds(browser.run("document.documentElement.scrollWidth") <= wide, f"too wide for {wide}")
            overlaps = browser.run(OVERLAPS)
            same(overlaps, [], f"labels that overlap at {wide}")
            if arguments.pictures:
                name = f"page-{'dark' if dark else 'light'}-{wide}.png"
                browser.screenshot(os.path.join(arguments.pictures, name), whole=True)
    same(len(colours), 2, f"colours of the two themes: {colours}")
    browser.size(1280, 900)
    browser.run("window.shades = []; new MutationObserver(() => window.shades.push("
                "document.documentElement.dataset.shade)).observe(document.documentElement, "
                "{ attributes: true })")
    holds(browser.pdf().startswith(b"%PDF"), "printed")
    same(browser.run("window.shades"), ["light", "dark"], "themes while it was printed")


def test_hostile_names(files, arguments):
    """Names of files, arrays and labels are texts, whatever they look like."""
    logs, _ = files.make("names", "--name", "osaka", "--start", "2024-03-07", "--days", "1",
                         "--interval", "3600", "--none", "--ld", "3")
    evil = "<img src=x onerror=alert(1)>\"'&</script><script>alert(2)</script>"
    evil = evil.replace("/", "\u2215") + "\n{{script}}"
    source = os.path.join(logs, os.listdir(logs)[0])
    target = files.path("names")
    os.mkdir(target)
    for number, name in enumerate((evil.encode(), b"bad\xff\xfename<b>")):
        shutil.copy(source, os.path.join(target.encode(), b"20240307" + name + b".psl"))
        del number
    labels = files.path("labels")
    with open(labels, "w", encoding="utf-8") as file:
        file.write("group ld 1 <i>reads</i> & \"more\"\n")
        file.write("resource * ld 1 <script>alert(3)</script>\n")
    page = files.report("hostile", target, "--labels", labels)
    with Browser() as browser:
        browser.open(page)
        click(browser, "#top tr[data-key='1'] th button")
        same(browser.run("document.querySelectorAll('img, b, i, main script, header script').length"), 0,
             "elements made of names")
        text = browser.run("document.body.innerText")
        for part in ("<img src=x onerror=alert(1)>", "<i>reads</i>", "<script>alert(3)</script>", "name<b>"):
            holds(part in text, f"{part} is not shown as it stands")
        policy = browser.run("document.querySelector('meta[http-equiv]').content")
        holds("default-src 'none'" in policy and "unsafe" not in policy, policy)
        quiet(browser, page)
        # The policy is in force: neither a script nor a request that somebody brought in would run.
        browser.run("(() => { const s = document.createElement('script'); s.textContent = "
                    "'window.broughtIn = 1'; document.body.append(s); })()")
        same(browser.run("window.broughtIn"), None, "a script that was brought in")
        holds("blocked" == browser.run("fetch('https://example.com/').then(() => 'went', () => 'blocked')"),
              "a request left the page")
    del arguments


def test_old_browsers(files, arguments):
    """A browser that lacks something gets a word instead of a blank page."""
    logs, _ = files.make("old", "--name", "osaka", "--start", "2024-03-07", "--days", "1",
                         "--interval", "3600", "--none", "--ld", "3")
    page = files.report("old", logs)
    with Browser() as browser:
        browser.call("Page.addScriptToEvaluateOnNewDocument", source="delete window.DecompressionStream")
        browser.call("Page.navigate", url=f"file://{page}")
        browser.wait("document.getElementById('message')?.textContent.includes('DecompressionStream')")
        browser.call("Emulation.setScriptExecutionDisabled", value=True)
        browser.call("Page.reload")
        browser.wait("document.readyState === 'complete'")
        text = browser.run("document.body.innerText")
        holds("needs a browser with JavaScript" in text, f"without scripts: {text}")
    del arguments


def test_days_of_23_and_25_hours(files, arguments):
    """Days on which clocks change have the hours that they had; zones can be switched."""
    for day, hours_of_day in (("2024-03-31", 23), ("2024-10-27", 25)):
        logs, _ = files.make(day, "--name", "berlin", "--start", day[:-2] + "26", "--days", "8",
                             "--interval", "900", "--none", "--ld", "2", zone="Europe/Berlin")
        page = files.report(day, logs, "--from", day, "--to", day, zone="Europe/Berlin")
        with Browser(zone="Asia/Tokyo") as browser:
            browser.open(page)
            count = browser.run("document.querySelector('#figures strong').textContent")
            holds(int(count) > 80, f"intervals: {count}")
            text = browser.run("document.getElementById('heat-map').innerText")
            holds("array's zone (CE" in text, text)
            # Cells of the day and of the one before, whose last record ends at midnight.
            spoken = set()
            box = browser.box("#heat-canvas")
            for row in range(24):
                for part in (0.25, 0.75, 1.25, 1.75):
                    browser.mouse("mouseMoved", box[0] + 44 + 56 * part, box[1] + 8 + 14 * row + 7)
                    said = browser.run("document.getElementById('heat-reading').textContent")
                    if said.startswith(day):
                        spoken.add(said.split(": ")[0])
            same(len(spoken), hours_of_day, f"cells of {day}")
            browser.run("(() => { const z = document.getElementById('zone'); z.value = 'reader';"
                        "z.dispatchEvent(new Event('change')); })()")
            browser.settle()
            axis = browser.run("document.querySelector('#totals .axis').textContent")
            holds("Asia/Tokyo" in axis, axis)
            begin = browser.run("document.querySelector('#totals figure').csv()").splitlines()[1]
            holds(begin.split(",")[0].endswith("+09:00"), begin)
            quiet(browser, page)
    del arguments


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
        holds(compare_charts(browser, "ld", "0", files.dump("ld", "0", *paths)) > 20000, "values")
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
    del arguments


def main():
    """Runs the tests that are named, or all."""
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("psltool")
    parser.add_argument("archiver")
    parser.add_argument("--pictures", help="directory for pictures of the page")
    parser.add_argument("tests", nargs="*")
    arguments = parser.parse_args()
    if find_browser() is None:
        print("skipped: no Chromium (scripts/setup installs it)")
        return SKIPPED
    failed = 0
    tests = {name[5:]: test for name, test in globals().items() if name.startswith("test_")}
    for name in arguments.tests or tests:
        files = Files(arguments.psltool, arguments.archiver)
        try:
            print(f"{name} ...", flush=True)
            tests[name](files, arguments)
        except Exception:  # pylint: disable=broad-except
            failed += 1
            traceback.print_exc()
        finally:
            shutil.rmtree(files.directory, ignore_errors=True)
    print(f"{failed} failed" if failed else "all passed")
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
