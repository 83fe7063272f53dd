"""Instructions per entry of an archive run, counted by callgrind.

A long log and its beginning are archived; the difference of the two counts, divided by the entries
that only the long one has, holds no start-up. Callgrind shows a program an AVX2 processor at best,
so the AVX-512 kernels are not seen. Used by scripts/bench and by tests/instruction_ceiling.py.
"""
import re
import shutil
import subprocess
from pathlib import Path


def available():
    return shutil.which("valgrind") is not None


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


def per_entry(archiver, inputs, folder, environment):
    """Instructions per entry. inputs: path and number of entries of the short and the long log."""
    counts = []
    for path, _ in inputs:
        out = Path(folder) / "out"
        out.mkdir()
        counts.append(count([archiver, "-o", out, path], folder, environment))
        if not any(out.iterdir()):
            raise RuntimeError(f"{archiver} made no archive of {path}")
        shutil.rmtree(out)
    return (counts[1] - counts[0]) / (inputs[1][1] - inputs[0][1])


def make_log(psltool, options, records, folder, environment):
    """Makes a log of so many statistics records and returns its path."""
    target = Path(folder) / f"{records}"
    subprocess.run([str(psltool), "make", *options, "--records", str(records), "--quiet", "-o",
                    str(target)], check=True, env=environment)
    return next(target.glob("*.psl"))
