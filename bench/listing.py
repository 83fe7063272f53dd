"""How selection grows with the number of files: the part of bench/scale that --listing asks for.

Directories of 1,000 to 1,000,000 files are made on a file system in memory, as links of one log and
one archive, so that what is measured is listing and judging and not the disk. Programs run over them:

  settled   an automatic run that finds everything archived already: it lists, judges and looks into
            every archive, makes nothing and removes nothing
  night     an automatic run that makes an archive of every log (of one record)
  manual    a manual directory run that does the same
  units     psltool units over the settled directory

Time on a busy machine says little: CPU time, memory, and on request system calls are printed.
"""
import datetime
import os
import re
import shutil
import subprocess
import tempfile
import time
from pathlib import Path

# Yesterday: archived by day, and not by month yet (but on the first of a month).
YESTERDAY = datetime.datetime.now(datetime.timezone.utc).date() - datetime.timedelta(days=1)
DAY = YESTERDAY.strftime("%Y%m%d")
LOG = ["--none", "--ld", "1", "--records", "1", "--revision", "0x21", "--start", str(YESTERDAY),
       "--local", "--quiet", "--name", "a"]


class Place:
    """A server's directories on a file system in memory."""

    def __init__(self, programs, base):
        self.psltool, self.archiver = programs
        self.base = Path(base)
        self.root = self.base / "root"
        self.archive = self.base / "psl"
        made = subprocess.run(
            [self.psltool, "segment", "make", "--prepare", "--root", self.root, "--archive",
             self.archive, "--keep-psl", "1y", "--keep-hour", "none", "--keep-day", "none"],
            check=True, text=True, capture_output=True)
        self.segment = made.stdout.strip()
        (self.archive / "archive").mkdir(exist_ok=True)
        subprocess.run([self.psltool, "make", *LOG, "-o", self.base / "one"], check=True)
        self.log = next((self.base / "one").glob("*.psl"))
        subprocess.run([self.archiver, "-o", self.base / "one", self.log], check=True)
        self.made = next((self.base / "one").glob("*.psa"))

    def fill(self, count, archived):
        for number in range(count):
            name = f"{DAY}a{number:07d}"
            os.link(self.log, self.archive / f"{name}.psl")
            if archived:
                os.link(self.made, self.archive / "archive" / f"{name}.psa")

    def clear(self):
        shutil.rmtree(self.archive)
        (self.archive / "archive").mkdir(parents=True)

    def remove(self):
        subprocess.run([self.psltool, "segment", "remove", self.segment], check=False)


def largest_memory(pid):
    """MiB that a running process has had at most; the figure at its end counts the starter's, too."""
    try:
        found = re.search(r"VmHWM:\s*(\d+)", Path(f"/proc/{pid}/status").read_text())
    except OSError:
        return 0.0
    return int(found[1]) / 1024 if found else 0.0


def run(command, environment):
    """Seconds, CPU seconds and MiB of one program; its output goes nowhere."""
    start = time.monotonic()
    process = subprocess.Popen([str(word) for word in command], stdout=subprocess.DEVNULL,
                               env=environment)
    memory = 0.0
    while True:
        ended, status, usage = os.wait4(process.pid, os.WNOHANG)
        if ended:
            break
        memory = max(memory, largest_memory(process.pid))
        time.sleep(0.002)
    process.returncode = os.waitstatus_to_exitcode(status)
    seconds = time.monotonic() - start
    if process.returncode != 0:
        raise SystemExit(f"scale: {command[0]}: status {process.returncode}")
    return seconds, usage.ru_utime + usage.ru_stime, memory


def calls(command, environment):
    """System calls of a program, name to number."""
    with tempfile.NamedTemporaryFile() as table:
        subprocess.run(["strace", "-f", "-c", "-U", "calls,name", "-o", table.name,
                        *[str(word) for word in command]], env=environment, check=True,
                       stdout=subprocess.DEVNULL)
        lines = Path(table.name).read_text().splitlines()
    counted = {}
    for line in lines:
        found = re.match(r"\s*(\d+)\s+(\w+)$", line)
        if found and found[2] != "total":
            counted[found[2]] = int(found[1])
    return counted


def commands(place):
    automatic = [place.archiver, "-auto", "-mode", "svr", place.segment]
    return {
        "settled": (True, automatic),
        "night": (False, automatic),
        "manual": (False, [place.archiver, "-p", place.archive, "-hour", DAY]),
        "units": (True, [place.psltool, "units", "--names", place.archive]),
    }


def made_by(place, case):
    """How many hour archives a run has made."""
    where = place.archive / ("archive" if case == "night" else "")
    return sum(entry.name.startswith(DAY) and entry.name.endswith(".psa")
               for entry in os.scandir(where))


def measure(programs, sizes, cases, directory, count_calls):
    environment = {**os.environ, "TZ": "UTC", "LC_ALL": "C"}
    print(f"{'case':8} {'files':>9} {'seconds':>9} {'CPU s':>9} {'us/log':>8} {'MiB':>8} {'B/log':>8}")
    base = tempfile.mkdtemp(dir=directory, prefix="qelprfarc-listing.")
    place = Place(programs, base)
    try:
        for name in cases:
            first = None
            for size in sizes:
                archived, command = commands(place)[name]
                place.fill(size, archived)
                seconds, cpu, mib = run(command, environment)
                if name in ("night", "manual"):
                    made = made_by(place, name)
                    if made != size:
                        raise SystemExit(f"scale: {name}: {made} archives of {size} logs")
                first = first or mib
                print(f"{name:8} {size:9,} {seconds:9.2f} {cpu:9.2f} {cpu / size * 1e6:8.1f} "
                      f"{mib:8.1f} {(mib - first) * 1048576 / size:8.0f}", flush=True)
                if count_calls:
                    place.clear()
                    place.fill(size, archived)
                    counted = calls(command, environment)
                    print("         " + ", ".join(
                        f"{call} {number / size:.2f}" for call, number in
                        sorted(counted.items(), key=lambda item: -item[1])
                        if number >= size / 2) + " per log", flush=True)
                place.clear()
    finally:
        place.remove()
        shutil.rmtree(base, ignore_errors=True)
