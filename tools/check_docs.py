#!/usr/bin/env python3
"""Runs the examples of the README and the manual and compares what they print with the page.

    tools/check_docs.py BUILD_DIR [PAGE.md...]     (default: README.md and docs/*.md)

A ```console block holds commands (lines starting with "$ ", a trailing backslash continues one)
each followed by the output it prints; a ```pycon block holds Python statements (">>> ", "... ")
each followed by its output, as doctest reads them. Blocks of any other kind (```sh, ```python)
are not run.

Every block runs in a fresh temporary directory holding a copy of examples/ and a link build ->
BUILD_DIR, so the pages' commands (build/tbcalc energy examples/water/input.xyz) work as written
and nothing in the checkout is written. A console block is one bash session: its commands share
variables and the working directory, and what a command prints is its standard output and
standard error together, as one pipe receives them. A pycon block runs in an interpreter of its
own (this one) with BUILD_DIR/python on sys.path; one that imports a module the interpreter
cannot import (ASE missing, a build without the Python module) is skipped and counted.

Output is compared line by line after collapsing runs of blanks; numbers compare equal within a
relative 1e-6 or an absolute 1e-6 (the last printed digits of a 17-digit energy, and residual
forces of 1e-9 eV/Å at a relaxed geometry, move with the processor, the compiler or the
linear-algebra library; a real change moves more), and a number followed by
the unit s or ms is a timing and matches any number. A shown line holding only "..." matches
any number of lines. Every command must end with status 0, except the last of a block preceded
by the comment <!-- exit N -->, which must end with N.

The relative links of the pages are checked too: the file must exist and a #fragment must name
a heading of it (as MkDocs makes anchors from headings), which mkdocs build --strict does not
check.

Exit status: 0 when every block and link passed, 1 when one failed, 64 for a usage error.
"""

from __future__ import annotations

import doctest
import os
import re
import shutil
import signal
import subprocess
import sys
import tempfile
import unicodedata
from dataclasses import dataclass, field
from pathlib import Path

ROOT = Path(__file__).resolve().parents[1]
RELATIVE, ABSOLUTE = 1e-6, 1e-6
BLOCK_TIME_LIMIT = 120  # seconds
# A number, or a timing: a number followed by the unit s or ms.
NUMBER = re.compile(r"[-+]?(?:\d+\.?\d*|\.\d+)(?:[eE][-+]?\d+)?(?P<timing>\s?m?s\b)?")
EXIT_MARK = re.compile(r"<!--\s*exit\s+(\d+)\s*-->")
FENCE = re.compile(r"^(\s*)(`{3,})\s*([\w-]*)\s*$")
SEPARATOR = "\x1e"  # between the outputs of a console block's commands


@dataclass
class Block:
    page: Path
    line: int  # of the opening fence, counted from 1
    kind: str  # console or pycon
    text: list[str]
    exit_status: int = 0


@dataclass
class Command:
    line: int
    source: str
    expected: list[str] = field(default_factory=list)


def blocks_of(page: Path) -> list[Block]:
    """The console and pycon blocks of a Markdown page, with the exit status marked before each."""
    found, lines = [], page.read_text(encoding="utf-8").splitlines()
    i = 0
    while i < len(lines):
        opening = FENCE.match(lines[i])
        if not opening:
            i += 1
            continue
        indent, fence, kind = len(opening.group(1)), opening.group(2), opening.group(3)
        end = i + 1
        while end < len(lines) and not re.match(r"^\s*" + fence + r"`*\s*$", lines[end]):
            end += 1
        if kind in ("console", "pycon"):
            before = next((lines[k] for k in range(i - 1, -1, -1) if lines[k].strip()), "")
            mark = EXIT_MARK.search(before)
            body = [line[indent:] if line[:indent].isspace() else line.lstrip() for line in lines[i + 1:end]]
            found.append(Block(page, i + 1, kind, body, int(mark.group(1)) if mark else 0))
        i = end + 1
    return found


def prose_of(page: Path) -> list[tuple[int, str]]:
    """The page's lines outside fenced blocks, with their numbers."""
    prose, fence = [], None
    for number, line in enumerate(page.read_text(encoding="utf-8").splitlines(), start=1):
        opening = FENCE.match(line)
        if fence is None and opening:
            fence = opening.group(2)
        elif fence is not None and re.match(r"^\s*" + fence + r"`*\s*$", line):
            fence = None
        elif fence is None:
            prose.append((number, line))
    return prose


