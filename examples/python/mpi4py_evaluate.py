"""Many molecules over the ranks of an MPI job with mpi4py: rank r evaluates the files r,
r + K, r + 2K, ... of K ranks, and rank 0 gathers the results in the order given.

    mpiexec -n 2 /usr/bin/python3 examples/python/mpi4py_evaluate.py examples/*/input.xyz

(with PYTHONPATH=build/python, or tbrelax installed). For files of very different sizes,
``tbcalc energy|freq|relax`` under mpiexec balances the load itself, largest first.
"""

from __future__ import annotations

import os
import sys

import numpy as np

# One thread per rank: the ranks themselves fill the cores.
os.environ.setdefault("OMP_NUM_THREADS", "1")

import tbrelax  # noqa: E402


def evaluate_file(path: str) -> tbrelax.Evaluation:
    """Energy, forces, charges and dipole of the molecule in one structure file."""
    s = tbrelax.read_xyz(path)
    return tbrelax.evaluate(s.symbols, s.positions)


def evaluate_files(paths: list[str], comm=None) -> list[tbrelax.Evaluation] | None:
    """evaluate_file for every path, shared among the ranks of `comm` (MPI.COMM_WORLD by
    default). Rank 0 returns the results in the order of `paths`, the other ranks None."""
    from mpi4py import MPI

    comm = comm or MPI.COMM_WORLD
    mine = {i: evaluate_file(p) for i, p in enumerate(paths) if i % comm.size == comm.rank}
    parts = comm.gather(mine, root=0)
    if comm.rank != 0:
        return None
    results = {i: e for part in parts for i, e in part.items()}
    return [results[i] for i in range(len(paths))]


if __name__ == "__main__":
    files = sys.argv[1:]
    results = evaluate_files(files)
    for path, e in zip(files, results or []):
        print(f"{path}: E = {e.energy:.10f} eV, largest force {np.linalg.norm(e.forces, axis=1).max():.3e} eV/Å")
