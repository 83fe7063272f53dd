#!/usr/bin/env python3
"""Holds scripts/mutate and scripts/coverage to small examples: faults of which one is noticed, one is not and
one does not compile; and a report of which the right answer is known.

The environment may name the compiler (CXX)."""
import contextlib
import io
import json
import os
import subprocess
import sys
import tempfile
import unittest

HERE = os.path.dirname(os.path.abspath(__file__))
ROOT = os.path.dirname(os.path.dirname(HERE))
sys.path.insert(0, HERE)
sys.dont_write_bytecode = True

import bench  # noqa: E402
import campaign  # noqa: E402
import operators  # noqa: E402
import reached  # noqa: E402
import together  # noqa: E402

COMPILER = os.environ.get('CXX', 'c++')

CLAMP = '''int Clamp(int value) {
  if (value > 9) return 9;
  return value;
}
static_assert(sizeof(int) == 4);
constexpr int kTen = 10;
static_assert(kTen == 10);
'''
CLAMP_TEST = '''int Clamp(int value);
int main() { return Clamp(4) == 4 && Clamp(12) == 9 ? 0 : 1; }
'''


class SmallBench(bench.Bench):
    """Builds and runs the two files above."""

    def __init__(self, tree):
        super().__init__(tree, tree, 1)
        self.tree = tree

    def trial(self, number, mutant):
        with self.planted(mutant):
            return bench.Verdict(*self.judged(number, mutant), 0)

    def judged(self, number, mutant):
        program = os.path.join(self.tree, 'program')
        sources = [os.path.join(self.tree, 'core', name) for name in ('clamp.cc', 'clamp_test.cpp')]
        if subprocess.run([COMPILER, '-w', '-o', program, *sources], stderr=subprocess.DEVNULL).returncode != 0:
            return bench.UNBUILT, 'compiler'
        if subprocess.run([program]).returncode != 0:
            return bench.KILLED, 'clamp_test'
        return bench.SURVIVED, ''


def after(line, kind, table=False):
    return [changed for what, changed in operators.changes(line, table) if what == kind]


class Operators(unittest.TestCase):
    def test_each_fault(self):
        self.assertEqual(after('  if (a <= b) {', 'comparison'), ['  if (a < b) {', '  if (a >= b) {'])
        self.assertEqual(after('  if (a && b) {', 'connective'), ['  if (a || b) {'])
        self.assertEqual(after('  a = b + c;', 'arithmetic'), ['  a = b - c;'])
        self.assertEqual(after('  a = 0x1F;', 'constant'), ['  a = 0x20;', '  a = 0x1e;'])
        self.assertEqual(after('  mode = 0755;', 'constant'), ['  mode = 0756;', '  mode = 0754;'])
        self.assertEqual(after('  if (a(b)) c();', 'condition'), ['  if (!(a(b))) c();'])
        self.assertEqual(after('  if (a(b)) c();', 'call left out'), ['  if (a(b)) {}'])
        self.assertEqual(after('  a->b(c);  // why', 'call left out'), ['  {}  // why'])
        self.assertEqual(after('  return true;', 'truth value'), ['  return false;'])
        self.assertEqual(after('  {kHd, 32},', 'table cell', True), ['  {kHd, 33},', '  {kHd, 31},'])

    def test_what_is_no_code(self):
        for line in ('// a < b', '#if A > 1', 'static_assert(a == 4);', '', '  text = "a < b && 7";'):
            self.assertEqual(list(operators.changes(line, False)), [], line)
        self.assertEqual(after("  if (c == '/' && a1 == 2'000) {", 'constant'),
                         ["  if (c == '/' && a1 == 2001) {", "  if (c == '/' && a1 == 1999) {"])

    def test_lines_that_are_the_same_are_told_apart(self):
        source = '  f();\n  g();\n  f();\n'
        second = operators.mutants_of('a.cc', source)[2][0]
        self.assertEqual((second.line, second.nth), (2, 1))
        self.assertEqual(operators.find(second, 'new line\n' + source), 3)
        self.assertIsNone(operators.find(second, '  f();\n'))
        self.assertTrue(operators.planted(second, source) == '  f();\n  g();\n  {}\n')


