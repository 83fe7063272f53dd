"""Pictures of what psltool makes: pages of `report` and `compare` in a browser, a drawing of `chart`."""
import os
import subprocess
import sys
import tempfile
from pathlib import Path

HERE = Path(__file__).resolve().parent
sys.path.insert(0, str(HERE.parents[1] / "tests" / "tools" / "page"))
sys.dont_write_bytecode = True
from small_png import smaller  # noqa: E402  pylint: disable=wrong-import-position
from browser import Browser, find_browser  # noqa: E402  pylint: disable=wrong-import-position

ZONE = "Europe/Berlin"
MOST_BYTES = 250_000


class Files:
    """Hour archives of five weeks of two arrays, the second without some days, and pages of them."""

    def __init__(self, programs, folder):
        self.folder = Path(folder)
        self.programs = Path(programs).resolve()
        make = ["make", "--quiet", "--interval", "900", "--none", "--ld", "64", "--pd", "32", "--hp", "4", "--dp", "8",
                "--cache", "2", "--cheseg", "4", "--pool", "4", "--name", "osaka", "--arrays", "2", "-o", "logs"]
        # Disk 5 is the hot one from the second week on.
        self.run("psltool", *make, "--start", "2024-03-04", "--days", "7", "--hot-ld", "42")
        self.run("psltool", *make, "--start", "2024-03-11", "--days", "21", "--hot-ld", "5")
        os.mkdir(self.folder / "hour")
        self.run("Qelprfarc", "-o", "hour", *sorted(str(each) for each in (self.folder / "logs").iterdir()))
        for day in ("15", "16", "30", "31"):
            os.remove(self.folder / "hour" / f"202403{day}osaka02.psa")
        self.run("psltool", "report", "hour", "-o", "report.html")
        self.run("psltool", "compare", "--before", "2024-03-04", "--after", "2024-03-11", "--page", "compare.html",
                 "--match", "hour", "-n", "12", "hour")

    def run(self, program, *arguments):
        """Runs one of the programs in the folder."""
        subprocess.run([str(self.programs / program), *arguments], cwd=self.folder, check=True,
                       env=dict(os.environ, TZ=ZONE), stdout=subprocess.DEVNULL)


def settle(browser):
    """Waits until nothing moves any more."""
    browser.settle()
    browser.run("new Promise((done) => setTimeout(done, 250))")


def to(browser, selector):
    """Brings an element to the upper end of the window, below the controls that stay there."""
    browser.run("(() => { const e = document.querySelector(" + repr(selector) + "); "
                "const form = document.querySelector('form.controls'); "
                "const high = form && getComputedStyle(form).position === 'sticky' ? form.offsetHeight : 0; "
                "window.scrollTo(0, e.getBoundingClientRect().top + window.scrollY - high - 12); })()")
    settle(browser)


WEEK = "from=1710111600&to=1710716400"  # 2024-03-11, seven days
# Name, what is opened, element at the upper end, dark, width and height of the window.
PICTURES = (
    ("report-front.png", "report.html", f"#{WEEK}", "", False, 1280, 1440),
    ("report-charts.png", "report.html", f"#{WEEK}&open=5", "#detail", False, 1280, 900),
    ("report-top.png", "report.html", f"#{WEEK}&by=peak", "#h-top", True, 1280, 720),
    ("report-heat.png", "report.html", "#open=5&heat=open", "#h-heat", True, 1280, 740),
    ("report-phone.png", "report.html", "", "#h-totals", True, 390, 760),
    ("compare.png", "compare.html", "", "", False, 1280, 960),
)


def take(programs, into=HERE, only=None, shades=None):
    """Writes the pictures into a directory. `shades`: all of them, light or dark as it says."""
    if find_browser() is None:
        raise SystemExit("no Chromium (scripts/setup installs it): no pictures of pages")
    with tempfile.TemporaryDirectory(prefix="pictures.") as folder:
        files = Files(programs, folder)
        with Browser(zone=ZONE) as browser:
            for name, page, view, top, dark, wide, tall in PICTURES:
                if only and name not in only:
                    continue
                browser.dark(dark if shades is None else shades)
                browser.size(wide, tall)
                browser.open(str(files.folder / page), view, condition="document.body && (document.body.dataset.ready "
                             "|| (document.scripts.length === 0 && document.readyState === 'complete'))")
                settle(browser)
                if top:
                    to(browser, top)
                browser.screenshot(str(into / name))
        files.run("psltool", "chart", "hour", "--kind", "ld", "--key", "5", "--measure", "busy", "-o",
                  str(into / "chart.png"), "--from", "2024-03-04", "--to", "2024-03-17")
    for name in [each[0] for each in PICTURES] + ["chart.png"]:
        path = into / name
        if path.exists():
            path.write_bytes(smaller(path.read_bytes()))
        if path.exists() and path.stat().st_size > MOST_BYTES:
            raise SystemExit(f"{path} has {path.stat().st_size} bytes, more than {MOST_BYTES}")
