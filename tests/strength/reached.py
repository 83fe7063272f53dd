"""Which lines and sides of branches tests reach, from what llvm-cov exports.

What cannot be reached says so where it stands, in a comment of its own before the line:
    // Not reached: WHY
It excuses the line behind it, and when that opens a block, the block. Without a reason, and before a line
of which everything is reached, it is a mistake; what one compilation of a template reaches and another does
not says "Not always reached". Functions that only the compiler calls (constexpr, and
never executed), conditions that it decides, and what a switch does with a value that its type has no name
for are nobody's to reach."""
import bisect
import collections
import os
import re

DECIDED = re.compile(r'(true|false)\b|std::endian::native')
DECIDED_BEFORE = re.compile(r'\b(if constexpr|switch) \([^()]*$')
MARK = re.compile(r'^\s*// Not (always )?reached:\s*(.*)$')
Branch = collections.namedtuple('Branch', 'line column')


class File:
    def __init__(self, path, source, lines, branches, compiled=()):
        self.path = path
        source = source.split('\n')
        # Line: how often; (line, column): [true, false].
        self.lines = {line: count for line, count in lines.items() if count or line not in compiled}
        self.branches = {at: sides for at, sides in branches.items()
                         if not DECIDED.match(source[at[0] - 1][at[1] - 1:]) and at[0] not in compiled
                         and not DECIDED_BEFORE.search(source[at[0] - 1][:at[1] - 1])}
        self.mistakes = []
        self.excused = self.find_excused(source)

    def find_excused(self, source):
        excused = {}
        for number, text in enumerate(source, 1):
            mark = MARK.match(text)
            if not mark:
                continue
            if len(mark[2].split()) < 3:
                self.mistakes.append(f'{self.path}:{number}: no reason')
                continue
            first = number + 1
            while source[first - 1].strip().startswith('//'):
                first += 1
            last = self.end_of_block(source, first)
            if not mark[1] and not any(first <= line <= last for line, *_ in self.missed()):
                self.mistakes.append(f'{self.path}:{number}: everything is reached')
            excused.update((line, mark[2]) for line in range(first, last + 1))
        return excused

    @staticmethod
    def end_of_block(source, first):
        depth = 0
        for number in range(first, len(source) + 1):
            text = re.sub(r'"(\\.|[^"\\])*"|\'(\\.|[^\'\\])\'|//.*', '', source[number - 1])
            for byte in text:
                depth += {'{': 1, '(': 1, '}': -1, ')': -1}.get(byte, 0)
            if depth <= 0 and re.search(r'[;{}]\s*$', text):
                return number
        return first

    def missed(self):
        """(line, what) of what no test reaches, excused or not."""
        found = [(line, 'not reached') for line, count in self.lines.items() if count == 0]
        for (line, column), sides in self.branches.items():
            # A line that was not executed says it all.
            found += [(line, f'column {column}: never {side}') for side, count in zip(('true', 'false'), sides)
                      if count == 0 and self.lines.get(line, 1)]
        return sorted(found)

    def left(self):
        return [(line, what) for line, what in self.missed() if line not in self.excused]

    def row(self):
        """Lines, those reached, sides of branches, those taken; what is excused counts in neither."""
        lines = [count for line, count in self.lines.items() if line not in self.excused or count]
        sides = [(at, count) for at, both in self.branches.items() for count in both]
        sides = [count for (line, _), count in sides if line not in self.excused or count]
        return [len(lines), sum(1 for count in lines if count), len(sides), sum(1 for count in sides if count)]


def lines_of(exported):
    """How often each line was executed: by the region that begins on it, or goes on over it."""
    counts = {}
    segments = exported['segments']
    for at, (line, column, count, has_count, is_entry, *_) in enumerate(segments):
        if not has_count:
            continue
        end = segments[at + 1][0] if at + 1 < len(segments) else line
        if is_entry:
            counts[line] = max(counts.get(line, 0), count)
        for each in range(line + 1, end + (1 if at + 1 < len(segments) and segments[at + 1][1] > 1 else 0)):
            if each not in counts or not is_entry:
                counts.setdefault(each, count)
    return counts


def branches_of(exported):
    """[times true, times false] of every condition; the instances of a template are one. What is executed and
    has neither outcome the compiler decided, in each of them."""
    sides = collections.defaultdict(lambda: [0, 0])
    for line, column, _, _, taken, other, *_ in exported['branches']:
        sides[line, column][0] += taken
        sides[line, column][1] += other
    starts = [tuple(segment[:2]) for segment in exported['segments']]

    def executed(at):
        segment = bisect.bisect_right(starts, at) - 1
        return segment >= 0 and exported['segments'][segment][2] > 0
    return {at: count for at, count in sides.items() if any(count) or not executed(at)}


def compiled_only(functions, sources):
    """{file: lines of constexpr functions that were never executed}."""
    ran = {(name, function['regions'][0][0]) for function in functions if function['count']
           for name in function['filenames'][:1]}
    found = collections.defaultdict(set)
    for function in functions:
        name, (first, _, last, *_) = function['filenames'][0], function['regions'][0]
        if name in sources and (name, first) not in ran:
            head = ' '.join(sources[name].split('\n')[max(0, first - 3):first])
            head = re.split(r'[;}]', head)[-1] if not head.rstrip().endswith('}') else head
            if re.search(r'\bconst(expr|eval)\b', head):
                found[name].update(range(first, last + 1))
    return found


def read(root, exported, copy=None):
    """The files, by their path in the checkout. `copy`: of which the counts are."""
    sources = {}
    for entry in exported['files']:
        with open(os.path.join(copy or root, os.path.relpath(entry['filename'], root))) as source:
            sources[entry['filename']] = source.read()
    compiled = compiled_only(exported.get('functions', ()), sources)
    found = []
    for entry in exported['files']:
        name = entry['filename']
        found.append(File(os.path.relpath(name, root), sources[name], lines_of(entry), branches_of(entry),
                          compiled[name]))
    return sorted(found, key=lambda file: file.path)


def table(files):
    """Lines of text: a row for each folder, and one for all."""
    rows = collections.defaultdict(lambda: [0, 0, 0, 0])
    for file in files:
        for name in (os.path.dirname(file.path), 'all'):
            rows[name] = [a + b for a, b in zip(rows[name], file.row())]
    yield '%-18s %7s %9s %9s %9s' % ('folder', 'lines', 'reached', 'sides', 'taken')
    for name, (lines, reached, sides, taken) in sorted(rows.items(), key=lambda row: (row[0] == 'all', row[0])):
        yield '%-18s %7d %8.2f%% %9d %8.2f%%' % (name, lines, 100 * reached / max(lines, 1), sides,
                                                 100 * taken / max(sides, 1))


def listing(files, folder):
    for file in files:
        if file.path.startswith(folder):
            for line, what in file.left():
                yield f'{file.path}:{line}: {what}'