# One fault in each line; what the program prints says which of them is chosen.
SWITCHED = '''#include <cstdio>
#include <string>
bool Called = false;
void Call() { Called = true; }
bool Calls(bool outcome) { Called = true; return outcome; }
int values[] = {7, 8};
int main() {
  const int a = 3;
  const int b = 3;
  long sum = 10;
  std::string text = "x";
  Call();
  std::printf("%d ", a * 2 < b + 3);
  std::printf("%d ", a - 1 == b);
  std::printf("%d ", *(values + 1));
  text += std::string("y") + "z";
  sum += a;
  if (a > 0) std::printf("positive ");
  if (a == 4 && Calls(true)) std::printf("both ");
  std::printf("%ld %d %s\\n", sum, Called, text.c_str());
  return 0;
}
'''
SWITCHED_FAULTS = (  # the line changed, what is printed then
    ('  std::printf("%d ", a * 2 <= b + 3);', '1 0 8 positive 13 1 xyz'),
    ('  std::printf("%d ", a - 1 != b);', '0 1 8 positive 13 1 xyz'),
    ('  std::printf("%d ", *(values + 0));', '0 0 7 positive 13 1 xyz'),
    ('  sum -= a;', '0 0 8 positive 7 1 xyz'),
    ('  {}', '0 0 8 positive 13 0 xyz'),
    ('  if (!(a > 0)) std::printf("positive ");', '0 0 8 13 1 xyz'),
    ('  if (a == 4 || Calls(true)) std::printf("both ");', '0 0 8 positive both 13 1 xyz'),
    ('  return 1;', '0 0 8 positive 13 1 xyz'),
    ('bool Called = true;', '0 0 8 positive 13 1 xyz'),
)


class Together(unittest.TestCase):
    """Faults of which one is chosen when the program starts."""

    def setUp(self):
        self.directory = tempfile.TemporaryDirectory()
        self.addCleanup(self.directory.cleanup)
        self.state = os.path.join(self.directory.name, 'state')

    def build(self, source):
        """The program, or None."""
        path = os.path.join(self.directory.name, 'source.cc')
        with open(path, 'w') as file:
            file.write(source)
        program = os.path.join(self.directory.name, 'program')
        run = subprocess.run([COMPILER, '-std=c++20', '-w', '-include', os.path.join(HERE, 'mutants.h'),
                              f'-DQELPRF_MUTANT_STATE="{self.state}"', '-o', program, path,
                              os.path.join(HERE, 'mutants.cc')], stderr=subprocess.DEVNULL)
        return program if run.returncode == 0 else None

    def run_chosen(self, program, number):
        """What it prints, its status, and the numbers it reaches."""
        chooser = together.Together(self)
        chooser.choose(number)
        run = subprocess.run([program], stdout=subprocess.PIPE)
        return run.stdout.decode().strip(), run.returncode, chooser.reached(100)

    @property
    def again(self):
        return self.directory.name

    def test_one_of_many_is_chosen(self):
        by_text = {}
        for of_line in operators.mutants_of('a.cc', SWITCHED):
            for mutant in of_line:
                by_text.setdefault(mutant.after, mutant)
        lines = SWITCHED.split('\n')
        for number, (after, _) in enumerate(SWITCHED_FAULTS):
            lines[by_text[after].line] = operators.switched(by_text[after], number)
        program = self.build('\n'.join(lines))
        printed, status, reached_numbers = self.run_chosen(program, -1)
        self.assertEqual((printed, status), ('0 0 8 positive 13 1 xyz', 0))
        self.assertEqual(reached_numbers, list(range(len(SWITCHED_FAULTS))))
        for number, (after, expected) in enumerate(SWITCHED_FAULTS):
            printed, status, _ = self.run_chosen(program, number)
            self.assertEqual(printed, expected, after)
            self.assertEqual(status, 1 if after == '  return 1;' else 0, after)

    def test_only_what_is_executed_is_reached(self):
        source = 'int main(int n, char**) {\n  if (n > 5) {\n    return 3;\n  }\n  return 0;\n}\n'
        mutants = [of_line[0] for of_line in operators.mutants_of('a.cc', source)]
        lines = source.split('\n')
        for number, mutant in enumerate(mutants):
            lines[mutant.line] = operators.switched(mutant, number)
        self.assertEqual(self.run_chosen(self.build('\n'.join(lines)), -1), ('', 0, [0, 2]))

    def test_what_the_compiler_has_to_know_does_not_compile(self):
        for source in ('constexpr int kA = 3;\nint main() {}', 'char a[4];\nint main() {}',
                       'constexpr bool A(int a) {\n  return a < 3;\n}\nint main() {}'):
            mutant = operators.mutants_of('a.cc', source)[0][0]
            lines = source.split('\n')
            lines[mutant.line] = operators.switched(mutant, 0)
            self.assertIsNone(self.build('\n'.join(lines)), lines[mutant.line])

    def test_where_an_expression_begins_and_ends(self):
        for line, expected in (('  if (a && b) {', 'a && b'), ('  return F(a, b && c) || d;', 'b && c'),
                               ('  return a && F(b, c);', 'a && F(b, c)'), ('  x = a && b ? c : d;', 'a && b'),
                               ('  for (int i = 0; i < n && a[i]; ++i) {', 'i < n && a[i]'),
                               ('  const bool x = std::a && b;', 'std::a && b'), ('      a && b', None)):
            around = operators.expression_around(line, line.index(' && ') + 1)
            self.assertEqual(around and line[slice(*around)].strip(), expected, line)


