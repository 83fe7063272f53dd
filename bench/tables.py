"""Prints what scripts/bench measured: the table of the cases, the kernels, two runs compared."""
import statistics

from rounds import BASES

WALL, CPU, MEMORY = range(3)


def median(case, name, field):
    return statistics.median(result[field] for result in case["runs"][name])


def ratios(case, name, field):
    """Least, median and most of the ratios to cat within a round."""
    values = [result[field] / base[field]
              for result, base in zip(case["runs"][name], case["runs"]["cat"]) if base[field] > 0]
    return (min(values), statistics.median(values), max(values)) if values else (0.0, 0.0, 0.0)


def cpu_ratio(case, name):
    return ratios(case, name, CPU)[1]


def peak(case, name):
    """MiB."""
    return max(result[MEMORY] for result in case["runs"][name]) / 1024


def archivers(case):
    return [name for name in case["runs"] if name not in BASES]


def goal_of(case, name, cases):
    """At most so many times the CPU time of cat, and how that is told; or None."""
    if case["goal"]:
        return case["goal"], ""
    if case["goal_of"] and case["goal_of"][0] in cases:
        other, times = case["goal_of"]
        return cpu_ratio(cases[other], name) * times, f" ({times:g} x {other})"
    return None


def verdict(value, most):
    return "met" if value <= most else "missed"


HEAD = (f"{'':9} {'time':>8} {'CPU':>9} {'MB/s':>7} {'MiB':>9}  "
        f"{'time / cat':^21}  {'CPU / cat':^21}\n"
        f"{'':9} {'median':>8} {'median':>9} {'median':>7} {'most':>9}  "
        f"{'least':>7}{'median':>7}{'most':>7}  {'least':>7}{'median':>7}{'most':>7}")


def print_case(case):
    """The rows of one case."""
    files = "file" if case["files"] == 1 else "files"
    print(f"\n{case['title']}\n  {case['input_bytes']:,} bytes in {case['files']} {files} to "
          f"{case['output_bytes']:,} bytes")
    scale, unit = (1000, "ms") if case["milliseconds"] else (1, "s ")
    for name in case["runs"]:
        wall, cpu = (median(case, name, field) for field in (WALL, CPU))
        rows = ["".join(f"{value:7.2f}" for value in ratios(case, name, field))
                for field in (WALL, CPU)]
        print(f"  {name:7} {wall * scale:6.3f} {unit} {cpu * scale:6.3f} {unit} "
              f"{case['input_bytes'] / wall / 1e6:7.0f} {peak(case, name):9.1f}  {rows[0]}  "
              f"{rows[1]}")


def print_goals(cases):
    """What was aimed at, by case and program."""
    print()
    for key, case in cases.items():
        allowed = case["allowed_memory"] / (1 << 20)
        for name in archivers(case):
            told = []
            goal = goal_of(case, name, cases)
            if goal is not None:
                got = cpu_ratio(case, name)
                told.append(f"CPU at most {goal[0]:.2f} x cat{goal[1]}: {got:.2f}, "
                            f"{verdict(got, goal[0])}")
            got = peak(case, name)
            told.append(f"memory at most {allowed:.1f} MiB: {got:.1f}, {verdict(got, allowed)}")
            print(f"{key:13} {name:8} {'; '.join(told)}")


def table(head, rows):
    """Markdown."""
    return "\n".join(["| " + " | ".join(head) + " |", "|" + "---|" * len(head),
                      *("| " + " | ".join(row) + " |" for row in rows)])


def cases_table(runs):
    """CPU time as a ratio to cat, medians of each run. runs: the cases of each run over all."""
    names = archivers(next(iter(runs[0].values())))
    rows = []
    for key, first in runs[0].items():
        def each(name):
            return ", ".join(f"{cpu_ratio(run[key], name):.2f}" for run in runs)
        goal = goal_of(first, names[-1], runs[0])
        rows.append([f"`{key}`", *(each(name) for name in names), f"{goal[0]:.2f}" if goal else "",
                     each("read"), f"{median(first, 'cat', CPU) * 1000:.1f}",
                     *(f"{max(peak(run[key], name) for run in runs):.1f}" for name in names),
                     f"{first['allowed_memory'] / (1 << 20):.1f}"])
    return table(["case", *names, "goal", "`read`", "`cat`, ms", *(f"MiB {name}" for name in names), "allowed"],
                 rows)


