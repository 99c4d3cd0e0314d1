"""Many molecules on a Dask cluster: tbrelax.evaluate mapped over structure files by worker
processes, the results gathered in the order given.

    PYTHONPATH=build/python /usr/bin/python3 examples/python/dask_evaluate.py examples/*/input.xyz

A LocalCluster of two worker processes, one thread each, uses this machine. On a cluster,
start ``dask scheduler`` and ``dask worker`` processes on its nodes and give the Client the
scheduler's address instead of the LocalCluster.
"""

from __future__ import annotations

import os
import sys

import numpy as np

import tbrelax


def evaluate_file(path: str) -> tbrelax.Evaluation:
    """Energy, forces, charges and dipole of the molecule in one structure file."""
    s = tbrelax.read_xyz(path)
    return tbrelax.evaluate(s.symbols, s.positions)


def evaluate_files(paths: list[str], workers: int = 2) -> list[tbrelax.Evaluation]:
    """evaluate_file for every path, shared among `workers` processes of a LocalCluster."""
    from dask.distributed import Client, LocalCluster

    # One thread per molecule: the workers themselves fill the cores.
    os.environ.setdefault("OMP_NUM_THREADS", "1")
    with LocalCluster(n_workers=workers, threads_per_worker=1, processes=True, dashboard_address=None) as cluster, \
            Client(cluster) as client:
        return client.gather(client.map(evaluate_file, paths, pure=False))


if __name__ == "__main__":
    files = sys.argv[1:]
    for path, e in zip(files, evaluate_files(files)):
        print(f"{path}: E = {e.energy:.10f} eV, largest force {np.linalg.norm(e.forces, axis=1).max():.3e} eV/Å")
