"""The one judge of runs in which something failed. It holds them to what is promised:

- the status is one that the rules know, and whoever did less than an undisturbed run has said so;
- no input is changed, and none is gone whose archives are not there, whole;
- what stands under a final name is what stood there before, or what an undisturbed run makes;
- after the next sound run no entry of any input is missing from the archives, unless a message of
  the failed run named it.
"""
import os
import sqlite3


class Undisturbed:
    """What a scenario leaves when nothing fails, and what it says."""

    def __init__(self, machine, scenario):
        machine.place(scenario.tree)
        log = machine.note('calls')
        self.result = run(machine, scenario, {'LOG': log})
        self.tree = machine.take()
        self.content = scenario.content(self.tree)
        self.before = scenario.content(scenario.tree)
        if self.result.status != 0:
            raise SystemExit(f'torture: {scenario.name}: {self.result}')
        for path in getattr(scenario, 'gone', ()):
            if path in self.tree:
                raise SystemExit(f'torture: {scenario.name}: {path} should be gone')
        for path in scenario.made_of:
            if path not in self.tree:
                raise SystemExit(f'torture: {scenario.name}: {path} is not made')
        self.calls = []
        self.allocations = 0
        with open(log, errors='replace') as file:
            for line in file:
                words = line.rstrip('\n').split(' ', 2)
                if words[0] == 'allocations':
                    self.allocations = int(words[1])
                else:
                    self.calls.append((int(words[0]), words[1], words[2]))


def run(machine, scenario, plan=None):
    return machine.run(scenario.program, scenario.arguments, plan, scenario.clock, scenario.variables)


def rows_of(machine, path):
    """The content of a database, whatever its pages are like."""
    try:
        with sqlite3.connect(f'file:{os.path.join(machine.tree, path)}?mode=ro', uri=True) as database:
            return [sorted(line for line in database.iterdump())]
    except sqlite3.Error as error:
        return f'no database: {error}'


def same(machine, scenario, tree, wanted, wanted_rows=None):
    """Whether a tree is the one that is wanted; a database by its rows."""
    mine, other = scenario.content(tree), dict(wanted)
    database = getattr(scenario, 'database', None)
    if database is not None:
        mine.pop(database, None)
        other.pop(database, None)
        if rows_of(machine, database) != wanted_rows:
            return False
    return mine == other


