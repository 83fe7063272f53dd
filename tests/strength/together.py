"""Builds the core with many mutants in it, of which a file chooses one when a program starts (mutants.h,
mutants.cc); and, from its objects, programs with one mutant that cannot be chosen so."""
import collections
import concurrent.futures
import hashlib
import os
import re
import shutil
import struct

import operators
from core_again import PROGRAMS

HERE = os.path.dirname(os.path.abspath(__file__))
STATE_SIZE = 1 << 16
# Warnings say nothing of a fault. Vectors and their kernels are too slow without any optimisation. Places behind
# the end of an array are found, as in the build for the sanitizers.
FLAGS = '-O1 -w -Wno-narrowing -D_GLIBCXX_ASSERTIONS'
HEADER = '-include tests/strength/mutants.h'
NO_CONSTANT = re.compile(r'non-.?constexpr|non-constant|not an integ|not usable in a constant|constant.expression|'
                         r'not constant')


class Together:
    def __init__(self, bench):
        self.bench = bench
        self.mutants = []
        self.numbers = set()  # of those that stand in the build
        self.objects = {}     # object: (source, options)
        self.folder = 'mutants'

    def state(self):
        return os.path.join(self.bench.again, 'state')

    def choose(self, number):
        """For programs that start from now on; what they reach is noted anew."""
        with open(self.state(), 'wb') as file:
            file.write(struct.pack('=i', number).ljust(STATE_SIZE, b'\0'))
        os.chmod(self.state(), 0o666)  # some tests start programs without privilege

    def reached(self, count):
        with open(self.state(), 'rb') as file:
            noted = file.read()[4:4 + count]
        return [number for number, byte in enumerate(noted) if byte]

    def build(self, mutants, stay=False):
        """True: the programs are new; False: they were there."""
        self.mutants = mutants
        self.objects = {output: (source, options) for source, output, options in self.bench.compile_commands()}
        lines, chosen = set(), {}
        for number, mutant in enumerate(mutants):
            place = (mutant.path, mutant.line)
            # Tests look at the text of tables, too.
            if '/layout/' not in mutant.path and place not in lines:
                text = operators.switched(mutant, number)
                if text is not None and self.is_there(mutant):
                    lines.add(place)
                    chosen[number] = text
        stamp = self.stamp(chosen)
        known = os.path.join(self.bench.again, 'stamp')
        first, numbers = None, []
        if os.path.exists(known):
            with open(known) as file:
                first, *numbers = file.read().split()
        if first == stamp or first and stay:
            self.numbers = {int(number) for number in numbers}
        else:
            shutil.rmtree(self.bench.again, ignore_errors=True)
            todo = list(self.objects)
            while todo:
                todo = self.compiled(chosen, todo)
            self.numbers = set(chosen)
            with open(known, 'w') as file:
                file.write(' '.join([stamp, *map(str, sorted(chosen))]))
        program = os.path.join(self.bench.again, 'bin', 'qelprfarc_tests')
        if os.path.exists(program) and (stay or os.stat(program).st_mtime > os.stat(
                os.path.join(self.bench.build, 'bin', 'qelprfarc_tests')).st_mtime):
            return False
        os.makedirs(os.path.dirname(program), exist_ok=True)
        self.choose(-1)
        self.link(f'{self.folder}/bin', {})
        self.bench.take_other_programs()
        return True

    def is_there(self, mutant):
        path = os.path.join(self.bench.tree, mutant.path)
        if not os.path.exists(path):
            return False
        with open(path) as file:
            return operators.find(mutant, file.read()) is not None

    def stamp(self, chosen):
        """Of all that the build depends on."""
        digest = hashlib.sha256(repr((sorted(chosen.items()), sorted(self.objects.items()), FLAGS)).encode())
        paths = []
        for folder in {os.path.dirname(mutant.path) for mutant in self.mutants}:
            where = os.path.join(self.bench.tree, folder)
            paths += [os.path.join(where, name) for name in sorted(os.listdir(where)) if name.endswith(('.cc', '.h'))]
        for path in (*paths, os.path.join(HERE, 'mutants.h'), os.path.join(HERE, 'mutants.cc')):
            with open(path, 'rb') as file:
                digest.update(file.read())
        return digest.hexdigest()

    def compiled(self, chosen, todo):
        """Compiles; takes out of `chosen` what does not, and says which objects have to be tried again."""
        by_file = self.by_file(chosen)
        with self.planted(by_file):
            failed = self.compile({output: f'{self.folder}/{output}' for output in todo}, HEADER)
        gone = {number for errors in failed.values() for number in self.blamed(errors, by_file)}
        if failed and not gone:
            output = next(iter(failed))
            gone = self.found_by_halving(output, chosen)
            if not gone:
                raise SystemExit(f'mutate: {output} does not build:\n{failed[output]}')
        for number in gone:
            del chosen[number]
        return list(failed)

    def by_file(self, chosen):
        """{path: {line: (number, text)}}."""
        found = collections.defaultdict(dict)
        for number, text in chosen.items():
            mutant = self.mutants[number]
            with open(os.path.join(self.bench.tree, mutant.path)) as file:
                found[mutant.path][operators.find(mutant, file.read())] = (number, text)
        return found

    def planted(self, by_file):
        def change(places):
            def changed(source):
                lines = source.split('\n')
                for line, (_, text) in places.items():
                    lines[line] = text
                return '\n'.join(lines)
            return changed
        return self.bench.changed({path: change(places) for path, places in by_file.items()})

    def found_by_halving(self, output, chosen):
        """Of errors that say nothing of what is a mutant: those with which the object does not compile."""
        own = os.path.relpath(self.objects[output][0], self.bench.root)

        def found(numbers):
            with self.planted(self.by_file({number: chosen[number] for number in numbers})):
                if not self.compile({output: f'{self.folder}/own/{output}'}, HEADER + ' -fsyntax-only'):
                    return set()
            half = len(numbers) // 2
            return found(numbers[:half]) | found(numbers[half:]) if half else set(numbers)
        return found([number for number in chosen
                      if self.mutants[number].path == own or self.mutants[number].path.endswith('.h')])

    def blamed(self, errors, by_file):
        """The mutants that errors are about: that something is no constant, or else the first, as the rest may
        follow from it."""
        constants, others, from_here = set(), [], None
        for path, line, text in re.findall(r'^([^\s:]+):(\d+):\d+: +(required from here|(?:fatal )?error: .*)$', errors,
                                           re.MULTILINE):
            if text == 'required from here':
                from_here = path, line
                continue
            if path.endswith('/mutants.h') and from_here:
                path, line = from_here
            path = os.path.relpath(path, self.bench.root) if path.startswith('/') else path
            lines = by_file.get(path, {})
            line = int(line) - 1
            numbers = {lines[line][0]} if line in lines else {
                lines[other][0] for other in self.block(path, line) if other in lines}
            if NO_CONSTANT.search(text):
                constants |= numbers
            elif numbers:
                others.append(numbers)
        return constants or (others[0] if others else set())

    def block(self, path, line):
        """The lines of the function or table that the line is a part of."""
        where = os.path.join(self.bench.tree, path)
        if not os.path.exists(where):
            return ()
        with open(where) as file:
            lines = file.read().split('\n')
        first, last = line, line
        while first > 0 and (lines[first].startswith('}') or not re.match(r'[A-Za-z]', lines[first])):
            first -= 1
        while last < len(lines) - 1 and not lines[last].startswith('}'):
            last += 1
        return range(first, last + 1)

    def compile(self, objects, extra, stop=False):
        """{object: what the compiler said} of those that do not compile; `stop`: the first says it all."""
        failed = {}

        def one(output):
            source, options = self.objects[output]
            if stop and failed:
                return
            new = objects[output]
            path = os.path.join(self.bench.build, new)
            os.makedirs(os.path.dirname(path), exist_ok=True)
            # From the root of the checkout, so that the header is found.
            words = f'{options} {FLAGS} -MD -MF build/{new}.d -o build/{new}'
            with open(path + '.log', 'wb') as log:
                status = self.bench.run(['bash', '-c', f'exec c++ {extra} {words}'], 1800, log)
            if status != 0:
                with open(path + '.log', errors='replace') as log:
                    failed[output] = log.read() or f'status {status}'

        with concurrent.futures.ThreadPoolExecutor(int(self.bench.jobs)) as pool:
            list(pool.map(one, objects))
        return failed

    def link(self, folder, others):
        """The programs, into `folder`; `others`: objects to take instead of those of the common build."""
        here = {output: others.get(output, f'{self.folder}/{output}') for output in self.objects}
        mains = [output for output in here if output.endswith('/main.cc.o')]
        core = ' '.join(new for output, new in here.items() if output not in mains)
        state = f'{self.bench.root}/build/{self.folder}/state'
        script = ['set -e', f'c++ -O1 -DQELPRF_MUTANT_STATE=\'"{state}"\' -c -o {self.folder}/mutants.o '
                  '../tests/strength/mutants.cc']
        for program in PROGRAMS:
            before, behind = self.bench.link_command(program)
            for main in mains:
                before = f' {before} '.replace(f' {main} ', f' {here[main]} ')
                behind = f' {behind} '.replace(f' {main} ', f' {here[main]} ')
            behind = behind.replace('libqelprfarc_core.a', '')
            # The core stands first: of functions in headers, of which tests have copies too, its own count.
            script.append(f'c++ -fuse-ld=lld -Wl,--strip-debug {self.folder}/mutants.o {core} {before} '
                          f'-o {folder}/{program} {behind}')
        with open(os.path.join(self.bench.again, 'link.sh'), 'w') as file:
            file.write('\n'.join(script) + '\n')
        path = os.path.join(self.bench.again, 'link.log')
        with open(path, 'wb') as log:
            status = self.bench.run(['bash', '-c', f'cd build && exec bash {self.folder}/link.sh'], 1800, log)
        if status != 0:
            with open(path, errors='replace') as log:
                raise SystemExit(f'mutate: the programs cannot be linked: {log.read()[:2000]}')

    def build_alone(self, path):
        """Programs with what stands in the copy's file now: True, or what the compiler said first."""
        others = {output: f'{self.folder}/own/{output}' for output in self.objects if self.sees(output, path)}
        failed = self.compile(others, '', stop=True)
        for errors in failed.values():
            found = re.search(r'error: (.*)', errors)
            return found[1][:100] if found else errors[:100]
        where = os.path.join(self.bench.again, 'alone')
        if not os.path.exists(where):
            shutil.copytree(os.path.join(self.bench.again, 'bin'), where)
        self.choose(-1)
        self.link(f'{self.folder}/alone', others)
        return True

    def sees(self, output, path):
        with open(os.path.join(self.bench.again, output + '.d')) as file:
            return f'{self.bench.root}/{path}' in re.split(r'[\s\\]+', file.read())
