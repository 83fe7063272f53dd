"""Looks at the pages of `report` and `compare` in a real browser: makes files, makes pages of them, and
holds what they show against `psltool dump`, `top` and `compare`. Exit status 77: there is no browser.

Usage: report_page.py PSLTOOL ARCHIVER [--pictures DIRECTORY] [TEST...]"""
import argparse
import shutil
import sys
import traceback

import compare_page_tests
import page_arrays_tests
import page_data_tests
import page_use_tests
from browser import find_browser
from page_files import Files

SKIPPED = 77


def main():
    """Runs the tests that are named, or all."""
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("psltool")
    parser.add_argument("archiver")
    parser.add_argument("--pictures", help="directory for pictures of the page")
    parser.add_argument("tests", nargs="*")
    arguments = parser.parse_args()
    if find_browser() is None:
        print("skipped: no Chromium (scripts/setup installs it)")
        return SKIPPED
    failed = 0
    tests = {name[5:]: test for module in (page_data_tests, page_arrays_tests, page_use_tests, compare_page_tests)
             for name, test in vars(module).items() if name.startswith("test_")}
    for name in arguments.tests or tests:
        files = Files(arguments.psltool, arguments.archiver)
        try:
            print(f"{name} ...", flush=True)
            tests[name](files, arguments)
        except Exception:  # pylint: disable=broad-except
            failed += 1
            traceback.print_exc()
        finally:
            shutil.rmtree(files.directory, ignore_errors=True)
    print(f"{failed} failed" if failed else "all passed")
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
