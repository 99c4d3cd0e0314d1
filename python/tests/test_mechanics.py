"""Stress, cell relaxation and phonons through the module and ASE, against the free energy
under strain and against tbcalc (phonopy's part skipped where it is not installed)."""

from __future__ import annotations

import json
import subprocess

import numpy as np
import pytest
from ase import Atoms
from ase.constraints import ExpCellFilter, UnitCellFilter
from ase.optimize import BFGS

import tbrelax
from tbrelax.ase import TBRelax

from conftest import program

A_RELAXED = 2.5057285887  # graphene's lattice constant on a 12 x 12 grid at 300 K (angstrom)


def graphene(a: float, z: float = 0.0) -> Atoms:
    return Atoms("C2", positions=[[0, a / 3**0.5, z], [a / 2, a / (2 * 3**0.5), z]],
                 cell=[[a, 0, 0], [-a / 2, a * 3**0.5 / 2, 0], [0, 0, 20]], pbc=(True, True, False))


def tbcalc(args: list[str], atoms: Atoms, tmp_path) -> dict:
    exe = program("tbcalc")
    if exe is None:
        pytest.skip("tbcalc is not built (set TBCALC_PROGRAM)")
    atoms.write(tmp_path / "in.xyz", format="extxyz")
    done = subprocess.run([str(exe), *args, "--json", str(tmp_path / "in.xyz")],
                          capture_output=True, text=True, timeout=120, check=True)
    return json.loads(done.stdout)


SHEET = graphene(2.48)
SHEET.positions[1] += [0.02, -0.01, 0.03]
CHAIN = Atoms("C2H4", positions=[[0, 0, 0], [1.275, 0.864, 0], [0, -0.63, 0.89], [0, -0.63, -0.89],
                                 [1.275, 1.494, 0.89], [1.275, 1.494, -0.89]], cell=[2.6, 15, 15], pbc=(1, 0, 0))
# A small, skewed crystal: every atom sees its own images.
CRYSTAL = Atoms("CNH", positions=[[0, 0, 0], [1.05, 0.1, 0.2], [-0.6, 0.9, 0.1]],
                cell=[[2.4, 0.1, 0], [0.3, 2.5, 0.2], [0, 0.4, 2.6]], pbc=True)


@pytest.mark.parametrize("atoms, kpoints, temperature", [
    (SHEET, (4, 4, 1), 0.0), (SHEET, (4, 4, 1), 1000.0), (CHAIN, (3, 1, 1), 300.0), (CRYSTAL, (2, 2, 2), 1000.0)])
def test_stress_is_the_strain_derivative_of_the_free_energy(atoms, kpoints, temperature):
    def free_energy(strain):
        d = np.eye(3) + strain
        return tbrelax.evaluate(atoms.get_chemical_symbols(), atoms.positions @ d.T, cell=atoms.cell[:] @ d.T,
                                pbc=atoms.pbc, kpoints=kpoints, electronic_temperature=temperature)
    stress, h = free_energy(0 * np.eye(3)).stress, 1e-5
    for v, (i, j) in enumerate([(0, 0), (1, 1), (2, 2), (1, 2), (0, 2), (0, 1)]):
        e = np.zeros((3, 3))
        e[i, j] = e[j, i] = h if i == j else h / 2
        slope = (free_energy(e).free_energy - free_energy(-e).free_energy) / (2 * h)
        assert stress[v] == pytest.approx(slope / atoms.get_volume(), abs=1e-6), v


def _module(atoms):
    r = tbrelax.relax(atoms.get_chemical_symbols(), atoms.positions, cell=atoms.cell, pbc=atoms.pbc,
                      kpoints=(12, 12, 1), relax_cell=True)
    assert r.converged and np.abs(r.stress).max() < tbrelax.DEFAULT_SMAX
    assert r.volume == pytest.approx(abs(np.linalg.det(r.cell)))
    return np.linalg.norm(r.cell[0]), r.evaluations


