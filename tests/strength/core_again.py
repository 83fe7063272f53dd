"""A copy of the checkout in which the core is compiled once more, in another way, and linked with what was
built before: tests and psltool as they are. The programs stand in a directory of their own, which is laid
over build/bin while tests run."""
import json
import os
import re
import shutil
import subprocess

from checkout_copy import CheckoutCopy

PROGRAMS = ('Qelprfarc', 'Qelprfarc_test', 'psltool', 'qelprfarc_tests')
# Options of the release build that say nothing of what the code does.
OPTIONS = (r' (-include \S+|-Winvalid-pch|-O\d|-g\d?|-W\S+|-fstack-protector-strong|-fcf-protection'
           r'|-U_FORTIFY_SOURCE|-D_FORTIFY_SOURCE=\d)(?= )')


class CoreAgain(CheckoutCopy):
    def __init__(self, root, work, jobs, name):
        super().__init__(root, work, jobs)
        self.name = name
        self.again = os.path.join(self.build, name)
        # Programs are called by path.
        self.over = (f'{root}/build/{name}/bin', f'{root}/build/bin')

    def compile_commands(self):
        """(source, object, its command without options and output) of the core; main of the archiver too."""
        with open(os.path.join(self.build, 'compile_commands.json')) as file:
            commands = json.load(file)
        for command in commands:
            line = command['command']
            output = re.search(r' -o (\S+)', line)[1]
            target = re.match(r'CMakeFiles/(\w+)\.dir/', output)[1]
            main = command['file'].endswith('/archiver/main.cc') and target in PROGRAMS
            if target != 'qelprfarc_core' and not main or output.endswith('.gch'):
                continue
            # Without the compiler and what starts it.
            line = re.sub(r'^(\S+/ccache )?\S+', '', line)
            yield command['file'], output, re.sub(OPTIONS, '', line).replace(f' -o {output}', '')

    def link_command(self, program):
        """(what stands before the output, what behind it) in the command that links a program."""
        printed = subprocess.run(['ninja', '-C', self.build, '-t', 'commands', f'bin/{program}'],
                                 check=True, stdout=subprocess.PIPE).stdout.decode()
        line = re.search(rf': && (\S+) (.*) -o bin/{program} (.*) && :', printed)
        return line[2], line[3]

    def take_other_programs(self):
        """What tests start besides: as it was built."""
        for name in os.listdir(os.path.join(self.build, 'bin')):
            if name not in PROGRAMS:
                shutil.copy2(os.path.join(self.build, 'bin', name), os.path.join(self.again, 'bin', name))