def print_kernels(kernels):
    print(f"\n{'kernel':45} {'items/s':>12} {'bytes/s':>12}")
    for name, speed in kernels.items():
        print(f"{name:45} {speed['items'] / 1e6:10.1f} M " +
              (f"{speed['bytes'] / 1e9:10.2f} G" if speed["bytes"] else ""))


def counts_table(counts, digits):
    """counts: shape -> program -> number."""
    names = list(next(iter(counts.values())))
    return table(["shape", *names],
                 [[shape, *(f"{of_program[name]:.{digits}f}" for name in names)]
                  for shape, of_program in counts.items()])


def curve_table(points):
    programs = archivers(points[0])
    names = [*programs, "read"]
    return table(["disks", "shape", *names, *(f"MiB {name}" for name in programs),
                  "slots and 4 MiB"],
                 [[f"{point['disks']:,}", point["shape"],
                   *(f"{cpu_ratio(point, name):.2f}" for name in names),
                   *(f"{peak(point, name):.1f}" for name in programs),
                   f"{(point['slots'] + (4 << 20)) / (1 << 20):.1f}"] for point in points])


def tables_of(results):
    """All tables of a file of --json, by the names of their places in a page."""
    found = {}
    if results.get("runs"):
        found["cases"] = cases_table(results["runs"])
    if "calls" in results:
        found["calls"] = counts_table(results["calls"], 2)
    if "instructions" in results:
        found["instructions"] = counts_table(results["instructions"], 0)
    if "curve" in results:
        found["curve"] = curve_table(results["curve"])
    return found


def write_page(path, results):
    """Puts the tables into their places in a page: between "<!-- scripts/bench: NAME -->" and the next
    "<!-- end -->"."""
    page = path.read_text()
    for name, text in tables_of(results).items():
        begin = f"<!-- scripts/bench: {name} -->\n"
        if begin not in page:
            raise OSError(f"{path} has no place for {name}")
        before, after = page.split(begin, 1)
        page = before + begin + "\n" + text + "\n\n" + after[after.index("<!-- end -->"):]
    path.write_text(page)


def print_comparison(then, now):
    """The first archiver of this run beside that of an earlier one; lower is better but for MB/s
    and items/s."""
    print(f"\nThen: {then['when']}, {then['commit']}, {then['machine']}")
    print(f"Now:  {now['when']}, {now['commit']}, {now['machine']}")
    if then["machine"] != now["machine"]:
        print("Other machines: compare the ratios, not the times.")
    print(f"{'archive':13} {'time / cat':>20} {'CPU / cat':>20} {'MB/s':>16} {'peak MiB':>18} "
          f"{'least CPU s':>20}")
    for key, case in now["runs"][0].items():
        if key not in then["runs"][0]:
            continue
        both = [(each, archivers(each)[0]) for each in (then["runs"][0][key], case)]
        values = [[ratios(each, name, WALL)[1], cpu_ratio(each, name),
                   each["input_bytes"] / median(each, name, WALL) / 1e6, peak(each, name),
                   min(result[CPU] for result in each["runs"][name])] for each, name in both]
        told = "".join(f" {old:8.{digits}f} -> {new:8.{digits}f}"
                       for old, new, digits in zip(*values, (2, 2, 0, 1, 4)))
        print(f"{key:13}{told}")
    for name, speed in now.get("kernels", {}).items():
        if name in then.get("kernels", {}):
            print(f"{name:45} {then['kernels'][name]['items'] / 1e6:10.1f} -> "
                  f"{speed['items'] / 1e6:10.1f} M items/s")
