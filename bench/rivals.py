"""The tools of bench/compare: each makes the same hourly values of the same samples.

Samples are an array [interval, disk, group, word] of the words of a log: count, mean time, largest
time, mean size. Results are arrays [hour, disk, group, value] with the values VALUES. Every tool
gets the samples in the form that suits it; making that form is not timed, reading it is "loading".
"""
import shutil
import subprocess
import time
from pathlib import Path

import numpy

import rounds

GROUPS = 5
ENTRY = 96           # a logical-disk entry of a log without extended words, groups from byte 16
WORDS = 88           # extended words behind it in an archive: 4 for each group, 2 of the ratio
HEADS = 256          # of a statistics record; the logical disks are the only kind
INTERVAL = 60
VALUES = ("sum of counts", "mean time", "largest time", "mean size", "largest count",
          "smallest count", "largest volume", "smallest volume")


def statistics_records(path):
    """Offset and length of the statistics records of a file."""
    with open(path, "rb") as file:
        at = 0
        while len(head := file.read(12)) == 12:
            length = int.from_bytes(head[8:12], "big")
            if head[:3] == b"STA":
                yield at, length
            at += length
            file.seek(at)


def entries(path, disks, size):
    """The entries of all statistics records as a view [record, disk, u32 word]; nothing is read."""
    found = list(statistics_records(path))
    step = {length for _, length in found}
    if step != {HEADS + disks * size}:
        raise rounds.Failed(f"{path}: records of {step} bytes are not all full")
    raw = numpy.memmap(path, dtype=numpy.uint8, mode="r")
    first, length = found[0]
    rows = raw[first:first + len(found) * length].reshape(len(found), length)[:, HEADS:]
    return rows.view(">u4").reshape(len(found), disks, size // 4)


def samples_of(log, disks):
    words = entries(log, disks, ENTRY)[:, :, 4:]
    return words.reshape(words.shape[0], disks, GROUPS, 4)


def check(name, got, archive, disks):
    """Compares results with what the archiver made, which holds whole numbers and rates."""
    words = entries(archive, disks, ENTRY + WORDS)[:, :got.shape[1]].astype(numpy.float64)
    shape = (*got.shape[:3], 4)
    expected = numpy.concatenate([words[:, :, 4:24].reshape(shape),
                                  words[:, :, 24:44].reshape(shape)], axis=3)
    rates = got.copy()
    rates[..., 4:6] *= 1e6 / (INTERVAL * 1000)
    rates[..., 6:8] /= INTERVAL * 1024
    # The archive cuts fractions off; rrdtool prints ten digits.
    off = numpy.abs(rates - expected) > 1 + 1e-6 * expected
    if got.shape[0] != words.shape[0] or off.any():
        first = numpy.argwhere(off)[0]
        raise rounds.Failed(f"{name}: {VALUES[first[3]]} at hour, disk, group {first[:3]} is "
                            f"{rates[tuple(first)]}, archived {expected[tuple(first)]}")


class Numpy:
    """Arrays of doubles in memory; interpreter and import are not timed."""
    name = "numpy"

    def __init__(self, log, all_disks, disks, folder, measure):
        self.log, self.all_disks, self.disks = log, all_disks, disks

    def turn(self):
        """(wall, CPU) of loading and of consolidating."""
        start = time.perf_counter(), time.process_time()
        samples = samples_of(self.log, self.all_disks)[:, :self.disks]
        c, m, x, s = (samples[..., word].astype(numpy.float64) for word in range(4))
        loaded = time.perf_counter(), time.process_time()
        hours = c.shape[0] * INTERVAL // 3600
        each = 3600 // INTERVAL
        result = numpy.empty((hours, *c.shape[1:], len(VALUES)))
        for hour in range(hours):  # an hour's arrays stay nearer in memory than the day's
            part = slice(hour * each, (hour + 1) * each)
            out, count, volume = result[hour], c[part], c[part] * s[part]
            total = count.sum(axis=0)
            safe = numpy.where(total > 0, total, 1)
            out[..., 0] = total
            out[..., 1] = (count * m[part]).sum(axis=0) / safe
            out[..., 2] = x[part].max(axis=0)
            out[..., 3] = volume.sum(axis=0) / safe
            out[..., 4], out[..., 5] = count.max(axis=0), count.min(axis=0)
            out[..., 6], out[..., 7] = volume.max(axis=0), volume.min(axis=0)
        done = time.perf_counter(), time.process_time()
        self.result = result
        return [(b - a, d - c) for (a, c), (b, d) in ((start, loaded), (loaded, done))]

    def results(self):
        return self.result


class Sqlite:
    """A table whose primary key is the order of the grouping; no journal, nothing synced."""
    name = "sqlite3"
    CREATE = ("CREATE TABLE samples (disk INTEGER, grp INTEGER, hour INTEGER, t INTEGER, c INTEGER,"
              " m INTEGER, x INTEGER, s INTEGER, PRIMARY KEY (disk, grp, hour, t)) WITHOUT ROWID;")
    GROUP = ("CREATE TABLE hourly AS SELECT hour, disk, grp, sum(c), sum(c*m)*1.0/max(sum(c), 1),"
             " max(x), sum(c*s)*1.0/max(sum(c), 1), max(c), min(c), max(c*s), min(c*s)"
             " FROM samples GROUP BY disk, grp, hour;")
    QUICK = "PRAGMA journal_mode=OFF; PRAGMA synchronous=OFF; PRAGMA cache_size=-1000000;"

    def __init__(self, log, all_disks, disks, folder, measure):
        self.disks, self.measure = disks, measure
        self.base = folder / "samples.db"
        samples = samples_of(log, all_disks)[:, :disks].astype(numpy.int64)
        count = samples.shape[0]
        t, disk, grp = numpy.meshgrid(numpy.arange(count), numpy.arange(disks),
                                      numpy.arange(GROUPS), indexing="ij")
        keys = numpy.stack([disk, grp, t * INTERVAL // 3600, t], axis=3)
        rows = numpy.concatenate([keys, samples], axis=3).transpose(1, 2, 0, 3).reshape(-1, 8)
        numpy.savetxt(folder / "samples.csv", rows, fmt="%d", delimiter=",")
        self.csv = folder / "samples.csv"

    def turn(self):
        self.base.unlink(missing_ok=True)
        load = rounds.run(self.measure, ["sqlite3", str(self.base), self.QUICK + self.CREATE,
                                         "BEGIN;", f".import --csv '{self.csv}' samples",
                                         "COMMIT;"], None)
        group = rounds.run(self.measure, ["sqlite3", str(self.base), self.QUICK + self.GROUP], None)
        return [tuple(load[:2]), tuple(group[:2])]

    def results(self):
        text = subprocess.run(["sqlite3", self.base, "SELECT * FROM hourly ORDER BY 1, 2, 3"],
                              check=True, text=True, capture_output=True).stdout
        rows = numpy.array([line.split("|")[3:] for line in text.splitlines()], dtype=float)
        return rows.reshape(-1, self.disks, GROUPS, len(VALUES))


class Rrdtool:
    """A database per disk that keeps hourly averages, maxima and minima. It consolidates while it
    loads, and knows no weights: count x mean is fed and divided by the count afterwards."""
    name = "rrdtool"
    DATA = ("c", "cm", "x", "cs")
    START = 1_700_006_400  # a full hour

    def __init__(self, log, all_disks, disks, folder, measure):
        self.disks, self.measure, self.folder = disks, measure, folder / "rrd"
        samples = samples_of(log, all_disks)[:, :disks].astype(numpy.float64)
        samples[..., 1] *= samples[..., 0]
        samples[..., 3] *= samples[..., 0]
        self.hours = samples.shape[0] * INTERVAL // 3600
        sources = " ".join(f"DS:{name}{group}:GAUGE:{INTERVAL}:0:U" for group in range(GROUPS)
                           for name in self.DATA)
        rows = " ".join(f"RRA:{how}:0:{3600 // INTERVAL}:{self.hours}"
                        for how in ("AVERAGE", "MAX", "MIN"))
        self.feed = folder / "rrd-commands"
        with open(self.feed, "w") as out:
            for disk in range(disks):
                out.write(f"create {self.folder}/{disk} --start {self.START} --step {INTERVAL} "
                          f"{sources} {rows}\n")
                flat = samples[:, disk].reshape(samples.shape[0], -1)
                values = (f"{self.START + (t + 1) * INTERVAL}:" + ":".join(f"{v:.0f}" for v in row)
                          for t, row in enumerate(flat))
                out.write(f"update {self.folder}/{disk} {' '.join(values)}\n")

    def turn(self):
        shutil.rmtree(self.folder, ignore_errors=True)
        self.folder.mkdir()
        with open(self.feed) as commands:
            both = rounds.run(self.measure, ["rrdtool", "-"], None, stdin=commands)
        return [None, tuple(both[:2])]

    def fetch(self, disk, how):
        text = subprocess.run(["rrdtool", "fetch", f"{self.folder}/{disk}", how,
                               "--start", str(self.START),
                               "--end", str(self.START + (self.hours - 1) * 3600 + 1)],
                              check=True, text=True, capture_output=True).stdout
        rows = [line.split(":")[1].split() for line in text.splitlines() if ":" in line]
        return numpy.array(rows[:self.hours], dtype=float).reshape(self.hours, GROUPS, 4)

    def results(self):
        result = numpy.empty((self.hours, self.disks, GROUPS, len(VALUES)))
        for disk in range(self.disks):
            mean, most, least = (self.fetch(disk, how) for how in ("AVERAGE", "MAX", "MIN"))
            c, cm, _, cs = (mean[..., word] for word in range(4))
            safe = numpy.where(c > 0, c, 1)
            columns = (c * (3600 // INTERVAL), cm / safe, most[..., 2], cs / safe, most[..., 0],
                       least[..., 0], most[..., 3], least[..., 3])
            result[:, disk] = numpy.stack(columns, axis=2)
        return result


def exists(tool):
    return tool is Numpy or shutil.which(tool.name) is not None


def folder_of(cache):
    folder = Path(cache) / "compare"
    folder.mkdir(parents=True, exist_ok=True)
    return folder
