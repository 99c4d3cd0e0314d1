#!/usr/bin/env python3
"""Evaluations that ASE's BFGS and FIRE need to reach the energy of the tbrelax program.

For each example the program relaxes input.xyz (its steepest descent makes 20 evaluations per
block plus one at the start; one " ." on its screen per block); the target is the model's energy
at the geometry of its output.xyz. Each ASE optimiser then starts from input.xyz and counts the
calculator's evaluations until the energy first falls to the target, and until the largest
force component is below 0.01 eV/angstrom. Prints a Markdown table.

    PYTHONPATH=build/python python3 python/tools/compare_optimisers.py --tbrelax build/tbrelax
"""

from __future__ import annotations

import argparse
import shutil
import subprocess
import tempfile
from pathlib import Path

import numpy as np
from ase.optimize import BFGS, FIRE

import tbrelax
from tbrelax.ase import TBRelax, read_atoms

ROOT = Path(__file__).resolve().parents[2]
FMAX = 0.01
MAX_STEPS = 5000


def program_relaxation(exe: Path, example: Path) -> tuple[int, float]:
    """Blocks of the program's relaxation and the model's energy at its reported geometry."""
    with tempfile.TemporaryDirectory() as work:
        shutil.copy(example / "input.xyz", work)
        run = subprocess.run([str(exe.resolve())], cwd=work, input="\n", capture_output=True, text=True, check=True)
        blocks = sum(1 for line in run.stdout.splitlines() if line == " .")
        lines = (Path(work) / "output.xyz").read_text().splitlines()
    # The report's first N + 2 lines are a structure file; the rest is the summary.
    rows = [line.split() for line in lines[2:2 + int(lines[0])]]
    energy = tbrelax.evaluate([r[0] for r in rows], np.array([[float(v) for v in r[1:4]] for r in rows])).energy
    return blocks, energy


def optimiser_counts(optimizer, example: Path, target: float) -> tuple[int | None, int | None]:
    """Evaluations until the energy reaches `target`, and until fmax < FMAX (None: never)."""
    atoms = read_atoms(example / "input.xyz")
    atoms.calc = calc = TBRelax()
    reached = converged = None
    for _ in optimizer(atoms, logfile=None).irun(fmax=0.0, steps=MAX_STEPS):
        # The optimiser has just evaluated the current geometry: these are cached results.
        if reached is None and atoms.get_potential_energy() <= target:
            reached = calc.evaluations
        if converged is None and np.abs(atoms.get_forces()).max() < FMAX:
            converged = calc.evaluations
        if reached is not None and converged is not None:
            break
    return reached, converged


def main() -> None:
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--tbrelax", type=Path, default=ROOT / "build" / "tbrelax", help="the tbrelax program")
    parser.add_argument("--examples", type=Path, default=ROOT / "examples")
    parser.add_argument("names", nargs="*", default=["water", "methane", "ammonia", "formaldehyde", "benzene"])
    args = parser.parse_args()

    show = lambda n: "—" if n is None else str(n)  # noqa: E731
    print("| example | atoms | tbrelax blocks | tbrelax evaluations | BFGS to tbrelax's E | FIRE to tbrelax's E "
          f"| BFGS to fmax {FMAX} | FIRE to fmax {FMAX} |")
    print("|---|---:|---:|---:|---:|---:|---:|---:|")
    for name in args.names:
        example = args.examples / name
        blocks, target = program_relaxation(args.tbrelax, example)
        bfgs = optimiser_counts(BFGS, example, target)
        fire = optimiser_counts(FIRE, example, target)
        atoms = len(tbrelax.read_xyz(example / "input.xyz").symbols)
        print(f"| {name} | {atoms} | {blocks} | {20 * blocks + 1} | {show(bfgs[0])} | {show(fire[0])} "
              f"| {show(bfgs[1])} | {show(fire[1])} |")


if __name__ == "__main__":
    main()
