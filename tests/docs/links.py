#!/usr/bin/env python3
"""Finds what the documentation names and what is not there: files, headings, commands, options.

Looked at are README, CONTRIBUTING and everything below docs/ (links, headings, files and commands in backticks,
synopses), and in all other files of the checkout the mentions of pages ("docs/format-entries.md#61-quadset").

Usage: tests/docs/links.py [--psltool PROGRAM]
  --psltool  holds commands and options to those that it knows
"""
import argparse
import functools
import re
import subprocess
import sys
from pathlib import Path

sys.dont_write_bytecode = True
sys.path.insert(0, str(Path(__file__).resolve().parent))
import pages  # noqa: E402

MADE = ("build", ".git", ".cache", "__pycache__")  # no part of the checkout
FILE = re.compile(r"[\w@.+/*-]+")
ENDINGS = (".cc", ".h", ".md", ".py", ".cmake", ".service", ".timer", ".sbatch", ".logrotate", ".svg", ".txt")
# Files that pages tell of and that are no part of the checkout: of a reader's own, of a revision to come.
NO_FILES = {"units.txt", "labels.txt", "revisions/Qelprfarc0x22.*"}


def files_of(root):
    """Paths of all files of the checkout, from its root."""
    found = []
    for top in Path(root).iterdir():
        if top.name in MADE:
            continue
        below = top.rglob("*") if top.is_dir() else [top]
        found += [path.relative_to(root).as_posix() for path in below
                  if path.is_file() and not set(path.parts) & set(MADE)]
    return sorted(found)


def dead_links(every, root):
    """Links of pages that lead nowhere."""
    anchors = {page.name: page.anchors() for page in every}
    for page in every:
        for line, target in page.links():
            if re.match(r"[a-z]+:", target):
                continue
            path, _, anchor = target.partition("#")
            file = (page.path.parent / path).resolve() if path else page.path.resolve()
            if not file.exists():
                yield f"{page.name}:{line}: no file {path}"
                continue
            name = file.relative_to(Path(root).resolve()).as_posix()
            if anchor and anchor not in anchors.get(name, ()):
                yield f"{page.name}:{line}: {name} has no heading #{anchor}"


def _exists(word, names, folders):
    """Whether a word that looks like a file or folder of the checkout is one."""
    word = word.removeprefix("./")
    pattern = re.compile(re.escape(word.rstrip("/")).replace(r"\*", "[^/]*") + "$")
    known = folders if word.endswith("/") else names | folders
    return any(pattern.match(name) or ("/" not in word.rstrip("/") and pattern.match(name.rsplit("/", 1)[-1]))
               for name in known)


def dead_names(every, root):
    """Files and folders in backticks that are not there."""
    names = {name.removesuffix(".in") for name in files_of(root)}  # of ".in" the file of that name is made
    folders = {str(folder) for name in names for folder in Path(name).parents if str(folder) != "."}
    tops = {name.split("/")[0] for name in folders}
    for page in every:
        for line, word in page.code_words():
            if not FILE.fullmatch(word) or word in NO_FILES or word.startswith(("/", "*", ".")):
                continue
            below = "/" in word and word.split("/")[0] in tops
            single = "/" not in word and word.endswith(ENDINGS)
            below_page = "/" not in word or (page.path.parent / word).exists()
            if (below or single) and not _exists(word, names, folders) and not (
                    below_page and (page.path.parent / word).exists()):
                yield f"{page.name}:{line}: no file {word}"


