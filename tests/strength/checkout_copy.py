"""A copy of the checkout and of its build.

Commands run in a mount namespace of their own in which the copy stands where the checkout stands: what was
built there is up to date here, and no path differs. They run in a process namespace of their own too, with
an empty /tmp in memory, so nothing of them is left behind, whatever they do."""
import collections
import ctypes
import filecmp
import json
import os
import re
import resource
import shutil
import signal
import subprocess

# What a runaway may use; some tests make long files with holes.
MEMORY = 6 << 30
FILES = '3g'

# Build directories of other commands.
OTHER_BUILDS = ('mutate', 'coverage', 'fuzz', 'torture', 'sanitize')


def limits(seconds, memory):
    ctypes.CDLL(None).prctl(1, signal.SIGKILL)  # ends with this program (PR_SET_PDEATHSIG)
    resource.setrlimit(resource.RLIMIT_CPU, (seconds, seconds + 5))
    if memory:
        resource.setrlimit(resource.RLIMIT_AS, (memory, memory))
    resource.setrlimit(resource.RLIMIT_CORE, (0, 0))


class CheckoutCopy:
    def __init__(self, root, work, jobs):
        self.root = root
        self.tree = os.path.join(work, 'tree')
        self.build = os.path.join(self.tree, 'build')
        self.jobs = jobs
        self.suites = {}
        self.environment = dict(os.environ, CCACHE_READONLY='1', TMPDIR='/tmp')
        self.mounts = []  # (what, where), besides the copy itself

    def refresh(self):
        """Brings the copy up to the checkout, tests included, and builds it."""
        if not os.path.exists(os.path.join(self.root, 'build', 'bin', 'qelprfarc_tests')):
            raise SystemExit('no release build: scripts/build')
        os.makedirs(self.tree, exist_ok=True)
        # The build directory is taken over once; from then on the copy builds for itself.
        fresh = not os.path.exists(os.path.join(self.build, 'build.ninja'))
        self.copy_sources(shutil.copy2 if fresh else shutil.copyfile)
        if fresh:
            shutil.copytree(os.path.join(self.root, 'build'), self.build, symlinks=True, dirs_exist_ok=True,
                            ignore=lambda folder, names: OTHER_BUILDS if folder.endswith('/build') else ())
        # Linking is what every mutant waits for.
        self.run(['cmake', 'build', '-DCMAKE_EXE_LINKER_FLAGS=-fuse-ld=lld'], 600)
        built = self.make(['qelprfarc_tests'])
        if built is not True:
            raise SystemExit(f'the sources do not build: {built}')

    def copy_sources(self, copy):
        """Only what differs is touched: what is older than its object is not built again."""
        names = subprocess.run(
            ['git', '-C', self.root, 'ls-files', '-z', '--cached', '--others', '--exclude-standard'],
            check=True, stdout=subprocess.PIPE).stdout.decode().split('\0')[:-1]
        wanted = {name for name in names if os.path.isfile(os.path.join(self.root, name))}
        for folder, folders, files in os.walk(self.tree):
            folders[:] = [name for name in folders if (folder, name) != (self.tree, 'build')]
            for name in files:
                path = os.path.join(folder, name)
                if os.path.relpath(path, self.tree) not in wanted:
                    os.remove(path)
        for name in wanted:
            here, there = os.path.join(self.root, name), os.path.join(self.tree, name)
            if not os.path.exists(there) or not filecmp.cmp(here, there, shallow=False):
                os.makedirs(os.path.dirname(there), exist_ok=True)
                copy(here, there)
                shutil.copymode(here, there)

    def run(self, command, most, output=subprocess.DEVNULL, seconds=600, memory=MEMORY):
        """Status of the command; None: it took more than `most` seconds of the clock. None of its processes
        may have more than `seconds` of a processor, or more memory."""
        mounts = ''.join(f'mount --bind {what} {where} && ' for what, where in self.mounts)
        inside = (f'mount --bind "$1" "$2" && {mounts} mount -t tmpfs -o size={FILES} tmpfs /tmp && cd "$2" && '
                  'shift 2 && exec "$@"')
        own = ['unshare', '--mount', '--pid', '--fork', '--kill-child', '--mount-proc']
        if os.geteuid() != 0:
            own.append('--map-root-user')
        process = subprocess.Popen(
            [*own, 'bash', '-c', inside, 'bash', self.tree, self.root, *command], stdin=subprocess.DEVNULL,
            stdout=output, stderr=subprocess.STDOUT, preexec_fn=lambda: limits(seconds, memory),
            env=self.environment)
        try:
            return process.wait(timeout=most)
        except subprocess.TimeoutExpired:
            process.kill()  # and with it all processes of its namespace
            process.wait()
            return None

    def make(self, targets):
        """True: built; otherwise what the compiler said first."""
        path = os.path.join(self.build, 'make.log')
        with open(path, 'wb') as log:
            status = self.run(['ninja', '-C', 'build', '-j', str(self.jobs), *targets], 3600, log)
        if status == 0:
            return True
        with open(path, errors='replace') as log:
            found = re.search(r'error: (.*)', log.read())
        return found[1][:100] if found else f'status {status}'

    def find_files(self, left_out):
        """The suites of each file of tests."""
        self.run(['build/bin/qelprfarc_tests', '--gtest_list_tests', '--gtest_output=json:build/list.json'], 300)
        with open(os.path.join(self.build, 'list.json')) as file:
            suites = json.load(file)['testsuites']
        self.suites = collections.defaultdict(list)
        for suite in suites:
            file = os.path.relpath(suite['testsuite'][0]['file'], os.path.join(self.root, 'tests'))
            if not re.search(left_out, f'{file} {suite["name"]}'):
                self.suites[file].append(suite['name'])

    def test(self, files, seconds, wall, options=(), memory=MEMORY):
        """True: all of the files pass; otherwise the first test that failed, or what ended the process."""
        path = os.path.join(self.build, 'test.log')
        with open(path, 'wb') as log:
            status = self.run(['build/bin/qelprfarc_tests', '--gtest_brief=1', *options,
                               '--gtest_filter=' + ':'.join(
                                   f'{name}.*' for file in files for name in self.suites[file])],
                              wall, log, seconds, memory)
        if status == 0:
            return True
        if status is None:
            return f'time ({" ".join(files)})'
        with open(path, errors='replace') as log:
            found = re.search(r'\[  FAILED  \] ([^\s,]+)', log.read())
        return found[1] if found else f'status {status} ({" ".join(files)})'
