"""Files and pages for tests of report pages, and what the tests say of a page in a browser."""
import csv
import io
import os
import subprocess
import tempfile


class Files:
    """Logs and archives in a directory of their own, and pages of them."""

    def __init__(self, psltool, archiver):
        self.psltool, self.archiver = psltool, archiver
        self.directory = tempfile.mkdtemp(prefix="psltool-page.")

    def path(self, *names):
        """A path in the directory."""
        return os.path.join(self.directory, *names)

    def tool(self, *arguments, zone="UTC", status=0):
        """What psltool prints."""
        done = subprocess.run([self.psltool, *arguments], env=dict(os.environ, TZ=zone),
                              stdout=subprocess.PIPE, stderr=subprocess.PIPE, check=False)
        if status is not None and done.returncode != status:
            raise AssertionError(f"{arguments}: status {done.returncode}, {done.stderr.decode()}")
        return done.stdout.decode(errors="replace")

    def make(self, name, *options, zone="UTC"):
        """Makes logs, and hour archives of them; the directories of both."""
        logs, hours = self.path(name + "-logs"), self.path(name + "-hours")
        self.tool("make", "--quiet", "-o", logs, *options, zone=zone)
        os.mkdir(hours)
        self.archive(hours, *[os.path.join(logs, each) for each in sorted(os.listdir(logs))], zone=zone)
        return logs, hours

    def archive(self, directory, *paths, zone="UTC"):
        """Puts archives of logs or archives into a directory."""
        subprocess.run([self.archiver, "-o", directory, *paths], env=dict(os.environ, TZ=zone),
                       check=True, stdout=subprocess.DEVNULL)

    def report(self, name, *arguments, zone="UTC", status=0):
        """The path of a page."""
        page = self.path(name + ".html")
        self.tool("report", *arguments, "-o", page, zone=zone, status=status)
        return page

    def dump(self, kind, *files, key=None):
        """Rows of a dump: by key and stamp, the cells by column."""
        rows = {}
        choice = ["--key", key] if key else []
        for path in files:
            text = self.tool("dump", path, "--kind", kind, *choice, "--utc", "--format", "csv")
            for row in csv.DictReader(io.StringIO(text)):
                rows.setdefault(row["key"], {})[row["time"].replace(" ", "T").rstrip("Z")] = row
        return rows


def same(a, b, what):
    """Fails unless both are the same."""
    if a != b:
        raise AssertionError(f"{what}: {a!r} is not {b!r}")


def holds(condition, what):
    """Fails unless it is so."""
    if not condition:
        raise AssertionError(what)


def quiet(browser, page):
    """Nothing was complained of, and nothing asked for but the page."""
    same(browser.complaints(), [], "complaints")
    # The pictures of the browser's own inputs are asked for, too.
    asked = {each.split("#")[0] for each in browser.addresses() if not each.startswith("data:")}
    same(asked - {"about:blank"}, {f"file://{page}"}, "addresses")


def click(browser, selector):
    """Clicks on an element, as a mouse does."""
    x, y, wide, tall = browser.box(selector)
    browser.mouse("mousePressed", x + wide / 2, y + tall / 2)
    browser.mouse("mouseReleased", x + wide / 2, y + tall / 2)
    browser.settle()


def state(browser):
    """The view, from the fragment."""
    return dict(each.split("=") for each in browser.run("location.hash.slice(1)").split("&") if each)


COLUMNS = {"ops": ("ops_per_s", "ops_per_s_max", "ops_per_s_min"),
           "volume": ("kvolume_per_s", "kvolume_per_s_max", "kvolume_per_s_min"),
           "mean": ("first_mean",), "max": ("max",), "second": ("second_mean",),
           "busy": ("busy_pct", "busy_pct_max", "busy_pct_min"),
           "first-ratio": ("first_pct",), "second-ratio": ("second_pct",),
           "first-max": ("first_max",), "second-max": ("second_max",),
           "first-rate": ("first_rate",), "second-rate": ("second_rate",), "value": ("value",)}


def compare_charts(browser, kind, key, rows):
    """Holds every chart of the open resource against the rows of a dump; how many values."""
    charts = browser.run("[...document.querySelectorAll('#detail figure.chart')]"
                         ".map((f) => [f.chartName, f.csv()])")
    holds(charts, f"{kind} {key} has no charts")
    count = 0
    for name, text in charts:
        measure = name.rsplit("/", 1)[1]
        group = measure[:3] if measure[0] == "g" and measure[2] == "_" else ""
        columns = list(COLUMNS[measure[len(group):]])
        table = list(csv.reader(io.StringIO(text)))
        banded = len(table[0]) > 5 and "smallest" in table[0][5]
        two_lines = len(table[0]) == 6 and not banded
        if two_lines:
            columns = ["first_mean", "max"]
        elif len(columns) == 3 and banded:
            columns = [columns[0], columns[2], columns[1]]
        holds(len(table) - 1 == len(rows), f"{name}: {len(table) - 1} rows, not {len(rows)}")
        for (time, row), cells in zip(sorted(rows.items()), table[1:]):
            for column, cell in zip(columns, cells[4:]):
                dumped = row.get(group + column, "")
                # A record of a log is its own extreme.
                if dumped == "" and column.endswith(("_max", "_min")) and cells[3] == "log":
                    dumped = row[group + columns[0]]
                holds((dumped == "" and cell == "") or float(dumped or "nan") == float(cell or "nan"),
                      f"{name} {column} at {time}: {cell!r}, dumped {dumped!r}")
                count += 1
    return count


# Labels of an axis that cover each other.
OVERLAPS = """[...document.querySelectorAll('.plot')].flatMap((plot) => {
  const boxes = [...plot.querySelectorAll('.dygraph-axis-label')].map((e) => {
    const range = document.createRange(); range.selectNodeContents(e);
    return [range.getBoundingClientRect(), e.textContent]; });
  // Lines of text have room above and below the letters.
  return boxes.flatMap(([a, text], i) => boxes.slice(i + 1).filter(([b]) => a.left < b.right &&
    b.left < a.right && a.top + 3 < b.bottom - 3 && b.top + 3 < a.bottom - 3)
    .map(([b, other]) => text + '/' + other));
})"""
