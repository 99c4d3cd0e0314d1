"""Periodic structures through the module and the ASE calculator: consistency with the
molecule, forces against the free energy, ASE's optimisers, FixAtoms and extended XYZ."""

from __future__ import annotations

import numpy as np
import pytest
from ase import Atoms
from ase.constraints import FixAtoms
from ase.io import read, write
from ase.optimize import BFGS, FIRE

import tbrelax
from tbrelax.ase import TBRelax

from conftest import EXAMPLES, WATER_POSITIONS, WATER_SYMBOLS

CHAIN = Atoms("C2H4", positions=[[0, 0, 0], [1.275, 0.864, 0], [0, -0.63, 0.89], [0, -0.63, -0.89],
                                 [1.275, 1.494, 0.89], [1.275, 1.494, -0.89]],
              cell=[2.55, 15, 15], pbc=[True, False, False])


def test_water_in_a_large_box_is_the_molecule():
    free = tbrelax.evaluate(WATER_SYMBOLS, WATER_POSITIONS)
    boxed = tbrelax.evaluate(WATER_SYMBOLS, WATER_POSITIONS, cell=np.eye(3) * 30, kpoints=(1, 1, 1),
                             electronic_temperature=0)
    assert boxed.energy == pytest.approx(free.energy, abs=1e-9)
    assert boxed.free_energy == boxed.energy and boxed.dipole is None
    np.testing.assert_allclose(boxed.forces, free.forces, atol=2e-5)


@pytest.mark.parametrize("temperature", [0.0, 1000.0])
def test_forces_are_minus_the_gradient_of_the_free_energy(temperature):
    atoms = CHAIN.copy()
    atoms.positions[1] += [0.03, -0.02, 0.05]
    atoms.calc = TBRelax(kpts=(4, 1, 1), electronic_temperature=temperature)
    forces = atoms.get_forces()
    h = 1e-4
    for a, axis in [(0, 1), (1, 0), (3, 2)]:
        shifted = []
        for step in (h, -h):
            moved = atoms.copy()
            moved.positions[a, axis] += step
            moved.calc = TBRelax(kpts=(4, 1, 1), electronic_temperature=temperature)
            shifted.append(moved.get_potential_energy(force_consistent=True))
        assert forces[a, axis] == pytest.approx(-(shifted[0] - shifted[1]) / (2 * h), abs=1e-5)


def test_ase_conventions_energy_is_e0_free_energy_is_f():
    atoms = read(EXAMPLES / "graphene" / "graphene.xyz")
    atoms.calc = TBRelax(kpts=(6, 6, 1), electronic_temperature=1000)
    e = tbrelax.evaluate(atoms.get_chemical_symbols(), atoms.positions, cell=atoms.cell[:], pbc=atoms.pbc,
                         kpoints=(6, 6, 1), electronic_temperature=1000)
    assert atoms.get_potential_energy() == pytest.approx(e.energy_zero, abs=1e-12)
    assert atoms.get_potential_energy(force_consistent=True) == pytest.approx(e.free_energy, abs=1e-12)
    assert e.free_energy < e.energy and e.kpoints == (6, 6, 1)


@pytest.mark.parametrize("optimizer", [BFGS, FIRE])
def test_ase_optimisers_fixatoms_and_extxyz(optimizer, tmp_path):
    atoms = CHAIN.copy()
    atoms.set_constraint(FixAtoms(indices=[0]))
    atoms.calc = TBRelax(kpts=(4, 1, 1))
    optimizer(atoms, logfile=None).run(fmax=0.02, steps=300)
    assert np.abs(atoms.get_forces()).max() < 0.02
    assert np.allclose(atoms.positions[0], CHAIN.positions[0])
    write(tmp_path / "chain.xyz", atoms, format="extxyz")
    back = read(tmp_path / "chain.xyz")
    back.calc = TBRelax(kpts=(4, 1, 1))
    assert back.get_potential_energy() == pytest.approx(atoms.get_potential_energy(), abs=1e-9)
    # The module's own relaxation in the fixed cell reaches the same free energy.
    r = tbrelax.relax(CHAIN.get_chemical_symbols(), CHAIN.positions, fix=[0], fmax=0.02, cell=CHAIN.cell[:],
                      pbc=CHAIN.pbc, kpoints=(4, 1, 1))
    assert r.converged and r.free_energy == pytest.approx(atoms.get_potential_energy(force_consistent=True), abs=2e-3)


@pytest.mark.parametrize("kwargs, fault", [
    ({"cell": np.eye(3) * 1.3, "pbc": [True, False, False]}, "coincides with an image"),
    ({"cell": np.eye(3) * 9, "pbc": [True, False, False], "kpoints": (2, 2, 1)}, "not periodic"),
    ({"electronic_temperature": -5}, "at least 0 K"),
    ({"cell": np.eye(2)}, "3 x 3"),
])
def test_bad_periodic_input_is_rejected(kwargs, fault):
    with pytest.raises(tbrelax.InputRejected, match=fault):
        tbrelax.evaluate(["C", "C"], [[0, 0, 0], [1.3, 0, 0]], **kwargs)