class Mutants(unittest.TestCase):
    def setUp(self):
        self.directory = tempfile.TemporaryDirectory()
        self.addCleanup(self.directory.cleanup)
        self.tree = self.directory.name
        os.mkdir(os.path.join(self.tree, 'core'))
        self.write('core/clamp.cc', CLAMP)
        self.write('core/clamp_test.cpp', CLAMP_TEST)

    def write(self, name, text):
        with open(os.path.join(self.tree, name), 'w') as file:
            file.write(text)

    def campaign(self, equivalents):
        made = campaign.Campaign(os.path.join(self.tree, 'state'), equivalents)
        mutants = [campaign.of_line(self.tree, f'core/clamp.cc:{line}') for line in (2, 6)]
        made.begin(lambda: mutants[0] + mutants[1], 100)
        return made

    def run_quietly(self, of, numbers):
        with contextlib.redirect_stdout(io.StringIO()):
            of.run(SmallBench(self.tree), numbers)

    def test_killed_survived_and_not_compiled(self):
        of = self.campaign({})
        self.run_quietly(of, of.left())
        results = {(of.mutants[number].after.strip(), verdict.result) for number, verdict in of.verdicts.items()}
        self.assertIn(('if (value < 9) return 9;', bench.KILLED), results)
        self.assertIn(('if (!(value > 9)) return 9;', bench.KILLED), results)
        self.assertIn(('if (value > 9) return 10;', bench.KILLED), results)
        self.assertIn(('if (value >= 9) return 9;', bench.SURVIVED), results)
        self.assertIn(('if (value > 10) return 9;', bench.SURVIVED), results)
        self.assertIn(('constexpr int kTen = 11;', bench.UNBUILT), results)
        with open(os.path.join(self.tree, 'core', 'clamp.cc')) as file:
            self.assertEqual(file.read(), CLAMP)

    def test_going_on_and_equivalents(self):
        of = self.campaign({})
        self.run_quietly(of, of.left()[:3])
        path = os.path.join(self.tree, 'equivalents')
        with open(path, 'w') as file:
            file.write('# Head.\n\ncore/clamp.cc\n- if (value > 9) return 9;\n+ if (value >= 9) return 9;\n'
                       'Nine is nine.\n')
        again = self.campaign(campaign.read_equivalents(path))
        self.assertEqual(again.left(), of.left())
        self.run_quietly(again, again.left())
        self.assertEqual(again.left(), [])
        total = again.counts('kind')[1]
        self.assertEqual(total[campaign.EQUIVALENT], 1)
        self.assertEqual(sum(total.values()), len(again.mutants))
        survived = total[bench.SURVIVED]
        self.assertGreater(survived, 0)
        told = len(again.mutants) - 1
        self.assertAlmostEqual(again.share(), 100 * (told - survived) / told)

    def test_an_equivalent_without_a_reason_is_refused(self):
        path = os.path.join(self.tree, 'equivalents')
        with open(path, 'w') as file:
            file.write('core/clamp.cc\n- a\n+ b\n')
        with self.assertRaises(SystemExit):
            campaign.read_equivalents(path)

    # A changed line has mutants of its own: what was said of the former one would count for none.
    def test_the_equivalents_are_mutants_of_lines_that_are_there(self):
        equivalents = campaign.read_equivalents(os.path.join(HERE, 'equivalent.txt'))
        made = set()
        for path in {path for path, _, _ in equivalents}:
            with open(os.path.join(ROOT, path)) as file:
                for of_line in operators.mutants_of(path, file.read()):
                    made |= {(path, mutant.before.strip(), mutant.after.strip()) for mutant in of_line}
        self.assertEqual(set(equivalents) - made, set())

    def test_the_draw_follows_its_seed_and_its_files(self):
        draws = [campaign.draw(ROOT, ['pmonb/*', '!*.h'], seed) for seed in (1, 1, 2)]
        self.assertEqual(draws[0], draws[1])
        self.assertNotEqual(draws[0], draws[2])
        self.assertEqual({os.path.dirname(mutant.path) for mutant in draws[0]}, {'pmonb'})
        self.assertTrue(all(mutant.path.endswith('.cc') for mutant in draws[0]))
        places = [(mutant.path, mutant.line) for mutant in draws[0]]
        self.assertEqual(len(places), len(set(places)))