def dead_mentions(every, root):
    """Pages that comments and other files name, and that are not there."""
    anchors = {page.name: page.anchors() for page in every}
    looked_at = set(anchors)  # their links and names are
    for name in files_of(root):
        path = Path(root) / name
        if name in looked_at or path.stat().st_size > 1 << 20 or name.startswith(("tests/data/", "tests/docs/")):
            continue
        try:
            text = path.read_text(encoding="utf-8")
        except UnicodeDecodeError:
            continue
        for mention in re.finditer(r"\bdocs/[\w./-]*?\.(?:md|svg)\b(?:#([\w-]+))?|doc/qelprfarc/([\w/-]+\.md)", text):
            page = f"docs/{mention.group(2)}" if mention.group(2) else mention.group(0).partition("#")[0]
            line = text.count("\n", 0, mention.start()) + 1
            if not (Path(root) / page).exists():
                yield f"{name}:{line}: no page {page}"
            elif mention.group(1) and mention.group(1) not in anchors.get(page, ()):
                yield f"{name}:{line}: {page} has no heading #{mention.group(1)}"


class Tool:
    """What psltool says of its commands and options."""

    def __init__(self, program):
        self.program = program

    @functools.cache
    def help(self, *words):
        """The help text of a command, "" when there is none."""
        done = subprocess.run([self.program, *words, "--help"], capture_output=True, text=True, check=False,
                              stdin=subprocess.DEVNULL)
        return done.stdout if done.returncode == 0 else ""

    def commands(self, *words):
        """Names of the commands below a command, or of all."""
        lines = self.help(*words).split("\n")
        return {line.split()[0] for line in lines if re.match(r"  [a-z]+ {2,}[A-Z]", line)}

    def purposes(self):
        """Commands in the order of --help, under the headings of their list."""
        found, heading = {}, ""
        for line in self.help().split("\n"):
            if re.fullmatch(r"[A-Z][a-z ]*:", line):
                heading = line[:-1]
            elif re.match(r"  [a-z]+ {2,}[A-Z]", line):
                found.setdefault(heading, []).append(line.split()[0])
        return found

    def options(self, *words):
        """Options of a command, "-o" and "--out" both."""
        names = set()
        for line in self.help(*words).split("\n"):
            said = re.match(r"  (-[^ ]*)", line)
            if said:
                names |= {re.sub(r"[=\[{].*", "", name) for name in said.group(1).split(",")}
        return names


def said_commands(page):
    """(line, text) of everything that stands on a page as a command of psltool."""
    for line, word in page.code_words():
        if word.startswith("psltool "):
            yield line, word
    for block in page.blocks:
        text, begin = "", 0
        for number, line in enumerate(block.lines, block.line + 1):
            starts = re.match(r"(\$ )?psltool ", line)
            if starts:
                if text:
                    yield begin, text
                text, begin = line.removeprefix("$ "), number
            elif text and line.startswith("  "):
                text += line
            elif text:
                yield begin, text
                text = ""
        if text:
            yield begin, text


def dead_commands(every, tool):
    """Commands of psltool and options of theirs that it does not know."""
    for page in every:
        for line, text in said_commands(page):
            text = re.sub(r"\$\([^()]*\)", "TEXT", text)
            text = re.split(r"\s[|>&#;]|\s&&", text)[0]
            words = re.findall(r"[^\s\[\]|()]+", re.sub(r"\"[^\"]*\"|'[^']*'", "TEXT", text))[1:]
            # A placeholder, as in `psltool COMMAND --help`.
            if not words or words[0].isupper() or words[0].startswith("-") or words == ["help"]:
                continue
            command = [words[0]]
            if words[0] == "help":
                words = words[1:]
            if words[0] not in tool.commands():
                yield f"{page.name}:{line}: psltool has no command {words[0]}"
                continue
            if len(words) > 1 and words[1] in tool.commands(words[0]):
                command.append(words[1])
            for word in words[1:]:
                option = re.match(r"--?[a-z0-9][\w-]*", word)
                if option and option.group(0) not in tool.options(*command) and not re.match(r"-\d", word):
                    yield f"{page.name}:{line}: psltool {' '.join(command)} has no option {option.group(0)}"


