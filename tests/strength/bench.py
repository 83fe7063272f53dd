"""Where mutants are tried. Most are compiled into one build, side by side, and chosen when a program starts
(together.py): that build also says which files of tests reach a mutant at all, and only those are run. What the
compiler has to know (tables, sizes, constants) cannot be chosen later: such a mutant is alone in its build, in
which only the objects that see it are its own."""
import collections
import contextlib
import json
import os
import resource
import time

import operators
from core_again import CoreAgain
from together import Together

Verdict = collections.namedtuple('Verdict', 'result by seconds')
KILLED, SURVIVED, UNBUILT = 'killed', 'SURVIVED', 'not compiled'

# What takes long, what the core has no part in (or a small one, and takes its time), and what compiles.
LEFT_OUT = (r'Long|^figures/|^fuzz/|^logdir/period_zones|[Hh]ardening|Install|'
            r'^tools/(?!running/|audit/psltool_audit_|checking/psltool_check_archives)')
# Compiles the tables with mistakes in them.
LAYOUT_PROOF = 'engine/layout_proof_test.cc'
# Seconds of tests in one process.
GROUP = 1.5


class Bench(CoreAgain):
    def __init__(self, root, work, jobs, most_cost=None):
        super().__init__(root, work, jobs, 'mutants')
        self.most_cost = most_cost
        self.together = Together(self)
        self.costs = {}
        self.reached = {}  # file of tests: numbers of mutants
        self.kills = collections.Counter()

    def prepare(self, mutants, stay=False):
        """Builds what can stand together, and asks the tests what they reach and how long they take."""
        self.find_files(LEFT_OUT)
        fresh = self.together.build(mutants, stay)
        path = os.path.join(self.again, 'costs.json')
        if fresh and os.path.exists(path):
            os.remove(path)
        known = {}
        if os.path.exists(path):
            with open(path) as file:
                known = json.load(file)
        self.mounts = [self.over]
        for file in self.suites:
            if file not in known:
                self.together.choose(-1)
                before = resource.getrusage(resource.RUSAGE_CHILDREN)
                found = self.test([file], 300, 1800)
                if found is not True:
                    print(f'without a mutant, too, fails {found}: {file} is left out', flush=True)
                    known[file] = (0, [])
                    continue
                used = resource.getrusage(resource.RUSAGE_CHILDREN)
                known[file] = (used.ru_utime + used.ru_stime - before.ru_utime - before.ru_stime,
                               self.together.reached(len(mutants)))
                with open(path, 'w') as costs:
                    json.dump(known, costs)
        for file in [file for file in self.suites if not known[file][0]]:
            del self.suites[file]
        self.costs = {file: known[file][0] for file in self.suites}
        self.reached = {file: set(known[file][1]) for file in self.suites}
        print(f'{len(self.together.numbers)} of {len(mutants)} mutants in one build; '
              f'{len(self.costs)} files of tests take {sum(self.costs.values()):.0f} s', flush=True)

    def groups(self, number, mutant):
        """Files of tests that can notice the mutant, the likely and the quick ones first, some at a time."""
        files = [file for file in self.suites
                 if (self.most_cost is None or self.costs[file] <= self.most_cost)
                 and (file != LAYOUT_PROOF or mutant.path.startswith('engine/layout/'))
                 and (number not in self.together.numbers or number in self.reached[file])]
        near = {other for other in self.together.numbers if self.together.mutants[other].path == mutant.path}
        own = mutant.path.split('/')[0]

        def late(file):
            reaches = bool(near & self.reached[file]) if near else file.startswith(own + '/')
            return (self.costs[file] > 2, -self.kills[mutant.path, file], not reaches, -self.kills[own, file],
                    not file.startswith(own + '/'), self.costs[file])
        group = []
        for file in sorted(files, key=late):
            if group and sum(self.costs[other] for other in (*group, file)) > GROUP:
                yield group
                group = []
            group.append(file)
        if group:
            yield group

    def trial(self, number, mutant):
        """Chooses the mutant, or builds it, and tries it."""
        started = time.monotonic()
        if number in self.together.numbers:
            self.together.choose(number)
            self.mounts = [self.over]
            result, by = self.judged(number, mutant)
        else:
            with self.planted(mutant):
                built = self.together.build_alone(mutant.path)
                self.mounts = [(f'{self.root}/build/mutants/alone', f'{self.root}/build/bin')]
                result, by = self.judged(number, mutant) if built is True else (UNBUILT, built)
        return Verdict(result, by, time.monotonic() - started)

    def judged(self, number, mutant):
        for group in self.groups(number, mutant):
            cost = sum(self.costs[file] for file in group)
            # Others may use the machine: the clock on the wall tells little.
            found = self.test(group, int(10 + 4 * cost), int(120 + 40 * cost), options=['--gtest_fail_fast'])
            if found is not True:
                for file in group:
                    self.kills[mutant.path, file] += 1 / len(group)
                    self.kills[mutant.path.split('/')[0], file] += 1 / len(group)
                return KILLED, found
        return SURVIVED, ''

    @contextlib.contextmanager
    def planted(self, mutant):
        with self.changed({mutant.path: lambda source: operators.planted(mutant, source)}):
            yield

    @contextlib.contextmanager
    def changed(self, changes):
        """Files of the copy changed for a while: {path: text -> text}."""
        saved = {}
        try:
            for path, change in changes.items():
                where = os.path.join(self.tree, path)
                with open(where) as file:
                    saved[where] = (file.read(), os.stat(where).st_mtime_ns)
                with open(where, 'w') as file:
                    file.write(change(saved[where][0]))
            yield
        finally:
            for where, (source, when) in saved.items():
                with open(where, 'w') as file:
                    file.write(source)
                os.utime(where, ns=(when, when))
