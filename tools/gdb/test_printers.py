#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Tests the printers on a running program: test_printers.py GDB SUBJECT, the latter made from subject.cc.

Exits with 77, which ctest knows as skipped, where gdb may not start a program.
"""
import pathlib
import re
import subprocess
import sys

PRINTERS = pathlib.Path(__file__).resolve().with_name("rondel_printers.py")
EXPECTED = [  # in the order of the two stops: variable, what gdb prints
    [
        ("constant", '"main.c"'),
        ("wideConstant", '"caf\u00e9 \U0001f600"'),
        ("narrow", r'"a \"b\"\n\\"'),
        ("wide", '"\u65e5\u672c"'),
        ("empty", '""'),
        ("nilString", "nil"),
        ("longText", '"%s"...' % ("x" * 200)),
        ("buffer", '"built "'),
        ("wideBuffer", '"\u00e9t\u00e9"'),
        ("emptyBuffer", '""'),
        ("any", '"main.c"'),
    ],
    [
        ("array", 'HxArray of 3 = {"-c", -12, HxArray of 0}'),
        ("mutableArray", 'HxArray of 1 = {"x"}'),
        ("emptyArray", "HxArray of 0"),
        ("dictionary", 'HxDictionary of 1 = {["key"] = 7}'),
        ("set", 'HxSet of 1 = {"member"}'),
        ("boolean", "true"),
        ("real", "1.5"),
        ("job", re.compile(r"\(anonymous namespace\)::Job at 0x[0-9a-f]+")),
        ("nilJob", "nil"),
    ],
]


def run_gdb(gdb, subject):
    commands = ["set charset UTF-8", "break stop", "run"]
    for stop in EXPECTED:
        commands.append("up")
        for variable, _ in stop:
            commands += ["echo %s:" % variable, "print %s" % variable]
        commands.append("continue")
    arguments = [gdb, "-nx", "-batch", "-x", str(PRINTERS)]
    for command in commands:
        arguments += ["-ex", command]
    return subprocess.run(arguments + [subject], capture_output=True, text=True, encoding="utf-8", check=False)


def main():
    result = run_gdb(sys.argv[1], sys.argv[2])
    if re.search(r"ptrace|Operation not permitted|Cannot (create process|trace|run)", result.stdout + result.stderr):
        print("skipped: gdb may not start a program here\n" + result.stderr)
        return 77
    faults = 0
    for variable, expected in [row for stop in EXPECTED for row in stop]:
        found = re.search(r"^%s:\$\d+ = (.*)$" % variable, result.stdout, re.M)
        shown = found.group(1) if found else None
        is_right = shown and (expected.fullmatch(shown) if isinstance(expected, re.Pattern) else shown == expected)
        if not is_right:
            print("%s: expected %s, got %s" % (variable, expected, shown))
            faults += 1
    if faults:
        print(result.stdout + result.stderr)
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main())
