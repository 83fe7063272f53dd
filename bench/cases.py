"""The cases of scripts/bench: what files each is measured on, how they are made, what is allowed.

What real arrays look like comes first, logs whose every entry is full come last. The files lie below
build/bench-cache/CASE and are kept as long as they would be made in the same way.
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
QUICK = 8  # --quick takes so small a part of the records or days


@dataclass
class Case:
    name: str
    title: str
    counts: dict               # option of psltool make -> number of resources
    options: dict              # further options of psltool make
    bytes: int                 # of the made files, about
    goal: float = 0.0          # at most so many times the CPU time of cat
    goal_of: tuple = ()        # or: a case, and at most so many times its ratio
    month: bool = False        # hour archives of a month, made by the archiver
    wait_times: bool = False
    files_of: str = ""         # takes the files of another case
    each: bool = False         # a process for each file
    times: int = 1             # turns for each round
    milliseconds: bool = False
    beside: int = 8 << 20      # memory that the program may need beside the slots
    files: list = field(default_factory=list)  # the inputs, once made

    def make_options(self, quick=False):
        options = {"--revision": "0x21", "--interval": 60, "--profile": "flat", "--seed": 1,
                   **self.options}
        if quick:
            if options.get("--days", 1) >= QUICK:
                options["--days"] //= QUICK
            else:
                options["--records"] = max(1, options.get("--records", 1440) // QUICK)
                options.pop("--days", None)
        words = ["--none"] + ["--wait-times"] * self.wait_times
        for name, value in [*((f"--{kind}", n) for kind, n in self.counts.items()),
                            *options.items()]:
            words += [name, str(value)]
        return words

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
        """Bytes that the archiver may need: the slots, and what it has beside them."""
        return self.slot_bytes() + self.beside


ARRAYS = 99  # of the cases with many small ones
CASES = [
    Case("office", "a Friday and a Saturday of 4,096 logical disks every minute (--profile office)",
         {"ld": 4096}, {"--profile": "office", "--start": "2024-03-08", "--days": 2}, 770_000_000,
         goal=2.2),
    Case("idle", "mostly idle: three days of 4,096 logical disks every minute (--profile idle)",
         {"ld": 4096}, {"--profile": "idle", "--days": 3}, 290_000_000, goal=4.0),
    Case("share", "seven of ten disks idle at any time: a day of 4,096 logical disks every minute",
         {"ld": 4096}, {"--idle-share": 70}, 240_000_000),
    Case("partial", "some extended words: half a day of 4,096 logical disks every minute",
         {"ld": 4096}, {"--extended": "partial", "--records": 720}, 420_000_000, goal=2.5),
    Case("changing", "words, idle disks and marks that come and go: half a day of 4,096 logical "
         "disks every minute in twelve files", {"ld": 4096},
         {"--extended": "changing", "--idle-share": 40, "--not-valid-share": 5, "--records": 720,
          "--files-per-day": 12}, 270_000_000),
    Case("month", "a month of 64 logical disks every minute", {"ld": 64}, {"--days": 31},
         290_000_000, goal=2.2),
    Case("months", "two months of 16 logical disks every minute", {"ld": 16}, {"--days": 61},
         160_000_000, goal=2.5),
    Case("arrays", f"{ARRAYS} arrays of 16 logical disks, a day every five minutes, in one process",
         {"ld": 16}, {"--arrays": ARRAYS, "--interval": 300}, 55_000_000),
    Case("each", "the same arrays, a process for each", {"ld": 16},
         {"--arrays": ARRAYS, "--interval": 300}, 55_000_000, files_of="arrays", each=True),
    Case("start", "one record of ten logical disks: the start of the process", {"ld": 10},
         {"--records": 1}, 2_000, times=5, milliseconds=True),
    Case("disks", "65,535 logical disks: an hour and a half every minute", {"ld": 65535},
         {"--records": 90}, 570_000_000, goal_of=("hour", 1.1), beside=4 << 20),
    Case("disks-office", "65,535 logical disks, the same at night, four of ten idle (--profile "
         "office)", {"ld": 65535}, {"--profile": "office", "--records": 90}, 400_000_000,
         goal_of=("office", 1.1), beside=4 << 20),
    Case("day", "day level: 31 hour archives of 4,096 logical disks with extended words",
         {"ld": 4096}, {"--interval": 1800}, 570_000_000, goal=1.9, month=True),
    Case("old", "older arithmetic: half a day of 4,096 logical disks every minute in revision 0x12",
         {"ld": 4096}, {"--revision": "0x12", "--records": 720}, 285_000_000, goal=1.9),
    Case("kinds", "every kind with all optional items: a day every minute",
         {"hd": 8, "rd": 8, "dd": 8, "hp": 128, "hpnode": 64, "rp": 128, "mp": 64, "dp": 128,
          "cache": 64, "cheseg": 200, "ld": 1024, "pd": 1024, "pool": 128, "conc": 128,
          "ld-cp": 256, "pool-cp": 64, "cab": 32}, {}, 410_000_000, goal=2.1, wait_times=True),
    Case("hour", "every entry full: a day of 4,096 logical disks every minute", {"ld": 4096}, {},
         567_000_000, goal=1.75),
]
FIRST_DAY = datetime.date(2024, 3, 1)  # of a month of 31 days


class Maker:
    """Makes the files of cases in a directory, with the built programs."""

    def __init__(self, psltool: Path, archiver: Path, cache: Path, environment: dict, quick: bool):
        self.psltool, self.archiver, self.environment = psltool, archiver, environment
        self.cache = cache / "quick" if quick else cache
        self.quick = quick

    def run(self, *command):
        subprocess.run([str(part) for part in command], check=True, env=self.environment)

    def prepare(self, case: Case):
        """Sets case.files; makes them when they are not there yet. Returns whether it did."""
        folder = self.cache / (case.files_of or case.name)
        how = folder / "made-with"  # written last, so that it marks whole sets
        wanted = " ".join(case.make_options(self.quick)) + (" month" if case.month else "")
        made = not how.exists() or how.read_text() != wanted
        if made:
            shutil.rmtree(folder, ignore_errors=True)
            folder.mkdir(parents=True)
            if shutil.disk_usage(folder).free < case.bytes + (1 << 30):
                raise OSError(f"less than {case.bytes / 1e9 + 1:.1f} GB is free below {folder}")
            if case.month:
                self.make_month(case, folder)
            else:
                self.make(case.make_options(self.quick), folder)
            how.write_text(wanted)
        case.files = sorted(str(path) for path in folder.glob("*.ps[la]"))
        return made

    def make(self, options, folder, day=None):
        start = ["--start", day] if day else []
        self.run(self.psltool, "make", *options, *start, "--quiet", "-o", folder)

    def make_month(self, case, folder):
        options = case.make_options()
        for number in range(31 // QUICK if self.quick else 31):
            # A day's log goes as soon as its archive is there, so little disk is needed.
            self.make(options, folder / "logs", FIRST_DAY + datetime.timedelta(days=number))
            self.run(self.archiver, "-o", folder, *(folder / "logs").iterdir())
            shutil.rmtree(folder / "logs")
