#!/usr/bin/env python3
"""Which vector kernels are built is asked of the compiler: cmake/Kernels.cmake, configured in a project
of its own with compilers that know less than theirs, and under names of other processors.

Usage: kernel_choice.py CXX [CASE...]
"""

import os
import pathlib
import shlex
import subprocess
import sys
import tempfile

ROOT = pathlib.Path(__file__).resolve().parent.parent
KERNELS = ("AVX2", "AVX512", "PAIR")

PROJECT = """cmake_minimum_required(VERSION 3.25)
project(Choice LANGUAGES CXX)
set(core_sources kernel.cc revisions/fold/kernel_avx2.cc revisions/fold/kernel_avx512.cc
  revisions/fold/kernel_pairs.cc)
list(TRANSFORM core_sources PREPEND "${{CMAKE_CURRENT_SOURCE_DIR}}/")
include("{root}/cmake/Kernels.cmake")
list(TRANSFORM core_sources REPLACE ".*/" "")
file(WRITE "${{CMAKE_BINARY_DIR}}/chosen" "${{kernels_there}}|${{core_sources}}")
"""

# A compiler that refuses an option, or all that has a name in it, as one that does not know it would.
WRAPPER = """#!/bin/sh
for word in "$@"; do
  case "$word" in
    {option}) echo "unrecognized option $word" >&2; exit 1 ;;
    *.cc | *.cxx) ! grep -q '{name}' "$word" || {{ echo "unknown: {name}" >&2; exit 1; }} ;;
  esac
done
exec {compiler} "$@"
"""

# Where compilers know no AVX at all, only what is left of each case can be seen.
# What the compiler refuses, the processor that CMake is told of, and the kernels that are left.
CASES = {
    "KnowsAll": (None, None, None, {"AVX2", "AVX512", "PAIR"}),
    "OfAnotherName": (None, None, "loongarch64", {"AVX2", "AVX512", "PAIR"}),
    "NoAvx512": ("-mavx512*", None, None, {"AVX2", "PAIR"}),
    "NoAvx": ("-mavx*", None, None, {"PAIR"}),
    "NoShuffles": (None, "__builtin_shufflevector", None, set()),
}


def kernels(work, compiler, option, name, processor):
    """The kernels, and the sources of kernels, that a project gets."""
    (work / "CMakeLists.txt").write_text(PROJECT.format(root=ROOT))
    if option or name:
        wrapper = work / "compiler"
        wrapper.write_text(WRAPPER.format(option=option or "/", name=name or "^$unheard",
                                          compiler=shlex.quote(compiler)))
        wrapper.chmod(0o755)
        compiler = str(wrapper)
    command = ["cmake", "-S", str(work), "-B", str(work / "build"), f"-DCMAKE_CXX_COMPILER={compiler}"]
    if processor:
        command += ["-DCMAKE_SYSTEM_NAME=Linux", f"-DCMAKE_SYSTEM_PROCESSOR={processor}"]
    run = subprocess.run(command, capture_output=True, text=True, env={**os.environ, "CXXFLAGS": ""})
    if run.returncode != 0:
        raise RuntimeError(run.stdout + run.stderr)
    there, sources = (work / "build/chosen").read_text().split("|")
    return ({kernel for kernel in KERNELS if f"QELPRF_{kernel}_KERNELS" in there.split(";")},
            {source for source in sources.split(";") if source.startswith("kernel_")})


def main():
    """Runs the cases; says which did not come out."""
    compiler, wanted = sys.argv[1], sys.argv[2:] or list(CASES)
    failed = 0
    machine = subprocess.run([compiler, "-dumpmachine"], capture_output=True, text=True, check=True).stdout
    known = set(KERNELS) if machine.startswith(("x86_64", "i686")) else {"PAIR"}
    for case in wanted:
        option, name, processor, expected = CASES[case]
        with tempfile.TemporaryDirectory() as work:
            there, sources = kernels(pathlib.Path(work), compiler, option, name, processor)
        expected = expected & known
        files = {f"kernel_{'pairs' if kernel == 'PAIR' else kernel.lower()}.cc" for kernel in expected}
        right = there == expected and sources == files
        print(f"{case}: {' '.join(sorted(there)) or 'none'}{'' if right else ': not what was expected'}")
        failed += not right
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
