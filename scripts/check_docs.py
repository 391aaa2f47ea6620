#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Compiles the C++ of README.md and docs/*.md against an installed tree, and looks after their links.

A block that begins with ```cpp is compiled, linked with the shared library and run, without arguments, in an empty
folder. It must end with status 0 within a minute. What it is depends on its mark:
- without a mark and with a `main`, a program;
- without a mark otherwise, the body of a function, after Rondel/Rondel.h, <cassert> and `using namespace rondel;`. Its
  own #include lines go to the top. It states what it claims with assert();
- ```cpp unrun, the same, but not run: it needs a program or a file that is not there;
- ```cpp declarations, as it stands after the same lines, not run.
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


TOP = '#include "Rondel/Rondel.h"\n#include <cassert>\nusing namespace rondel;\n'


def source_of(document, line, mark, code):
    place = f'#line {line} "{document}"\n'
    if re.search(r"\bint main\(", code):
        return place + code
    if mark == "declarations":
        return f"{TOP}{place}{code}\nint main() {{}}\n"
    includes = "".join(re.findall(r"^#include .*\n", code, re.M))
    # Blank lines in their place keep the line numbers of what is left.
    body = re.sub(r"^#include .*$", "", code, flags=re.M)
    return f"{includes}{TOP}static void block() {{\n{place}{body}}}\nint main() {{ block(); }}\n"


def run(program, folder):
    """Returns why the program did not end well, or nothing."""
    try:
        done = subprocess.run([program], capture_output=True, text=True, errors="replace", cwd=folder,
                              stdin=subprocess.DEVNULL, timeout=SECONDS,
                              env={**os.environ, "XDG_CONFIG_HOME": str(folder)})  # settings go there
    except subprocess.TimeoutExpired:
        return f"still ran after {SECONDS} s"
    return f"status {done.returncode}\n{done.stdout}{done.stderr}" if done.returncode else ""


def check(prefix, document, line, mark, code):
    """Returns what is wrong with the block, or nothing."""
    flags = subprocess.run(
        ["pkg-config", "--cflags", "--libs", "rondel"], capture_output=True, text=True, check=True,
        env={**os.environ, "PKG_CONFIG_PATH": next(str(p.parent) for p in prefix.glob("lib/**/rondel.pc"))}).stdout.split()
    library = next(prefix.glob("lib/**/librondel.so")).parent
    with tempfile.TemporaryDirectory() as folder:
        source = pathlib.Path(folder, "block.cc")
        source.write_text(source_of(document, line, mark, code), encoding="utf-8")
        program = pathlib.Path(folder, "block")
        done = subprocess.run(["g++", "-std=c++20", "-o", program, source, *flags, f"-Wl,-rpath,{library}"],
                              capture_output=True, text=True)
        fault = f"status {done.returncode}\n{done.stderr}" if done.returncode else ""
        if not fault and not mark:
            empty = pathlib.Path(folder, "empty")
            empty.mkdir()
            fault = run(program, empty)
    return f"{document}:{line}: {fault}" if fault else ""


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
            if mark not in ("", "unrun", "declarations"):
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