class Judge:
    def __init__(self, machine, scenario, undisturbed):
        self.machine = machine
        self.scenario = scenario
        self.ref = undisturbed
        self.ref_rows = None
        if getattr(scenario, 'database', None) is not None:
            machine.place(scenario.tree)
            run(machine, scenario)
            self.ref_rows = rows_of(machine, scenario.database)

    def as_undisturbed(self, tree):
        return same(self.machine, self.scenario, tree, self.ref.content, self.ref_rows)

    def failed_run(self, result, tree, mute=False, killed=None, stood=None):
        """What is wrong with a run in which something failed. `mute`: the failure was on the way of its
        messages. `killed`: the signal that it got. `stood`: what an earlier failed run left."""
        wrong = []
        done = self.as_undisturbed(tree)
        wrong += self._status(result, tree, done, mute, killed)
        wrong += self._inputs(tree)
        wrong += self._final_names(tree, result, stood or {})
        if killed is None:
            wrong += [f'left behind: {path}' for path in tree if self._is_litter(path)]
        return wrong

    def _status(self, result, tree, done, mute, killed):
        if killed is not None:
            # SIGTERM may come when all is done.
            allowed = {9: (137,), 15: (143, 1, 0)}[killed]
            return [] if result.status in allowed else [f'status {result.status} after the signal']
        if self.scenario.program == 'psltool':
            allowed = (0, 1, 2)
        else:
            allowed = (0, 1)
        if result.status not in allowed:
            return [f'status {result.status}: {result.err[-200:]}']
        told = self.scenario.messages(result, tree) != ''
        if self.scenario.automatic:
            return [] if done or told or mute or self.scenario.quiet else ['something was not done, and nothing was said']
        if result.status == 0:
            wrong = [] if done else ['status 0, but not what an undisturbed run leaves']
            if result.out != self.ref.result.out and not mute:
                wrong.append('status 0, but another output')
            return wrong
        return [] if told or mute else [f'status {result.status} without a word']

    def _inputs(self, tree):
        wrong = []
        for path, content in self.ref.before.items():
            if path.startswith(self.scenario.outputs or ('\0',)):
                continue
            if path in tree:
                if tree[path] != content:
                    wrong.append(f'changed: {path}')
            elif path in self.ref.tree:
                wrong.append(f'gone: {path}')
            else:
                wrong += [f'{path} is gone, but {archive} is not there' for archive, inputs
                          in self.scenario.made_of.items()
                          if path in inputs and tree.get(archive) != self.ref.tree[archive]]
        return wrong

    def _final_names(self, tree, result, stood):
        wrong = []
        for path, content in self.scenario.content(tree).items():
            if content in (self.ref.before.get(path, b'\0'), stood.get(path, b'\0')):
                continue
            if path == getattr(self.scenario, 'database', None):
                continue  # judged by the next run: what is in it by half is rolled back when it is opened
            if path in self.ref.content and content == self.ref.content[path]:
                continue
            if is_temporary(path, self.ref.before) or moved_from(path, content, self.ref.before):
                continue
            if self._left_on_purpose(path, result):
                continue
            wrong.append(f'neither old nor new: {path}')
        return wrong

    def _left_on_purpose(self, path, result):
        """A manual run that cannot open an input leaves what it has written so far: whole records."""
        manual = self.scenario.program == 'Qelprfarc' and not self.scenario.automatic
        if not manual or result.status != 1 or "102 Can't open file" not in result.err:
            return False
        return self.machine.run('psltool', ['check', path]).status == 0

    def next_run(self, failed, failed_tree, killed=None):
        """Makes the next, sound run. (what is wrong, whether something was told and not healed)"""
        if not self.scenario.heals:
            return [], False
        told = self.scenario.messages(failed, failed_tree)
        result = run(self.machine, self.scenario)
        tree = self.machine.take()
        if result.status != 0:
            return [f'the next run ends with {result.status}: {result.err[-200:]}'], False
        # What a killed manual run or a killed psltool had in hand is nobody's to remove.
        if killed is not None and not self.scenario.automatic:
            tree = {path: content for path, content in tree.items()
                    if path in self.ref.tree or not is_temporary(path, self.ref.before)}
        wrong = [f'still left behind: {path}' for path in tree
                 if path not in self.ref.tree and is_temporary(path, {})]
        if self.as_undisturbed(tree):
            return wrong, False
        told += self.scenario.messages(result, tree)
        lost = []
        for archive in self.scenario.made_of:
            if tree.get(archive) == self.ref.tree[archive]:
                continue
            inputs = self.scenario.made_of[archive]
            named = any(os.path.basename(path) in told for path in [archive, *inputs])
            if not named:
                lost.append(f'lost without a word: {archive}')
        if not lost and not self._only_archives_differ(tree):
            lost.append('the next run does not heal it: ' + ', '.join(self._differences(tree))[:300])
        return wrong + lost, not lost

    def _only_archives_differ(self, tree):
        return all(path in self.scenario.made_of or any(path in inputs for inputs
                                                        in self.scenario.made_of.values())
                   for path in self._differences(tree))

    def _differences(self, tree):
        mine = self.scenario.content(tree)
        return sorted(path for path in mine.keys() | self.ref.content.keys()
                      if mine.get(path) != self.ref.content.get(path))

    def _is_litter(self, path):
        """Temporary files that a run must not leave, even if calls failed. The next run of the daemon
        removes its own; that of `unit` its working directory; a database its journal."""
        if self.scenario.automatic or path in self.ref.tree or path in self.scenario.tree:
            return False
        return (is_temporary(path, self.ref.before) and '/.units' not in path
                and not path.endswith('-journal'))


def is_temporary(path, before):
    name = os.path.basename(path)
    return path not in before and ('_tmp' in name or name.startswith('.') or '.part' in name
                                   or '-journal' in name or '.units' in path)


def moved_from(path, content, before):
    """Whether a file is one of those that were there before, at another place."""
    name = os.path.basename(path)
    return any(os.path.basename(old) == name and content == was for old, was in before.items())
