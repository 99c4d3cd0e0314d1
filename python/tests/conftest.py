"""Shared molecules and the programs of the build the tests compare with.

CTest sets TBRELAX_PROGRAM, TBCALC_PROGRAM (when built) and TBRELAX_EXAMPLES; run by hand,
the examples are found beside this directory and the programs in ../../build.
"""

from __future__ import annotations

import os
import shutil
import subprocess
import threading
from pathlib import Path

import numpy as np
import pytest

ROOT = Path(__file__).resolve().parents[2]
EXAMPLES = Path(os.environ.get("TBRELAX_EXAMPLES", ROOT / "examples"))

WATER_SYMBOLS = ["O", "H", "H"]
WATER_POSITIONS = np.array([[0.0, 0.0, 0.117], [0.0, 0.757, -0.467], [0.0, -0.757, -0.467]])


def alkane(carbons: int) -> tuple[list[str], np.ndarray]:
    """A zigzag chain C_k H_2k+2 (basis size 6k + 2), close to its equilibrium geometry."""
    symbols, positions = [], []
    for k in range(carbons):
        x, y = 1.26 * k, 0.44 * (-1) ** k
        symbols += ["C", "H", "H"]
        positions += [[x, y, 0.0], [x, y + 0.63 * (-1) ** k, 0.89], [x, y + 0.63 * (-1) ** k, -0.89]]
    symbols += ["H", "H"]
    positions += [[-1.0, 0.0, 0.0], [1.26 * carbons - 0.26, 0.0, 0.0]]
    return symbols, np.array(positions)


def in_threads(call, jobs: list) -> list:
    """call(*job) for every job, each on a thread of its own, all at once: the results in order."""
    results = [None] * len(jobs)
    threads = [threading.Thread(target=lambda i=i: results.__setitem__(i, call(*jobs[i]))) for i in range(len(jobs))]
    for t in threads:
        t.start()
    for t in threads:
        t.join()
    return results


def program(name: str) -> Path | None:
    """The built program `name`, or None when this build has none."""
    path = os.environ.get(f"{name.upper()}_PROGRAM") or str(ROOT / "build" / name)
    return Path(path).resolve() if os.access(path, os.X_OK) else None


def run_tbrelax(example: str, workdir: Path) -> tuple[list[str], np.ndarray]:
    """Relaxes an example with the tbrelax program: the geometry of its output.xyz."""
    exe = program("tbrelax")
    if exe is None:
        pytest.skip("the tbrelax program is not built (set TBRELAX_PROGRAM)")
    shutil.copy(EXAMPLES / example / "input.xyz", workdir / "input.xyz")
    done = subprocess.run([str(exe)], cwd=workdir, input="\n", capture_output=True, text=True, timeout=120)
    assert done.returncode == 0, done.stdout + done.stderr
    # The report's first N + 2 lines are a structure file; the summary follows.
    lines = (workdir / "output.xyz").read_text().splitlines()
    rows = [line.split() for line in lines[2:2 + int(lines[0])]]
    return [r[0] for r in rows], np.array([[float(v) for v in r[1:4]] for r in rows])
