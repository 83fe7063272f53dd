#!/usr/bin/env python3
"""Nobody slows the loop over entries unnoticed: instructions per entry have a ceiling.

Time on a shared machine says little; instructions counted by callgrind are the same on every run.
The ceilings are about 1.6 times what was counted when they were set, so other compilers and small
changes pass. Who needs more instructions for a good reason measures with scripts/bench, raises the
ceiling and says why in the commit message. Figures below the present ones are no failure.

Run by ctest (labels "long" and "instructions"); exit status 77 means skipped.
Usage: tests/instruction_ceiling.py Qelprfarc Qelprfarc_scalar psltool
"""
import os
import platform
import sys
import tempfile
from pathlib import Path

sys.dont_write_bytecode = True
sys.path.insert(0, str(Path(__file__).resolve().parent.parent / "bench"))
import instructions  # noqa: E402

SKIPPED = 77
DISKS = 256
# All records lie in one hour: both logs write the same number of records.
SHORT, LONG = 60, 300
MAKE = ["--none", "--ld", str(DISKS), "--interval", "10", "--seed", "1"]
FLAT, IDLE, OFFICE = ["--profile", "flat"], ["--profile", "idle"], ["--profile", "office"]

VECTOR, SCALAR = "vector", "scalar"
CEILINGS = [
    # path, what, options of psltool make, most instructions per logical-disk entry
    (VECTOR, "full entries", FLAT, 210),
    (VECTOR, "mostly idle", IDLE, 185),
    (VECTOR, "a working week", OFFICE, 345),
    (VECTOR, "extended words", FLAT + ["--extended", "full"], 400),
    (VECTOR, "some extended words", FLAT + ["--extended", "partial"], 350),
    (VECTOR, "older arithmetic", FLAT + ["--revision", "0x12"], 210),
    (SCALAR, "full entries", FLAT, 820),
]


def has_vector_kernels():
    """Whether the archiver takes the AVX2 kernels under valgrind."""
    if platform.machine() not in ("x86_64", "AMD64"):
        return False
    return " avx2 " in Path("/proc/cpuinfo").read_text().replace("\n", " \n")


def main():
    if len(sys.argv) != 4:
        sys.exit(__doc__)
    if not instructions.available():
        print("skipped: valgrind is not installed (scripts/setup installs it)")
        return SKIPPED
    programs = {VECTOR: sys.argv[1], SCALAR: sys.argv[2]}
    environment = {**os.environ, "TZ": "UTC", "LC_ALL": "C"}
    failures = 0
    for path, what, options, ceiling in CEILINGS:
        if path == VECTOR and not has_vector_kernels():
            print(f"{path}, {what}: passed over, this processor has no AVX2")
            continue
        with tempfile.TemporaryDirectory() as folder:
            inputs = [(instructions.make_log(sys.argv[3], MAKE + options, records, folder,
                                             environment), records * DISKS)
                      for records in (SHORT, LONG)]
            counted = instructions.per_entry(programs[path], inputs, folder, environment)
        # Fewer than one per entry would mean that the entries were not read at all.
        good = 1 < counted <= ceiling
        failures += not good
        print(f"{path}, {what}: {counted:.1f} instructions per entry, at most {ceiling}: "
              f"{'good' if good else 'TOO MANY' if counted > ceiling else 'NOT READ'}")
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
