"""Whether what a command printed is what its page shows."""
import re


def shape(line):
    """A line without what may differ from day to day: numbers, dates, widths of columns, bars."""
    line = re.sub(r"\d+", "0", line)
    line = re.sub(r"#+ *\|?", "#", line)
    line = re.sub(r"[▁▂▃▄▅▆▇█]+", "#", line)
    return re.sub(r"[ \t]+", " ", line).strip()


def same_line(shown, printed, varies):
    if shown.endswith(" ..."):
        shown = shown[:-4]
        printed = printed[:len(shown)] if not varies else printed
        if varies:
            return shape(printed).startswith(shape(shown))
    return shape(shown) == shape(printed) if varies else shown == printed


def _fits(shown, printed, varies, at):
    """Whether the lines shown are those printed from `at` on."""
    return len(printed) - at >= len(shown) and all(
        same_line(one, two, varies) for one, two in zip(shown, printed[at:]))


def matches(shown, printed, varies):
    """Whether lines shown, "..." among them standing for any, are the lines printed."""
    parts = [[]]
    for line in shown:
        if line == "...":
            parts.append([])
        else:
            parts[-1].append(line)
    if len(parts) == 1:
        return len(shown) == len(printed) and _fits(shown, printed, varies, 0)
    if not _fits(parts[0], printed, varies, 0):
        return False
    at = len(parts[0])
    for part in parts[1:-1]:
        while at + len(part) <= len(printed) and not _fits(part, printed, varies, at):
            at += 1
        if at + len(part) > len(printed):
            return False
        at += len(part)
    last = len(printed) - len(parts[-1])
    return last >= at and _fits(parts[-1], printed, varies, last)
