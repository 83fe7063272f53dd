"""Shapes of logs whose cost per entry is counted: small ones, for callgrind and strace.

Used by scripts/bench and by tests/instruction_ceiling.py and tests/path_identity.py.
"""
from dataclasses import dataclass

FULL = "every entry full"


@dataclass(frozen=True)
class Shape:
    name: str
    counts: tuple        # (kind, number) pairs; the entries of a record
    options: tuple = ()  # of psltool make

    def entries(self):
        return sum(number for _, number in self.counts)

    def make_options(self, interval=10):
        words = ["--none", "--interval", str(interval), "--seed", "1"]
        for kind, number in self.counts:
            words += [f"--{kind}", str(number)]
        return [*words, *(self.options if "--profile" in self.options
                          else ("--profile", "flat", *self.options))]


LD = (("ld", 256),)
SHAPES = [
    Shape("a working week", LD, ("--profile", "office")),
    Shape("mostly idle", LD, ("--profile", "idle")),
    Shape("half of the disks idle", LD, ("--idle-share", "50")),
    Shape("nine of ten disks idle", LD, ("--idle-share", "90")),
    Shape("marks that come and go", LD, ("--not-valid-share", "10")),
    Shape("some extended words", LD, ("--extended", "partial")),
    Shape("words and idle disks that come and go", LD,
          ("--extended", "partial", "--idle-share", "40", "--not-valid-share", "5")),
    Shape("all extended words", LD, ("--extended", "full")),
    Shape("16 disks", (("ld", 16),)),
    Shape("older arithmetic", LD, ("--revision", "0x12")),
    Shape("host ports", (("hp", 128), ("hpnode", 64))),
    Shape("optional items", (("ld", 128),),
          ("--wait-times", "--conc", "32", "--ld-cp", "32", "--pool-cp", "16", "--cab", "8")),
    Shape("cache modules and segments", (("cache", 64), ("cheseg", 128))),
    Shape(FULL, LD),
]
