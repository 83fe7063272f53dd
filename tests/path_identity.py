#!/usr/bin/env python3
"""Every path of folding gives the same bytes: scalar (the definition), pairs, AVX2 and AVX-512.

Logs of all shapes of bench/shapes.py, and of shapes that only matter here, are archived by a program
of each path, in several revisions, to hour and then to day level, and the archives compared byte for
byte. Entries are counted in the logs themselves, by their section headers. A path that the processor
lacks is passed over with a word.

Usage: tests/path_identity.py [--all] psltool Qelprfarc_scalar Qelprfarc_PATH...
  --all   every shape in every revision (some ten seconds)
"""
import os
import subprocess
import sys
import tempfile
from collections import Counter
from pathlib import Path

sys.dont_write_bytecode = True
sys.path.insert(0, str(Path(__file__).resolve().parent.parent / "bench"))
import shapes  # noqa: E402

NO_SUCH_KERNELS = 77
ENVIRONMENT = {**os.environ, "TZ": "UTC", "LC_ALL": "C"}
RECORDS = 70  # several times what is folded at a time, and two periods
NEWEST = 0x21
REVISIONS = range(0x10, NEWEST + 1)
# One for each way in which entries and arithmetic differ.
DIFFERENT = (0x10, 0x12, 0x14, 0x1A)
# Counts that leave tiles of every size at the end of a section, for shapes in old revisions.
ODD = {"--ld": 61, "--pd": 43, "--hp": 21, "--dp": 5}
MORE = {
    "the same in files of other words": ("--extended", "changing", "--files-per-day", "7",
                                         "--idle-share", "40", "--not-valid-share", "10"),
    "all at once": ("--profile", "office", "--extended", "partial", "--idle-share", "30",
                    "--not-valid-share", "20"),
    "nothing valid": ("--profile", "flat", "--not-valid-share", "100"),
    "hardly idle": ("--profile", "flat", "--idle-share", "3"),
    "working week, all words": ("--profile", "office", "--extended", "full", "--start",
                                "2024-03-09"),
    "idle, no words": ("--profile", "idle"),
}
# Headers of sections in statistics records: place of the first, how many.
SECTIONS = {0x10: (24, 4), 0x11: (24, 5), 0x12: (24, 5), 0x13: (24, 6), 0x14: (24, 8), 0x19: (24, 15)}


def logs_of(everything):
    """What is made: name of the shape, options of psltool make."""
    for shape in shapes.SHAPES:
        yield shape.name, shape.make_options(interval=60)
    counts = [str(word) for pair in ODD.items() for word in pair]
    for name, options in MORE.items():
        for revision in REVISIONS if everything else (*DIFFERENT, NEWEST):
            yield name, ["--none", "--revision", hex(revision), *counts, "--interval", "60",
                         *options]
    # Every kind, in every revision.
    for revision in REVISIONS:
        yield "every kind", ["--revision", hex(revision), "--interval", "60", "--idle-share", "25"]


def entries_of(path):
    """Statistics entries of a log: the counts of sections that have an offset."""
    data = path.read_bytes()
    revision = data[3]
    first, sections = SECTIONS[max(known for known in SECTIONS if known <= revision)]
    total, at = 0, 0
    while at < len(data):
        length = int.from_bytes(data[at + 8:at + 12], "big")
        if data[at:at + 3] == b"STA":
            for header in range(at + first, at + first + 8 * sections, 8):
                if int.from_bytes(data[header + 4:header + 8], "big") != 0:
                    total += int.from_bytes(data[header + 2:header + 4], "big")
        at += length
    return total


def archive(program, folder, inputs):
    """The bytes of the archives, by name; None when the processor lacks the path."""
    folder.mkdir()
    done = subprocess.run([program, "-o", folder, *inputs], text=True, capture_output=True,
                          env=ENVIRONMENT)
    if done.returncode == NO_SUCH_KERNELS:
        return None
    if done.returncode != 0 or done.stderr:
        sys.exit(f"{program}: status {done.returncode}: {done.stderr}")
    return {path.name: path.read_bytes() for path in folder.iterdir()}


def make(psltool, options, folder):
    subprocess.run([psltool, "make", *options, "--records", str(RECORDS), "--quiet", "-o", folder],
                   check=True, env=ENVIRONMENT)
    return sorted(folder.iterdir())


def main():
    words = sys.argv[1:]
    everything = "--all" in words
    words = [word for word in words if word != "--all"]
    if len(words) < 3:
        sys.exit(__doc__)
    psltool, definition, *paths = words
    compared, differ, absent = {}, 0, set()
    for name, options in logs_of(everything):
        with tempfile.TemporaryDirectory() as place:
            folder = Path(place)
            logs = make(psltool, options, folder / "logs")
            hours = archive(definition, folder / "scalar", logs)
            if not hours:
                sys.exit(f"{name}: no archive")
            inputs = sorted((folder / "scalar").iterdir())
            days = archive(definition, folder / "scalar-day", inputs)
            count = sum(map(entries_of, logs + inputs))
            for path in paths:
                short = Path(path).name.split("_")[-1]
                found = archive(path, folder / short, logs)
                if found is None:
                    absent.add(short)
                    continue
                same = found == hours and archive(path, folder / (short + "-day"), inputs) == days
                compared.setdefault(name, Counter())[short] += count
                if not same:
                    differ += 1
                    print(f"{short} differs: psltool make {' '.join(options)}")
    for name, counts in compared.items():
        print(f"{name}: " + ", ".join(f"{path} {count:,}" for path, count in counts.items()))
    total = sum(compared.values(), Counter())
    print("entries compared with the scalar path: " +
          ", ".join(f"{path} {count:,}" for path, count in total.items()))
    for path in sorted(absent):
        print(f"{path}: passed over, this processor has no such kernels")
    return 1 if differ or not all(total.values()) else 0


if __name__ == "__main__":
    sys.exit(main())
