"""Damaged files through the programs themselves, under limits: ten times the time of a sound file, and
64 MB of memory more. And by the million through the same code in one process, under the sanitizers."""
import os
import random
import resource
import subprocess
import tempfile

import scenarios

READERS = (['check'], ['dump', '--format', 'csv'], ['info'], ['export', '--format', 'csv'],
           ['salvage', '--resync', '--force', '-o', 'saved.psl'])
SECONDS = 0.5        # below that, ten times a sound run is no measure
MEMORY = 64 << 10    # KB


def damaged(chance, data):
    data = bytearray(data)
    kind = chance.randrange(10)
    if kind < 6:
        for _ in range(chance.randint(1, 4)):
            at = chance.randrange(len(data))
            data[at] = chance.choice((0, 1, 0x7F, 0x80, 0xFF, chance.randrange(256)))
    elif kind < 7:
        del data[chance.randrange(len(data)):]
    elif kind < 8:
        at = chance.randrange(len(data))
        del data[at:at + chance.randint(1, 200)]
    elif kind < 9:
        at = chance.randrange(len(data))
        data[at:at] = data[chance.randrange(len(data)):][:300]
    else:
        at = chance.randrange(len(data)) & ~3
        data[at:at + 4] = chance.choice((b'\xff\xff\xff\xff', b'\x7f\xff\xff\xff', b'\0\0\xff\xff',
                                         b'\x80\0\0\0'))
    return bytes(data)


def sound_logs(machine):
    logs = []
    for revision in range(0x10, 0x22):
        waits = ['--wait-times'] if revision >= 0x1C else []
        made = scenarios._files(machine, 'psltool',
                                ['make', '--revision', hex(revision), '--records', '3', '--ld', '3',
                                 '--pd', '3', '--extended', 'full', '-q', '-o', 'made', *waits])
        logs.append(next(iter(made.items())))
    return logs


class Measured:
    """Time and memory of a run, from the kernel."""

    def __init__(self, machine, program, arguments, limits=None):
        process = machine.start(program, arguments, limits=limits, outputs=subprocess.DEVNULL)
        _, status, usage = os.wait4(process.pid, 0)
        process.returncode = os.waitstatus_to_exitcode(status)
        self.status = process.returncode
        self.cpu = usage.ru_utime + usage.ru_stime
        self.memory = usage.ru_maxrss


def runs(machine, count, seed):
    """(key, what is wrong) of that many runs, archiver and psltool in turn."""
    chance = random.Random(seed)
    logs = sound_logs(machine)
    clean = {}
    for number in range(count):
        name, data = logs[number % len(logs)]
        if number % 2 == 0:
            program, arguments = 'Qelprfarc', ['-o', 'out', name]
        else:
            program, arguments = 'psltool', [*READERS[number // 2 % len(READERS)], name]
        what = (program, arguments[0], name)
        if what not in clean:
            machine.place({name: data, 'out': None})
            clean[what] = Measured(machine, program, arguments)
        machine.place({name: damaged(chance, data), 'out': None})
        most = max(SECONDS, 10 * clean[what].cpu)
        limits = [(resource.RLIMIT_CPU, (int(most) + 1, int(most) + 2))]
        got = Measured(machine, program, arguments, limits)
        wrong = []
        if got.status not in (0, 1, 2):
            wrong.append(f'status {got.status}')
        if got.cpu > most:
            wrong.append(f'{got.cpu:.2f} s, a sound file {clean[what].cpu:.2f} s')
        if got.memory > clean[what].memory + MEMORY:
            wrong.append(f'{got.memory} KB, a sound file {clean[what].memory} KB')
        yield f'{seed}.{number} {program} {arguments[0]} {name}', wrong


class InProcess:
    """The program that does it (scripts/fuzz builds it), and how far it has come. What ends it is a
    violation; it goes on behind that file."""

    def __init__(self, build, state, seed):
        self.program = os.path.join(build, 'fuzz', 'bin', 'hostile_files')
        self.seed = seed
        self.kept = None
        if state != 'none':
            os.makedirs(state, exist_ok=True)
            self.kept = os.path.join(state, f'sanitized {seed}')

    def done(self):
        """How many files went through so far, and what was found."""
        if self.kept is None or not os.path.exists(self.kept):
            return 0, []
        with open(self.kept) as file:
            number, *found = file.read().splitlines()
        return int(number), found

    def run(self, count):
        done, found = self.done()
        memory = '/dev/shm' if os.access('/dev/shm', os.W_OK) else None
        with tempfile.TemporaryDirectory(prefix='qelhostile.', dir=memory) as scratch:
            progress = os.path.join(scratch, 'progress')
            while done < count:
                # Small steps: whoever ends this loses little.
                end = min(count, done + 10000)
                process = subprocess.run(
                    [self.program, str(self.seed), str(done), str(end), progress], text=True,
                    stdout=subprocess.PIPE, stderr=subprocess.PIPE, errors='replace',
                    env={**os.environ, 'TMPDIR': scratch, 'TZ': 'UTC', 'ASAN_OPTIONS': 'malloc_context_size=5'})
                new = process.stdout.splitlines()
                with open(progress, 'rb') as file:
                    reached = int.from_bytes(file.read(8), 'little')
                if reached == end:
                    done = end
                else:
                    lines = [line for line in process.stderr.splitlines() if 'ERROR' in line or 'runtime error' in line]
                    new.append(f'{reached} ended the process with {process.returncode}: {" ".join(lines[:1])}')
                    done = reached + 1
                for each in new:
                    print(f'  VIOLATION {self.seed}.{each}', flush=True)
                found += new
                if self.kept is not None:
                    with open(self.kept, 'w') as file:
                        file.write('\n'.join([str(done), *found]) + '\n')
        return done, found
