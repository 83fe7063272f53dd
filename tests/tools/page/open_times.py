"""How long a browser takes to open a report page, to follow a span of time, and to open the charts of
a disk.

Usage: open_times.py PAGE"""
import os
import sys
import time

from browser import Browser


def took(browser, script):
    """Milliseconds until the page has done what a script starts."""
    begin = time.monotonic()
    browser.run(script)
    browser.wait("!document.body.dataset.busy", 120)
    return round(1000 * (time.monotonic() - begin))


def main():
    """Prints a line for the page."""
    page = os.path.abspath(sys.argv[1])
    times = []
    for _ in range(3):
        with Browser() as browser:
            browser.open(page, seconds=120)
            times.append(int(browser.run("document.body.dataset.ready")))
            zoom = took(browser, "document.querySelectorAll('#spans button')[1].click()")
            opened = took(browser, "document.querySelector('#top tr[data-key] th button').click()")
            note = browser.run("document.querySelector('#top .note')?.textContent || ''")
    print(f"  ready after {min(times)} ms (of {times}), a span after {zoom} ms, charts after {opened} ms")
    print(f"  {note}")


if __name__ == "__main__":
    main()