def _ase(cell_filter):
    def run(atoms):
        atoms = atoms.copy()
        atoms.calc = TBRelax(kpts=(12, 12, 1))
        BFGS(cell_filter(atoms, mask=[1, 1, 0, 0, 0, 1]), logfile=None).run(fmax=1e-3)
        assert atoms.cell[2, 2] == 20  # the vacuum stays
        return atoms.cell.lengths()[0], atoms.calc.evaluations
    return run


@pytest.mark.parametrize("route", [_module, _ase(ExpCellFilter), _ase(UnitCellFilter)],
                         ids=["relax_cell", "ExpCellFilter", "UnitCellFilter"])
def test_graphene_cell_relaxes_as_tbcalc_relaxes_it(route, tmp_path):
    start = graphene(A_RELAXED * 1.03)
    a, evaluations = route(start)
    theirs = tbcalc(["relax", "--cell", "--kpoints", "12,12,1", "-o", str(tmp_path / "out.xyz")], start,
                    tmp_path)["files"][0]["cell"]["lattice"][0]
    assert a == pytest.approx(np.linalg.norm(theirs), abs=1e-4) and evaluations <= 30


@pytest.mark.parametrize("options, error", [
    (dict(cell_mask=["zz"]), tbrelax.InputRejected), (dict(cell_mask=["ab"]), ValueError),
    (dict(smax=0), ValueError), (dict(pull=[(0, 1, 1.0)]), ValueError), (dict(cell=None, pbc=None), ValueError)])
def test_bad_cell_options_are_refused(options, error):
    with pytest.raises(error):
        tbrelax.relax(["C", "C"], SHEET.positions, **{**dict(cell=SHEET.cell, pbc=SHEET.pbc, kpoints=(2, 2, 1),
                                                             relax_cell=True), **options})


def test_phonons_are_those_of_tbcalc_freq(tmp_path):
    unit = graphene(A_RELAXED)
    p = tbrelax.phonons(["C", "C"], unit.positions, cell=unit.cell, pbc=unit.pbc, kpoints=(12, 12, 1))
    # The file tbcalc reads rounds the positions to 1e-8 angstrom.
    theirs = tbcalc(["freq", "--kpoints", "12,12,1"], unit, tmp_path)["frequencies"]
    np.testing.assert_allclose(p.frequencies, theirs, atol=1e-3)
    assert p.modes.shape == (3, 2, 3) and np.abs(p.translations).max() < 0.01


def test_phonopy_gamma_phonons_match_tbcalc_freq(tmp_path):
    phonopy = pytest.importorskip("phonopy")
    from phonopy.structure.atoms import PhonopyAtoms
    unit = graphene(A_RELAXED, z=10.0)  # mid-vacuum, so that no atom wraps to the far side
    ph = phonopy.Phonopy(PhonopyAtoms(symbols=["C", "C"], cell=unit.cell[:], positions=unit.positions,
                                      masses=[tbrelax.MASSES["C"]] * 2), supercell_matrix=np.diag([2, 2, 1]))
    ph.generate_displacements(distance=1e-3, is_plusminus=True)
    calc = TBRelax(kpts=(6, 6, 1))
    ph.forces = [calc.get_forces(Atoms(s.symbols, cell=s.cell, scaled_positions=s.scaled_positions, pbc=unit.pbc))
                 for s in ph.supercells_with_displacements]
    ph.produce_force_constants()
    ph.run_qpoints([[0, 0, 0], [0.5, 0, 0], [0, 0.5, 0], [0.5, 0.5, 0]])  # the q that fold onto Gamma of 2 x 2
    ours = np.sort(ph.get_qpoints_dict()["frequencies"].ravel()) * 33.35640951981521  # THz to cm^-1
    sc = ph.supercell
    theirs = tbcalc(["freq", "--kpoints", "6,6,1"],
                    Atoms(sc.symbols, cell=sc.cell, scaled_positions=sc.scaled_positions, pbc=unit.pbc), tmp_path)
    np.testing.assert_allclose(ours[3:], np.sort(theirs["frequencies"]), atol=0.5)
    np.testing.assert_allclose(ours[:3], 0, atol=0.5)
