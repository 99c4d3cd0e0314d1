#!/usr/bin/env python3
"""Mutation testing: how many small faults planted in src/ does the test suite notice?

Each mutant changes one place of one source file: a comparison flipped (< to <=, == to !=),
an arithmetic operator swapped (+ and -, * and /), a numeric constant changed (an integer
plus one, a real doubled, a real zero made one) or a statement dropped. The mutants are sampled at random (--seed)
and spread evenly over the folders given. For each: the file is changed, the build dir is
rebuilt incrementally, the suite runs with a time limit, and the file is restored. A mutant is
killed when a test fails or times out, survives when the suite passes, and does not count
when it does not compile. The score is killed / (killed + survived).

    tools/mutate.py --count 5 --dirs src/io src/tb          # a few mutants, report on screen
    tools/mutate.py --list --dirs src/linalg                # the candidate places, no build
    tools/mutate.py --files apps/tbcalc/cli.cpp --since v1  # only lines added since a commit
    tools/mutate.py --places earlier.json                   # the same mutants as an earlier run

Run it under nice on a shared machine. The build dir is configured on first use (tests on,
benchmark off); any file it changed is restored, also after Ctrl-C.
"""

from __future__ import annotations

import argparse
import json
import os
import random
import re
import subprocess
import sys
import time
from dataclasses import asdict, dataclass
from pathlib import Path

ROOT = Path(__file__).resolve().parents[1]

COMPARISONS = {"<": "<=", "<=": "<", ">": ">=", ">=": ">", "==": "!=", "!=": "=="}
ARITHMETIC = {"+": "-", "-": "+", "*": "/", "/": "*", "+=": "-=", "-=": "+=", "*=": "/=", "/=": "*="}
# A binary operator written with a blank on each side, as the code base writes them; template
# brackets, pointers, shifts and unary signs do not match.
OPERATOR = re.compile(r"(?<= )(<=|>=|==|!=|\+=|-=|\*=|/=|<|>|\+|-|\*|/)(?= )")
# A decimal literal with no suffix, not part of a name: 0, 20, 1e-6, 0.05671.
NUMBER = re.compile(r"(?<![\w.])(\d+\.\d*|\.\d+|\d+)([eE][+-]?\d+)?(?![\w.'])")
CONTROL = re.compile(r"^\s*(return|break|continue|case|default|goto|throw|using|namespace|\[\[)")
# "Type name = ...;", "Type name(...);": dropping a declaration leaves the name undefined.
DECLARATION = re.compile(r"^\s*(?:(?:const|constexpr|static|inline)\s+)*[\w:]+(?:<[^;]*>)?[*&]?\s+[*&]?\w+\s*[=({;\[]")


@dataclass
class Mutant:
    file: str
    line: int        # 1-based
    column: int      # 1-based
    kind: str        # comparison, arithmetic, constant, statement
    original: str
    replacement: str
    outcome: str = ""
    seconds: float = 0.0
    detail: str = ""


def code_only(line: str) -> str:
    """The line with string and character literals and a trailing comment blanked out."""
    out, quote, k = [], "", 0
    while k < len(line):
        ch = line[k]
        if quote:
            out.append(" ")
            if ch == "\\":
                out.append(" ")
                k += 1
            elif ch == quote:
                quote = ""
        elif ch in "\"'" and not (ch == "'" and k > 0 and line[k - 1].isalnum()):
            quote = ch
            out.append(" ")
        elif line.startswith("//", k):
            break
        else:
            out.append(ch)
        k += 1
    return "".join(out).ljust(len(line))


def changed_constant(text: str) -> str:
    if re.fullmatch(r"\d+", text):
        return str(int(text) + 1)
    return repr(float(text) * 2) if float(text) != 0 else "1.0"  # doubling zero changes nothing


def candidates(path: Path) -> list[Mutant]:
    rel = str(path.relative_to(ROOT))
    lines = path.read_text().splitlines()
    found: list[Mutant] = []
    previous = ";"
    in_block_comment = in_raw_string = False
    for number, raw in enumerate(lines, 1):
        stripped = raw.strip()
        if in_raw_string:  # the text of a raw string literal over several lines, not code
            in_raw_string = ')"' not in raw
            continue
        if in_block_comment or stripped.startswith("/*"):
            in_block_comment = "*/" not in stripped
            continue
        if 'R"(' in raw and ')"' not in raw[raw.index('R"(') + 3:]:
            in_raw_string = True
            raw = raw[:raw.index('R"(')]
            stripped = raw.strip()
        if not stripped or stripped.startswith(("#", "//")):
            continue
        code = code_only(raw)
        for m in OPERATOR.finditer(code):
            op = m.group(1)
            kind = "comparison" if op in COMPARISONS else "arithmetic"
            found.append(Mutant(rel, number, m.start() + 1, kind, op, {**COMPARISONS, **ARITHMETIC}[op]))
        for m in NUMBER.finditer(code):
            if "[" in code[: m.start()] and "]" in code[m.end():] and code.lstrip().startswith(("std::", "int ", "double ")):
                continue  # an array bound in a declaration
            found.append(Mutant(rel, number, m.start() + 1, "constant", m.group(0), changed_constant(m.group(0))))
        # A whole statement on one line, begun on this line, that is not a jump or a declaration
        # the rest would miss (those do not compile when dropped and are discarded then).
        code_stripped = code.strip()
        if (code_stripped.endswith(";") and previous.endswith((";", "{", "}", ":")) and "{" not in code_stripped
                and "}" not in code_stripped and not CONTROL.match(code) and not DECLARATION.match(code)):
            found.append(Mutant(rel, number, len(raw) - len(raw.lstrip()) + 1, "statement", stripped, ";"))
        if code.strip():
            previous = code.strip()
    return found


