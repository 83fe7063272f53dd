"""Instructions per entry and system calls per record of an archive run.

A long log and its beginning are archived under callgrind or strace; the difference of the two
counts, divided by the entries or records that only the long one has, holds no start-up. Callgrind
shows a program an AVX2 processor at best, so the AVX-512 kernels are not seen. Used by
scripts/bench, tests/instruction_ceiling.py and tests/selection_growth.py.
"""
import re
import shutil
import subprocess
from pathlib import Path


def available():
    return shutil.which("valgrind") is not None


def strace_available():
    """strace may be there and not allowed to trace."""
    return shutil.which("strace") is not None and subprocess.run(
        ["strace", "-o", "/dev/null", "true"], capture_output=True).returncode == 0


def count(command, folder, environment):
    """Instructions of one run of a command."""
    profile = Path(folder) / "callgrind"
    command = [str(part) for part in command]
    done = subprocess.run(["valgrind", "--tool=callgrind", f"--callgrind-out-file={profile}",
                           *command], text=True, capture_output=True, env=environment)
    profile.unlink(missing_ok=True)
    found = re.search(r"Collected\s*:\s*(\d+)", done.stderr)
    if done.returncode != 0 or not found:
        raise RuntimeError(f"{' '.join(command)}: status {done.returncode}\n{done.stderr}")
    return int(found.group(1))


def count_calls(command, folder, environment):
    """System calls of one run of a command."""
    trace = Path(folder) / "strace"
    command = [str(part) for part in command]
    done = subprocess.run(["strace", "-f", "-o", trace, *command], text=True, capture_output=True,
                          env=environment)
    if done.returncode != 0:
        raise RuntimeError(f"{' '.join(command)}: status {done.returncode}\n{done.stderr}")
    calls = trace.read_text().count("(")
    trace.unlink()
    return calls


def difference(archiver, inputs, folder, environment, counting=count):
    """Count of the run over the long log less that of the short one. inputs: their paths."""
    counts = []
    for path in inputs:
        out = Path(folder) / "out"
        out.mkdir()
        counts.append(counting([archiver, "-o", out, path], folder, environment))
        if not any(out.iterdir()):
            raise RuntimeError(f"{archiver} made no archive of {path}")
        shutil.rmtree(out)
    return counts[1] - counts[0]


def per_entry(archiver, inputs, folder, environment):
    """Instructions per entry. inputs: path and number of entries of the short and the long log."""
    more = difference(archiver, [path for path, _ in inputs], folder, environment)
    return more / (inputs[1][1] - inputs[0][1])


def of_shape(archiver, psltool, shape, records, folder, environment):
    """Instructions per entry of a shape. records: of the short and the long log."""
    inputs = [(make_log(psltool, shape.make_options(), number, folder, environment),
               number * shape.entries()) for number in records]
    return per_entry(archiver, inputs, folder, environment)


def make_log(psltool, options, records, folder, environment):
    """Makes a log of so many statistics records, or takes the one that is there."""
    target = Path(folder) / f"{records}"
    if not target.exists():
        subprocess.run([str(psltool), "make", *options, "--records", str(records), "--quiet", "-o",
                        str(target)], check=True, env=environment)
    return next(target.glob("*.psl"))
