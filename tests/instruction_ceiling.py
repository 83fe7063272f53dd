#!/usr/bin/env python3
"""Nobody slows the loop over entries unnoticed: instructions per entry have a ceiling for each shape.

Time on a shared machine says little; instructions counted by callgrind are the same on every run.
The ceilings are about 1.3 times what was counted when they were set, so other compilers and small
changes pass. Who needs more instructions for a good reason measures with scripts/bench, raises the
ceiling and says why in the commit message. Figures below the present ones are no failure.

Run by ctest (labels "long" and "instructions"); exit status 77 means skipped.
Usage: tests/instruction_ceiling.py Qelprfarc Qelprfarc_pairs Qelprfarc_scalar psltool
"""
import os
import platform
import sys
import tempfile
from pathlib import Path

sys.dont_write_bytecode = True
sys.path.insert(0, str(Path(__file__).resolve().parent.parent / "bench"))
import instructions  # noqa: E402
import shapes  # noqa: E402

SKIPPED = 77
# All records lie in one hour: both logs write the same number of records.
RECORDS = (20, 80)

VECTOR, PAIRS, SCALAR = "vector", "pairs", "scalar"
CEILINGS = {
    # path: most instructions per entry, by shape
    VECTOR: {
        "a working week": 162,
        "mostly idle": 72,
        "half of the disks idle": 157,
        "nine of ten disks idle": 109,
        "marks that come and go": 160,
        "some extended words": 198,
        "words and idle disks that come and go": 232,
        "all extended words": 254,
        "16 disks": 196,
        "older arithmetic": 133,
        "host ports": 150,
        "optional items": 344,
        "cache modules and segments": 345,
        shapes.FULL: 133,
    },
    PAIRS: {"half of the disks idle": 258, shapes.FULL: 273},
    SCALAR: {"mostly idle": 779, shapes.FULL: 756},
}


def has_vector_kernels():
    """Whether the archiver takes the AVX2 kernels under valgrind."""
    if platform.machine() not in ("x86_64", "AMD64"):
        return False
    return " avx2 " in Path("/proc/cpuinfo").read_text().replace("\n", " \n")


def main():
    if len(sys.argv) != 5:
        sys.exit(__doc__)
    if not instructions.available():
        print("skipped: valgrind is not installed (scripts/setup installs it)")
        return SKIPPED
    programs = dict(zip((VECTOR, PAIRS, SCALAR), sys.argv[1:4]))
    environment = {**os.environ, "TZ": "UTC", "LC_ALL": "C"}
    missing = {shape.name for shape in shapes.SHAPES} ^ set(CEILINGS[VECTOR])
    if missing:
        sys.exit(f"no ceiling, or no shape: {missing}")
    failures = 0
    for shape in shapes.SHAPES:
        with tempfile.TemporaryDirectory() as folder:
            for path, ceilings in CEILINGS.items():
                if shape.name not in ceilings:
                    continue
                if path == VECTOR and not has_vector_kernels():
                    print(f"{path}, {shape.name}: passed over, this processor has no AVX2")
                    continue
                counted = instructions.of_shape(programs[path], sys.argv[4], shape, RECORDS, folder,
                                                environment)
                # Fewer than one per entry would mean that the entries were not read at all.
                ceiling = ceilings[shape.name]
                good = 1 < counted <= ceiling
                failures += not good
                print(f"{path}, {shape.name}: {counted:.1f} instructions per entry, at most "
                      f"{ceiling}: {'good' if good else 'TOO MANY' if counted > ceiling else 'NOT READ'}",
                      flush=True)
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
