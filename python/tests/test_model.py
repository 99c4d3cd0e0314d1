"""The energy model through the module: reference values, invariances, the Hessian, faults,
and evaluations beside other threads."""

import threading
import time

import numpy as np
import pytest

import tbrelax
from conftest import EXAMPLES, WATER_POSITIONS, WATER_SYMBOLS, alkane, in_threads

FORMALDEHYDE = (["C", "O", "H", "H"],
                np.array([[0.02, -0.03, 0.0], [0.0, 0.05, 1.19], [0.0, 0.96, -0.55], [0.04, -0.91, -0.6]]))


def displaced(r, k, h):
    out = r.copy()
    out.flat[k] += h
    return out


def test_water_reference():
    e = tbrelax.evaluate(WATER_SYMBOLS, WATER_POSITIONS)
    assert e.energy == pytest.approx(-8.6857502, abs=1e-5)
    expected = [[0, 0, 1.23032], [0, 1.64924, -0.61516], [0, -1.64924, -0.61516]]
    np.testing.assert_allclose(e.forces, expected, atol=1e-5)
    # Basis O 2s 2p + two H 1s, ascending.
    assert e.orbital_energies.shape == (6,) and np.all(np.diff(e.orbital_energies) >= 0)


def test_forces_and_hessian_are_derivatives_of_the_energy():
    symbols, r = FORMALDEHYDE
    forces = tbrelax.evaluate(symbols, r).forces.ravel()
    H = tbrelax.hessian(symbols, r)
    assert H.shape == (12, 12)
    np.testing.assert_array_equal(H, H.T)
    for k in [2, 4, 6, 11]:
        energy = [tbrelax.evaluate(symbols, displaced(r, k, s)).energy for s in (1e-4, -1e-4)]
        assert forces[k] == pytest.approx(-(energy[0] - energy[1]) / 2e-4, abs=1e-4)
        f = [tbrelax.evaluate(symbols, displaced(r, k, s)).forces.ravel() for s in (1e-3, -1e-3)]
        np.testing.assert_allclose(H[:, k], -(f[0] - f[1]) / 2e-3, atol=2e-2)


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


def test_non_finite_result_raises():
    # Separations beyond the range of a double: the model has no finite answer.
    with pytest.raises(tbrelax.NumericalError):
        tbrelax.evaluate(["H", "H"], [[0, 0, 0], [0, 0, 1e200]])


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
