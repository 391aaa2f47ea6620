#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Looks at the code that a switched-off MO_LOG becomes: up to its branch it reads one byte, compares it, and calls nothing.

Usage: check_log_site.py
"""
import pathlib
import re
import subprocess
import sys

TREE = pathlib.Path(__file__).resolve().parent.parent
SITE = """
#include "Rondel/core/report/AspectLog.h"
using namespace rondel;
int expensive();
void site(int i) { MO_LOG("Topic"_hx, 2, "value %d of %d"_hx, i, expensive()); }
"""


def faults_of(compiler):
    command = [compiler, "-std=c++20", "-O2", "-S", "-x", "c++", "-I", str(TREE), "-o", "-", "-"]
    assembly = subprocess.run(command, input=SITE, capture_output=True, text=True, check=True).stdout
    body = assembly.split("_Z4sitei:", 1)[1]
    lines = [line.strip() for line in body.splitlines() if re.match(r"\s+[a-z]", line)]
    branch = next(i for i, line in enumerate(lines) if line.startswith("j"))
    road = [line for line in lines[:branch] if not line.startswith("push")]
    reads = [line for line in road if "(%rip)" in line]
    compares = [line for line in road if re.match(r"(cmp|test)", line)]
    if len(reads) == 1 and re.match(r"(mov|cmp)(zb)?[bl]\s", reads[0]) and len(compares) == 1 and \
            not any(line.startswith("call") for line in road):
        return []
    return [f"{compiler}: a switched-off MO_LOG is more than a byte load and a branch:"] + road


def main():
    if subprocess.run(["uname", "-m"], capture_output=True, text=True, check=True).stdout.strip() != "x86_64":
        print("log site: the check knows the assembly of x86-64 only")
        return 0
    faults = faults_of("g++") + faults_of("clang++")
    print("\n".join(faults) or "log site: a byte load and a branch")
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main())
