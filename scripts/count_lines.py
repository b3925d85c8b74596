#!/usr/bin/env python3
"""Counts non-blank, non-comment lines of the tracked code (src/, include/,
tools/, python/ but its tests) and of the tracked tests (tests/, fuzz/,
python/tests/), and prints the tests' share.

    scripts/count_lines.py          the totals and the share
    scripts/count_lines.py -v       per directory as well
"""
import pathlib
import re
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent
CODE = ["src", "include", "tools", "python"]
TESTS = ["tests", "fuzz", "python/tests"]
C_LIKE = {".c", ".cc", ".cpp", ".h", ".hpp"}
HASH = {".py", ".cmake", ".txt", ".sh"}


def code_lines(path):
    text = path.read_text(errors="replace")
    if path.suffix in C_LIKE:
        text = re.sub(r"/\*.*?\*/", "", text, flags=re.S)
        lines = [l for l in text.splitlines() if l.strip() and not l.strip().startswith("//")]
    elif path.suffix in HASH or path.name == "CMakeLists.txt":
        text = re.sub(r'^\s*"""(?:.|\n)*?"""', "", text, flags=re.M)
        lines = [l for l in text.splitlines() if l.strip() and not l.strip().startswith("#")]
    else:
        return 0
    return len(lines)


TRACKED = subprocess.run(["git", "-C", str(ROOT), "ls-files"], capture_output=True, text=True,
                         check=True).stdout.split()


def count(dirs, verbose, exclude=()):
    total = 0
    for d in dirs:
        files = [f for f in TRACKED if f.startswith(d + "/") and not any(f.startswith(e + "/") for e in exclude)]
        n = sum(code_lines(ROOT / f) for f in files)
        if verbose:
            print(f"  {d:10s} {n:7d}")
        total += n
    return total


verbose = "-v" in sys.argv[1:]
code = count(CODE, verbose, exclude=["python/tests"])
tests = count(TESTS, verbose)
print(f"code {code}, tests {tests}, tests/code {100.0 * tests / code:.1f}%")
