"""What the scripts/try-... programs share: packages, a world of their own, made logs, comparisons.

A trial runs in namespaces of its own (processes, mounts, network, host name). It has a loopback
interface that nobody else sees, so every port is free, and whatever it starts ends with it, however
that is. What it writes lies in one scratch directory, which goes at the end.
"""
import filecmp
import os
import shutil
import subprocess
import sys
import tempfile
import time
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent.parent
PROGRAMS = Path(os.environ.get("QELPRFARC_PROGRAMS", ROOT / "build/bin"))
PSLTOOL = PROGRAMS / "psltool"
ARCHIVER = PROGRAMS / "Qelprfarc"
SKIPPED = 77  # exit status, as ctest knows it
BRIDGE, NETWORK = "trial", "10.77.0"
INSIDE = "QELPRFARC_TRIAL_INSIDE"
NAMESPACES = ["--mount", "--net", "--uts", "--ipc", "--pid", "--fork", "--kill-child",
              "--mount-proc"]


def skip(why):
    print(f"skipped: {why}")
    sys.exit(SKIPPED)


def fail(what):
    sys.exit(f"FAILED: {what}")


def say(text):
    print(text, flush=True)


def installed(package):
    done = subprocess.run(["dpkg-query", "--show", "--showformat", "${db:Status-Status}", package],
                          text=True, capture_output=True)
    return done.returncode == 0 and done.stdout == "installed"


def apt(*words):
    subprocess.run(["apt-get", "--quiet", "--quiet", "-o", "Dpkg::Use-Pty=0",
                    "-o", "DPkg::Lock::Timeout=600", *words], check=True, stdin=subprocess.DEVNULL,
                   stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL,
                   env={**os.environ, "DEBIAN_FRONTEND": "noninteractive"})


def units_of(package):
    listed = subprocess.run(["dpkg", "--listfiles", package], text=True, capture_output=True)
    return [Path(line).name for line in listed.stdout.splitlines()
            if line.startswith("/lib/systemd/system/") and
            line.endswith((".service", ".socket", ".timer"))]


def install(packages):
    """Installs what is missing without starting or enabling any service."""
    testing = "--test" in sys.argv[1:]
    if testing and os.environ.get("QELPRFARC_ENGINES") != "1":
        skip("takes minutes; QELPRFARC_ENGINES=1 in the environment asks for it")
    missing = [package for package in packages if not installed(package)]
    if not missing:
        return
    if testing or "--no-install" in sys.argv[1:]:
        skip(f"not installed: {' '.join(missing)}")
    if os.geteuid() != 0:
        skip(f"not installed: {' '.join(missing)}; run as root, or: apt-get install "
             f"--no-install-recommends {' '.join(missing)}")
    say(f"installing {' '.join(missing)}")
    policy = Path("/usr/sbin/policy-rc.d")
    own_policy = not policy.exists()
    if own_policy:
        policy.write_text("#!/bin/sh\nexit 101\n")
        policy.chmod(0o755)
    try:
        apt("update")
        before = set(subprocess.run(["dpkg-query", "--show", "--showformat", "${Package}\n"],
                                    text=True, capture_output=True, check=True).stdout.split())
        apt("install", "--yes", "--no-install-recommends", *missing)
        after = set(subprocess.run(["dpkg-query", "--show", "--showformat", "${Package}\n"],
                                   text=True, capture_output=True, check=True).stdout.split())
        for package in sorted(after - before):
            for unit in units_of(package):
                subprocess.run(["systemctl", "--quiet", "--root=/", "disable", unit],
                               capture_output=True)
    finally:
        if own_policy:
            policy.unlink()


