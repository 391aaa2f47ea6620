#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Holds the layering of the library: who may include whom.

A folder of Rondel/ may include itself and the folders before it in LAYERS. Beside that:
- interop/ and Rondel.h may include every folder, and no folder may include them;
- Rondel/host/linux/ is seen by Rondel/host/ alone, and only its files include headers that exist on Linux only;
- files are reached through the table of Rondel/core/system/internal/FileCalls.h, which every folder may include: no
  other file calls these functions itself or includes the headers that FileCalls.h includes for them;
- no call is in both tables, that one and the one of Rondel/host/linux/SystemCalls.h;
- tests may include everything and call everything, the library includes nothing of Rondel/testing/.

Usage: check_layers.py [TREE]. It first shows on made-up trees that each rule can fail.
"""
import pathlib
import re
import sys
import tempfile

LAYERS = ["core", "host", "additions", "Streams", "files", "XML", "measure", "analysis"]
INCLUDE = re.compile(r'^\s*#\s*include\s*[<"]([^>"]+)[>"]', re.M)
LINUX_ONLY = re.compile(
    r"linux/.*|asm/.*|sys/(epoll|eventfd|timerfd|signalfd|pidfd|inotify|fanotify|xattr|prctl|sendfile|syscall|vfs"
    r"|sysinfo|personality)\.h|syscall\.h")

FILE_CALLS = "Rondel/core/system/internal/FileCalls"
TABLES = [FILE_CALLS + ".h", "Rondel/host/linux/SystemCalls.h"]
TABLE_ENTRY = re.compile(r"\bSystemCall<[^;]*>\s*(\w+)\s*;")
FILE_HEADERS = re.compile(r"sys/(file|mman|stat)\.h")
COMMENT_OR_TEXT = re.compile(r'//[^\n]*|/\*.*?\*/|"(?:\\.|[^"\\\n])*"', re.S)
# open, read, write, close and access name operations of ours, too, and count with the colons only.
FILE_CALL = re.compile(
    r"(?<![\w>:.])(?:::\s*(open|creat|read|write|close|access)"
    r"|(?:::\s*)?(openat|fstat|stat|lstat|readlink|mkdir|rename|unlink|fchmod|fsync|flock|mmap|munmap|faccessat|realpath|opendir|fopen))\s*\(")


def folder_of(path):
    """The folder below Rondel/, or '' for a file that lies in Rondel/ itself."""
    parts = pathlib.PurePosixPath(path).parts
    return parts[1] if len(parts) > 2 else ""


def fault(path, included):
    """Why `path` may not include `included`, or None."""
    folder = folder_of(path)
    if LINUX_ONLY.fullmatch(included):
        if not path.startswith("Rondel/host/linux/"):
            return "is a Linux header, which only Rondel/host/linux/ may include"
        return None
    if FILE_HEADERS.fullmatch(included) and not path.startswith(FILE_CALLS):
        return f"is for {FILE_CALLS}.h only; include that"
    if not included.startswith("Rondel/"):
        return None
    wanted = folder_of(included)
    if wanted == "testing":
        return "belongs to the tests"
    if folder in ("", "interop"):
        return None
    if wanted in ("", "interop"):
        return "brings in higher layers"
    if included.startswith("Rondel/host/linux/") and folder != "host":
        return "is seen by Rondel/host/ only"
    for name in (folder, wanted):
        if name not in LAYERS:
            return f"or its includer lies in the folder {name}, which has no place among the layers"
    if LAYERS.index(wanted) > LAYERS.index(folder):
        return f"lies above {folder}"
    return None


def calls_in_both_tables(tree):
    tables = [tree / name for name in TABLES]
    first, second = (set(TABLE_ENTRY.findall(table.read_text(encoding="utf-8"))) if table.exists() else set()
                     for table in tables)
    return [f"{TABLES[1]}: {call} has its home in {TABLES[0]}" for call in sorted(first & second)]


def faults_in(tree):
    found = calls_in_both_tables(tree)
    for file in sorted(tree.glob("Rondel/**/*")):
        path = file.relative_to(tree).as_posix()
        if file.suffix not in (".h", ".cc") or path.endswith("_test.cc") or path.startswith("Rondel/testing/"):
            continue
        text = file.read_text(encoding="utf-8")
        for included in INCLUDE.findall(text):
            why = fault(path, included)
            if why:
                found.append(f"{path}: {included} {why}")
        if not path.startswith(FILE_CALLS):
            for call in FILE_CALL.finditer(COMMENT_OR_TEXT.sub('""', text)):
                found.append(f"{path}: calls {call[1] or call[2]} past the table of {FILE_CALLS}.h")
    return found


def prove_that_it_can_fail():
    cases = [  # file, what it includes, whether that is allowed
        ("Rondel/core/A.h", "Rondel/core/internal/B.h", True),
        ("Rondel/core/A.h", "Rondel/host/B.h", False),
        ("Rondel/core/A.cc", "Rondel/additions/B.h", False),
        ("Rondel/host/A.h", "Rondel/core/B.h", True),
        ("Rondel/host/A.cc", "Rondel/host/linux/B.h", True),
        ("Rondel/host/linux/A.cc", "sys/epoll.h", True),
        ("Rondel/host/A.cc", "sys/epoll.h", False),
        ("Rondel/host/A.cc", "linux/limits.h", False),
        ("Rondel/Streams/A.cc", "Rondel/host/linux/B.h", False),
        ("Rondel/Streams/A.cc", "Rondel/additions/B.h", True),
        ("Rondel/Streams/A.h", "Rondel/XML/B.h", False),
        ("Rondel/analysis/A.h", "Rondel/Streams/B.h", True),
        ("Rondel/Streams/A.h", "Rondel/Rondel.h", False),
        ("Rondel/files/A.h", "Rondel/interop/chrono.h", False),
        ("Rondel/interop/A.h", "Rondel/analysis/B.h", True),
        ("Rondel/Rondel.h", "Rondel/analysis/B.h", True),
        ("Rondel/core/A.cc", "Rondel/testing/B.h", False),
        ("Rondel/core/A_test.cc", "Rondel/testing/B.h", True),
        ("Rondel/unheard/A.cc", "Rondel/core/B.h", False),
        ("Rondel/core/system/internal/FileCalls.h", "sys/stat.h", True),
        ("Rondel/core/system/internal/FileCalls.h", "sys/epoll.h", False),
        ("Rondel/core/A.cc", "sys/stat.h", False),
        ("Rondel/host/A.cc", "sys/file.h", False),
        ("Rondel/host/linux/A.cc", "sys/mman.h", False),
        ("Rondel/host/A_test.cc", "sys/stat.h", True),
        ("Rondel/host/A.cc", "Rondel/core/system/internal/FileCalls.h", True),
        ("Rondel/analysis/A.cc", "Rondel/core/system/internal/FileCalls.h", True),
        ("Rondel/core/A.cc", "Rondel/host/linux/SystemCalls.h", False),
    ]
    calls = [  # file, a line of it, whether that is allowed
        ("Rondel/core/A.cc", "fd = ::open(path, flags);", False),
        ("Rondel/core/A.cc", "if (lstat(path, &status) != 0)", False),
        ("Rondel/host/A.cc", "::rename(from, to);", False),
        ("Rondel/host/A.cc", "return faccessat(AT_FDCWD, path, X_OK, 0);", False),
        ("Rondel/core/A.cc", "realpath(path, nullptr);", False),
        ("Rondel/host/linux/A.cc", "munmap(p, n);", False),
        ("Rondel/core/A.cc", "fileCalls.rename(from, to);", True),
        ("Rondel/core/A.cc", "bool Poller::open() { return poller.open(); }", True),
        ("Rondel/core/A.cc", "struct stat status;  // see stat(2)", True),
        ("Rondel/core/A.cc", 'text = "unlink(x)";', True),
        ("Rondel/core/A_test.cc", "::open(path, flags);", True),
        ("Rondel/core/system/internal/FileCalls.cc", "::open(path, flags);", True),
    ]
    cases = [(path, f'#  include "{included}"', allowed) for path, included, allowed in cases] + calls
    trees = [({path: line}, allowed) for path, line, allowed in cases]
    entry = "struct Table {\n  SystemCall<int(const char* path, struct stat* status)>\n      %s;\n};"
    trees += [({TABLES[0]: entry % "stat", TABLES[1]: entry % other}, other != "stat") for other in ("stat", "kill")]
    for files, allowed in trees:
        with tempfile.TemporaryDirectory() as folder:
            for path, text in files.items():
                file = pathlib.Path(folder, path)
                file.parent.mkdir(parents=True, exist_ok=True)
                file.write_text(f"#pragma once\n{text}\n", encoding="utf-8")
            found = faults_in(pathlib.Path(folder))
            if (not found) != allowed:
                sys.exit(f"check_layers: {files}: expected allowed={allowed}, got {found}")


def main():
    prove_that_it_can_fail()
    tree = pathlib.Path(sys.argv[1] if len(sys.argv) > 1 else pathlib.Path(__file__).resolve().parent.parent)
    found = faults_in(tree)
    print("\n".join(found) if found else "layers: every include goes downwards")
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main())
