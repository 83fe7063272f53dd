#!/usr/bin/env python3
"""Each source file includes what it names of the standard library, itself or through the project's
headers that it includes, so that it compiles by itself. Builds of many files at once hide it when it
does not; the sanitizers' build compiles file by file.

Run by ctest. Usage: tests/includes.py
"""
import re
import sys
from functools import lru_cache
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent
FOLDERS = ("archiver", "areas", "bench", "engine", "logdir", "platform", "pmonb", "report", "revisions",
           "tests", "tools")
# What is named, and the headers of which one must be included.
NEEDS = {
    r"std::(?:multi)?map\b": ("map",),
    r"std::(?:multi)?set\b": ("set",),
    r"std::unordered_map\b": ("unordered_map",),
    r"std::optional\b|std::nullopt\b": ("optional",),
    r"std::array\b": ("array",),
    r"std::span\b": ("span",),
    r"std::function\b": ("functional",),
    r"std::(?:unique_ptr|shared_ptr|make_unique|make_shared)\b": ("memory",),
    r"std::variant\b": ("variant",),
    r"std::(?:priority_)?queue\b": ("queue",),
    r"std::deque\b": ("deque",),
    r"std::vector\b": ("vector",),
    r"std::s?regex\b": ("regex",),
    r"std::filesystem\b": ("filesystem",),
    r"std::[io]fstream\b": ("fstream",),
    r"std::[io]?stringstream\b": ("sstream",),
    r"std::numeric_limits\b": ("limits",),
    r"std::(?:thread|this_thread)\b": ("thread",),
    r"std::chrono\b": ("chrono", "thread"),
    r"std::(?:sort|stable_sort|any_of|all_of|none_of|find_if|max_element|min_element|lower_bound|"
    r"upper_bound|ranges|clamp)\b": ("algorithm",),
    r"\bfmt::": ("fmt/format.h", "fmt/core.h", "fmt/ranges.h"),
    r"\bLoad(?:16|32|64)\(|\bStore(?:16|32|64)\(": ("engine/byteorder.h",),
}


@lru_cache(maxsize=None)
def text_of(path):
    text = path.read_text()
    return re.sub(r'//[^\n]*|/\*.*?\*/|(?<!include )"(?:\\.|[^"\\\n])*"', "", text, flags=re.S)


@lru_cache(maxsize=None)
def included(path):
    """All that a file includes, through the project's own headers, too."""
    found = set()
    open_files = [path]
    while open_files:
        for name in re.findall(r'#include [<"]([^>"]+)[>"]', text_of(open_files.pop())):
            if name in found:
                continue
            found.add(name)
            if (ROOT / name).is_file():
                open_files.append(ROOT / name)
    return found


def lacking(path):
    text = text_of(path)
    own = {str(path.relative_to(ROOT))} | included(path)
    return [headers[0] for name, headers in NEEDS.items()
            if re.search(name, text) and not own.intersection(headers)]


def main():
    files = [path for folder in FOLDERS for path in sorted((ROOT / folder).rglob("*"))
             if path.suffix in (".h", ".cc")]
    failures = 0
    for path in files:
        for header in lacking(path):
            print(f"{path.relative_to(ROOT)}: nothing that it includes brings <{header}>")
            failures += 1
    print(f"{len(files)} files")
    return 1 if failures or len(files) < 300 else 0


if __name__ == "__main__":
    sys.exit(main())
