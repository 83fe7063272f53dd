"""Runs the programs under the preloaded library (tests/shim/torture.cc), in a directory in memory, and
takes and places whole trees of files."""
import atexit
import collections
import ctypes
import errno
import os
import resource
import shutil
import signal
import subprocess
import tempfile

Result = collections.namedtuple('Result', 'status out err cpu memory')

# Larger files are known by their size only: they are holes.
LARGE = 100_000


class Segment:
    """A shared-memory segment that ends with this process, however that ends."""

    def __init__(self, data):
        libc = ctypes.CDLL(None, use_errno=True)
        libc.shmat.restype = ctypes.c_void_p
        self.number = libc.shmget(0, len(data), 0o1666)
        if self.number == -1:
            raise OSError(ctypes.get_errno(), 'shmget')
        address = libc.shmat(self.number, None, 0)
        # Marked to be removed at once: it can still be attached until the last process detaches.
        libc.shmctl(self.number, 0, None)
        ctypes.memmove(address, bytes(data), len(data))


class Machine:
    user = None  # as whom programs run; None: as whoever runs this

    def __init__(self, build):
        self.build = os.path.abspath(build)
        self.shim = os.path.join(self.build, 'libqelprfarc_torture.so')
        self.programs = {name: os.path.join(self.build, 'bin', name) for name in ('Qelprfarc', 'psltool')}
        for path in [self.shim, *self.programs.values()]:
            if not os.path.exists(path):
                raise SystemExit(f'torture: {path} is missing: scripts/build release Qelprfarc psltool '
                                 'qelprfarc_torture')
        memory = '/dev/shm' if os.access('/dev/shm', os.W_OK) else None
        self.work = tempfile.mkdtemp(prefix='qeltorture.', dir=memory)
        atexit.register(shutil.rmtree, self.work, ignore_errors=True)
        # The same path in every process: what programs write holds it.
        self.tree = os.path.join(self.work, 't')
        self.notes = os.path.join(self.work, 'notes')
        os.mkdir(self.notes)

    def note(self, name):
        path = os.path.join(self.notes, name)
        if os.path.exists(path):
            os.unlink(path)
        return path

    def start(self, program, arguments, plan=None, clock=None, variables=None, limits=None,
              outputs=subprocess.PIPE):
        environment = {'LC_ALL': 'C', 'TZ': 'UTC', 'PATH': '/usr/bin:/bin', 'TMPDIR': self.tree,
                       'LD_PRELOAD': self.shim, 'TORTURE_PROGRAM': program,
                       'TORTURE_PREFIX': os.path.join(self.tree, 'prefix')}
        if clock is not None:
            environment['TORTURE_CLOCK'] = str(clock)
        environment.update(variables or {})
        environment.update({'TORTURE_' + key: str(value) for key, value in (plan or {}).items()})

        def prepare():
            for limit in limits or ():
                resource.setrlimit(*limit)
            if self.user is not None:
                os.setgroups([])
                os.setgid(self.user)
                os.setuid(self.user)
        return subprocess.Popen(
            [self.programs[program], *arguments], cwd=self.tree, env=environment, close_fds=False,
            stdin=subprocess.DEVNULL, stdout=outputs, stderr=outputs,
            preexec_fn=prepare if limits or self.user is not None else None)

    @staticmethod
    def finish(process, timeout=30):
        """Waits for a program. One that hangs is killed, and its status says so: 'hangs'."""
        hangs = False
        try:
            out, err = process.communicate(timeout=timeout)
        except subprocess.TimeoutExpired:
            process.kill()
            out, err = process.communicate()
            hangs = True
        status = process.returncode
        status = 'hangs' if hangs else 128 - status if status < 0 else status
        return Result(status, out.decode(errors='replace'), err.decode(errors='replace'), 0, 0)

    def run(self, *arguments, **options):
        return self.finish(self.start(*arguments, **options))

    # --- trees -----------------------------------------------------------------------------------

    def place(self, tree):
        """`tree`: by relative path bytes, a size (a hole), None (a directory) or '-> target'."""
        shutil.rmtree(self.tree, ignore_errors=True)
        os.mkdir(self.tree)
        made = set()
        for path, content in tree.items():
            whole = os.path.join(self.tree, path)
            parent = whole if content is None else os.path.dirname(whole)
            if parent not in made:
                os.makedirs(parent, exist_ok=True)
                made.add(parent)
            if content is None:
                continue
            if isinstance(content, str):
                os.symlink(content[3:], whole)
                continue
            with open(whole, 'wb') as file:
                if isinstance(content, int):
                    file.truncate(content)
                else:
                    file.write(content)

    def take(self):
        tree = {}
        self._take(self.tree, '', tree)
        return tree

    def _take(self, directory, prefix, tree):
        for entry in os.scandir(directory):
            path = prefix + entry.name
            if entry.is_symlink():
                tree[path] = '-> ' + os.readlink(entry.path)
            elif entry.is_dir():
                tree[path] = None
                self._take(entry.path, path + '/', tree)
            else:
                size = entry.stat().st_size
                if size > LARGE:
                    tree[path] = size
                else:
                    with open(entry.path, 'rb') as file:
                        tree[path] = file.read()


def name_of_signal(number):
    return signal.Signals(number).name


def name_of_error(number):
    return {9001: 'short', 9002: 'nothing'}.get(number) or errno.errorcode.get(number, str(number))
