"""A Slurm of one's own: a controller and compute daemons that share this machine. To be started in
the namespaces of a trial (trial.py)."""
import collections
import os
import re
from pathlib import Path

import trial
from trial import run, scratch, start, wait_for


CONFIGURATION = """\
ClusterName=trial
SlurmctldHost={host}(127.0.0.1)
SlurmUser=root
SlurmdUser=root
AuthType=auth/munge
AuthInfo=socket={place}/munge/socket,cred_expire=5
CredType=cred/munge
StateSaveLocation={place}/state
SlurmdSpoolDir={place}/spool.%n
SlurmctldPidFile={place}/slurmctld.pid
SlurmdPidFile={place}/slurmd.%n.pid
SlurmctldLogFile={place}/slurmctld.log
SlurmdLogFile={place}/slurmd.%n.log
SlurmctldPort=16817
ProctrackType=proctrack/linuxproc
TaskPlugin=task/none
SwitchType=switch/none
MpiDefault=none
SelectType=select/cons_tres
SelectTypeParameters=CR_CPU
SchedulerParameters=batch_sched_delay=1,sched_interval=2
SlurmdTimeout=6
KillWait=2
MessageTimeout=10
ReturnToService=2
JobRequeue=1
JobCompType=jobcomp/filetxt
JobCompLoc={place}/jobs
JobAcctGatherType=jobacct_gather/none
AccountingStorageType=accounting_storage/none
SlurmdParameters=config_overrides
{nodes}
PartitionName=main Nodes={names} Default=YES MaxTime=INFINITE State=UP
"""


class Cluster:
    """munged, slurmctld and the compute daemons, each of those with what it runs in a namespace."""

    def __init__(self, nodes=("n1", "n2", "n3"), cpus=2):
        self.place = scratch() / "slurm"
        (self.place / "munge").mkdir(parents=True)
        (self.place / "state").mkdir()
        munge = self.place / "munge"
        munge.chmod(0o755)
        key = munge / "key"
        key.write_bytes(Path("/dev/urandom").open("rb").read(128))
        key.chmod(0o400)
        start(["munged", "--force", "--foreground", f"--key-file={key}",
               f"--socket={munge}/socket", f"--pid-file={munge}/pid", f"--log-file={munge}/log",
               f"--seed-file={munge}/seed", "--num-threads=4"], munge / "out")
        wait_for("munged", (munge / "socket").exists, show=munge / "out")
        host = run(["hostname"]).stdout.strip()
        lines = "\n".join(f"NodeName={name} NodeHostname={host} NodeAddr=127.0.0.1 "
                          f"Port={17001 + number} CPUs={cpus} RealMemory=4000 State=UNKNOWN"
                          for number, name in enumerate(nodes))
        self.file = self.place / "slurm.conf"
        self.file.write_text(CONFIGURATION.format(host=host, place=self.place, nodes=lines,
                                                  names=",".join(nodes)))
        self.environment = {**os.environ, "SLURM_CONF": str(self.file),
                            "PATH": f"{trial.PROGRAMS}:{os.environ['PATH']}"}
        start(["slurmctld", "-D", "-f", self.file], self.place / "ctld.out", env=self.environment)
        self.daemons = {name: self.start_node(name) for name in nodes}
        wait_for("idle nodes", lambda: self.nodes().count("idle") == len(nodes),
                 show=self.place / "slurmctld.log")

    def start_node(self, name):
        return start(["unshare", "--pid", "--fork", "--kill-child", "--mount-proc", "slurmd", "-D",
                      "-N", name, "-f", self.file], self.place / f"{name}.out",
                     env=self.environment)

    def call(self, *words, check=True):
        return run(words, check=check, env=self.environment).stdout

    def nodes(self):
        return self.call("sinfo", "--noheader", "--Node", "--format=%t", check=False).split()

    def tasks(self, *options):
        lines = self.call("squeue", "--noheader", "--array", "--format=%i %t %N %r", *options)
        return [line.split(" ", 3) for line in lines.splitlines()]

    def wait_until_done(self, seconds=240):
        wait_for("the end of all jobs", lambda: not self.tasks(), seconds,
                 show=self.place / "slurmctld.log")

    def ends(self):
        """How often jobs ended in each state, by name and state."""
        counted = collections.Counter()
        for line in (self.place / "jobs").read_text().splitlines():
            fields = dict(re.findall(r"(\w+)=(\S*)", line))
            counted[f"{fields['Name']} {fields['JobState']}"] += 1
        return counted
