#!/usr/bin/env python3
"""Runs every command of a page, in its order, and compares what it prints with what the page shows.

The commands of a page run in one shell in a directory of their own, which pages call /srv/monitor; what blocks
must look like is told in pages.py. A command ends with status 0, or with what a comment behind it says ("# status 1").
Automatic runs keep their trace and log below a prefix of the tests, which pages call /opt/Qelsvr.

Usage: tests/docs/transcripts.py --programs DIRECTORY [--prefix DIRECTORY] [--write] [PAGE...]
  --programs  where Qelprfarc, Qelprfarc_test and psltool are
  --prefix    the prefix of Qelprfarc_test; emptied before and after
  --write     writes what the commands print into the pages, wherever it is something else
PAGE is a path from the root of the checkout; all pages without one.
"""
import argparse
import os
import shutil
import signal
import subprocess
import sys
import tempfile
from pathlib import Path

sys.dont_write_bytecode = True
sys.path.insert(0, str(Path(__file__).resolve().parent))
import pages  # noqa: E402
import shape  # noqa: E402

PLACE, PREFIX = "/srv/monitor", "/opt/Qelsvr"
SECONDS = 120  # for a page; a few are usual

# Health has an option for the prefix, which people do not need: theirs is the built-in one.
HEALTH = """#!/bin/bash
if [ "${{1-}}" = health ]; then shift; exec {psltool} health --prefix {prefix} "$@"; fi
exec -a psltool {psltool} "$@"
"""


def runnable(page):
    """The blocks of a page that run; complains about those that are neither that nor marked."""
    chosen, skipped, wrong = [], [], []
    for block in page.blocks:
        where = f"{page.name}:{block.line}"
        if block.kind in ("sh", "bash", "shell"):
            wrong.append(f"{where}: commands stand in console blocks, behind \"$ \"")
        elif block.kind == "console" and block.why_not_run:
            skipped.append(block)
        elif block.kind == "console" and block.marks <= {"varies", "unordered"}:
            chosen.append(block)
        elif block.kind == "console":
            wrong.append(f"{where}: no known mark: \"{block.words}\"")
        elif block.has_prompts():
            wrong.append(f"{where}: a block with \"$ \" is a console block")
        if block.kind == "console" and not block.has_prompts():
            wrong.append(f"{where}: a console block without a command behind \"$ \"")
    for line in page.indented_code():
        wrong.append(f"{page.name}:{line}: code stands in a fence")
    return chosen, skipped, wrong


class Session:
    """One shell in which the commands of a page run, one after the other."""

    def __init__(self, programs, prefix):
        self.programs, self.prefix = Path(programs).resolve(), prefix
        self.folder = tempfile.TemporaryDirectory(prefix="docs.")
        self.work = Path(self.folder.name) / "work"
        self.steps = Path(self.folder.name) / "steps"
        for path in (self.work, self.steps, Path(self.folder.name) / "bin"):
            path.mkdir()
        self._programs()

    def _programs(self):
        found = Path(self.folder.name) / "bin"
        psltool = self.programs / "psltool"
        if self.prefix:
            (found / "Qelprfarc").symlink_to(self.programs / "Qelprfarc_test")
            (found / "psltool").write_text(HEALTH.format(psltool=psltool, prefix=self.prefix))
            (found / "psltool").chmod(0o755)
        else:
            (found / "Qelprfarc").symlink_to(self.programs / "Qelprfarc")
            (found / "psltool").symlink_to(psltool)
        self.path = f"{found}:{os.environ.get('PATH', '/usr/bin:/bin')}"

    def here(self, text):
        """A text of a page as it is true here."""
        text = text.replace(PLACE, str(self.work))
        return text.replace(PREFIX, self.prefix.rstrip("/")) if self.prefix else text

    def there(self, text):
        """What was printed here as it stands on a page."""
        text = text.replace(str(self.work), PLACE)
        return text.replace(self.prefix.rstrip("/"), PREFIX) if self.prefix else text

    def run(self, commands):
        """Runs them; returns (lines printed, status) of each, None of those that were not reached."""
        script = ["exec < /dev/null", "last=0", "trap 'exit 143' TERM",
                  "trap 'test -z \"${segment-}\" || psltool segment remove \"$segment\" 2> /dev/null' EXIT"]
        for number, command in enumerate(commands):
            step = self.steps / str(number)
            step.write_text(self.here(command.text) + "\n", encoding="utf-8")
            script.append(f"(exit $last); . {step} > {step}.out 2>&1; last=$?; echo $last > {step}.status")
        environment = {name: value for name, value in os.environ.items()
                       if name in ("LD_LIBRARY_PATH", "LD_PRELOAD") or name.startswith("FAKETIME")}
        environment |= {"PATH": self.path, "HOME": str(self.work), "TZ": "UTC", "LC_ALL": "C.UTF-8",
                        "TERM": "dumb", "TMPDIR": self.folder.name}
        shell = subprocess.Popen(["bash", "-c", "\n".join(script)], cwd=self.work, env=environment,
                                 stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, start_new_session=True)
        try:
            shell.wait(SECONDS)
        except subprocess.TimeoutExpired:
            # The shell still removes its segment.
            os.killpg(shell.pid, signal.SIGTERM)
            try:
                shell.wait(10)
            except subprocess.TimeoutExpired:
                os.killpg(shell.pid, signal.SIGKILL)
                shell.wait()
        return [self._result(number) for number in range(len(commands))]

    def _result(self, number):
        step = self.steps / str(number)
        if not Path(f"{step}.status").exists():
            return None
        text = Path(f"{step}.out").read_text(encoding="utf-8", errors="backslashreplace")
        lines = [line.rstrip() for line in self.there(text).removesuffix("\n").split("\n")] if text else []
        return lines, int(Path(f"{step}.status").read_text())

    def close(self):
        self.folder.cleanup()


