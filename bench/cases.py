"""The cases of scripts/bench: what files each is measured on, how they are made, what is allowed.

The files lie below build/bench-cache/CASE and are kept as long as they would be made in the same
way.
"""
import datetime
import shutil
import subprocess
from dataclasses import dataclass, field
from pathlib import Path

# Counter groups of a resource and how many of them have extremes, as in the entry forms of
# engine/layout/layout.h. Kinds without groups have heads only.
GROUPS = {"hd": (0, 0), "rd": (0, 0), "dd": (0, 0), "hp": (6, 5), "hpnode": (6, 5), "rp": (6, 6),
          "mp": (2, 2), "dp": (2, 2), "cheseg": (5, 5), "ld": (5, 5), "pd": (2, 2), "rank": (2, 2),
          "pool": (2, 2)}
HEAD = 64         # sizeof(SlotHead)
CACHE_SLOT = 256  # sizeof(CacheSlot), which holds its groups itself
LANES = 8         # fields are kept for so many slots at a time
# An element of an optional item as it is kept: its bytes and its mark; cabinets also a sum, wait
# times (one for each logical disk) four.
ELEMENTS = {"conc": 16 + 1, "ld-cp": 32 + 1, "pool-cp": 48 + 1, "cab": 16 + 1 + 8}
WAIT_TIME = 32 + 1 + 4 * 8

MEMORY_BESIDE = 8 << 20  # what the program may need beside a record and the slots


@dataclass
class Case:
    name: str
    title: str
    counts: dict               # option of psltool make -> number of resources
    options: list              # further options of psltool make
    bytes: int                 # of the made files, about
    goal: float = 0.0          # at most so many times cat
    near_hour: bool = False    # or: at most a quarter more than the hour case
    month: bool = False        # hour archives of a month, made by the archiver
    wait_times: bool = False
    times: int = 1             # turns for each round
    milliseconds: bool = False
    files: list = field(default_factory=list)  # the inputs, once made

    def make_options(self):
        counts = []
        for kind, number in self.counts.items():
            counts += [f"--{kind}", str(number)]
        return ["--none", *counts, *self.options, "--profile", "flat", "--seed", "1"]

    def slot_bytes(self):
        """Memory of the slots: of each resource a head and fields (four sums of each counter group,
        four extremes of each tracked one and the last length), fields rounded up to whole tiles."""
        total = 0
        for kind, number in self.counts.items():
            if kind == "cache":
                total += number * CACHE_SLOT
            elif kind in ELEMENTS:
                total += number * ELEMENTS[kind]
            else:
                groups, tracked = GROUPS[kind]
                fields = 4 * (groups + tracked) + 1 if groups else 0
                tiles = (number + LANES - 1) // LANES
                total += number * HEAD + tiles * LANES * fields * 8
        return total + (self.counts["ld"] * WAIT_TIME if self.wait_times else 0)

    def allowed_memory(self):
        """Bytes that the archiver may need: one record, the slots, 8 MB."""
        return largest_record(self.files[0]) + self.slot_bytes() + MEMORY_BESIDE


CASES = [
    Case("hour", "hour level: a day of 4,096 logical disks every minute, 0x21, no extended words",
         {"ld": 4096}, ["--revision", "0x21", "--interval", "60"], 567_000_000, goal=2.4),
    Case("day", "day level: 31 hour archives of 4,096 logical disks with extended words",
         {"ld": 4096}, ["--revision", "0x21", "--interval", "1800"], 570_000_000, goal=3.0,
         month=True),
    Case("old", "older arithmetic: the same day as hour level in revision 0x12",
         {"ld": 4096}, ["--revision", "0x12", "--interval", "60"], 567_000_000, goal=3.5),
    Case("kinds", "all kinds and optional items: a day every minute",
         {"hd": 8, "rd": 8, "dd": 8, "hp": 128, "hpnode": 64, "rp": 128, "mp": 64, "dp": 128,
          "cache": 64, "cheseg": 200, "ld": 1024, "pd": 1024, "pool": 128, "conc": 128,
          "ld-cp": 256, "pool-cp": 64, "cab": 32},
         ["--revision", "0x21", "--wait-times", "--interval", "60"], 410_000_000, near_hour=True,
         wait_times=True),
    Case("disks", "65,535 logical disks: two hours every minute",
         {"ld": 65535}, ["--revision", "0x21", "--interval", "60", "--records", "120"],
         760_000_000, near_hour=True),
    Case("small", "ten logical disks: a day every minute",
         {"ld": 10}, ["--revision", "0x21", "--interval", "60"], 2_000_000, times=5,
         milliseconds=True),
]
FIRST_DAY = datetime.date(2024, 3, 1)  # of a month of 31 days


def largest_record(path):
    """Length of the largest record of a file, from its record headers."""
    largest = 0
    with open(path, "rb") as file:
        while len(head := file.read(12)) == 12:
            length = int.from_bytes(head[8:12], "big")
            largest = max(largest, length)
            file.seek(length - 12, 1)
    return largest


class Maker:
    """Makes the files of cases in a directory, with the built programs."""

    def __init__(self, psltool: Path, archiver: Path, cache: Path, environment: dict):
        self.psltool, self.archiver, self.cache, self.environment = (psltool, archiver, cache,
                                                                     environment)

    def run(self, *command):
        subprocess.run([str(part) for part in command], check=True, env=self.environment)

    def prepare(self, case: Case):
        """Sets case.files; makes them when they are not there yet. Returns whether it did."""
        folder = self.cache / case.name
        how = folder / "made-with"  # written last, so that it marks whole sets
        wanted = " ".join(case.make_options()) + (" month" if case.month else "")
        made = not how.exists() or how.read_text() != wanted
        if made:
            shutil.rmtree(folder, ignore_errors=True)
            folder.mkdir(parents=True)
            if shutil.disk_usage(folder).free < case.bytes + (1 << 30):
                raise OSError(f"less than {case.bytes / 1e9 + 1:.1f} GB is free below {folder}")
            if case.month:
                self.make_month(case, folder)
            else:
                self.make(case, folder, FIRST_DAY)
            how.write_text(wanted)
        case.files = sorted(str(path) for path in folder.glob("*.ps[la]"))
        return made

    def make(self, case, folder, day):
        self.run(self.psltool, "make", *case.make_options(), "--start", day, "--quiet",
                 "-o", folder)

    def make_month(self, case, folder):
        for number in range(31):
            # A day's log goes as soon as its archive is there, so little disk is needed.
            self.make(case, folder / "logs", FIRST_DAY + datetime.timedelta(days=number))
            self.run(self.archiver, "-o", folder, *(folder / "logs").iterdir())
            shutil.rmtree(folder / "logs")
