"""The draw of mutants, what became of each, and the table."""
import collections
import fnmatch
import json
import os
import random

import operators
from bench import KILLED, SURVIVED, UNBUILT, Verdict

FOLDERS = ('platform', 'areas', 'report', 'engine', 'engine/layout', 'revisions', 'revisions/sets',
           'revisions/fold', 'logdir', 'pmonb', 'archiver')
EQUIVALENT = 'equivalent'


def chosen(path, patterns):
    """Whether the file is among what the patterns choose; one with '!' before it takes files away."""
    wanted = [pattern for pattern in patterns if not pattern.startswith('!')] or ['*']
    unwanted = [pattern[1:] for pattern in patterns if pattern.startswith('!')]
    return (any(fnmatch.fnmatch(path, pattern) for pattern in wanted)
            and not any(fnmatch.fnmatch(path, pattern) for pattern in unwanted))


def draw(root, patterns, seed, folders=FOLDERS):
    """One mutant of each line that can have one, in an order that the seed says."""
    lines = []
    for folder in folders:
        for name in sorted(os.listdir(os.path.join(root, folder))):
            path = f'{folder}/{name}'
            if name.endswith(('.cc', '.h')) and chosen(path, patterns):
                with open(os.path.join(root, path)) as file:
                    lines += operators.mutants_of(path, file.read())
    dice = random.Random(seed)
    dice.shuffle(lines)
    return [dice.choice(line) for line in lines]


def of_line(root, place):
    """All mutants of "path:line"."""
    path, line = place.rsplit(':', 1)
    with open(os.path.join(root, path)) as file:
        lines = operators.mutants_of(path, file.read())
    return [mutant for of_one in lines for mutant in of_one if mutant.line + 1 == int(line)]


def read_equivalents(path):
    """{(path, line, changed line): why}, of paragraphs 'path', '- line', '+ line', why."""
    found = {}
    with open(path) as file:
        paragraphs = file.read().strip().split('\n\n')
    for paragraph in paragraphs:
        lines = paragraph.split('\n')
        if lines[0].startswith('#'):
            continue
        if len(lines) < 4 or not lines[1].startswith('- ') or not lines[2].startswith('+ '):
            raise SystemExit(f'mutate: {path}: "{lines[0]}": no reason')
        found[lines[0], lines[1][2:].strip(), lines[2][2:].strip()] = ' '.join(lines[3:])
    return found


class Campaign:
    """Mutants drawn at its beginning, and the verdicts on them, in a directory."""

    def __init__(self, state, equivalents):
        self.state = state
        self.equivalents = equivalents
        self.mutants = []
        self.verdicts = {}

    def path(self, name):
        return os.path.join(self.state, name)

    def begin(self, make_draw, count):
        os.makedirs(self.state, exist_ok=True)
        if not os.path.exists(self.path('draw.json')):
            with open(self.path('draw.json'), 'w') as file:
                json.dump(make_draw(), file)
        with open(self.path('draw.json')) as file:
            self.mutants = [operators.Mutant(*fields) for fields in json.load(file)[:count]]
        if os.path.exists(self.path('verdicts')):
            with open(self.path('verdicts')) as file:
                for line in file:
                    try:
                        number, *verdict = json.loads(line)
                        self.verdicts[number] = Verdict(*verdict)
                    except ValueError:
                        pass  # cut short

    def enter(self, number, verdict):
        self.verdicts[number] = verdict
        with open(self.path('verdicts'), 'a') as file:
            file.write(json.dumps([number, *verdict]) + '\n')

    def why(self, mutant):
        return self.equivalents.get((mutant.path, mutant.before.strip(), mutant.after.strip()))

    def run(self, bench, numbers):
        for number in numbers:
            mutant = self.mutants[number]
            verdict = bench.trial(number, mutant)
            self.enter(number, verdict)
            print(f'{number:4} {verdict.result:12} {verdict.seconds:5.0f} s  {mutant.path}:{mutant.line + 1} '
                  f'{mutant.kind}{": " if verdict.by else ""}{verdict.by}', flush=True)

    def left(self):
        return [number for number in range(len(self.mutants)) if number not in self.verdicts]

    def survivors(self):
        return [number for number, verdict in sorted(self.verdicts.items())
                if number < len(self.mutants) and verdict.result == SURVIVED]

    def share(self):
        """Killed of those that can be told from the original, in per cent."""
        results = self.counts('kind')[1]
        told = results[KILLED] + results[UNBUILT] + results[SURVIVED]
        return 100 * (told - results[SURVIVED]) / told if told else 0

    def counts(self, field):
        rows = collections.defaultdict(collections.Counter)
        for number, verdict in self.verdicts.items():
            if number >= len(self.mutants):
                continue
            mutant = self.mutants[number]
            result = verdict.result
            if result == SURVIVED and self.why(mutant):
                result = EQUIVALENT
            name = mutant.kind if field == 'kind' else os.path.dirname(mutant.path)
            rows[name][result] += 1
        return rows, sum(rows.values(), collections.Counter())

    def table(self):
        columns = (KILLED, UNBUILT, EQUIVALENT, SURVIVED)
        for field in ('folder', 'kind'):
            rows, total = self.counts(field)
            print(f'{field:18} {"mutants":>8}' + ''.join(f'{column:>14}' for column in columns))
            for name, row in [*sorted(rows.items()), ('all', total)]:
                print(f'{name:18} {sum(row.values()):8}' + ''.join(f'{row[column]:14}' for column in columns))
            print()
        for number in self.survivors():
            mutant = self.mutants[number]
            print(f'{number}: {mutant.path}:{mutant.line + 1} ({self.why(mutant) or "survived"})')
            print(f'  - {mutant.before.strip()}\n  + {mutant.after.strip()}')
        print(f'{self.share():.1f} % killed of those that are not equivalent')
