"""Prints what scripts/bench measured: the table of the cases, the kernels, two runs compared."""
import statistics

WALL, CPU, MEMORY = range(3)
NEAR = 1.25  # how much more than the hour case "near" is


def median(case, name, field):
    return statistics.median(result[field] for result in case["runs"][name])


def ratios(case, name, field):
    """Least, median and most of the ratios to cat within a round."""
    values = [result[field] / base[field]
              for result, base in zip(case["runs"][name], case["runs"]["cat"]) if base[field] > 0]
    return (min(values), statistics.median(values), max(values)) if values else (0.0, 0.0, 0.0)


def goal_of(case, hour):
    """At most so many times cat, or None."""
    if case["goal"]:
        return case["goal"]
    if case["near_hour"] and hour is not None:
        return ratios(hour, "archive", WALL)[1] * NEAR
    return None


def verdict(value, most):
    return "met" if value <= most else "missed"


HEAD = (f"{'':9} {'time':>8} {'CPU':>9} {'MB/s':>7} {'MiB':>9}  "
        f"{'time / cat':^21}  {'CPU / cat':^21}\n"
        f"{'':9} {'median':>8} {'median':>9} {'median':>7} {'most':>9}  "
        f"{'least':>7}{'median':>7}{'most':>7}  {'least':>7}{'median':>7}{'most':>7}")


def print_case(case, hour):
    """One row group. hour: the hour case of the same run, or None."""
    files = "file" if case["files"] == 1 else "files"
    print(f"\n{case['title']}\n  {case['input_bytes']:,} bytes in {case['files']} {files} to "
          f"{case['output_bytes']:,} bytes")
    scale, unit = (1000, "ms") if case["milliseconds"] else (1, "s ")
    for name in case["runs"]:
        wall, cpu = (median(case, name, field) for field in (WALL, CPU))
        peak = max(result[MEMORY] for result in case["runs"][name]) / 1024
        rows = ["".join(f"{value:7.2f}" for value in ratios(case, name, field))
                for field in (WALL, CPU)]
        print(f"  {name:7} {wall * scale:6.3f} {unit} {cpu * scale:6.3f} {unit} "
              f"{case['input_bytes'] / wall / 1e6:7.0f} {peak:9.1f}  {rows[0]}  {rows[1]}")
    most = goal_of(case, hour)
    if most is not None:
        got = ratios(case, "archive", WALL)[1]
        of_hour = " (1.25 x hour level)" if case["near_hour"] else ""
        print(f"  goal    at most {most:.2f} x cat{of_hour}: {got:.2f}, {verdict(got, most)}")
    peak = max(result[MEMORY] for result in case["runs"]["archive"]) / 1024
    allowed = case["allowed_memory"] / (1 << 20)
    print(f"  memory  allowed {allowed:.1f} MiB (one record, slots, 8 MB): {peak:.1f}, "
          f"{verdict(peak, allowed)}")


def print_kernels(kernels):
    print(f"\n{'kernel':45} {'items/s':>12} {'bytes/s':>12}")
    for name, speed in kernels.items():
        print(f"{name:45} {speed['items'] / 1e6:10.1f} M " +
              (f"{speed['bytes'] / 1e9:10.2f} G" if speed["bytes"] else ""))


def print_comparison(then, now):
    """This run beside an earlier one; lower is better but for MB/s and items/s."""
    print(f"\nThen: {then['when']}, {then['commit']}, {then['machine']}")
    print(f"Now:  {now['when']}, {now['commit']}, {now['machine']}")
    if then["machine"] != now["machine"]:
        print("Other machines: compare the ratios, not the times.")
    print(f"{'archive':9} {'time / cat':>20} {'CPU / cat':>20} {'MB/s':>16} {'peak MiB':>18} "
          f"{'least CPU s':>20}")
    for name, case in now["cases"].items():
        if name not in then["cases"]:
            continue
        old = then["cases"][name]
        pairs = [[ratios(each, "archive", field)[1] for each in (old, case)]
                 for field in (WALL, CPU)]
        speed = [each["input_bytes"] / median(each, "archive", WALL) / 1e6 for each in (old, case)]
        peak = [max(result[MEMORY] for result in each["runs"]["archive"]) / 1024
                for each in (old, case)]
        least = [min(result[CPU] for result in each["runs"]["archive"]) for each in (old, case)]
        print(f"{name:9} {pairs[0][0]:8.2f} -> {pairs[0][1]:8.2f} {pairs[1][0]:8.2f} -> "
              f"{pairs[1][1]:8.2f} {speed[0]:6.0f} -> {speed[1]:6.0f} {peak[0]:7.1f} -> "
              f"{peak[1]:7.1f} {least[0]:8.4f} -> {least[1]:8.4f}")
    for part, unit in (("kernels", "M items/s"), ("instructions", "instructions per entry")):
        for name, value in now.get(part, {}).items():
            if name in then.get(part, {}):
                old, new = (each["items"] / 1e6 if part == "kernels" else each
                            for each in (then[part][name], value))
                print(f"{name:45} {old:10.1f} -> {new:10.1f} {unit}")