def anchor(heading: str) -> str:
    """The anchor MkDocs gives a heading: its text in ASCII, punctuation dropped, lower case,
    blanks and hyphens joined into one hyphen."""
    text = unicodedata.normalize("NFKD", heading.replace("`", "")).encode("ascii", "ignore").decode("ascii")
    return re.sub(r"[\s-]+", "-", re.sub(r"[^\w\s-]", "", text).strip().lower())


def link_faults(page: Path) -> list[str]:
    faults = []
    for number, line in prose_of(page):
        for target in re.findall(r"\]\(([^)\s]+)\)", re.sub(r"`[^`]*`", "", line)):
            if re.match(r"^[a-z]+:", target):
                continue  # a URL
            path, _, fragment = target.partition("#")
            linked = (page.parent / path).resolve() if path else page
            if not linked.exists():
                faults.append(f"{page}:{number}: a link to {target}, which does not exist")
            elif fragment and linked.suffix == ".md":
                headings = [anchor(h.lstrip("#").strip()) for _, h in prose_of(linked) if re.match(r"^#{1,6} ", h)]
                if fragment not in headings:
                    faults.append(f"{page}:{number}: a link to {target}, whose page has no such heading")
    return faults


def commands_of(block: Block) -> list[Command]:
    """A console block's commands with the output shown after each."""
    commands: list[Command] = []
    continued = False
    for offset, line in enumerate(block.text, start=block.line + 1):
        if continued:
            commands[-1].source += "\n" + line
        elif line.startswith("$ "):
            commands.append(Command(offset, line[2:]))
        elif commands:
            commands[-1].expected.append(line)
        else:
            raise ValueError(f"{block.page}:{offset}: output before the first command")
        continued = line.endswith("\\")
    return commands


def tokens(line: str) -> list[str | float | None]:
    """Text between numbers, the numbers as floats, and None for a timing."""
    parts: list[str | float | None] = []
    position = 0
    line = " ".join(line.split())
    for number in NUMBER.finditer(line):
        parts.append(line[position:number.start()])
        parts.append(None if number.group("timing") else float(number.group(0)))
        position = number.end()
    parts.append(line[position:])
    return parts


def same_line(expected: str, actual: str) -> bool:
    shown, printed = tokens(expected), tokens(actual)
    if len(shown) != len(printed):
        return False
    for a, b in zip(shown, printed):
        if a is None or b is None:
            if a is not b:
                return False
        elif isinstance(a, float) and isinstance(b, float):
            if abs(a - b) > max(ABSOLUTE, RELATIVE * max(abs(a), abs(b))):
                return False
        elif a != b:
            return False
    return True


def same_output(expected: list[str], actual: list[str]) -> bool:
    """Line by line; a shown "..." line stands for any number of printed lines."""
    expected = [line for line in expected if line.strip()]
    actual = [line for line in actual if line.strip()]
    if not expected:
        return not actual
    if expected[0].strip() == "...":
        return any(same_output(expected[1:], actual[k:]) for k in range(len(actual) + 1))
    return bool(actual) and same_line(expected[0], actual[0]) and same_output(expected[1:], actual[1:])


class TolerantChecker(doctest.OutputChecker):
    """doctest's checker with the comparison above."""

    def check_output(self, want: str, got: str, optionflags: int) -> bool:
        return same_output(want.splitlines(), got.splitlines())


def workspace(build: Path) -> Path:
    place = Path(tempfile.mkdtemp(prefix="tbrelax-docs-"))
    shutil.copytree(ROOT / "examples", place / "examples")
    (place / "build").symlink_to(build)
    return place


def environment(build: Path) -> dict[str, str]:
    env = dict(os.environ, PYTHONDONTWRITEBYTECODE="1")
    env["PYTHONPATH"] = os.pathsep.join(filter(None, [str(build / "python"), env.get("PYTHONPATH")]))
    return env


def run_bounded(args: list[str], place: Path, build: Path) -> subprocess.CompletedProcess:
    """Runs args in a session of its own, so that at the time limit the whole session is
    killed, with whatever it started, and nothing is left holding the output pipe."""
    with subprocess.Popen(args, cwd=place, env=environment(build), stdin=subprocess.DEVNULL,
                          stdout=subprocess.PIPE, stderr=subprocess.PIPE, start_new_session=True) as child:
        try:
            out, err = child.communicate(timeout=BLOCK_TIME_LIMIT)
        except subprocess.TimeoutExpired:
            os.killpg(child.pid, signal.SIGKILL)
            child.communicate()
            raise
    decode = lambda data: data.decode("utf-8", errors="replace")  # noqa: E731
    return subprocess.CompletedProcess(args, child.returncode, decode(out), decode(err))


