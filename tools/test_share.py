#!/usr/bin/env python3
"""The test share: non-blank, non-comment lines of the tests against those of the code.

Tests are tests/ and python/tests/; code is src/, apps/, python/ less its tests, bench/ and
tools/. Counted are C++ sources and headers, CUDA, Python, shell scripts and CMake files; a
line counts unless it is blank, a whole-line comment (// or # by language) or inside a /* */
block. Lines that only open or close a Python docstring count like any other.

    tools/test_share.py                 # this checkout
    tools/test_share.py --root DIR      # another tree, e.g. one unpacked by git archive
"""

from __future__ import annotations

import argparse
import sys
from pathlib import Path

TESTS = ["tests", "python/tests"]
CODE = ["src", "apps", "python", "bench", "tools"]
SLASH_COMMENTS = {".cpp", ".hpp", ".h", ".cc", ".cu", ".cuh"}
HASH_COMMENTS = {".py", ".sh", ".cmake"}


def comment_style(path: Path) -> str | None:
    if path.suffix in SLASH_COMMENTS:
        return "//"
    if path.suffix in HASH_COMMENTS or path.name == "CMakeLists.txt":
        return "#"
    if path.suffix == "" and path.is_file():
        with path.open("rb") as f:  # a script without a suffix, named by its first line
            if f.read(2) == b"#!":
                return "#"
    return None


def counted_lines(path: Path, marker: str) -> int:
    count, in_block = 0, False
    for raw in path.read_text(errors="replace").splitlines():
        line = raw.strip()
        if in_block:
            in_block = "*/" not in line
        elif marker == "//" and line.startswith("/*"):
            in_block = "*/" not in line[2:]
        elif line and not line.startswith(marker):
            count += 1
    return count


def tree_lines(root: Path, folders: list[str], skip: list[str]) -> int:
    total = 0
    for folder in folders:
        for path in sorted((root / folder).rglob("*")):
            relative = path.relative_to(root).as_posix()
            if not path.is_file() or any(relative.startswith(s + "/") for s in skip):
                continue
            if "__pycache__" in path.parts:
                continue
            marker = comment_style(path)
            if marker:
                total += counted_lines(path, marker)
    return total


def main() -> int:
    p = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    p.add_argument("--root", default=str(Path(__file__).resolve().parents[1]), help="the tree to count")
    args = p.parse_args()
    root = Path(args.root)
    tests = tree_lines(root, TESTS, [])
    code = tree_lines(root, CODE, ["python/tests"])
    print(f"test lines {tests}, code lines {code}, share {100 * tests / code:.1f}%")
    return 0


if __name__ == "__main__":
    sys.exit(main())
