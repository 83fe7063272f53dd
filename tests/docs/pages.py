"""The pages of the documentation, taken apart: headings, links, code blocks and the commands in them.

A page is Markdown as README, CONTRIBUTING and docs/ use it. Code stands in fences. The words behind the opening
fence say what a block is:

  console                  commands behind "$ ", and what each prints, to the letter
  console varies           the same, where numbers, dates or widths of columns depend on the day or the machine
  console unordered        the same, where several processes print as they get to it
  console needs: PROGRAM   run where these programs are installed, told where they are not
  console not-run: WHY     commands that no test can run (root, another program, minutes of time); they are counted
  anything else, nothing   no commands: a synopsis, a file, a drawing

In what a command prints a line "..." stands for any lines, and a line that ends in " ..." for one that goes on.
"""
import re
import subprocess
from dataclasses import dataclass, field
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]


@dataclass
class Command:
    text: str
    line: int  # of the page, from 1
    printed: list = field(default_factory=list)
    first_printed: int = 0  # index of the first printed line in the page's lines

    @property
    def status(self):
        """The status that a comment behind the command promises, 0 without one."""
        said = re.search(r"#.*\bstatus (\d+)", self.text)
        return int(said.group(1)) if said else 0


@dataclass
class Block:
    kind: str
    words: str
    line: int
    lines: list

    @property
    def marks(self):
        return set(self.words.partition("needs:")[0].split())

    @property
    def needs(self):
        return self.words.partition("needs:")[2].split()

    @property
    def why_not_run(self):
        return self.words.removeprefix("not-run:").strip() if self.words.startswith("not-run:") else None

    def has_prompts(self):
        return any(line.startswith("$ ") for line in self.lines)


class Page:
    """One page; `name` is its path from the root of the checkout."""

    def __init__(self, name, root=ROOT):
        self.name = name
        self.path = Path(root) / name
        self.lines = self.path.read_text(encoding="utf-8").split("\n")
        self.blocks, self.prose = [], []  # prose: (line, text)
        self._take_apart()

    def _take_apart(self):
        block = None
        for number, line in enumerate(self.lines, 1):
            fence = re.match(r" {0,3}```(.*)$", line)
            if fence and block is None:
                kind, _, words = fence.group(1).strip().partition(" ")
                block = Block(kind, words.strip(), number, [])
            elif fence:
                self.blocks.append(block)
                block = None
            elif block is not None:
                block.lines.append(line)
            else:
                self.prose.append((number, line))
        if block is not None:
            raise ValueError(f"{self.name}:{block.line}: the block has no end")

    def indented_code(self):
        """Lines of code that stand in no fence: four blanks behind an empty line, in no list."""
        found, before, in_list = [], "", False
        for number, line in self.prose:
            if re.match(r"\s*([-*]|\d+\.) ", line):
                in_list = True
            elif line and not line.startswith(" "):
                in_list = False
            if line.startswith("    ") and not in_list and not before.strip():
                found.append(number)
            before = line
        return found

    def anchors(self):
        """The names that a link to a heading of the page may have."""
        names = {}
        for _, line in self.prose:
            heading = re.match(r"#{1,6} (.*)$", line)
            if heading:
                name = slug(heading.group(1))
                names[name] = names.get(name, -1) + 1
        return {name if again == 0 else f"{name}-{again}"
                for name, last in names.items() for again in range(last + 1)}

    def links(self):
        """(line, target) of every link and picture."""
        text = "\n".join(line for _, line in self.prose)
        starts = [number for number, _ in self.prose]
        for link in re.finditer(r"\]\(([^()\s]+)\)|<img[^>]*\bsrc=\"([^\"]+)\"", text):
            yield starts[text.count("\n", 0, link.start())], link.group(1) or link.group(2)

    def code_words(self):
        """(line, text) of everything that stands in backticks."""
        text = "\n".join(line for _, line in self.prose)
        starts = [number for number, _ in self.prose]
        for code in re.finditer(r"``(.+?)``|`([^`]+)`", text, re.S):
            words = re.sub(r"\s*\n\s*", " ", code.group(1) or code.group(2))
            yield starts[text.count("\n", 0, code.start())], words


def slug(heading):
    """A heading as part of an address, as GitHub makes it."""
    text = re.sub(r"\[([^\]]*)\]\([^)]*\)", r"\1", heading.strip()).replace("`", "").lower()
    return re.sub(r"[^\w\- ]", "", text).replace(" ", "-")


def commands_of(block):
    """The commands of a block with what each prints."""
    commands, at = [], 0
    while at < len(block.lines):
        line = block.lines[at]
        if not line.startswith("$ "):
            if commands:
                commands[-1].printed.append(line)
            elif line:
                raise ValueError(f"line {block.line + 1 + at}: printed before any command")
            at += 1
            continue
        command = Command(line[2:], block.line + 1 + at)
        at += 1
        while at < len(block.lines) and goes_on(command.text):
            command.text += "\n" + block.lines[at].removeprefix("> ")
            at += 1
        command.first_printed = block.line + at
        commands.append(command)
    return commands


def goes_on(command):
    """Whether a shell would ask for more: an open quote, loop or here-document, a backslash at the end."""
    if command.endswith("\\"):
        return True
    read = subprocess.run(["bash", "-n"], input=command, capture_output=True, text=True, check=False,
                          env={"LC_ALL": "C", "PATH": "/usr/bin:/bin"})
    return any(words in read.stderr for words in ("unexpected end of file", "unexpected EOF", "here-document"))


def all_pages(root=ROOT):
    """Every page of the documentation, the way in first."""
    tops = [name for name in ("README.md", "CONTRIBUTING.md", "CHANGELOG.md", "SECURITY.md")
            if (Path(root) / name).exists()]
    below = sorted(path.relative_to(root).as_posix() for folder in ("docs", "packaging")
                   for path in (Path(root) / folder).rglob("*.md"))
    return [Page(name, root) for name in tops + below]
