#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Runs clang-tidy over the library, with the profile in .clang-tidy and the commands of build/clang.

A file that passed is not looked at again until it, a header of ours that it includes, or the profile changes.

Usage: lint.py [FILE...]
"""
import concurrent.futures
import hashlib
import os
import pathlib
import re
import subprocess
import sys

TREE = pathlib.Path(__file__).resolve().parent.parent
BUILD = TREE / "build" / "clang"
PASSED = TREE / "build" / "lint"
INCLUDE = re.compile(r'^\s*#\s*include\s*"(Rondel/[^"]+)"', re.M)


def with_headers(path, seen):
    """The file and all headers of ours that it includes, by way of others too."""
    if path not in seen and path.exists():
        seen.add(path)
        for included in INCLUDE.findall(path.read_text(encoding="utf-8")):
            with_headers(TREE / included, seen)
    return seen


def key(path):
    digest = hashlib.sha256()
    for file in [TREE / ".clang-tidy", *sorted(with_headers(path, set()))]:
        digest.update(str(file.relative_to(TREE)).encode() + b"\0" + file.read_bytes())
    return digest.hexdigest()


def lint(path):
    """Gives the findings, or nothing."""
    mark = PASSED / key(path)
    if mark.exists():
        return ""
    done = subprocess.run(["clang-tidy", "--quiet", "-p", str(BUILD), str(path)], capture_output=True, text=True)
    if done.returncode == 0:
        mark.touch()
        return ""
    return done.stdout + done.stderr


def main():
    PASSED.mkdir(parents=True, exist_ok=True)
    names = sys.argv[1:] or TREE.glob("Rondel/**/*.cc")
    files = [path for path in sorted(map(pathlib.Path, names))
             if not path.name.endswith("_test.cc") and "testing" not in path.parts]
    failed = False
    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        for findings in pool.map(lint, [path.resolve() for path in files]):
            if findings:
                failed = True
                print(findings)
    print(f"lint: {len(files)} files, {'findings above' if failed else 'none with findings'}")
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