def judge(page, block, command, result, followed_by):
    """What is wrong with one command, as text; nothing is good."""
    where = f"{page.name}:{command.line}: $ {command.text}"
    if result is None:
        return f"{where}\n  was not run: the shell ended before"
    printed, status = result
    shown = [line.rstrip() for line in command.printed]
    while shown and not shown[-1]:
        shown.pop()
    while printed and not printed[-1]:
        printed.pop()
    if "unordered" in block.marks:
        shown, printed = sorted(shown), sorted(printed)
    if not shape.matches(shown, printed, "varies" in block.marks):
        return "\n".join([where, "  the page shows:", *("  | " + line for line in shown),
                          "  the command prints:", *("  | " + line for line in printed)])
    asked = followed_by is not None and followed_by.text.startswith("echo $?")
    if status != command.status and not asked:
        return f"{where}\n  status {status}, the page says {command.status}"
    return ""


def rewrite(page, found):
    """Puts what commands printed into the page, for those that printed something else."""
    lines = page.lines
    for command, printed in sorted(found, key=lambda one: -one[0].first_printed):
        lines[command.first_printed:command.first_printed + len(command.printed)] = printed
    page.path.write_text("\n".join(lines), encoding="utf-8")


def try_page(page, programs, prefix, write):
    """Runs a page; returns (commands run, blocks not run, complaints)."""
    blocks, skipped, wrong = runnable(page)
    for block in [block for block in blocks if not all(map(shutil.which, block.needs))]:
        print(f"{page.name}:{block.line}: skipped here, not all of these are installed: {' '.join(block.needs)}")
        blocks.remove(block)
    steps = [(block, command) for block in blocks for command in pages.commands_of(block)]
    commands = [command for _, command in steps]
    if not steps:
        return 0, skipped, wrong
    session = Session(programs, prefix)
    try:
        results = session.run(commands)
    finally:
        session.close()
    other = []
    for number, (block, command) in enumerate(steps):
        following = commands[number + 1] if number + 1 < len(commands) else None
        complaint = judge(page, block, command, results[number], following)
        if complaint:
            wrong.append(complaint)
            if results[number]:
                blank = command.printed[-1:] == [""]
                other.append((command, results[number][0] + [""] * blank))
    if write and other:
        rewrite(page, other)
    return len(commands), skipped, wrong


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--programs", required=True)
    parser.add_argument("--prefix", default="")
    parser.add_argument("--write", action="store_true")
    parser.add_argument("pages", nargs="*")
    options = parser.parse_args()
    chosen = [pages.Page(name) for name in options.pages] or pages.all_pages()
    failed = False
    for page in chosen:
        if options.prefix:
            shutil.rmtree(options.prefix, ignore_errors=True)
            os.makedirs(options.prefix)
        ran, skipped, wrong = try_page(page, options.programs, options.prefix, options.write)
        for block in skipped:
            print(f"{page.name}:{block.line}: not run: {block.why_not_run}")
        for complaint in wrong:
            print(complaint)
        failed |= bool(wrong)
        print(f"{page.name}: {ran} commands run, {len(skipped)} blocks not run, {len(wrong)} complaints")
    if options.prefix:
        shutil.rmtree(options.prefix, ignore_errors=True)
        os.makedirs(options.prefix)
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
