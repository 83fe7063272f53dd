"""One night of a thousand arrays: the part of bench/scale that --fleet asks for.

Each array has 10 to 4,096 logical disks. Their logarithms are spread evenly (seed 1): half of the
arrays have fewer than 202 disks, the mean is 680. Logs are small by few records (one every six
hours), not by few resources. The same night is done in several ways, and every archive is compared.
"""
import hashlib
import math
import os
import random
import re
import resource
import shutil
import subprocess
import tempfile
import time
from pathlib import Path

LEAST, MOST = 10, 4096
MAKE = ["--none", "--interval", "21600", "--profile", "flat", "--revision", "0x21", "--start",
        "2024-03-04", "--days", "1", "--quiet"]


def disks(count):
    chance = random.Random(1)
    return [round(math.exp(chance.uniform(math.log(LEAST), math.log(MOST)))) for _ in range(count)]


def make_logs(psltool, logs, count):
    """The logs of the first `count` arrays; those that are there stay."""
    logs.mkdir(parents=True, exist_ok=True)
    for number, size in enumerate(disks(count)):
        name = f"array{number:05d}"
        if not (logs / f"20240304{name}.psl").exists():
            subprocess.run([psltool, "make", *MAKE, "--name", name, "--ld", str(size), "--seed",
                            str(number), "-o", logs], check=True)


def choose(logs, place, count):
    """A directory with links to the logs of the first arrays."""
    place.mkdir()
    for number in range(count):
        name = f"20240304array{number:05d}.psl"
        os.link(logs / name, place / name)
    return sum(path.stat().st_size for path in place.iterdir())


def digests(out):
    return {path.name: hashlib.sha256(path.read_bytes()).hexdigest()
            for path in out.glob("*.psa") if len(path.name) > len("202403array00000.psa")}


def ways(programs, processes):
    psltool, archiver = programs
    units = f"'{psltool}' units -0 -o \"$OUT\" \"$LOGS\""
    found = {"one run": f"'{archiver}' -o \"$OUT\" \"$LOGS\"/*.psl",
             "xargs -P 1": f"{units} | xargs -0 -r -n 1 -P 1 sh -c > /dev/null"}
    for count in processes:
        if count > 1:
            found[f"xargs -P {count}"] = f"{units} | xargs -0 -r -n 1 -P {count} sh -c > /dev/null"
    names = f"'{psltool}' units -0 --names -o \"$OUT\" \"$LOGS\""
    found[f"-n 50 -P {max(processes)}"] = (
        f"{names} | xargs -0 -r -n 50 -P {max(processes)} '{psltool}' unit -q -o \"$OUT\" \"$LOGS\"")
    if shutil.which("parallel"):
        found[f"parallel -j {max(processes)}"] = (
            f"{units} | parallel --will-cite -0 -j {max(processes)} > /dev/null")
    return found


def turn(command, logs, out):
    """Seconds, CPU seconds of one way."""
    before = resource.getrusage(resource.RUSAGE_CHILDREN)
    began = time.monotonic()
    subprocess.run(["sh", "-c", f"set -e; {command}"], check=True, env={
        **os.environ, "LOGS": str(logs), "OUT": str(out), "TZ": "UTC",
        "PARALLEL_HOME": str(out.parent)})
    seconds = time.monotonic() - began
    after = resource.getrusage(resource.RUSAGE_CHILDREN)
    return seconds, after.ru_utime + after.ru_stime - before.ru_utime - before.ru_stime


def file_operations(psltool, logs, out):
    """System calls on files and processes of one unit, by sort."""
    unit = sorted(logs.iterdir())[0].stem
    with tempfile.NamedTemporaryFile() as table:
        subprocess.run(["strace", "-f", "-c", "-U", "calls,name", "-o", table.name, psltool, "unit",
                        "-o", out, logs, unit], check=True, stdout=subprocess.DEVNULL)
        counted = {found[2]: int(found[1]) for found in
                   re.finditer(r"^\s*(\d+)\s+(\w+)$", Path(table.name).read_text(), re.M)}
    sorts = {"open": ("open", "openat"), "read": ("read", "pread64"), "write": ("write",),
             "stat": ("stat", "fstat", "lstat", "newfstatat", "statx"), "list": ("getdents64",),
             "fsync": ("fsync",), "rename, link, unlink, mkdir, rmdir":
             ("rename", "linkat", "unlink", "unlinkat", "mkdir", "rmdir"),
             "map": ("mmap", "munmap", "mprotect"), "start": ("execve", "fork", "vfork", "clone",
                                                              "clone3")}
    text = ", ".join(f"{name} {sum(counted.get(call, 0) for call in calls)}"
                     for name, calls in sorts.items())
    return f"{text}; {counted.get('total', 0)} in all"