def other_lists(every, tool):
    """Tables of commands and pages of purposes that differ from the list of --help."""
    purposes = tool.purposes()
    said = [name for names in purposes.values() for name in names]
    at = {page.name: page for page in every}
    for name in ("README.md", "docs/psltool/README.md"):
        tables, run = [], []
        for line in at[name].lines + [""]:
            row = re.match(r"\|[^|]*\| \[?`(\w+)`|\| `(\w+)` \|", line)
            if row:
                run.append(row.group(1) or row.group(2))
            elif not line.startswith("|"):
                tables, run = tables + [run] * (len(run) > 1), []
        for table in tables:
            if table != said:
                yield f"{name}: the table has {' '.join(table)}, psltool --help {' '.join(said)}"
        if not tables:
            yield f"{name}: no table of the commands"
    for purpose, names in purposes.items():
        page = f"docs/psltool/{purpose.lower().replace(' ', '-')}.md"
        headings = [line[3:] for _, line in at[page].prose if line.startswith("## ")] if page in at else []
        if [name for name in headings if name in said] != names:
            yield f"{page}: has {' '.join(headings)}, psltool --help under {purpose}: {' '.join(names)}"


def lost_pages(every):
    """Pages to which no links lead from docs/README.md, over pages of docs/."""
    at = {page.path.resolve(): page for page in every if page.name.startswith("docs/")}
    led_to, open_ = set(), [path for path, page in at.items() if page.name == "docs/README.md"]
    while open_:
        path = open_.pop()
        if path in at and path not in led_to:
            led_to.add(path)
            open_ += [(path.parent / target.partition("#")[0]).resolve() for _, target in at[path].links()]
    for path in at.keys() - led_to:
        yield f"{at[path].name}: docs/README.md does not lead there"


def options_of_archiver(root):
    """Options that the archiver knows, from where it reads them."""
    return {option for path in (Path(root) / "archiver").glob("*.cc")
            for option in re.findall(r"\"(-\w+)\"", path.read_text(encoding="utf-8"))}


def dead_options(every, root):
    """Options of Qelprfarc on pages that it does not know."""
    known = options_of_archiver(root)
    for page in every:
        said = [(line, word) for line, word in page.code_words()]
        for block in page.blocks:
            said += [(number, line.removeprefix("$ ")) for number, line in enumerate(block.lines, block.line + 1)]
        for line, text in said:
            if not re.match(r"Qelprfarc\s", text):
                continue
            text = re.split(r"\s[|>&#;]|\s&&", text)[0]
            for option in re.findall(r"(?<=[\s\[(|])-[a-z]\w*", text):
                if option not in known:
                    yield f"{page.name}:{line}: Qelprfarc has no option {option}"


def dead_scripts(every, root):
    """Scripts of the checkout, and options of theirs, that are not there."""
    for page in every:
        said = list(page.code_words())
        for block in page.blocks:
            said += [(number, line.removeprefix("$ ")) for number, line in enumerate(block.lines, block.line + 1)]
        for line, text in said:
            script = re.match(r"((?:scripts|bench)/[\w/-]+)(?= |$)(.*)", text)
            if not script:
                continue
            path = Path(root) / script.group(1)
            if not path.exists():
                yield f"{page.name}:{line}: no file {script.group(1)}"
            elif path.is_file():
                known = path.read_text(encoding="utf-8")
                for option in re.findall(r"(?<=\s)--[a-z][\w-]*", re.split(r"\s[|>&#;]", script.group(2))[0]):
                    if option not in known:
                        yield f"{page.name}:{line}: {script.group(1)} has no option {option}"


def complaints(root, psltool):
    every = pages.all_pages(root)
    yield from dead_links(every, root)
    yield from dead_names(every, root)
    yield from dead_mentions(every, root)
    yield from dead_scripts(every, root)
    yield from lost_pages(every)
    if psltool:
        yield from dead_commands(every, Tool(psltool))
        yield from dead_options(every, root)
        yield from other_lists(every, Tool(psltool))


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--psltool", default="")
    options = parser.parse_args()
    found = list(complaints(pages.ROOT, options.psltool))
    print("\n".join([*found, f"{len(found)} complaints"]))
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main())
