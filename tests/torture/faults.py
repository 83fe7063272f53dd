"""Every call, every error; every allocation; a second failure during the recovery; signals at every
call."""
import errno
import random

from machine import name_of_error, name_of_signal
import oracle

SHORT, NOTHING = 9001, 9002

# The errors that a call can have without being called wrongly. A file that is not there is none of
# them: then it is not there.
ERRORS = {
    'open': [errno.EACCES, errno.EMFILE, errno.EIO],
    'create': [errno.EACCES, errno.ENOSPC, errno.EROFS, errno.EMFILE],
    'close': [errno.EIO], 'fclose': [errno.ENOSPC], 'closedir': [errno.EIO],
    'read': [errno.EIO, SHORT, NOTHING], 'pread': [errno.EIO, SHORT, NOTHING],
    'write': [errno.ENOSPC, errno.EIO, SHORT], 'pwrite': [errno.ENOSPC, errno.EIO],
    'fwrite': [errno.ENOSPC], 'fputs': [errno.ENOSPC], 'fflush': [errno.ENOSPC],
    'lseek': [errno.EIO], 'ftruncate': [errno.EIO], 'fsync': [errno.EIO, errno.ENOSPC],
    'fcntl': [errno.ENOLCK], 'flock': [errno.ENOLCK],
    'fstat': [errno.EIO], 'stat': [errno.EACCES, errno.EIO], 'lstat': [errno.EACCES, errno.EIO],
    'access': [errno.EACCES], 'fchmod': [errno.EPERM], 'fchown': [errno.EPERM],
    'rename': [errno.EIO, errno.ENOSPC, errno.EINVAL], 'linkat': [errno.EIO, errno.ENOSPC],
    'unlink': [errno.EACCES, errno.EIO], 'rmdir': [errno.EACCES], 'mkdir': [errno.ENOSPC],
    'chdir': [errno.EACCES], 'opendir': [errno.EACCES, errno.EMFILE], 'readdir': [errno.EIO],
    'fork': [errno.EAGAIN], 'waitpid': [errno.EINTR], 'system': [errno.EAGAIN],
    'shmat': [errno.EACCES], 'shmdt': [errno.EINVAL], 'shmctl': [errno.EPERM], 'shmget': [errno.ENOSPC],
}

# Calls on the way of messages: when they fail, there is nobody left to tell.
MESSAGE_PATHS = ('operation.log', 'Qelprfarc.trc', 'etc/log', 'etc/trace')


def is_mute(call, path):
    standard = not path.startswith('/') or path.startswith(('/dev/', '/proc/'))
    return path.endswith(MESSAGE_PATHS) or (standard and call in ('fwrite', 'fputs', 'fflush', 'fclose', 'write'))


def failures(undisturbed, program):
    """(key, plan, mute) of every failure of a single call, once and for good."""
    for number, call, path in undisturbed.calls:
        for error in ERRORS.get(call, []):
            # The archiver knows how much there must be; for others it is the end of the file.
            if error == NOTHING and program != 'Qelprfarc':
                continue
            for more in ('', '+'):
                # Interrupted for good is nothing that happens: whoever waits goes on waiting.
                if error == errno.EINTR and more == '+':
                    continue
                key = f'{number} {call} {name_of_error(error)}{more}'
                mute = is_mute(call, path) or (more == '+' and call in ('fputs', 'fwrite', 'write', 'create', 'open'))
                yield key, {'FAIL': f'{number}:{error}{more}'}, mute


def allocations(undisturbed):
    for number in range(1, undisturbed.allocations + 1):
        for more in ('', '+'):
            yield f'allocation {number}{more}', {'ALLOCATION': f'{number}{more}'}, False


def pairs(undisturbed, program, count, seed):
    """Two failures: one in a run, the other in the next one."""
    single = [plan for _, plan, _ in failures(undisturbed, program)]
    chance = random.Random(seed)
    for number in range(count):
        yield f'pair {seed}.{number}', chance.choice(single), chance.choice(single)


def kills(undisturbed):
    for number, call, _ in undisturbed.calls:
        for signal in (9, 15):
            yield f'{number} {call} {name_of_signal(signal)}', {'KILL': f'{number}:{signal}'}, signal


def one_failure(machine, scenario, judge, plan, mute):
    machine.place(scenario.tree)
    result = oracle.run(machine, scenario, plan)
    tree = machine.take()
    wrong = judge.failed_run(result, tree, mute)
    more, told = judge.next_run(result, tree)
    return wrong + more, told


def two_failures(machine, scenario, judge, first, second):
    machine.place(scenario.tree)
    one = oracle.run(machine, scenario, first)
    tree = machine.take()
    wrong = judge.failed_run(one, tree, mute=True)
    two = oracle.run(machine, scenario, second)
    earlier = tree
    tree = machine.take()
    wrong += judge.failed_run(two, tree, mute=True, stood=earlier)
    both = two._replace(err=one.err + two.err)
    more, told = judge.next_run(both, tree)
    return wrong + more, told


def one_kill(machine, scenario, judge, plan, signal):
    machine.place(scenario.tree)
    result = oracle.run(machine, scenario, plan)
    tree = machine.take()
    wrong = judge.failed_run(result, tree, killed=signal)
    more, told = judge.next_run(result, tree, killed=signal)
    return wrong + more, told