def cost_of_start(command, rounds=50):
    before = resource.getrusage(resource.RUSAGE_CHILDREN)
    for _ in range(rounds):
        subprocess.run(command, stdout=subprocess.DEVNULL, check=True)
    after = resource.getrusage(resource.RUSAGE_CHILDREN)
    return (after.ru_utime + after.ru_stime - before.ru_utime - before.ru_stime) / rounds * 1000


def row(name, count, size, seconds, cpu, base):
    print(f"{name:14} {count:7,} {seconds:9.2f} {count / seconds:9.1f} "
          f"{'' if cpu is None else f'{cpu:.2f}':>9} "
          f"{'' if cpu is None else f'{cpu / count * 1000:.2f}':>9} {size / seconds / 1e6:8.1f} "
          f"{base / seconds:7.2f}", flush=True)


def slurm(logs, out, processes):
    script = Path(__file__).with_name("fleet_slurm.py")
    done = subprocess.run([script, logs, out, str(processes)], text=True, capture_output=True)
    if done.returncode != 0:
        print(f"slurm: {done.stdout.strip()} {done.stderr.strip()}")
        return None
    return float(done.stdout.split()[-1])


def measure(programs, options, cache):
    logs = cache / "fleet"
    print(f"making the logs of {options.arrays} arrays", flush=True)
    make_logs(programs[0], logs, options.arrays)
    sizes = [options.arrays // 8, options.arrays // 4, options.arrays // 2, options.arrays]
    base = Path(tempfile.mkdtemp(dir=cache, prefix="fleet."))
    load = os.getloadavg()[0]
    try:
        print(f"load {load:.1f} before; archives on {base}")
        print(f"one start: psltool {cost_of_start([programs[0], '--help']):.1f}, "
              f"Qelprfarc {cost_of_start([programs[1], '-ver']):.1f} ms of CPU")
        print(f"{'':14} {'arrays':>7} {'seconds':>9} {'arrays/s':>9} {'CPU s':>9} {'ms/array':>9} "
              f"{'MB/s':>8} {'faster':>7}")
        for count in sizes:
            chosen = base / f"logs{count}"
            size = choose(logs, chosen, count)
            found = ways(programs, options.several)
            if count != sizes[-1]:
                found = {name: found[name] for name in ("one run", f"xargs -P {options.several[-1]}")
                         if name in found}
            first, made = None, None
            for name, command in found.items():
                out = base / "out"
                out.mkdir()
                seconds, cpu = turn(command, chosen, out)
                first = first or seconds
                archives = digests(out)
                if len(archives) != count or (made or archives) != archives:
                    raise SystemExit(f"scale: {name}: {len(archives)} archives, or others")
                made = archives
                row(name, count, size, seconds, cpu, first)
                shutil.rmtree(out)
            if count == sizes[-1] and options.slurm:
                out = base / "out"
                out.mkdir()
                seconds = slurm(chosen, out, max(options.several))
                if seconds is not None:
                    if digests(out) != made:
                        raise SystemExit("scale: slurm makes other archives")
                    row("slurm", count, size, seconds, None, first)
                shutil.rmtree(out)
            if count == sizes[-1]:
                print("file operations of a unit:",
                      file_operations(programs[0], chosen, base / "one"))
            shutil.rmtree(chosen)
        print(f"largest process: {resource.getrusage(resource.RUSAGE_CHILDREN).ru_maxrss / 1024:.1f}"
              " MiB")
    finally:
        shutil.rmtree(base, ignore_errors=True)
