"""A copy of the checkout in which one mutant after another is built and tried."""
import collections
import json
import os
import resource
import time

import operators
from checkout_copy import CheckoutCopy

Verdict = collections.namedtuple('Verdict', 'result by seconds')
KILLED, SURVIVED, UNBUILT = 'killed', 'SURVIVED', 'not compiled'

# What takes long, what the core has no part in (or a small one, and takes its time), and what compiles.
LEFT_OUT = (r'Long|^figures/|^fuzz/|^logdir/period_zones|Hardening|Install|'
            r'^tools/(?!running/|audit/psltool_audit_|checking/psltool_check_archives)')

# Compiles the tables with mistakes in them.
LAYOUT_PROOF = 'engine/layout_proof_test.cc'


class Bench(CheckoutCopy):
    def __init__(self, root, work, jobs, most_cost=None):
        super().__init__(root, work, jobs)
        self.most_cost = most_cost
        self.costs = {}
        self.most = {}
        self.kills = collections.Counter()

    def passes(self, file):
        return self.test(file, *self.most.get(file, (300, 1800)), options=['--gtest_fail_fast'])

    def measure(self):
        """How long the files take without a mutant. All must pass."""
        self.find_files(LEFT_OUT)
        path = os.path.join(self.build, 'costs.json')
        known = {}
        if os.path.exists(path):
            with open(path) as file:
                known = json.load(file)
        for file in self.suites:
            if file not in known:
                started, before = time.monotonic(), resource.getrusage(resource.RUSAGE_CHILDREN)
                found = self.passes(file)
                if found is not True:
                    raise SystemExit(f'mutate: a test fails without a mutant: {found}')
                used = resource.getrusage(resource.RUSAGE_CHILDREN)
                known[file] = (used.ru_utime + used.ru_stime - before.ru_utime - before.ru_stime,
                               time.monotonic() - started)
                with open(path, 'w') as costs:
                    json.dump(known, costs)
        self.costs = {file: known[file][0] for file in self.suites}
        # Others may use the machine: the clock on the wall tells little.
        self.most = {file: (int(10 + 5 * known[file][0]), 60 + 20 * known[file][1]) for file in self.suites}
        print(f'{len(self.costs)} files of tests take {sum(self.costs.values()):.0f} s', flush=True)

    def order(self, mutant, only_starting):
        """Files of tests, the likely and the quick ones first."""
        top = mutant.path.split('/')[0]
        own = {'platform': 'archiver', 'report': 'archiver', 'areas': 'engine'}.get(top, top)
        files = [file for file in self.suites if (self.most_cost is None or self.costs[file] <= self.most_cost)
                 and (not only_starting or file in self.starting) and (file != LAYOUT_PROOF or mutant.path.startswith('engine/layout/'))]

        def late(file):
            likely = file.startswith((own + '/', 'runs/golden'))
            return (self.costs[file] > (1 if likely else 0.5), -self.kills[top, file], not likely, self.costs[file])
        return sorted(files, key=late)

    def trial(self, mutant):
        """Plants, builds, tries, takes back."""
        path = os.path.join(self.tree, mutant.path)
        with open(path) as file:
            source = file.read()
        with open(path, 'w') as file:
            file.write(operators.planted(mutant, source))
        started = time.monotonic()
        try:
            result, by = self.judged(mutant)
        finally:
            with open(path, 'w') as file:
                file.write(source)
        return Verdict(result, by, time.monotonic() - started)

    def judged(self, mutant):
        # A header is in most of the tests and in psltool. At first only the programs that the tests start
        # are made anew, which most faults do not survive.
        rounds = [('qelprfarc_tests',)]
        if mutant.path.endswith('.h'):
            rounds = [('Qelprfarc', 'Qelprfarc_test')] + (rounds if self.most_cost is None else [])
        for targets in rounds:
            built = self.make(targets)
            if built is not True:
                return UNBUILT, built
            for file in self.order(mutant, targets != ('qelprfarc_tests',)):
                found = self.passes(file)
                if found is not True:
                    self.kills[mutant.path.split('/')[0], file] += 1
                    return KILLED, found
        return SURVIVED, ''
