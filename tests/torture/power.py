"""Power failures: the changes that a run made to files and directories are replayed up to some point,
each of those that no sync had brought to the disk yet kept or dropped as a file system may choose."""
import os
import random

import oracle


class Recorded:
    """The changes of one undisturbed run, in order."""

    def __init__(self, machine, scenario):
        self.machine = machine
        machine.place(scenario.tree)
        self.names = {}     # path -> inode, as the program sees it
        self.contents = {}  # inode -> bytes at the start
        for path, content in scenario.tree.items():
            status = os.lstat(os.path.join(machine.tree, path))
            self.names[path] = status.st_ino
            self.contents[status.st_ino] = content
        self.directories = {os.lstat(machine.tree).st_ino: ''}
        for parent, names, _ in os.walk(machine.tree):
            for name in names:
                whole = os.path.join(parent, name)
                self.directories[os.lstat(whole).st_ino] = os.path.relpath(whole, machine.tree)
        self.start = dict(self.names)
        path = machine.note('record')
        oracle.run(machine, scenario, {'RECORD': path})
        self.changes = []
        with open(path, errors='replace') as file:
            self._read(iter(file))

    def _inside(self, path):
        path = os.path.normpath(path)
        if not path.startswith('/'):
            return path
        inside = os.path.relpath(path, self.machine.tree)
        return None if inside.startswith('..') else inside

    def _read(self, lines):
        fresh = 0
        aliases = {}  # inode numbers come back for other files
        for line in lines:
            kind, _, rest = line.rstrip('\n').partition(' ')
            if kind in ('create', 'link'):
                number, _, path = rest.partition(' ')
                inode = int(number)
                if kind == 'create':
                    fresh -= 1
                    aliases[inode] = fresh
                inode = aliases.get(inode, inode)
                path = self._inside(path)
                if path is None:
                    continue
                self.names[path] = inode
                self.changes.append(('enter', path, inode))
            elif kind == 'unnamed':
                fresh -= 1
                aliases[int(rest)] = fresh
            elif kind == 'write':
                number, offset, digits = rest.split(' ')
                self.changes.append(('write', aliases.get(int(number), int(number)), int(offset),
                                     bytes.fromhex(digits)))
            elif kind == 'truncate':
                number, size = rest.split(' ')
                self.changes.append(('truncate', aliases.get(int(number), int(number)), int(size)))
            elif kind == 'sync':
                number, _, path = rest.partition(' ')
                if int(number) in self.directories and self._inside(path) is not None:
                    self.changes.append(('sync directory', self._inside(path)))
                else:
                    self.changes.append(('sync', aliases.get(int(number), int(number))))
            elif kind == 'unlink':
                path = self._inside(rest)
                if path is not None:
                    self.names.pop(path, None)
                    self.changes.append(('leave', path))
            elif kind == 'rename':
                source, target = self._inside(rest), self._inside(next(lines).rstrip('\n')[3:])
                if source is None or target is None:
                    continue
                inode = self.names.pop(source, None)
                self.names[target] = inode
                self.changes.append(('rename', source, target, inode))
            elif kind == 'mkdir':
                path = self._inside(rest)
                if path is not None:
                    whole = os.path.join(self.machine.tree, path)
                    if os.path.isdir(whole):
                        self.directories[os.lstat(whole).st_ino] = path
                    self.changes.append(('make', path))

    def _settled(self, end):
        """Numbers of the changes before `end` that a sync has brought to the disk."""
        settled = set()
        for at in range(end):
            change = self.changes[at]
            if change[0] not in ('sync', 'sync directory'):
                continue
            for earlier in range(at):
                touched = self.changes[earlier]
                if change[0] == 'sync' and touched[0] in ('write', 'truncate'):
                    if touched[1] == change[1]:
                        settled.add(earlier)
                elif change[0] == 'sync directory' and self._touches(touched, change[1]):
                    settled.add(earlier)
        return settled

    @staticmethod
    def _touches(change, directory):
        if change[0] not in ('enter', 'leave', 'rename', 'make'):
            return False
        paths = change[1:3] if change[0] == 'rename' else change[1:2]
        return all(os.path.dirname(path) == directory.rstrip('.') for path in paths)

    def state(self, end, chance, kept_share):
        """What the disk may hold when the power fails before change `end`."""
        settled = self._settled(end)
        kept = [at for at in range(end) if at in settled or chance.random() < kept_share]
        names = dict(self.start)
        contents = dict(self.contents)
        for at in kept:
            change = self.changes[at]
            if change[0] == 'enter':
                names[change[1]] = change[2]
                contents.setdefault(change[2], b'')
            elif change[0] == 'leave':
                names.pop(change[1], None)
            elif change[0] == 'rename':
                names.pop(change[1], None)
                names[change[2]] = change[3]
                contents.setdefault(change[3], b'')
            elif change[0] == 'make':
                names[change[1]] = None
            elif change[0] == 'write':
                old = contents.get(change[1]) or b''
                old = old.ljust(change[2], b'\0')
                contents[change[1]] = old[:change[2]] + change[3] + old[change[2] + len(change[3]):]
            elif change[0] == 'truncate':
                contents[change[1]] = (contents.get(change[1]) or b'')[:change[2]]
        made = {change[1] for change in self.changes if change[0] == 'make'}
        tree = {}
        for path, inode in names.items():
            parents = _parents(path)
            if any(parent in made and parent not in names for parent in parents):
                continue  # the directory itself is gone
            tree[path] = None if inode is None else contents.get(inode, b'')
        return {path: content for path, content in tree.items() if not path.startswith('prefix/etc/')}


def _parents(path):
    while '/' in path:
        path = path.rpartition('/')[0]
        yield path


def states(recorded, count, seed):
    chance = random.Random(seed)
    shares = (0.0, 0.1, 0.5, 0.5, 0.9, 1.0)
    for _ in range(count):
        end = chance.randint(1, len(recorded.changes))
        yield recorded.state(end, chance, chance.choice(shares))


def judge_state(machine, scenario, judge, state):
    """No input is gone whose archive is not on the disk, whole; the next run makes everything good."""
    wrong = []
    for path in judge.ref.before:
        if path in state or path.startswith(scenario.outputs or ('\0',)):
            continue
        for archive, inputs in scenario.made_of.items():
            if path in inputs and state.get(archive) != judge.ref.tree[archive]:
                wrong.append(f'{path} is gone, {archive} is not on the disk')
    machine.place(dict(state) | {path: None for path, content in scenario.tree.items() if content is None
                                 and path not in state})

    nothing = judge.ref.result._replace(err='')
    more, told = judge.next_run(nothing, {}, killed=9)
    return wrong + more, told
