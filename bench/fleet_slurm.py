#!/usr/bin/env python3
"""One night's units under a Slurm of one's own: the part of bench/scale --fleet that needs daemons.

Usage: bench/fleet_slurm.py LOGS OUT PROCESSES     prints the seconds from submission to the end
"""
import subprocess
import sys
import time
from pathlib import Path

sys.dont_write_bytecode = True
ROOT = Path(__file__).resolve().parent.parent
sys.path.insert(0, str(ROOT / "scripts/engines"))
import trial  # noqa: E402
from cluster import Cluster  # noqa: E402


def main():
    logs, out, processes = sys.argv[1], sys.argv[2], int(sys.argv[3])
    trial.install(["slurm-wlm", "munge", "iproute2"])
    trial.enter()
    cluster = Cluster(("n1",), processes)
    began = time.monotonic()
    subprocess.run([ROOT / "packaging/qelprfarc-submit", "-n", str(processes), "-o", out, "-w",
                    trial.scratch() / "work", logs], check=True, env=cluster.environment,
                   stdout=subprocess.DEVNULL)
    seconds = 0.0
    while cluster.tasks():
        if any(name != "qelprfarc-plan" for name in cluster.call(
                "squeue", "--noheader", "--states=R", "--format=%j").split()):
            seconds = time.monotonic() - began
        time.sleep(0.1)
    if list((trial.scratch() / "work").glob("*.failed.*")):
        trial.fail("a task has failed")
    print(f"{seconds:.2f}")


main()
