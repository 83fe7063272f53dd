"""Interleaved rounds of one or more archivers, of a bare read and of cat over the same files."""
import contextlib
import shutil
import subprocess
import sys
import tempfile
from pathlib import Path

BASES = ("read", "cat")  # run beside the archivers


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


def for_each(command, files):
    """The command run for one file after the other, by a shell."""
    return ["sh", "-c", 'for file; do ' + " ".join(f"'{part}'" for part in command) +
            ' "$file" || exit 1; done', "sh", *files]


def commands_of(case, programs, cache, out):
    """programs: name -> archiver."""
    commands = {name: [str(program), "-o", str(out)] for name, program in programs.items()}
    commands |= {"read": [str(cache / "read_only")], "cat": ["cat"]}
    return {name: for_each(command, case.files) if case.each else [*command, *case.files]
            for name, command in commands.items()}


@contextlib.contextmanager
def in_memory(case, place):
    """The files of a case lie in `place`, a file system in memory, meanwhile; None: where they are.

    What cat costs depends on the pages that hold the files. Of a disk's file system they are of any
    size, by how the files came into the page cache, and cat takes one to three times as long; those
    of a file system in memory are always 4 KB, as all were before kernels had larger ones."""
    before = case.files
    size = sum(Path(path).stat().st_size for path in before)
    if place is not None and shutil.disk_usage(place).free < 2 * size:
        print(f"{case.name}: no room in {place}, read from the page cache", flush=True)
        place = None
    if place is None:
        yield
        return
    with tempfile.TemporaryDirectory(dir=place, prefix="qelprfarc-bench-") as folder:
        case.files = [shutil.copy(path, folder) for path in before]
        try:
            yield
        finally:
            case.files = before


def sizes(folder):
    return sum(path.stat().st_size for path in Path(folder).iterdir())


def measure_files(case, programs, cache, turns, environment):
    """Runs of each contender over the files of a case, and the bytes that the archivers write."""
    out = cache / "out"
    shutil.rmtree(out, ignore_errors=True)
    out.mkdir()
    commands = commands_of(case, programs, cache, out)
    written = 0

    def one(name):
        nonlocal written
        result = run(cache / "measure", commands[name], environment)
        if name not in BASES:
            # Outputs go before the next run and outside of the time: none is overwritten.
            written = sizes(out)
            if written == 0:
                raise Failed(f"{case.name}: {name} made no archive")
            for path in out.iterdir():
                path.unlink()
        return result

    try:
        names = list(commands)
        for name in names:
            one(name)  # the files are in the page cache from here on
        runs = {name: [] for name in names}
        for number in range(turns):
            if sys.stdout.isatty():
                print(f"\r{case.name}: round {number + 1} of {turns}", end="", flush=True)
            # Who begins changes from round to round, so that nobody always follows the same one.
            at = number % len(names)
            for name in names[at:] + names[:at]:
                runs[name].append(one(name))
    finally:
        shutil.rmtree(out, ignore_errors=True)
        if sys.stdout.isatty():
            print("\r\x1b[K", end="", flush=True)
    return runs, written


def measure_case(case, programs, cache, place, rounds, environment):
    """All runs of a case, as scripts/bench writes them to JSON."""
    with in_memory(case, place):
        runs, written = measure_files(case, programs, cache, rounds * case.times, environment)
    return {"title": case.title, "files": len(case.files),
            "input_bytes": sum(Path(path).stat().st_size for path in case.files),
            "output_bytes": written, "goal": case.goal, "goal_of": list(case.goal_of),
            "milliseconds": case.milliseconds, "allowed_memory": case.allowed_memory(),
            "runs": runs}
