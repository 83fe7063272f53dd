"""Tests of the pages of `compare` in a browser: numbers against its JSON text and its table, themes, a
phone, paper, keys, hostile names, and a policy that lets nothing in."""
import json
import os
import re

from browser import Browser
from page_files import holds, quiet, same

SHOWN = "document.readyState === 'complete'"
ROWS = """[...document.querySelectorAll('#changes tbody tr')].map((row) => [...row.children].map((cell) =>
  [cell.innerText, cell.dataset.exact ?? null]))"""
PAIRS = ("value", "median", "p95", "max")


def make_files(files):
    """Hour archives of two arrays, in which a disk went and one appeared, and names for them."""
    common = ("--interval", "3600", "--none", "--pd", "4", "--start")
    _, before = files.make("before", *common, "2024-03-07", "--name", "osaka", "--arrays", "2", "--ld", "5")
    _, after = files.make("after", *common, "2024-03-14", "--name", "osaka", "--arrays", "2", "--ld", "8",
                          "--hot-ld", "3")
    evil = "\u2215\u2215<img src=x onerror=alert(1)>\"'&<script>alert(2)<\u2215script>"
    os.rename(os.path.join(before, "20240307osaka02.psa"), os.path.join(before, f"20240307{evil}.psa"))
    os.rename(os.path.join(after, "20240314osaka02.psa"), os.path.join(after, f"20240314{evil}.psa"))
    bad = b"bad\xff\xfename<b>"
    for name in (os.path.join(before, "20240307"), os.path.join(after, "20240314")):
        os.rename(name + "osaka01.psa", name.encode() + bad + b".psa")
    labels = files.path("labels")
    with open(labels, "w", encoding="utf-8") as file:
        file.write("group ld 1 <i>reads</i> & \"more\"\nresource * ld 1 <script>alert(3)</script>\nunit first us\n")
    return [before, "--", after], labels, evil


def test_compare_page(files, arguments):
    """The page of a comparison tells what its JSON text and its table tell."""
    sides, labels, evil = make_files(files)
    page = files.path("compare.html")
    for number, zone in (("400", "Europe/Berlin"), ("7", "UTC")):
        options = ("compare", "-n", number, "--labels", labels)
        files.tool(*options, "--page", page, *sides, zone=zone)
        told = json.loads(files.tool(*options, "--json", *sides, zone=zone))
        table = files.tool(*options, *sides, zone=zone)
        with Browser(zone="Asia/Tokyo") as browser:
            browser.open(page, condition=SHOWN)
            rows = browser.run(ROWS)
            count = compare_rows(rows, told["changes"]) + compare_table(rows, table)
            compare_rest(browser, told, table)
            if number == "7":
                same(len(rows), 7, "rows")
                holds("The 7 weightiest of" in browser.run("document.body.innerText"), "how many there are")
                continue
            same({row[0][0] for row in rows}, {"rose", "fell", "appeared"}, "changes")
            same({row[2][0] for row in rows}, {evil, "bad\ufffd\ufffdname<b>"}, "names as they stand")
            print(f"  {count} numbers agree with --json and the table")
            look_at(browser, files, arguments, page)
            quiet(browser, page)


def compare_rows(rows, changes):
    """Holds the rows of the page against the changes of the JSON text, to the last digit."""
    same(len(rows), len(changes), "rows")
    count = 0
    for row, change in zip(rows, changes):
        same(row[0][0], change["change"], "what")
        same(row[2][0], change["array"], "array")
        same(row[3][0].split(" ")[:2], [change["kind"], change["key"]], "resource")
        group = f"counter group {change['group']}" if change["group"] else ""
        holds(group in row[4][0], f"{row[4][0]} of {group}")
        holds(f"({change['unit'] or 'unit of the file'})" in row[4][0], f"{row[4][0]}: {change['unit']}")
        pairs = [(row[1], change["percent"]), (row[5], change["weight"])]
        for at, name in enumerate(PAIRS):
            pairs += [(row[7 + 2 * at], change["before"][name]), (row[8 + 2 * at], change["after"][name])]
        for (text, exact), expected in pairs:
            if expected is None:
                same((text, exact), ("-", None), f"{change}")
            else:
                same(float(exact), float(expected), f"{change}")
            count += 1
    return count


