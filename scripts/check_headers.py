#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Holds the weight of the headers.

Every header compiles alone with g++ and clang++, without a warning. A public one also stays light: at most MAX_LINES
lines after the preprocessor, blanks not counted, and none of the heavy headers, not even by way of another one. Its time
is printed; clocks are noisy, so only three times the aim fails. Headers in interop/ exist to be heavier, those in
internal/ and host/linux/ are not for users by themselves, Rondel.h is all of them together.

Usage: check_headers.py [HEADER...]
"""
import concurrent.futures
import os
import pathlib
import re
import subprocess
import sys
import time

TREE = pathlib.Path(__file__).resolve().parent.parent
MAX_LINES = 25_000
MAX_LINES_TOGETHER = 40_000
AIM_MS = 350
AIM_MS_TOGETHER = 600
FORBIDDEN = re.compile(
    r"/c\+\+/\d+/(memory|functional|chrono|filesystem|ranges|regex|iostream|map|unordered_map)$"
    r"|/include/(unicode/|absl/|expat\.h|bsd/|gtest/)")
FLAGS = ["-std=c++20", "-Wall", "-Wextra", "-Wpedantic", "-Wconversion", "-Wshadow", "-Werror", f"-I{TREE}", "-xc++"]


def run(compiler, header, *arguments):
    source = f'#include "{header}"\n'
    started = time.monotonic()
    done = subprocess.run([compiler, *FLAGS, *arguments, "-"], input=source, capture_output=True, text=True)
    return done, (time.monotonic() - started) * 1000


def check(header):
    """Gives the line to print and a list of faults."""
    faults = []
    for compiler in ("g++", "clang++"):
        done, ms = run(compiler, header, "-fsyntax-only")
        if compiler == "g++":
            best = ms
        if done.returncode:
            faults.append(f"{header} does not compile alone with {compiler}:\n{done.stderr}")
    if faults:
        return f"{header:60} does not compile", faults
    done, _ = run("g++", header, "-E")
    lines = sum(1 for line in done.stdout.splitlines() if line.strip() and not line.startswith("# "))
    text = f"{header:60} {lines:6} lines {best:5.0f} ms"
    if "/internal/" in header or header.startswith(("Rondel/interop/", "Rondel/host/linux/")):
        return text, faults

    together = header == "Rondel/Rondel.h"
    for file in sorted(set(re.findall(r'^# \d+ "([^"]+)"', done.stdout, re.M))):
        if FORBIDDEN.search(file):
            faults.append(f"{header} brings in {file}")
    if lines > (MAX_LINES_TOGETHER if together else MAX_LINES):
        faults.append(f"{header} has {lines} lines")
    limit = 3 * (AIM_MS_TOGETHER if together else AIM_MS)
    if best > limit:
        best = min(run("g++", header, "-fsyntax-only")[1] for _ in range(3))
        if best > limit:
            faults.append(f"{header} takes {best:.0f} ms")
    return text, faults


def main():
    headers = sys.argv[1:] or sorted(
        path.relative_to(TREE).as_posix() for path in TREE.glob("Rondel/**/*.h")
        if "testing" not in path.relative_to(TREE).parts)
    faults = []
    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        for text, found in pool.map(check, headers):
            print(text)
            faults += found
    print("\n".join(faults))
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main())
