#!/usr/bin/env python3
"""Holds "A package's life" of docs/install.md to what scripts/try-package does.

Its steps and commands must be those of packaging/try-package.sh, in that order, and the version that of
CMakeLists.txt. With a transcript of scripts/try-package also what each command printed is compared, in shape.

Usage: tests/docs/package_life.py [--transcript FILE [--write]] [--root DIR]
  --write  writes into the page what was printed, wherever a command shows all of it
"""
import argparse
import re
import sys
from pathlib import Path

sys.dont_write_bytecode = True
sys.path.insert(0, str(Path(__file__).resolve().parent))
import pages  # noqa: E402
import shape  # noqa: E402

PAGE, HEADING = "docs/install.md", "## A package's life"


class Step:
    """A heading with the lines below it, as of a block of a page."""

    def __init__(self, name, line):
        self.name, self.kind, self.line, self.lines = name, "console", line, []

    def commands(self):
        return pages.commands_of(self)


def steps_of(lines, line=0):
    steps = []
    for number, text in enumerate(lines, line):
        if text.startswith("== "):
            steps.append(Step(text[3:], number))
        elif steps and (text.startswith("$ ") or steps[-1].lines):
            if not steps[-1].lines:
                steps[-1].line = number - 1
            steps[-1].lines.append(text)
    for step in steps:
        while step.lines and not step.lines[-1]:
            step.lines.pop()
    return steps


def life(root):
    """The steps that the page shows."""
    page = pages.Page(PAGE, root)
    heading = page.lines.index(HEADING) + 1
    block = next(block for block in page.blocks if block.line > heading)
    return page, steps_of(block.lines, block.line + 1)


def done(root):
    """The steps of the script and their commands, in order."""
    steps = []
    for line in (root / "packaging/try-package.sh").read_text(encoding="utf-8").split("\n"):
        step = re.fullmatch(r'\s*step "(.*)"', line)
        command = re.fullmatch(r'\s*run "(.*)"', line)
        if step:
            steps.append((step.group(1), []))
        elif command and steps:
            steps[-1][1].append(re.sub(r"\\(.)", r"\1", command.group(1)))
    return steps


def in_order(shown, there):
    """The first of `shown` that is not among `there` behind the one before it; None: all are."""
    at = iter(there)
    return next((one for one in shown if one not in at), None)


def against_script(root):
    _, shown = life(root)
    script = done(root)
    complaints = []
    missing = in_order([step.name for step in shown], [name for name, _ in script])
    if missing:
        return [f"{PAGE}: no such step, or not there: {missing}"]
    for step in shown:
        commands = next(commands for name, commands in script if name == step.name)
        missing = in_order([command.text for command in step.commands()], commands)
        if missing:
            complaints.append(f"{PAGE}: \"{step.name}\": no such command, or not there: {missing}")
    version = re.search(r"^project\(\w+ VERSION ([\d.]+)", (root / "CMakeLists.txt").read_text(), re.M).group(1)
    said = re.findall(r"\(([\d.]+)[~+)]", "\n".join(line for step in shown for line in step.lines))
    complaints += [f"{PAGE}: version {one}, and it is {version}" for one in said if one != version]
    return complaints if said else complaints + [f"{PAGE}: no version in {HEADING}"]


def alike(line):
    """A line without what a version between releases has behind it."""
    return re.sub(r"[~+]\d+\.g[0-9a-f]{7,}", "", line)


def against_transcript(root, transcript, write):
    page, shown = life(root)
    # A progress line of dpkg goes back to its beginning.
    text = Path(transcript).read_bytes().decode("utf-8").replace("\r", "")
    printed = {step.name: step for step in steps_of(text.split("\n"))}
    complaints = []
    for step in reversed(shown):
        there = {command.text: command.printed for command in printed[step.name].commands()} \
            if step.name in printed else {}
        for command in reversed(step.commands()):
            lines = there.get(command.text)
            if lines is None:
                complaints.append(f"{PAGE}:{command.line}: not run: {command.text}")
                continue
            while lines and not lines[-1]:
                lines = lines[:-1]
            if not shape.matches([alike(line) for line in command.printed], [alike(line) for line in lines], True):
                complaints.append(f"{PAGE}:{command.line}: printed is\n" + "\n".join(lines))
            if write and "..." not in command.printed:
                begin = command.first_printed
                page.lines[begin:begin + len(command.printed)] = lines
    if write:
        page.path.write_text("\n".join(page.lines), encoding="utf-8")
    return complaints


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n", maxsplit=1)[0])
    parser.add_argument("--transcript")
    parser.add_argument("--write", action="store_true")
    parser.add_argument("--root", type=Path, default=pages.ROOT)
    options = parser.parse_args()
    complaints = against_script(options.root)
    if options.transcript:
        complaints += against_transcript(options.root, options.transcript, options.write)
    for complaint in complaints:
        print(complaint)
    return 1 if complaints else 0


if __name__ == "__main__":
    sys.exit(main())