def apply(m: Mutant, text: str) -> str:
    lines = text.split("\n")
    line = lines[m.line - 1]
    start = m.column - 1
    if m.kind == "statement":
        lines[m.line - 1] = line[:start] + ";  // dropped"
    else:
        assert line[start:start + len(m.original)] == m.original, (m, line)
        lines[m.line - 1] = line[:start] + m.replacement + line[start + len(m.original):]
    return "\n".join(lines)


def lines_added_since(commit: str, files: list[Path]) -> dict[str, set[int]]:
    """The lines of each file added or changed since `commit`, from git's zero-context diff."""
    rel = [str(f.relative_to(ROOT)) for f in files]
    diff = subprocess.run(["git", "diff", "-U0", commit, "--", *rel], cwd=ROOT, capture_output=True, text=True,
                          check=True).stdout
    added: dict[str, set[int]] = {}
    current = ""
    for line in diff.splitlines():
        if line.startswith("+++ "):
            current = line[6:] if line.startswith("+++ b/") else ""
        elif line.startswith("@@") and current:
            start, _, count = re.match(r"@@ -\S+ \+(\d+)(,(\d+))? @@", line).groups()
            n = 1 if count is None else int(count)
            added.setdefault(current, set()).update(range(int(start), int(start) + n))
    return added


def sample(all_mutants: list[Mutant], dirs: list[str], count: int, rng: random.Random) -> list[Mutant]:
    """Round-robin over the folders, random within each."""
    pools = {d: [m for m in all_mutants if not d or m.file.startswith(d.rstrip("/") + "/")] for d in dirs}
    for pool in pools.values():
        rng.shuffle(pool)
    chosen: list[Mutant] = []
    while len(chosen) < count and any(pools.values()):
        for d in dirs:
            if pools[d] and len(chosen) < count:
                chosen.append(pools[d].pop())
    return chosen


def run(command: list[str], timeout: float) -> tuple[int, str]:
    try:
        done = subprocess.run(["nice", "-n", "19", *command], cwd=ROOT, capture_output=True, text=True, timeout=timeout)
        return done.returncode, done.stdout + done.stderr
    except subprocess.TimeoutExpired as e:
        return -1, f"timed out after {e.timeout:.0f} s"


def build(build_dir: str, jobs: int) -> tuple[int, str]:
    return run(["cmake", "--build", build_dir, f"-j{jobs}"], timeout=1800)


def ctest(build_dir: str, jobs: int, test_timeout: float, select: list[str]) -> tuple[int, str]:
    command = ["ctest", "--test-dir", build_dir, f"-j{jobs}", "--timeout", str(int(test_timeout)),
               "--stop-on-failure", *select]
    return run(command, timeout=max(600.0, 20 * test_timeout))


def suite(build_dir: str, jobs: int, test_timeout: float, exclude: str, last: str) -> tuple[int, str]:
    """The suite less `exclude`; the tests matching `last` run only once the others pass, so that a
    mutant the quick tests kill does not wait for the slow ones."""
    quick = ["-E", f"({exclude})|({last})" if exclude else last] if last else (["-E", exclude] if exclude else [])
    code, out = ctest(build_dir, jobs, test_timeout, ["--no-tests=error", *quick])
    if code != 0 or not last:
        return code, out
    slow = ["-R", last, *(["-E", exclude] if exclude else [])]
    code, more = ctest(build_dir, jobs, test_timeout, slow)
    return code, out + more


def failed_tests(output: str) -> str:
    names = re.findall(r"\d+ - (\S+) \((Failed|Timeout|SEGFAULT|Subprocess aborted|Exception)", output)
    # A run stopped at its first failure may print no summary: the progress line names the test.
    names = names or re.findall(r"Test +#\d+: (\S+) [^\n]*?\*\*\*(Failed|Timeout|Exception)", output)
    return ", ".join(f"{n} ({why.lower()})" for n, why in names[:3]) or "suite failed"