def compare_table(rows, table):
    """Holds the texts of the numbers against those of the table; how many."""
    lines = table[table.index("weight what"):].splitlines()[1:]
    same(len(lines), len(rows), "lines of the table")
    for row, line in zip(rows, lines):
        texts = [cell[0] for cell in row]
        shown = [texts[5], texts[0], *texts[7:9], texts[1], *texts[9:]]
        cells = line.split()
        same(shown, [*cells[:2], *cells[-9:]], line)
    return 9 * len(rows)


def compare_rest(browser, told, table):
    """Spans, counts and the words for what stands in the rows."""
    for name in ("before", "after"):
        text = browser.run(f"document.getElementById('{name}').innerText")
        line = next(each for each in table.splitlines() if each.startswith(name))
        times = re.findall(r"\d{4}-\d\d-\d\d \d\d:\d\d:\d\d", line)
        holds(" to ".join(times) in text and f"{told[name]['records']} record" in text, f"{name}: {text}")
    counts = browser.run("[...document.querySelectorAll('#kinds tbody tr')].map((row) => "
                         "[...row.children].map((cell) => cell.innerText))")
    expected = [[str(each.get(change, 0)) for change in ("rose", "fell", "appeared", "went")]
                for each in told["counts"].values()]
    same(sorted(each[1:] for each in counts), sorted(expected), "counts")
    words = browser.run("[...document.querySelectorAll('dt')].map((word) => word.innerText)")
    for word in {change["kind"] for change in told["changes"]}:
        holds(any(each.endswith(f"({word})") for each in words), f"{word} is not explained: {words}")
    for word in ("mean", "median, 95th percentile", "weight"):
        holds(word in words, f"{word} is not explained: {words}")
    # Of two bars of a row the longer one is that of the larger value.
    bars = browser.run("[...document.querySelectorAll('svg.bars')].map((svg) => [...svg.querySelectorAll("
                       "'rect:not(.faint)')].map((bar) => +bar.getAttribute('width')))")
    for (before, after), change in zip(bars, told["changes"]):
        values = [change[name]["value"] or 0 for name in ("before", "after")]
        if min(values) > 0:
            holds(abs(before / after - values[0] / values[1]) < 0.2 * values[0] / values[1] + 0.1, f"bars of {change}")


def look_at(browser, files, arguments, page):
    """Themes and widths, paper, keys, and a policy without holes."""
    report = files.report("beside", os.path.dirname(page) + "/after-hours")
    paper = "getComputedStyle(document.body).backgroundColor"
    papers = []
    for dark in (False, True):
        browser.dark(dark)
        browser.open(report)
        expected = browser.run(paper)
        browser.open(page, condition=SHOWN)
        same(browser.run(paper), expected, "paper of both pages")
        papers.append(expected)
        for wide in (1280, 390):
            browser.size(wide, 1000)
            holds(browser.run("document.documentElement.scrollWidth") <= wide, f"too wide for {wide}")
            if arguments.pictures:
                name = f"compare-{'dark' if dark else 'light'}-{wide}.png"
                browser.screenshot(os.path.join(arguments.pictures, name), whole=True)
    same(len(set(papers)), 2, f"papers: {papers}")
    browser.call("Emulation.setEmulatedMedia", media="print",
                 features=[{"name": "prefers-color-scheme", "value": "dark"}])
    same(browser.run(paper), papers[0], "paper")
    holds(browser.pdf().startswith(b"%PDF"), "printed")
    browser.call("Emulation.setEmulatedMedia", media="screen")
    # With keys alone: to the table, and along it.
    browser.run("document.body.focus()")
    browser.key("Tab")
    same(browser.run("document.activeElement.getAttribute('aria-label')"), "Changes", "focus")
    browser.key("ArrowRight")
    browser.wait("document.activeElement.scrollLeft > 0")
    same(browser.run("document.querySelectorAll('img, b, i, script').length"), 0, "elements made of names")
    for part in ("<i>reads</i> & \"more\"", "<script>alert(3)</script>"):
        holds(part in browser.run("document.body.textContent"), f"{part} is not shown as it stands")
    policy = browser.run("document.querySelector('meta[http-equiv]').content")
    holds("default-src 'none'" in policy and "script-src" not in policy and "unsafe" not in policy, policy)
    browser.run("(() => { const s = document.createElement('script'); s.textContent = "
                "'window.broughtIn = 1'; document.body.append(s); })()")
    same(browser.run("window.broughtIn ?? null"), None, "a script that was brought in")
    browser.events = [each for each in browser.events if "Content Security Policy" not in json.dumps(each)
                      and report not in json.dumps(each)]
