"""What is put to torture: trees of small files, a program with arguments, and what belongs to what."""
import struct

from machine import Segment

# Of all nights: 15 March 2024, 00:30 UTC.
CLOCK = 1710462600
SMALL = ['--none', '--ld', '1', '--records', '2', '--interval', '3600', '-q']


class Scenario:
    automatic = False  # a run of the daemon: trace and operation log, status 0 also after failures
    repeatable = True  # a second sound run changes nothing more
    quiet = False      # what a run leaves to the next one it need not tell
    heals = True       # the next sound run ends where an undisturbed one would have

    def __init__(self, name, program, arguments, tree, **more):
        self.name = name
        self.program = program
        self.arguments = arguments
        self.tree = tree
        self.variables = {}
        self.made_of = {}  # the inputs of each archive
        self.ignored = ()  # beginnings of paths that say nothing
        self.outputs = ()  # beginnings of paths that the run may replace
        self.segment = None
        for key, value in more.items():
            setattr(self, key, value)

    def content(self, tree):
        """The tree without what every run leaves behind."""
        skipped = ('prefix/', 'root/', *self.ignored)
        return {path: content for path, content in tree.items()
                if content is not None and not path.startswith(skipped)}

    def messages(self, result, tree):
        """Everything that a run told of failures."""
        log = tree.get('prefix/etc/log/operation.log', b'') if self.automatic else b''
        trace = tree.get('prefix/etc/trace/Qelprfarc.trc', b'') if self.automatic else b''
        told = [line for line in trace.decode(errors='replace').splitlines()
                if any(word in line for word in ('Qelprfarc: ', 'retval=', 'failed', 'errno='))]
        return result.err + log.decode(errors='replace') + '\n'.join(told)


def segment(machine, keep_psl=0, keep_hour=0, capacity=0):
    """The daemon's configuration: days that logs are kept, months of hour archives."""
    data = bytearray(10240)
    for offset, name in ((240, 'root'), (6304, 'arc'), (9184, 'pml')):
        path = f'{machine.tree}/{name}'.encode()
        data[offset:offset + len(path)] = path
    data[6569] = 1
    struct.pack_into('=HH', data, 6592, keep_psl, 0)
    struct.pack_into('=HH', data, 6596, keep_hour, 1)
    struct.pack_into('=i', data, 9168, capacity)
    return Segment(data)


def _files(machine, program, arguments, tree=None, below='made/'):
    """The files that a sound run makes below a directory."""
    machine.place({below.rstrip('/'): None, **(tree or {})})
    result = machine.run(program, arguments)
    if result.status != 0:
        raise SystemExit(f'torture: {program} {arguments}: {result.err}')
    return {path[len(below):]: content for path, content in machine.take().items()
            if path.startswith(below)}


def logs(machine, name, day, revision='0x1D', *more):
    return _files(machine, 'psltool', ['make', '--name', name, '--start', day, '--revision', revision,
                                       '-o', 'made', *SMALL, *more])


def hour_archive(machine, name, day):
    made = logs(machine, name, day)
    return _files(machine, 'Qelprfarc', ['-o', 'made', *(f'in/{path}' for path in made)],
                  {f'in/{path}': content for path, content in made.items()})


def _below(directory, files):
    return {f'{directory}/{name}': content for name, content in files.items()}


SERVER = {'root/pmon': None, 'root/core/Qelprfd': None, 'arc/archive': None, 'pml': None,
          'prefix/etc/log': None, 'prefix/etc/trace': None}


def night(machine):
    """Three arrays, parts, sequels, expired files, markers and remains."""
    tree = dict(SERVER)
    tree |= _below('arc', logs(machine, 'a', '2024-03-10', '0x1D', '--files-per-day', '2'))
    tree |= _below('arc', logs(machine, 'b', '2024-03-13'))
    tree |= _below('arc', logs(machine, 'a', '2024-03-14'))
    tree |= _below('arc', logs(machine, 'c', '2024-03-14', '0x1A'))
    for part, revision in (('001', '0x1C'), ('002', '0x1D')):
        made = logs(machine, 'b', '2024-03-14', revision, '--files-per-day', '2')
        tree[f'arc/20240314b#{part}.psl'] = made[f'20240314b#{part}.psl']
    for name, day in (('a', '2024-01-15'), ('a', '2024-01-16'), ('b', '2024-02-20')):
        tree |= _below('arc/archive', hour_archive(machine, name, day))
    tree['arc/Qelprf.A'] = b''
    tree['arc/archive/20240312a.psa_tmp'] = b'remains'
    made_of = {
        'arc/archive/20240310a.psa': ['arc/20240310a#001.psl', 'arc/20240310a#002.psl'],
        'arc/archive/20240313b.psa': ['arc/20240313b.psl'],
        'arc/archive/20240314a.psa': ['arc/20240314a.psl'],
        'arc/archive/20240314c.psa': ['arc/20240314c.psl'],
        'arc/archive/20240314b.psa': ['arc/20240314b#001.psl'],
        'arc/archive/20240314b#002.psa': ['arc/20240314b#002.psl'],
        'arc/archive/202401a.psa': ['arc/archive/20240115a.psa', 'arc/archive/20240116a.psa'],
        'arc/archive/202402b.psa': ['arc/archive/20240220b.psa'],
    }
    held = segment(machine, keep_psl=2, keep_hour=1)
    return Scenario('night', 'Qelprfarc', ['-auto', '-mode', 'svr', str(held.number)], tree,
                    automatic=True, clock=CLOCK, made_of=made_of, segment=held,
                    gone=['arc/20240310a#001.psl', 'arc/archive/20240115a.psa', 'arc/Qelprf.A'])


