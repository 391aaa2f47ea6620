#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Compiles the C++ of README.md and docs/*.md against an installed tree, and looks after their links.

A block that begins with ```cpp is compiled:
- with a `main`, as a program: it is linked with the shared library and run, without arguments, in an empty folder, and
  must end with status 0 within a minute;
- as ```cpp declarations: as it stands, after Rondel/Rondel.h and `using namespace rondel;`;
- else as the body of a function, after the same two lines. Its own #include lines go to the top.
A block that no compiler should see is marked by another word, as ```text.

Each link to a place in the tree must lead somewhere.

Usage: check_docs.py PREFIX
"""
import concurrent.futures
import os
import pathlib
import re
import subprocess
import sys
import tempfile

TREE = pathlib.Path(__file__).resolve().parent.parent
BLOCK = re.compile(r"^```cpp([^\n]*)\n(.*?)^```\s*$", re.M | re.S)
LINK = re.compile(r"\]\((?!\w+:|#)([^)#\s]+)[^)]*\)")
SECONDS = 60


def source_of(document, line, mark, code):
    place = f'#line {line} "{document}"\n'
    if re.search(r"\bint main\(", code):
        return place + code
    top = '#include "Rondel/Rondel.h"\nusing namespace rondel;\n'
    if mark == "declarations":
        return top + place + code
    includes = "".join(re.findall(r"^#include .*\n", code, re.M))
    # Blank lines in their place keep the line numbers of what is left.
    body = re.sub(r"^#include .*$", "", code, flags=re.M)
    return f"{includes}{top}[[maybe_unused]] static void block() {{\n{place}{body}}}\n"


def check(prefix, document, line, mark, code):
    """Gives what is wrong with the block, or nothing."""
    flags = subprocess.run(
        ["pkg-config", "--cflags", "--libs", "rondel"], capture_output=True, text=True, check=True,
        env={**os.environ, "PKG_CONFIG_PATH": next(str(p.parent) for p in prefix.glob("lib/**/rondel.pc"))}).stdout.split()
    library = next(prefix.glob("lib/**/librondel.so")).parent
    is_program = re.search(r"\bint main\(", code)
    with tempfile.TemporaryDirectory() as folder:
        source = pathlib.Path(folder, "block.cc")
        source.write_text(source_of(document, line, mark, code), encoding="utf-8")
        program = pathlib.Path(folder, "block")
        kind = ["-o", str(program)] if is_program else ["-fsyntax-only"]
        done = subprocess.run(["g++", "-std=c++20", *kind, str(source), *flags, f"-Wl,-rpath,{library}"],
                              capture_output=True, text=True)
        if done.returncode == 0 and is_program:
            empty = pathlib.Path(folder, "empty")
            empty.mkdir()
            try:
                done = subprocess.run([program], capture_output=True, text=True, errors="replace", cwd=empty,
                                      stdin=subprocess.DEVNULL, timeout=SECONDS)
            except subprocess.TimeoutExpired:
                return f"{document}:{line}: the program still ran after {SECONDS} s"
        if done.returncode:
            return f"{document}:{line}: status {done.returncode}\n{done.stdout}{done.stderr}"
    return ""


def main():
    prefix = pathlib.Path(sys.argv[1]).resolve()
    blocks, faults = [], []
    documents = [TREE / "README.md", TREE / "CONTRIBUTING.md", *sorted(TREE.glob("docs/**/*.md")),
                 *sorted(TREE.glob("*/README.md"))]
    for path in documents:
        document = path.relative_to(TREE).as_posix()
        text = path.read_text(encoding="utf-8")
        for match in BLOCK.finditer(text):
            line = text.count("\n", 0, match.start(2)) + 1
            mark = match.group(1).strip()
            if mark not in ("", "declarations"):
                faults.append(f"{document}:{line}: unknown mark `{mark}`")
            blocks.append((prefix, document, line, mark, match.group(2)))
        for target in LINK.findall(text):
            if not (path.parent / target).exists():
                faults.append(f"{document}: the link to {target} leads nowhere")
    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        faults += [fault for fault in pool.map(lambda block: check(*block), blocks) if fault]
    print("\n".join(faults) if faults else f"docs: {len(blocks)} blocks in {len(documents)} documents hold")
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main())