def enter():
    """Goes on in namespaces of its own: this program is started once more inside of them."""
    if os.environ.get(INSIDE):
        # Shared memory that is killed with its owner must not stay behind.
        run(["mount", "-t", "tmpfs", "none", "/dev/shm"])
        run(["ip", "link", "set", "lo", "up"])
        # Resolvers that leave out loopback addresses want another one; and hosts are joined here.
        run(["ip", "link", "add", BRIDGE, "type", "bridge"])
        run(["ip", "address", "add", f"{NETWORK}.1/24", "dev", BRIDGE])
        run(["ip", "link", "set", BRIDGE, "up"])
        return
    if os.geteuid() != 0:
        skip("namespaces of its own need root")
    probe = subprocess.run(["unshare", *NAMESPACES, "true"], capture_output=True, text=True)
    if probe.returncode != 0:
        skip(f"no namespaces here: {probe.stderr.strip()}")
    scratch = tempfile.mkdtemp(prefix="qelprfarc-try.")
    os.chmod(scratch, 0o755)
    environment = {**os.environ, INSIDE: scratch, "LC_ALL": "C", "TZ": "UTC"}
    done = subprocess.run(["unshare", *NAMESPACES, sys.executable, "-B", *sys.argv],
                          env=environment)
    if "--keep" in sys.argv[1:]:
        say(f"kept: {scratch}")
    else:
        shutil.rmtree(scratch, ignore_errors=True)
    sys.exit(done.returncode)


def scratch():
    return Path(os.environ[INSIDE])


def run(words, check=True, **options):
    """A program to its end; what it printed."""
    done = subprocess.run([str(word) for word in words], text=True, capture_output=True, **options)
    if check and done.returncode != 0:
        fail(f"{' '.join(map(str, words))}: status {done.returncode}\n{done.stdout}{done.stderr}")
    return done


def start(words, log, **options):
    """A program in the background; its output goes to a file."""
    with open(log, "ab") as out:
        return subprocess.Popen([str(word) for word in words], stdin=subprocess.DEVNULL, stdout=out,
                                stderr=out, **options)


def wait_for(what, condition, seconds=60, show=None):
    end = time.monotonic() + seconds
    while not condition():
        if time.monotonic() > end:
            text = Path(show).read_text(errors="replace")[-3000:] if show else ""
            fail(f"{what}: not within {seconds} seconds\n{text}")
        time.sleep(0.1)


def make_logs(directory, *options):
    run([PSLTOOL, "make", "--quiet", *options, "-o", directory])
    return sorted(Path(directory).glob("*.psl"))


def make_month(logs):
    """372 logs: twelve arrays of different sizes, a month of days with few records."""
    for number in range(12):
        make_logs(logs, "--name", f"array{number + 1:02d}", "--start", "2024-03-01", "--days", "31",
                  "--interval", "7200", "--none", "--ld", str(2 + 3 * number), "--seed",
                  str(number))
    return len(list(logs.glob("*.psl")))


def slow_programs():
    """The path of a psltool whose units take a tenth of a second more: else all would be done before
    anything can go wrong."""
    place = scratch() / "slow"
    place.mkdir(exist_ok=True)
    shutil.copy2(ARCHIVER, place / "Qelprfarc")
    shutil.copy2(PSLTOOL, place / "psltool.real")
    slow = place / "psltool"
    slow.write_text(f"#!/bin/sh\n[ \"$1\" != unit ] || sleep 0.1\n"
                    f"exec '{place}/psltool.real' \"$@\"\n")
    slow.chmod(0o755)
    return slow


def plain_run(logs, directory):
    """What one archiver makes of the logs, and then of its hour archives: to compare with."""
    directory.mkdir()
    run([ARCHIVER, "-o", directory, *sorted(logs.glob("*.psl"))])
    hours = sorted(directory.glob("*.psa"))
    run([ARCHIVER, "-o", directory, *hours])
    return sorted(path.name for path in directory.glob("*.psa"))


def compare(expected, made):
    """Compares every archive of two directories byte for byte; how many there are."""
    names = sorted(path.name for path in expected.iterdir())
    found = sorted(path.name for path in made.iterdir())
    if names != found:
        fail(f"other files: missing {sorted(set(names) - set(found))[:5]}, too many "
             f"{sorted(set(found) - set(names))[:5]}")
    _, different, broken = filecmp.cmpfiles(expected, made, names, shallow=False)
    if different or broken:
        fail(f"{len(different)} of {len(names)} archives differ: {different[:5]} {broken[:5]}")
    return len(names)
