"""A copy of the checkout in which the core is compiled once more, by clang with counters in it, and linked
with what was built before: tests and psltool as they are. Each process adds to one file of counts while it
runs, so one that is killed has counted, too."""
import json
import os
import re
import shutil
import subprocess

from checkout_copy import CheckoutCopy

# Only the core's own files are of interest, and they have to be as they are written: nothing is optimised.
FLAGS = '-O0 -w -fprofile-instr-generate -fcoverage-mapping -mllvm -runtime-counter-relocation'
PROGRAMS = ('Qelprfarc', 'Qelprfarc_test', 'psltool', 'qelprfarc_tests')
# What counts is which lines a test reaches: not under optimisation of their own, nor the time.
LEFT_OUT = r'Hardening|^engine/architecture|^engine/layout_proof|^tools/(page|pages|drawing)/|^logdir/period_zones'


class Instrumented(CheckoutCopy):
    def __init__(self, root, work, jobs):
        super().__init__(root, work, jobs)
        self.counted = os.path.join(self.build, 'counted')
        self.profiles = os.path.join(self.counted, 'profiles')
        self.merged = os.path.join(self.counted, 'all.profdata')
        # Programs are called by path.
        self.over = (f'{root}/build/counted/bin', f'{root}/build/bin')

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
        for name in os.listdir(os.path.join(self.build, 'bin')):
            if name not in PROGRAMS:
                shutil.copy2(os.path.join(self.build, 'bin', name), os.path.join(self.counted, 'bin', name))

    def write_ninja(self):
        """The core's compile commands and the programs' link commands, rewritten."""
        with open(os.path.join(self.build, 'compile_commands.json')) as file:
            commands = json.load(file)
        text = ['rule run', '  command = $line', '  depfile = $out.d', '  deps = gcc',
                'rule link', '  command = $line']
        core, mains = [], []
        for command in commands:
            line = command['command']
            output = re.search(r' -o (\S+)', line)[1]
            target = re.match(r'CMakeFiles/(\w+)\.dir/', output)[1]
            main = command['file'].endswith('/archiver/main.cc') and target in PROGRAMS
            if target != 'qelprfarc_core' and not main or output.endswith('.gch'):
                continue
            new = 'counted/' + output
            (mains if main else core).append(new)
            line = re.sub(r'^\S+', 'clang++', line[line.index('/c++'):] if '/c++' in line else line)
            line = re.sub(r' (-include \S+|-Winvalid-pch|-O\d|-g\d?|-W\S+|-U_FORTIFY_SOURCE|-D_FORTIFY_SOURCE=\d)(?= )',
                          '', line)
            line = line.replace(f' -o {output}', f' {FLAGS} -MD -MF {new}.d -o {new}')
            text += [f'build {new}: run {command["file"]}', f'  line = {line}']
        text += [f'build counted/libcore.a: link {" ".join(core)}',
                 '  line = rm -f counted/libcore.a && ar qc counted/libcore.a ' + ' '.join(core)]
        # Where the counts go: not said in the environment, of which tests give their programs little.
        with open(os.path.join(self.counted, 'name.c'), 'w') as file:
            file.write(f'char __llvm_profile_filename[] = "{self.root}/build/counted/profiles/%c%m.profraw";\n')
        text += ['build counted/name.o: link counted/name.c', '  line = clang -c -o counted/name.o counted/name.c']
        for program in PROGRAMS:
            printed = subprocess.run(['ninja', '-C', self.build, '-t', 'commands', f'bin/{program}'],
                                     check=True, stdout=subprocess.PIPE).stdout.decode()
            line = re.search(rf': && (\S+) (.*) -o bin/{program} (.*) && :', printed)
            line = f'clang++ -fprofile-instr-generate {line[2]} -o counted/bin/{program} counted/name.o {line[3]}'
            line = line.replace('libqelprfarc_core.a', 'counted/libcore.a')
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
                found = self.test(file, 1200, 3600, memory=0)
                if found is not True:
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
