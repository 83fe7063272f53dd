"""What comes between: the program is stopped before one of its calls, something else happens to its
files, and it goes on. What was not touched must end as if nothing had happened."""
import os
import signal
import time

import oracle

STOP = signal.SIGSTOP
CONTINUE = signal.SIGCONT


def _path(machine, name):
    return os.path.join(machine.tree, name)


def _remove(name):
    return lambda machine, scenario: os.path.exists(_path(machine, name)) and os.unlink(_path(machine, name))


def _write(name, content):
    def act(machine, scenario):
        with open(_path(machine, name), 'wb') as file:
            file.write(content)
    return act


def _link(name, target):
    def act(machine, scenario):
        path = _path(machine, name)
        if os.path.lexists(path):
            os.unlink(path)
        os.symlink(target, path)
    return act


def _second_run(machine, scenario):
    # The first one has the lock, or does not need it yet or any more.
    return oracle.run(machine, scenario).status


# What happens, and which archives and inputs it touches.
CASES = {
    'a log vanishes': (_remove('arc/20240313b.psl'), {'arc/20240313b.psl', 'arc/archive/20240313b.psa'}),
    'a part of a day vanishes': (_remove('arc/20240310a#002.psl'),
                                 {'arc/20240310a#001.psl', 'arc/20240310a#002.psl', 'arc/archive/20240310a.psa'}),
    'a log appears': (_write('arc/20240314z.psl', b''), {'arc/20240314z.psl'}),
    'a log is cut': (_write('arc/20240313b.psl', b'Qelprf'), {'arc/20240313b.psl', 'arc/archive/20240313b.psa'}),
    'an archive appears': (_write('arc/archive/20240314a.psa', b'of another'),
                           {'arc/20240314a.psl', 'arc/archive/20240314a.psa'}),
    'a temporary archive is a link': (_link('arc/archive/20240313b.psa_tmp', '../20240314a.psl'),
                                      {'arc/archive/20240313b.psa_tmp', 'arc/archive/20240313b.psa',
                                       'arc/20240313b.psl'}),
    'a log becomes a dead link': (_link('arc/20240313b.psl', 'nowhere'),
                                  {'arc/20240313b.psl', 'arc/archive/20240313b.psa'}),
    'an hour archive vanishes': (_remove('arc/archive/20240115a.psa'),
                                 {'arc/archive/20240115a.psa', 'arc/archive/20240116a.psa',
                                  'arc/archive/202401a.psa'}),
    'another run': (_second_run, set()),
}


def wait_for_stop(process):
    """True when the program stands still, False when it has ended."""
    while True:
        pid, status = os.waitpid(process.pid, os.WUNTRACED | os.WNOHANG)
        if pid == 0:
            time.sleep(0.0005)
            continue
        if os.WIFSTOPPED(status):
            return True
        process.returncode = os.waitstatus_to_exitcode(status)
        return False


def one_race(machine, scenario, judge, case, number):
    act, touched = CASES[case]
    machine.place(scenario.tree)
    process = machine.start(scenario.program, scenario.arguments, {'KILL': f'{number}:{int(STOP)}'},
                            scenario.clock, scenario.variables)
    if wait_for_stop(process):
        act(machine, scenario)
        process.send_signal(CONTINUE)
    result = machine.finish(process)
    tree = machine.take()
    wrong = [] if result.status in (0, 1) else [f'status {result.status}: {result.err[-200:]}']
    wrong += judge_tree(judge, tree, touched)
    result = oracle.run(machine, scenario)
    tree = machine.take()
    if result.status not in (0, 1):
        wrong.append(f'the next run ends with {result.status}')
    wrong += judge_tree(judge, tree, touched)
    for archive in scenario.made_of:
        if archive not in touched and tree.get(archive) != judge.ref.tree[archive]:
            wrong.append(f'{archive} is not made')
    wrong += [f'still left behind: {path}' for path in tree if '_tmp' in path and path not in touched]
    return wrong


def judge_tree(judge, tree, touched, others_expire=False):
    """Inputs that nobody touched are there, or archived; archives are whole."""
    wrong = []
    for path, content in judge.ref.before.items():
        if path in touched:
            continue
        if path in tree:
            if tree[path] != content:
                wrong.append(f'changed: {path}')
            continue
        if path in judge.ref.tree and not others_expire:
            wrong.append(f'gone: {path}')
        wrong += [f'{path} is gone, but {archive} is not there'
                  for archive, inputs in judge.scenario.made_of.items()
                  if path in inputs and tree.get(archive) != judge.ref.tree[archive]]
    wrong += [f'neither old nor new: {path}' for path, content in judge.scenario.content(tree).items()
              if path.endswith('.psa') and path not in touched and path not in judge.ref.before
              and content != judge.ref.tree.get(path)]
    return wrong
