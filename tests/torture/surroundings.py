"""What happens around a run: the program is stopped before one of its calls, the file system is full or
read-only from there on, rights are taken away, or the clock jumps; then it goes on. Afterwards all is as
before, and the next run must make everything good."""
import atexit
import ctypes
import os

import machine as machines
import oracle
import races

MS_RDONLY, MS_REMOUNT, MS_BIND, MS_REC, MS_PRIVATE = 1, 32, 4096, 16384, 1 << 18
CLONE_NEWNS = 0x20000
NOBODY = 65534
DAY = 86400


class NotAllowed(Exception):
    pass


def _mount(source, target, kind, flags, data=None):
    libc = ctypes.CDLL(None, use_errno=True)
    encoded = [None if text is None else text.encode() for text in (source, target, kind, data)]
    if libc.mount(*encoded[:3], ctypes.c_ulong(flags), encoded[3]) != 0:
        raise NotAllowed(f'mount {target}: {os.strerror(ctypes.get_errno())}')


def _unmount(target):
    return ctypes.CDLL(None).umount2(target.encode(), 2) == 0


def _own_mounts():
    """From here on mounts are seen by this process and its children only."""
    libc = ctypes.CDLL(None, use_errno=True)
    if libc.unshare(CLONE_NEWNS) != 0:
        raise NotAllowed(f'mounts of its own: {os.strerror(ctypes.get_errno())}')
    _mount('none', '/', None, MS_REC | MS_PRIVATE)


class SmallMachine(machines.Machine):
    """Its files lie in a file system of their own, of four megabytes."""
    title = 'full and read-only'

    def __init__(self, build):
        super().__init__(build)
        _own_mounts()
        self.small = os.path.join(self.work, 'small')
        os.mkdir(self.small)
        _mount('none', self.small, 'tmpfs', 0, 'size=4m,mode=755')
        atexit.register(_unmount, self.small)
        self.tree = os.path.join(self.small, 't')


class NobodysMachine(machines.Machine):
    """Programs run without any privilege, in a tree that is theirs."""
    title = 'rights'

    def __init__(self, build):
        super().__init__(build)
        if os.geteuid() != 0:
            return
        os.chmod(self.work, 0o755)
        os.chmod(self.notes, 0o777)
        self.user = NOBODY
        for path in [self.shim, *self.programs.values()]:
            while path != '/':
                if not os.stat(path).st_mode & 0o005 == 0o005:
                    raise NotAllowed(f'nobody may not look into {path}')
                path = os.path.dirname(path)

    def place(self, tree):
        super().place(tree)
        if os.geteuid() != 0:
            return
        for directory, _, files in os.walk(self.tree):
            for path in [directory, *(os.path.join(directory, name) for name in files)]:
                os.chown(path, NOBODY, NOBODY, follow_symlinks=False)


class Full:
    def act(self, machine):
        filler = os.open(os.path.join(machine.small, 'filler'), os.O_WRONLY | os.O_CREAT)
        try:
            while True:
                os.write(filler, b'\0' * (1 << 16))
        except OSError:
            pass
        finally:
            os.close(filler)

    def undo(self, machine):
        os.unlink(os.path.join(machine.small, 'filler'))


class ReadOnly:
    """Of a directory; what is open for writing stays so."""

    def __init__(self, name):
        self.name = name

    def act(self, machine):
        path = os.path.join(machine.tree, self.name)
        _mount(path, path, None, MS_BIND)
        _mount('none', path, None, MS_REMOUNT | MS_BIND | MS_RDONLY)

    def undo(self, machine):
        if not _unmount(os.path.join(machine.tree, self.name)):
            raise NotAllowed('a mount cannot be undone')


class Rights:
    def __init__(self, name, mode):
        self.name = name
        self.mode = mode

    def act(self, machine):
        path = os.path.join(machine.tree, self.name)
        self.before = os.stat(path).st_mode & 0o7777 if os.path.exists(path) else None
        if self.before is not None:
            os.chmod(path, self.mode)

    def undo(self, machine):
        path = os.path.join(machine.tree, self.name)
        if self.before is not None and os.path.exists(path):
            os.chmod(path, self.before)


# Of the night, by the machine that they take.
NIGHT = {
    SmallMachine: {
        'the file system is full': Full(),
        'the archives become read-only': ReadOnly('arc/archive'),
        'logs and archives become read-only': ReadOnly('arc'),
        'everything becomes read-only': ReadOnly('.'),
    },
    NobodysMachine: {
        'archives cannot be written': Rights('arc/archive', 0o555),
        'archives cannot be looked at': Rights('arc/archive', 0),
        'logs cannot be removed': Rights('arc', 0o555),
        'logs cannot be listed': Rights('arc', 0o311),
        'logs cannot be looked at': Rights('arc', 0o444),
        'a log cannot be read': Rights('arc/20240313b.psl', 0),
        'a part of a day cannot be read': Rights('arc/20240310a#002.psl', 0),
        'an hour archive cannot be read': Rights('arc/archive/20240115a.psa', 0),
    },
}


def cases_of(scenario):
    """By machine, what may happen around a scenario."""
    if scenario.name == 'night':
        return NIGHT
    written = scenario.outputs[0].split('/')[0] if scenario.outputs else 'pml'
    return {SmallMachine: {'the file system is full': Full(),
                           f'{written} becomes read-only': ReadOnly(written)}}


CLOCKS = {'the clock goes back by a day': -DAY, 'the clock goes back by ten years': -3650 * DAY,
          'the clock goes forward by a day': DAY}


def one_case(machine, scenario, judge, case, number):
    """(what is wrong, whether something was told and not healed)"""
    machine.place(scenario.tree)
    process = machine.start(scenario.program, scenario.arguments, {'KILL': f'{number}:{int(races.STOP)}'},
                            scenario.clock, scenario.variables)
    acted = races.wait_for_stop(process)
    if acted:
        case.act(machine)
        process.send_signal(races.CONTINUE)
    result = machine.finish(process)
    if acted:
        case.undo(machine)
    tree = machine.take()
    if isinstance(case, ReadOnly) and not scenario.automatic:
        # Where nothing can be removed any more, a temporary file stays; nobody else takes it away.
        for path in [path for path in tree if oracle.is_temporary(path, judge.ref.before)]:
            if tree.pop(path) is not None:
                os.unlink(os.path.join(machine.tree, path))
    wrong = judge.failed_run(result, tree)
    more, told = judge.next_run(result, tree)
    return wrong + more, told


def one_clock(machine, scenario, judge, seconds, number):
    """Other logs may be due by another clock. What goes must be archived all the same."""
    machine.place(scenario.tree)
    wrong = []
    for plan in ({'CLOCK_AT': f'{number}:{scenario.clock + seconds}'}, None):
        result = oracle.run(machine, scenario, plan)
        tree = machine.take()
        if result.status != 0:
            wrong.append(f'status {result.status}: {result.err[-200:]}')
        wrong += races.judge_tree(judge, tree, set(), others_expire=True)
    wrong += [f'{archive} is not made' for archive in scenario.made_of
              if tree.get(archive) != judge.ref.tree[archive]]
    wrong += [f'still left behind: {path}' for path in tree if '_tmp' in path]
    return wrong
