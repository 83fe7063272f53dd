"""Interleaved rounds of the archiver, of a bare read and of cat over the same files."""
import shutil
import subprocess
import sys
from pathlib import Path

CONTENDERS = ("archive", "read", "cat")


class Failed(Exception):
    """A measured command did not do what it should."""


def run(measure, command, environment, stdin=subprocess.DEVNULL):
    """Seconds, CPU seconds and peak memory (KiB) of one run. measure: bench/programs/measure."""
    done = subprocess.run([measure, *command], text=True, capture_output=True, env=environment,
                          stdin=stdin)
    if done.returncode != 0:
        raise Failed(f"{' '.join(command[:4])}...\n{done.stderr}")
    seconds, cpu, kib = done.stdout.split()
    return [float(seconds), float(cpu), int(kib)]


def commands_of(case, archiver, cache, out):
    return {"archive": [str(archiver), "-o", str(out), *case.files],
            "read": [str(cache / "read_only"), *case.files],
            "cat": ["cat", *case.files]}


def sizes(folder):
    return sum(path.stat().st_size for path in Path(folder).iterdir())


def measure_case(case, archiver, cache, rounds, environment):
    """All runs of a case, as scripts/bench writes them to JSON."""
    out = cache / "out"
    shutil.rmtree(out, ignore_errors=True)
    out.mkdir()
    commands = commands_of(case, archiver, cache, out)
    written = 0

    def one(name):
        nonlocal written
        result = run(cache / "measure", commands[name], environment)
        if name == "archive":
            # Outputs go before the next run and outside of the time: none is overwritten.
            written = sizes(out)
            if written == 0:
                raise Failed(f"{case.name}: no archive was made")
            for path in out.iterdir():
                path.unlink()
        return result

    try:
        for name in commands:
            one(name)  # the files are in the page cache from here on
        runs = {name: [] for name in CONTENDERS}
        turns = rounds * case.times
        for number in range(turns):
            if sys.stdout.isatty():
                print(f"\r{case.name}: round {number + 1} of {turns}", end="", flush=True)
            # Who begins changes from round to round, so that nobody always follows the same one.
            at = number % len(CONTENDERS)
            for name in CONTENDERS[at:] + CONTENDERS[:at]:
                runs[name].append(one(name))
    finally:
        shutil.rmtree(out, ignore_errors=True)
        if sys.stdout.isatty():
            print("\r\x1b[K", end="", flush=True)
    return {"title": case.title, "files": len(case.files),
            "input_bytes": sum(Path(path).stat().st_size for path in case.files),
            "output_bytes": written, "goal": case.goal, "near_hour": case.near_hour,
            "milliseconds": case.milliseconds, "allowed_memory": case.allowed_memory(),
            "runs": runs}
