"""Tests of using report pages: hands, keys, themes and sizes, hostile names, old browsers, zones."""
import json
import os
import shutil

from browser import Browser
from page_files import OVERLAPS, click, holds, quiet, same, state


def test_hands(files, arguments):
    """Clicks, zoom, keys, search, the address, themes, a phone, paper."""
    _, hours = files.make("hands", "--arrays", "2", "--name", "osaka", "--start", "2024-03-07",
                          "--days", "2", "--interval", "900", "--none", "--ld", "30", "--pd", "12",
                          "--hot-ld", "3")
    page = files.report("hands", hours)
    with Browser() as browser:
        browser.open(page)
        use_charts(browser)
        explained_by_docs(browser)
        use_controls(browser, page)
        use_sizes(browser, arguments)
        quiet(browser, page)


def explained_by_docs(browser):
    """What the words mean is said in the lines of the documentation."""
    path = os.path.join(os.path.dirname(os.path.abspath(__file__)), "../../../docs/measures.md")
    with open(path, encoding="utf-8") as file:
        lines = file.read()
    words = browser.run("[...document.querySelectorAll('#words dd, #totals .meaning, #top .meaning, #heat-meaning')]"
                        ".map((e) => e.textContent)")
    holds(len(words) > 15, f"only {len(words)} explanations")
    for text in words:
        # In front of the top list the kind and the measure are explained in one line.
        parts = [text] if text in lines else text.split(". ", 1)
        holds(all(part.rstrip(".") in lines for part in parts), f"{text} is not said in docs/measures.md")


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
    browser.allow("clipboardReadWrite")
    click(browser, "#detail figure .tools button:last-child")
    browser.wait("document.querySelector('#detail figure .tools button:last-child').textContent === 'Copied'")
    text = browser.run("navigator.clipboard.readText()")
    holds(text.startswith("begin,end,stamp,level,") and len(text.splitlines()) == 49, text)
    address = browser.run("location.hash")
    browser.open(page, address)
    browser.settle()
    same(browser.run("location.hash"), address, "fragment")
    same(browser.run("document.querySelector('#detail h2').textContent"),
         f"ld {keys[1]} of osaka01", "what a link leads to")
    same(browser.run("document.getElementById('find').value"), "1*", "search of a link")
    browser.run("document.querySelectorAll('#overview tbody button')[1].click()")
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
    # Charts go to paper as they are on their canvas: of a new one the browser would print every stroke, the one
    # that clears it among them, and viewers show nothing.
    kept = browser.run("""(() => {
      const plot = document.querySelector('#totals .plot');
      const canvas = plot.querySelector('canvas');
      const blue = () => { const { data } = canvas.getContext('2d').getImageData(0, 0, canvas.width, canvas.height);
        for (let i = 0; i < data.length; i += 4) {
          if (data[i] === 10 && data[i + 1] === 88 && data[i + 2] === 202 && data[i + 3] === 255) return true;
        }
        return false; };
      const before = blue();
      window.dispatchEvent(new Event('beforeprint'));
      const during = [plot.contains(canvas), blue()];
      window.dispatchEvent(new Event('afterprint'));
      return [before, ...during, blue()]; })()""")
    same(kept, [False, True, True, False], "the light blue of a line, its canvas, and again, around printing")
    browser.events = [each for each in browser.events if "willReadFrequently" not in json.dumps(each)]
    browser.run("window.shades.length = 0")
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
        logs, hours = files.make(day, "--name", "berlin", "--start", day[:-2] + "26", "--days", "8",
                                 "--interval", "900", "--none", "--ld", "2", zone="Europe/Berlin")
        other = {"2024-03-31": "2024-03-30", "2024-10-27": "2024-10-28"}[day]
        sides = ("--before", other, "--after", day)
        told = json.loads(files.tool("compare", *sides, "--json", hours, zone="Europe/Berlin"))
        same([told[side]["records"] for side in ("before", "after")], [24, hours_of_day], "hours compared")
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
