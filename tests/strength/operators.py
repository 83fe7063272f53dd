"""Small faults: what can be changed in a line of C++ so that the text still looks like a program."""
import collections
import re

# `nth` tells lines with the same text in one file apart; a mutant is found again by its text, not by the
# number of its line, so it stays the same mutant while the file changes around it.
Mutant = collections.namedtuple('Mutant', 'path line nth kind before after')

COMPARISONS = {'<': ('<=', '>'), '<=': ('<', '>='), '>': ('>=', '<'), '>=': ('>', '<='),
               '==': ('!=',), '!=': ('==',)}
OTHER = {'&&': '||', '||': '&&', '+': '-', '-': '+', '+=': '-=', '-=': '+=', 'true': 'false',
         'false': 'true'}
# As mutants.h calls them.
OP = {old: f'mutants::k{name}' for old, name in (
    ('<', 'Less'), ('<=', 'LessEqual'), ('>', 'More'), ('>=', 'MoreEqual'), ('==', 'Equal'), ('!=', 'Unequal'),
    ('+', 'Plus'), ('-', 'Minus'), ('+=', 'Plus'), ('-=', 'Minus'))}
NUMBER = re.compile(r"(?<![\w.'])(0[xX][0-9A-Fa-f']+|\d[\d']*)([uUlL]*)(?![\w.'])")
CALL = re.compile(r'(?:static_cast<void>\()?(?:::)?[A-Za-z_][\w:]*(?:(?:\.|->)\w+)*\(.*\);$')
NOT_CODE = ('#', 'static_assert', 'using ', 'namespace', 'template', 'extern ', 'friend ')


def masked(line):
    """The line with the insides of texts blanked and without its comment, every other byte in its place."""
    out = []
    at = 0
    while at < len(line):
        if line.startswith('//', at):
            break
        quote = line[at]
        if quote == '"' or (quote == "'" and not (at and (line[at - 1].isalnum()))):
            end = at + 1
            while end < len(line) and line[end] != quote:
                end += 2 if line[end] == '\\' else 1
            out.append(quote + '\x01' * (min(end, len(line)) - at - 1) + quote)
            at = end + 1
        else:
            out.append(quote)
            at += 1
    return ''.join(out).rstrip()


def closing(text, at):
    """Where the bracket that opens at `at` closes; -1: on another line."""
    depth = 0
    for here in range(at, len(text)):
        depth += {'(': 1, ')': -1}.get(text[here], 0)
        if depth == 0:
            return here
    return -1


def faults(line, table):
    """(kind, start, end, new text) for each fault that fits. `table`: the line is a row of a table."""
    text = masked(line)
    if not text.strip() or text.strip().startswith(NOT_CODE):
        return
    for match in re.finditer(r' (<=|>=|==|!=|<|>) ', text):
        for other in COMPARISONS[match[1]]:
            yield 'comparison', *match.span(1), other
    for match in re.finditer(r' (&&|\|\|) ', text):
        yield 'connective', *match.span(1), OTHER[match[1]]
    for match in re.finditer(r' (\+|-|\+=|-=) ', text):
        yield 'arithmetic', *match.span(1), OTHER[match[1]]
    for match in NUMBER.finditer(text):
        digits = match[1].replace("'", '')
        base, form = (16, '0x%x') if 'x' in digits.lower() else (8, '0%o') if digits[0] == '0' != digits else (10, '%d')
        for other in (int(digits, base) + 1, int(digits, base) - 1):
            if other >= 0:
                new = '0' if other == 0 else form % other
                yield 'table cell' if table else 'constant', *match.span(1), new
    for match in re.finditer(r'\b(true|false)\b', text):
        yield 'table cell' if table else 'truth value', *match.span(1), OTHER[match[1]]
    for match in re.finditer(r'\b(?:if|while) (?:constexpr )?\(', text):
        start = match.end() - 1
        end = closing(text, start)
        if end > 0 and ';' not in text[start:end]:
            yield 'condition', start, end + 1, '(!' + line[start:end + 1] + ')'
    statement = re.match(r'\s*(?:if \(.*\) |else )?', text).end()
    if CALL.match(text[statement:]) and text.startswith(' '):
        yield 'call left out', statement, len(text), '{}'


def changes(line, table):
    """(kind, the line changed) for each fault that fits."""
    for kind, start, end, new in faults(line, table):
        yield kind, line[:start] + new + line[end:]


def mutants_of(path, source):
    """All mutants of a file, by line."""
    seen = collections.Counter()
    found = []
    for number, line in enumerate(source.split('\n')):
        nth = seen[line]
        seen[line] += 1
        of_line = [Mutant(path, number, nth, kind, line, after)
                   for kind, after in changes(line, '/layout/' in path)]
        if of_line:
            found.append(of_line)
    return found


def find(mutant, source):
    """The number of the mutant's line in `source`; None: there is no such line any more."""
    places = [number for number, line in enumerate(source.split('\n')) if line == mutant.before]
    return places[mutant.nth] if mutant.nth < len(places) else None


def planted(mutant, source):
    """The source with the mutant, or None."""
    lines = source.split('\n')
    number = find(mutant, source)
    if number is None:
        return None
    lines[number] = mutant.after
    return '\n'.join(lines)


def expression_around(text, at):
    """Where the expression around `at` begins and ends, down to what binds it less than && and ||; None: on
    another line."""
    def ends(here):
        return text[here] in ';,?' or re.match(r' [-+|&]?= |return |(?<!:): ', text[here:])

    def outwards(places, opens, closes):
        depth = 0
        for here in places:
            if text[here] in closes:
                depth += 1
            elif text[here] in opens:
                depth -= 1
            if depth < 0 or depth == 0 and ends(here):
                return here
        return None

    before = outwards(range(at - 1, -1, -1), '([{', ')]}')
    end = outwards(range(at, len(text)), ')]}', '([{')
    if before is None or end is None:
        return None
    word = re.match(r' [-+|&]?= |return |.', text[before:])
    return before + word.end(), end


def switched(mutant, number):
    """The line with both, the original and the fault, of which Mutant(number) chooses when it runs; None: it
    cannot be written so. See mutants.h."""
    line = mutant.before
    for kind, start, end, new in faults(line, '/layout/' in mutant.path):
        if kind == mutant.kind and line[:start] + new + line[end:] == mutant.after:
            break
    else:
        return None
    old, head, tail = line[start:end], line[:start], line[end:]
    if kind == 'comparison':
        word = '==' if old in ('==', '!=') else '<='
        return f'{head}{word} mutants::Op<{number}, {OP[old]}, {OP[new]}>{{}} {word}{tail}'
    if kind == 'arithmetic':
        word = '+=' if '=' in old else '+'
        return f'{head}{word} mutants::Op<{number}, {OP[old]}, {OP[new]}>{{}} {word}{tail}'
    if kind == 'connective':
        around = expression_around(masked(line).ljust(len(line)), start)
        if around is None:
            return None
        first, last = around
        both = [line[first:last], line[first:start] + new + line[end:last]]
        return f'{line[:first]}(Mutant({number}) ? ({both[1]}) : ({both[0]})){line[last:]}'
    if kind == 'condition':
        return f'{head}(Mutant({number}) != static_cast<bool>{old}){tail}'
    if kind == 'call left out':
        return f'{head}{{ if (!Mutant({number})) {old} }}{tail}'
    suffix = re.match(r'[uUlL]*', tail)[0]
    return f'{head}(Mutant({number}) ? {new}{suffix} : {old}{suffix}){tail[len(suffix):]}'
