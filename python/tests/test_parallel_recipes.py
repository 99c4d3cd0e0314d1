"""The Dask and mpi4py recipes of examples/python give the results of one process, to the bit."""

from __future__ import annotations

import importlib.util
import json
import os
import shutil
import subprocess
import sys
from types import SimpleNamespace

import numpy as np
import pytest

from conftest import EXAMPLES

FILES = [str(EXAMPLES / name / "input.xyz") for name in ("benzene", "water", "methane", "ammonia", "formaldehyde")]


def recipe(name: str):
    path = EXAMPLES / "python" / f"{name}.py"
    location = importlib.util.spec_from_file_location(name, path)
    module = importlib.util.module_from_spec(location)
    location.loader.exec_module(module)
    return module


def alone() -> list:
    return [recipe("mpi4py_evaluate").evaluate_file(p) for p in FILES]


def assert_same(results, expected) -> None:
    assert len(results) == len(expected)
    for got, want in zip(results, expected):
        assert got.energy == want.energy
        for field in ("forces", "orbital_energies", "charges", "dipole"):
            assert np.array_equal(getattr(got, field), getattr(want, field))


def test_dask_local_cluster_gives_the_results_of_one_process():
    pytest.importorskip("dask.distributed", reason="Dask (Debian: python3-distributed) is not installed")
    assert_same(recipe("dask_evaluate").evaluate_files(FILES, workers=2), alone())


def test_mpi4py_ranks_give_the_results_of_one_process(tmp_path):
    pytest.importorskip("mpi4py", reason="mpi4py (Debian: python3-mpi4py) is not installed")
    mpiexec = shutil.which("mpiexec")
    if mpiexec is None:
        pytest.skip("no mpiexec")
    # Rank 0 writes what it gathered, every number exactly (JSON keeps the shortest round trip).
    script = (
        "import json, sys, importlib.util\n"
        f"location = importlib.util.spec_from_file_location('r', {str(EXAMPLES / 'python' / 'mpi4py_evaluate.py')!r})\n"
        "r = importlib.util.module_from_spec(location); location.loader.exec_module(r)\n"
        f"results = r.evaluate_files({FILES!r})\n"
        "if results is not None:\n"
        "    json.dump([{k: v.tolist() if hasattr(v, 'tolist') else v for k, v in e._asdict().items()}"
        " for e in results], open('gathered.json', 'w'))\n")
    env = dict(os.environ, OMPI_ALLOW_RUN_AS_ROOT="1", OMPI_ALLOW_RUN_AS_ROOT_CONFIRM="1")
    version = subprocess.run([mpiexec, "--version"], capture_output=True, text=True).stdout
    flags = ["--oversubscribe"] if "Open MPI" in version or "OpenRTE" in version else []
    done = subprocess.run([mpiexec, *flags, "-n", "3", sys.executable, "-c", script], cwd=tmp_path, env=env,
                          capture_output=True, text=True, timeout=240)
    assert done.returncode == 0, done.stdout + done.stderr
    gathered = json.loads((tmp_path / "gathered.json").read_text())
    assert_same([SimpleNamespace(**g) for g in gathered], alone())