SOURCE = '''void F(bool a) {
  if (a) {
    G();
  }
  // Not reached: the table has no such row.
  if (H()) {
    G();
  }
  // Not reached:
  K();
  // Not reached: but it is, every time.
  K();  // Not always reached: no mark, as it stands behind.
}
'''
# As llvm-cov writes it: line, column, count, whether there is one, whether a region begins, a gap.
SEGMENTS = [[1, 16, 4, True, True, False], [2, 7, 4, True, True, False], [2, 8, 4, True, False, False],
            [2, 10, 0, True, True, False], [4, 4, 4, True, False, False], [6, 7, 4, True, True, False],
            [6, 10, 4, True, False, False], [6, 12, 0, True, True, False], [8, 4, 4, True, False, False],
            [13, 2, 0, False, False, False]]
# The last two: one that the compiler decided, and one that stands where nothing was executed.
BRANCHES = [[2, 7, 2, 8, 0, 4, 0, 0, 4], [6, 7, 6, 10, 0, 3, 0, 0, 4], [6, 7, 6, 10, 0, 1, 0, 0, 4],
            [4, 4, 4, 5, 0, 0, 0, 0, 4], [3, 5, 3, 8, 0, 0, 0, 0, 4]]


class Coverage(unittest.TestCase):
    def setUp(self):
        self.directory = tempfile.TemporaryDirectory()
        self.addCleanup(self.directory.cleanup)
        path = os.path.join(self.directory.name, 'engine')
        os.mkdir(path)
        path = os.path.join(path, 'f.cc')
        with open(path, 'w') as file:
            file.write(SOURCE)
        self.exported = {'files': [{'filename': path, 'segments': SEGMENTS, 'branches': BRANCHES}]}
        self.files = reached.read(self.directory.name, self.exported)

    def test_what_is_left_over(self):
        self.assertEqual(list(reached.listing(self.files, 'engine/')),
                         ['engine/f.cc:2: column 7: never true', 'engine/f.cc:3: not reached',
                          'engine/f.cc:4: not reached'])
        self.assertEqual(list(reached.listing(self.files, 'pmonb/')), [])

    def test_marks_need_a_reason_and_something_to_excuse(self):
        self.assertEqual(self.files[0].mistakes,
                         ['engine/f.cc:9: no reason', 'engine/f.cc:11: everything is reached'])

    def test_what_is_reached_sometimes_may_be_reached(self):
        path = self.exported['files'][0]['filename']
        with open(path, 'w') as file:
            file.write(SOURCE.replace('Not reached: but it is', 'Not always reached: but it is'))
        files = reached.read(self.directory.name, self.exported)
        self.assertEqual(files[0].mistakes, ['engine/f.cc:9: no reason'])

    def test_table(self):
        # Of 13 lines two are excused, of the others two were not executed; of five sides three were not taken.
        self.assertEqual([line.split() for line in reached.table(self.files)][1],
                         ['engine', '11', '81.82%', '5', '40.00%'])


class Scripts(unittest.TestCase):
    def test_help(self):
        for name in ('mutate', 'coverage'):
            run = subprocess.run([sys.executable, os.path.join(ROOT, 'scripts', name), '--help'],
                                 stdout=subprocess.PIPE, check=True)
            self.assertIn(f'Usage: scripts/{name}', run.stdout.decode())

    def test_a_saved_report(self):
        with tempfile.NamedTemporaryFile('w', suffix='.json') as file:
            json.dump({'data': [{'files': [
                {'filename': os.path.join(ROOT, 'engine', 'broken.cc'), 'branches': [[9, 3, 9, 4, 1, 0, 0, 0, 4]],
                 'segments': [[8, 1, 1, True, True, False], [12, 2, 0, False, False, False]]}]}]}, file)
            file.flush()
            run = subprocess.run([sys.executable, os.path.join(ROOT, 'scripts', 'coverage'), '--export', file.name,
                                  '--list'], stdout=subprocess.PIPE)
        self.assertEqual(run.returncode, 1)
        self.assertIn('engine/broken.cc:9: column 3: never false\n', run.stdout.decode())
        self.assertRegex(run.stdout.decode(), r'engine +5 +100\.00% +2 +50\.00%')


if __name__ == '__main__':
    unittest.main()
