"""A copy of the checkout in which the core is compiled once more, by clang with counters in it, and linked
with what was built before: tests and psltool as they are. Each process adds to one file of counts while it
runs, so one that is killed has counted, too."""
import json
import os
import re
import shutil
import subprocess

from core_again import PROGRAMS, CoreAgain

# Only the core's own files are of interest, and they have to be as they are written: nothing is optimised.
FLAGS = '-O0 -w -fprofile-instr-generate -fcoverage-mapping -mllvm -runtime-counter-relocation'
# What counts is which lines a test reaches: not under optimisation of their own, nor the time.
LEFT_OUT = r'[Hh]ardening|^engine/architecture|^engine/layout_proof|^tools/(page|pages|drawing)/|^logdir/period_zones'


# The file of counts gets a number of a descriptor, too.
SEES_THE_COUNTING = ('LastWordsRun.FilesNeverGetTheNumbersOfStandardDescriptors',)


class Instrumented(CoreAgain):
    def __init__(self, root, work, jobs):
        super().__init__(root, work, jobs, 'counted')
        self.counted = self.again
        self.profiles = os.path.join(self.counted, 'profiles')
        self.merged = os.path.join(self.counted, 'all.profdata')

    def refresh(self):
        super().refresh()
        os.makedirs(os.path.join(self.counted, 'bin'), exist_ok=True)
        self.write_ninja()
        log = os.path.join(self.counted, 'make.log')
        with open(log, 'wb') as output:
            status = self.run(['ninja', '-C', 'build', '-f', 'counted/build.ninja', '-j', str(self.jobs)], 3600,
                              output)
        if status != 0:
            raise SystemExit(f'coverage: the sources do not build: {log}')
        self.take_other_programs()

    def write_ninja(self):
        """The core's compile commands and the programs' link commands, rewritten."""
        text = ['rule run', '  command = $line', '  depfile = $out.d', '  deps = gcc',
                'rule link', '  command = $line']
        core, mains = [], []
        for source, output, line in self.compile_commands():
            new = 'counted/' + output
            (mains if output.endswith('/main.cc.o') else core).append(new)
            text += [f'build {new}: run {source}', f'  line = clang++{line} {FLAGS} -MD -MF {new}.d -o {new}']
        text += [f'build counted/libcore.a: link {" ".join(core)}',
                 '  line = rm -f counted/libcore.a && ar qc counted/libcore.a ' + ' '.join(core)]
        # Where the counts go: not said in the environment, of which tests give their programs little.
        with open(os.path.join(self.counted, 'name.c'), 'w') as file:
            file.write(f'char __llvm_profile_filename[] = "{self.root}/build/counted/profiles/%c%m.profraw";\n')
        text += ['build counted/name.o: link counted/name.c', '  line = clang -c -o counted/name.o counted/name.c']
        for program in PROGRAMS:
            before, behind = self.link_command(program)
            # The core stands first: of functions in headers, of which tests have copies too, its own count.
            line = ('clang++ -fprofile-instr-generate -Wl,--whole-archive counted/libcore.a -Wl,--no-whole-archive '
                    f'{before} -o counted/bin/{program} counted/name.o {behind}').replace('libqelprfarc_core.a', '')
            for main in mains:
                line = line.replace(f' {main.removeprefix("counted/")} ', f' {main} ')
            text += [f'build counted/bin/{program}: link counted/libcore.a counted/name.o {" ".join(mains)} bin/{program}',
                     f'  line = {line}']
        with open(os.path.join(self.counted, 'build.ninja'), 'w') as file:
            file.write('\n'.join(text) + '\n')

    def count(self, files, again):
        """Runs the tests of `files`; those that fail are printed."""
        self.find_files(LEFT_OUT)
        if again:
            shutil.rmtree(self.profiles, ignore_errors=True)
        os.makedirs(self.profiles, exist_ok=True)
        self.mounts = [self.over]
        failed = 0
        for file in sorted(self.suites):
            if not files or any(re.search(pattern, file) for pattern in files):
                found = self.test([file], 1200, 3600, memory=0)
                if found is not True and found not in SEES_THE_COUNTING:
                    failed += 1
                    print(f'coverage: failed: {found}', flush=True)
        self.mounts = []
        return failed

    def exported(self):
        """What llvm-cov says of the files and functions of the core."""
        profiles = [os.path.join(self.profiles, name) for name in os.listdir(self.profiles)]
        subprocess.run(['llvm-profdata', 'merge', '-sparse', '-o', self.merged, *profiles], check=True)
        programs = [os.path.join(self.counted, 'bin', name) for name in PROGRAMS]
        objects = [word for path in programs[1:] for word in ('-object', path)]
        text = subprocess.run(['llvm-cov', 'export', '-instr-profile', self.merged, programs[0], *objects,
                               '-ignore-filename-regex', '/(tests|tools|bench|build)/|^/usr/'],
                              check=True, stdout=subprocess.PIPE).stdout
        return json.loads(text)['data'][0]
