#!/usr/bin/env python3
"""Compares the walk-throughs with the golden archives, row by row.

Each table row of a <rev>.md gives a file offset and the bytes that the calculation expects there
("00*12": twelve times 00). Rows must follow each other without a gap and end with the file. With
"-v" every row is printed with the bytes found. Ends with status 1 when anything differs.
"""
import os
import re
import sys

FOLDER = os.path.dirname(os.path.abspath(__file__))


def expected_bytes(text):
    repeated = re.fullmatch(r"([0-9a-f]{2})\*(\d+)", text)
    if repeated:
        return bytes.fromhex(repeated[1]) * int(repeated[2])
    return bytes.fromhex(text)


def review(walk_through, verbose):
    """Number of rows seen and of differences found."""
    rows = differences = 0
    archive, content, end = None, b"", 0

    def finish():
        if archive and end != len(content):
            print(f"{archive}: the rows end at {end}, the file at {len(content)}")
            return 1
        return 0

    for line in open(walk_through, encoding="utf-8"):
        heading = re.match(r"## .*`(.+)`", line)
        if heading:
            differences += finish()
            archive, end = heading[1], 0
            with open(os.path.join(FOLDER, archive), "rb") as file:
                content = file.read()
        row = re.match(r"\| (\d+) \| \d+ \| ([^|]+) \| ([^|]*) \|", line)
        if not row:
            continue
        rows += 1
        offset, expected = int(row[1]), expected_bytes(row[2])
        found = content[offset:offset + len(expected)]
        if offset != end or found != expected:
            differences += 1
            print(f"{archive} {offset} (expected after {end}) {row[3].strip()}: "
                  f"calculated {expected.hex()}, found {found.hex()}")
        elif verbose:
            print(f"{archive} {offset} {found.hex()} {row[3].strip()}")
        end = offset + len(expected)
    return rows, differences + finish()


def main():
    total = 0
    names = sorted(name for name in os.listdir(FOLDER)
                   if name.endswith(".md") and name != "README.md")
    for name in names:
        rows, differences = review(os.path.join(FOLDER, name), "-v" in sys.argv[1:])
        print(f"{name}: {rows} rows, {differences} differences")
        total += differences if rows else 1
    sys.exit(1 if total or not names else 0)


if __name__ == "__main__":
    main()