def manual_hour(machine, replaces):
    tree = _below('in', logs(machine, 'a', '2024-03-10', '0x21', '--files-per-day', '2'))
    inputs = sorted(tree)
    tree['out'] = None
    if replaces:
        tree['out/20240310a.psa'] = b'what stood there before'
    return Scenario('manual hour, replaces' if replaces else 'manual hour', 'Qelprfarc',
                    ['-o', 'out', *inputs], tree, clock=CLOCK, outputs=('out/',),
                    made_of={'out/20240310a.psa': inputs})


def manual_day(machine):
    tree = {'out': None}
    for day in ('2024-01-15', '2024-01-16'):
        tree |= _below('in', hour_archive(machine, 'a', day))
    inputs = sorted(path for path in tree if path.startswith('in/'))
    return Scenario('manual day', 'Qelprfarc', ['-d', '-o', 'out', *inputs], tree, clock=CLOCK,
                    outputs=('out/',), made_of={'out/202401a.psa': inputs})


def manual_span(machine):
    tree = {}
    for name, day in (('a', '2024-03-10'), ('a', '2024-03-11'), ('b', '2024-03-11')):
        tree |= _below('dir', logs(machine, name, day))
    return Scenario('manual span', 'Qelprfarc', ['-p', 'dir', '-hour', '20240310-20240312'], tree,
                    clock=CLOCK, outputs=('dir/',),
                    made_of={path.replace('.psl', '.psa'): [path] for path in tree})


def _pml_tree(staged):
    tree = dict(SERVER) | {'root/.trace3': None}
    for number in range(10):
        tree[f'pml/00/202403{number + 1:02}x#001_{number:03}.pml'] = b'x' * 30
    tree['pml/00/foreign.pml'] = b'foreign'
    tree['pml/0A/20240301x#001_001.pml'] = b'other'
    if staged:
        tree['pml/00/20240201x#001_001.pml'] = 2 << 20
        for number in range(3):
            tree[f'root/.trace3/2024031{number}x#002_001.pml'] = b'staged'
    return tree


def pruning(machine, kind):
    numbers = {'age': ['0', '3', '0'], 'number': ['0', '0', '4'], 'embedded': ['1', '0', '0']}[kind]
    held = segment(machine, capacity=1)
    tree = _pml_tree(kind == 'embedded')
    # By number, each run takes the oldest that are there.
    return Scenario(f'pruning, {kind}', 'Qelprfarc', ['-mode', 'svr', str(held.number), '-auto2', *numbers],
                    tree, automatic=True, clock=CLOCK, segment=held,
                    variables={'QelPMON_EMBSYSVOL': 'yes'}, heals=kind == 'age',
                    repeatable=kind == 'age', quiet=True)


def tool_make(machine):
    return Scenario('psltool make', 'psltool', ['make', '--arrays', '2', '--force', '-o', 'out', *SMALL],
                    {'out': None}, clock=CLOCK, outputs=('out/',))


def tool_salvage(machine):
    tree = _below('in', logs(machine, 'a', '2024-03-10'))
    name = next(iter(tree))
    broken = tree[name] + b'not a record'
    return Scenario('psltool salvage', 'psltool', ['salvage', '--force', name, '-o', 'out/saved.psl'],
                    {name: broken, 'out/saved.psl': b'saved before'}, clock=CLOCK, outputs=('out/',))


def tool_export(machine, form):
    tree = _below('in', logs(machine, 'a', '2024-03-10'))
    return Scenario(f'psltool export {form}', 'psltool',
                    ['export', '--format', form, '-o', 'out/rows', *tree],
                    tree | {'out/rows': b'' if form == 'sqlite' else b'rows of before'}, clock=CLOCK,
                    outputs=('out/',), database='out/rows' if form == 'sqlite' else None)


def tool_seal(machine):
    tree = {}
    for day in ('2024-01-15', '2024-01-16'):
        tree |= _below('archive', hour_archive(machine, 'a', day))
    return Scenario('psltool seal', 'psltool', ['seal', 'archive'],
                    tree | {'archive/SHA256SUMS': b'# sealed\n'}, clock=CLOCK,
                    outputs=('archive/SHA256SUMS',))


def tool_unit(machine):
    tree = _below('in', logs(machine, 'a', '2024-03-10', '0x1D', '--files-per-day', '2'))
    return Scenario('psltool unit', 'psltool',
                    ['unit', 'in', '20240310a', '-o', 'out', '--archiver', machine.programs['Qelprfarc']],
                    tree | {'out': None}, clock=CLOCK, outputs=('out/',), ignored=('out/.units',),
                    made_of={'out/20240310a.psa': sorted(tree)})


def all_scenarios():
    """By name, what makes each: making one takes runs of its own."""
    table = {'night': night, 'manual hour': lambda m: manual_hour(m, False),
             'manual hour, replaces': lambda m: manual_hour(m, True), 'manual day': manual_day,
             'manual span': manual_span}
    for kind in ('age', 'number', 'embedded'):
        table[f'pruning, {kind}'] = lambda m, kind=kind: pruning(m, kind)
    table['psltool make'] = tool_make
    table['psltool salvage'] = tool_salvage
    for form in ('csv', 'openmetrics', 'sqlite'):
        table[f'psltool export {form}'] = lambda m, form=form: tool_export(m, form)
    table['psltool seal'] = tool_seal
    table['psltool unit'] = tool_unit
    return table