def main() -> int:
    p = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    p.add_argument("--dirs", nargs="+", default=["src/io", "src/tb", "src/linalg", "src/driver"])
    p.add_argument("--files", nargs="+", help="sample over these files (one pool) instead of --dirs")
    p.add_argument("--since", help="only places on lines added or changed since this commit")
    p.add_argument("--places", help="run the mutants of an earlier --json file instead of sampling")
    p.add_argument("--count", type=int, default=60)
    p.add_argument("--seed", type=int, default=15)
    p.add_argument("--kinds", nargs="+", default=["comparison", "arithmetic", "constant", "statement"])
    p.add_argument("--build", default="build-mutation", help="build dir (configured with the tests if new)")
    p.add_argument("--cmake-args", default="-DTBRELAX_PYTHON=ON -DTBRELAX_BENCH=OFF")
    p.add_argument("--jobs", type=int, default=2)
    p.add_argument("--exclude", default="", help="ctest -E regex of tests not to run")
    p.add_argument("--last", default="^python$", help="ctest -R regex of slow tests run only when the rest pass")
    p.add_argument("--json", help="write the mutants and their outcomes here")
    p.add_argument("--list", action="store_true", help="list the sampled mutants only (and write --json)")
    args = p.parse_args()

    if args.places:
        fields = ("file", "line", "column", "kind", "original", "replacement")
        chosen = [Mutant(**{k: m[k] for k in fields}) for m in json.loads(Path(args.places).read_text())]
        print(f"{len(chosen)} mutants from {args.places}")
    else:
        if args.files:
            files = [ROOT / f for f in args.files]
            pools = [""]  # one pool: every place equally likely
        else:
            files = [f for d in args.dirs for f in sorted((ROOT / d).rglob("*")) if f.suffix in (".cpp", ".hpp")
                     and "backends" not in f.parts]
            pools = args.dirs
        everything = [m for f in files for m in candidates(f) if m.kind in args.kinds]
        if args.since:
            added = lines_added_since(args.since, files)
            everything = [m for m in everything if m.line in added.get(m.file, set())]
        chosen = sample(everything, pools, args.count, random.Random(args.seed))
        print(f"{len(everything)} candidate places in {len(files)} files; {len(chosen)} mutants sampled "
              f"(seed {args.seed})")
    if args.list:
        for m in chosen:
            print(f"  {m.file}:{m.line}:{m.column}  {m.kind:10}  {m.original!r} -> {m.replacement!r}")
        if args.json:
            Path(args.json).write_text(json.dumps([asdict(m) for m in chosen], indent=1) + "\n")
        return 0

    if not (ROOT / args.build / "CMakeCache.txt").exists():
        code, out = run(["cmake", "-S", ".", "-B", args.build, *args.cmake_args.split()], timeout=600)
        if code != 0:
            sys.exit(f"configuring {args.build} failed:\n{out}")
    code, out = build(args.build, args.jobs)
    if code != 0:
        sys.exit(f"the unmutated build fails:\n{out[-3000:]}")
    start = time.monotonic()
    code, out = suite(args.build, args.jobs, 600, args.exclude, args.last)
    baseline = time.monotonic() - start
    if code != 0:
        sys.exit(f"the unmutated suite fails:\n{out[-3000:]}")
    test_timeout = 3 * baseline + 30
    print(f"unmutated suite passes in {baseline:.0f} s; a test running {test_timeout:.0f} s is a kill")

    touched: set[Path] = set()
    try:
        for k, m in enumerate(chosen, 1):
            path = ROOT / m.file
            original = path.read_text()
            touched.add(path)
            t0 = time.monotonic()
            try:
                path.write_text(apply(m, original))
                code, out = build(args.build, args.jobs)
                if code != 0:
                    m.outcome, m.detail = "uncompilable", ""
                else:
                    code, out = suite(args.build, args.jobs, test_timeout, args.exclude, args.last)
                    m.outcome = "killed" if code != 0 else "survived"
                    m.detail = failed_tests(out) if code != 0 else ""
            finally:
                path.write_text(original)
            m.seconds = time.monotonic() - t0
            print(f"[{k}/{len(chosen)}] {m.outcome.upper():12} {m.file}:{m.line}  {m.kind}: "
                  f"{m.original!r} -> {m.replacement!r}  {m.detail}", flush=True)
            if args.json:  # after every mutant, so that an interrupted run keeps what it found
                Path(args.json).write_text(json.dumps([asdict(m) for m in chosen], indent=1) + "\n")
    finally:
        for path in touched:  # restored already; rebuilt so that the build matches the sources
            os.utime(path)
        build(args.build, args.jobs)

    killed = sum(m.outcome == "killed" for m in chosen)
    survived = [m for m in chosen if m.outcome == "survived"]
    uncompilable = sum(m.outcome == "uncompilable" for m in chosen)
    scored = killed + len(survived)
    print(f"\nkilled {killed}, survived {len(survived)}, uncompilable {uncompilable}; "
          f"score {killed}/{scored} = {100 * killed / scored:.0f}%" if scored else "\nno mutant compiled")
    for m in survived:
        print(f"  survivor {m.file}:{m.line}:{m.column}  {m.kind}: {m.original!r} -> {m.replacement!r}")
    if args.json:
        Path(args.json).write_text(json.dumps([asdict(m) for m in chosen], indent=1) + "\n")
    return 0


if __name__ == "__main__":
    sys.exit(main())