def run_console(block: Block, build: Path, place: Path) -> list[str]:
    commands = commands_of(block)
    script = ["exec 2>&1"]
    for command in commands:
        script += [command.source, f"printf '{SEPARATOR}%d\\n' $?"]
    done = run_bounded(["bash", "-c", "\n".join(script)], place, build)
    parts = done.stdout.split(SEPARATOR)
    faults = []
    for k, command in enumerate(commands):
        if k + 1 >= len(parts):
            faults.append(f"{block.page}:{command.line}: the block ended before `{command.source}` finished")
            break
        status_line, _, _ = parts[k + 1].partition("\n")
        printed = parts[k] if k == 0 else parts[k].partition("\n")[2]
        wanted_status = block.exit_status if k == len(commands) - 1 else 0
        if int(status_line) != wanted_status:
            faults.append(f"{block.page}:{command.line}: `{command.source}` ended with status {status_line}, "
                          f"not {wanted_status}\n{printed}")
        elif not same_output(command.expected, printed.splitlines()):
            faults.append(f"{block.page}:{command.line}: `{command.source}` printed\n{printed}"
                          f"instead of\n" + "\n".join(command.expected))
    return faults


def missing_modules(block: Block, build: Path) -> str:
    """The modules a pycon block imports that fail to import in this interpreter (ASE, or the
    module of a build made for another interpreter), tried in a child process."""
    text = "\n".join(block.text)
    names = re.findall(r"^>>> from (\w+)", text, re.M)
    for modules in re.findall(r"^>>> import ([\w., ]+)", text, re.M):  # import a, b as c
        names += [m.split()[0].split(".")[0] for m in modules.split(",") if m.strip()]
    trial = "import sys\nfor n in sys.argv[1:]:\n    try: __import__(n)\n    except ImportError: print(n)"
    done = subprocess.run([sys.executable, "-c", trial, *names], env=environment(build), capture_output=True,
                          text=True, stdin=subprocess.DEVNULL, timeout=BLOCK_TIME_LIMIT)
    return done.stdout.strip()


def run_pycon(block: Block, build: Path, place: Path) -> list[str]:
    source = place / "block.pycon"
    source.write_text("\n".join(block.text) + "\n", encoding="utf-8")
    done = run_bounded([sys.executable, str(Path(__file__).resolve()), "--doctest", str(source),
                        f"{block.page}:{block.line}"], place, build)
    return [] if done.returncode == 0 else [f"{block.page}:{block.line}: the Python block failed\n"
                                            f"{done.stdout}{done.stderr}"]


def doctest_block(path: str, name: str) -> int:
    """Runs one pycon block in this interpreter (the checker's own child process)."""
    text = Path(path).read_text(encoding="utf-8")
    test = doctest.DocTestParser().get_doctest(text, {"__name__": "__main__"}, name, name, 0)
    runner = doctest.DocTestRunner(checker=TolerantChecker(), optionflags=doctest.ELLIPSIS)
    runner.run(test)
    return 1 if runner.failures else 0


def main(argv: list[str]) -> int:
    if len(argv) == 3 and argv[0] == "--doctest":
        return doctest_block(argv[1], argv[2])
    if not argv or argv[0].startswith("-"):
        print("usage: " + __doc__.strip().splitlines()[2].strip(), file=sys.stderr)
        return 64
    build = Path(argv[0]).resolve()
    if not (build / "tbcalc").exists():
        print(f"check_docs: {build} holds no built tbcalc", file=sys.stderr)
        return 64
    pages = [Path(p) for p in argv[1:]] or [ROOT / "README.md", *sorted((ROOT / "docs").glob("*.md"))]
    faults, ran, skipped = [], 0, 0
    for page in pages:
        faults += link_faults(page)
        for block in blocks_of(page):
            if block.kind == "pycon" and missing_modules(block, build):
                skipped += 1
                continue
            place = workspace(build)
            try:
                run = run_console if block.kind == "console" else run_pycon
                faults += run(block, build, place)
            except subprocess.TimeoutExpired:
                faults.append(f"{block.page}:{block.line}: the block ran past {BLOCK_TIME_LIMIT} s and was stopped")
            except ValueError as fault:
                faults.append(str(fault))
            finally:
                shutil.rmtree(place, ignore_errors=True)
            ran += 1
    for fault in faults:
        print(fault, end="\n\n")
    note = f", {skipped} Python blocks skipped (a module they import is missing)" if skipped else ""
    print(f"check_docs: {ran} blocks run and the links of {len(pages)} pages checked, {len(faults)} faults{note}")
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
