"""The energy model through the module: invariances, faults, and evaluations beside other
threads. Reference values and derivatives are the library's tests; the layout of forces and
Hessian is pinned by ASE's optimisers and vibrations."""

import threading
import time

import numpy as np
import pytest

import tbrelax
from conftest import EXAMPLES, WATER_POSITIONS, WATER_SYMBOLS, alkane, in_threads

FORMALDEHYDE = (["C", "O", "H", "H"],
                np.array([[0.02, -0.03, 0.0], [0.0, 0.05, 1.19], [0.0, 0.96, -0.55], [0.04, -0.91, -0.6]]))


def test_rigid_motion_and_atom_order():
    symbols, r = FORMALDEHYDE
    ref = tbrelax.evaluate(symbols, r)
    c, s = np.cos(0.7), np.sin(0.7)
    R = np.array([[c, -s, 0], [s, c, 0], [0, 0, 1]]) @ np.array([[1, 0, 0], [0, c, -s], [0, s, c]])
    moved = tbrelax.evaluate(symbols, r @ R.T + [3.0, -1.0, 2.5])
    assert moved.energy == pytest.approx(ref.energy, abs=1e-9)
    np.testing.assert_allclose(moved.forces, ref.forces @ R.T, atol=1e-5)
    np.testing.assert_allclose(moved.orbital_energies, ref.orbital_energies, atol=1e-9)
    order = [2, 0, 3, 1]
    shuffled = tbrelax.evaluate([symbols[i] for i in order], r[order])
    assert shuffled.energy == pytest.approx(ref.energy, abs=1e-9)
    np.testing.assert_allclose(shuffled.forces, ref.forces[order], atol=1e-5)


@pytest.mark.parametrize("symbols, positions, fault", [
    (["O", "H", "He"], WATER_POSITIONS, "'He'"),
    (["O", "H", "h"], WATER_POSITIONS, "'h'"),
    (["O", "H"], WATER_POSITIONS, "2 symbols but 3 positions"),
    ([], np.zeros((0, 3)), "no atoms"),
    (WATER_SYMBOLS, WATER_POSITIONS[:, :2], "n x 3"),
    (WATER_SYMBOLS, [[0, 0, 0], [0, 0, np.nan], [1, 0, 0]], "non-finite"),
    (WATER_SYMBOLS, [[0, 0, 0], [1, 0, 0], [0, 0, 5e-11]], "atoms 0 and 2 are at the same position"),
])
def test_bad_molecules_are_rejected(symbols, positions, fault):
    for call in (tbrelax.evaluate, tbrelax.hessian):
        with pytest.raises(tbrelax.InputRejected, match=fault):
            call(symbols, positions)


def test_evaluations_run_beside_other_threads():
    benzene = tbrelax.read_xyz(EXAMPLES / "benzene" / "input.xyz")
    worker = threading.Thread(target=tbrelax.hessian, args=benzene[:2])
    start = time.perf_counter()
    worker.start()
    last, longest_gap = start, 0.0
    while worker.is_alive():
        now = time.perf_counter()
        longest_gap, last = max(longest_gap, now - last), now
    # Holding the GIL through the Hessian would stall this thread for the whole call.
    assert longest_gap < 0.5 * (time.perf_counter() - start)

    # Each thread evaluates on storage of its own, kept from earlier calls of other sizes; the
    # chains (basis sizes 122 and 182) run the eigensolver's helper threads too.
    molecules = [FORMALDEHYDE, (WATER_SYMBOLS, WATER_POSITIONS), alkane(20), alkane(30)] * 2
    for m, got in zip(molecules, in_threads(tbrelax.evaluate, molecules)):
        alone = tbrelax.evaluate(*m)
        assert got.energy == alone.energy
        np.testing.assert_array_equal(got.forces, alone.forces)
