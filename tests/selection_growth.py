#!/usr/bin/env python3
"""The instructions of a run for each log do not grow with the number of logs.

A night, and a manual run over a directory, of 100, 400 and 1,600 logs of one record each: what a log
costs between 400 and 1,600 may be little more than what it costs between 100 and 400, as sorting
does. With outputs looked for among all outputs before them, and a manual run's among all inputs, it
was 1.4 and 1.6 times as much. Counted by callgrind, which says the same on every machine.

Run by ctest (labels "long" and "instructions"); exit status 77 means skipped.
Usage: tests/selection_growth.py Qelprfarc_test psltool
"""
import os
import shutil
import sys
import tempfile
from pathlib import Path

sys.dont_write_bytecode = True
sys.path.insert(0, str(Path(__file__).resolve().parent.parent / "bench"))
import instructions  # noqa: E402
import listing  # noqa: E402

SKIPPED = 77
SIZES = (100, 400, 1600)
MOST = 1.15


def growth(place, case, environment):
    counts = []
    for size in SIZES:
        place.fill(size, archived=False)
        command = listing.commands(place)[case][1]
        counts.append(instructions.count(command, place.base, environment))
        made = listing.made_by(place, case)
        if made != size:
            sys.exit(f"{case}: {made} archives of {size} logs")
        place.clear()
    per_log = [(counts[i + 1] - counts[i]) / (SIZES[i + 1] - SIZES[i]) for i in range(2)]
    good = 0 < per_log[1] <= MOST * per_log[0]
    print(f"{case}: {per_log[0]:,.0f}, then {per_log[1]:,.0f} instructions per log: "
          f"{'good' if good else 'GROWS'}")
    return good


def main():
    if len(sys.argv) != 3:
        sys.exit(__doc__)
    if not instructions.available():
        print("skipped: valgrind is not installed (scripts/setup installs it)")
        return SKIPPED
    environment = {**os.environ, "TZ": "UTC", "LC_ALL": "C"}
    # In memory: on a disk thousands of archives are synced.
    memory = "/dev/shm" if os.access("/dev/shm", os.W_OK) else None
    base = tempfile.mkdtemp(prefix="qelprfarc-growth.", dir=memory)
    place = None
    try:
        place = listing.Place((sys.argv[2], sys.argv[1]), base)
        good = [growth(place, case, environment) for case in ("night", "manual")]
    finally:
        if place is not None:
            place.remove()
        shutil.rmtree(base, ignore_errors=True)
    return 0 if all(good) else 1


if __name__ == "__main__":
    sys.exit(main())
