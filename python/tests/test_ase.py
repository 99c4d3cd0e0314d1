"""The ASE calculator: results and their reuse, faults as ASE's exceptions, and ASE's
optimisers and vibrations landing where the program's own relaxation and Hessian do."""

import numpy as np
import pytest

pytest.importorskip("ase")
from ase import Atoms  # noqa: E402
from ase.calculators.calculator import CalculationFailed, InputError  # noqa: E402
from ase.optimize import BFGS, FIRE  # noqa: E402
from ase.vibrations import Vibrations, VibrationsData  # noqa: E402

import tbrelax  # noqa: E402
from conftest import EXAMPLES, WATER_POSITIONS, run_tbrelax  # noqa: E402
from tbrelax.ase import TBRelax, read_atoms  # noqa: E402


def relaxed(example, fmax, optimizer=BFGS, model_masses=False):
    atoms = read_atoms(EXAMPLES / example / "input.xyz", model_masses=model_masses)
    atoms.calc = TBRelax()
    assert optimizer(atoms, logfile=None).run(fmax=fmax, steps=500)
    return atoms


def test_results_match_the_module_and_are_reused():
    atoms = Atoms("OH2", positions=WATER_POSITIONS)
    atoms.calc = calc = TBRelax()
    e = tbrelax.evaluate(["O", "H", "H"], WATER_POSITIONS)
    assert atoms.get_potential_energy() == e.energy
    assert atoms.get_potential_energy(force_consistent=True) == e.energy
    np.testing.assert_array_equal(atoms.get_forces(), e.forces)
    # Charges in e; the dipole in ASE's e angstrom where the module gives debye.
    np.testing.assert_array_equal(atoms.get_charges(), e.charges)
    np.testing.assert_allclose(atoms.get_dipole_moment() * tbrelax.DEBYE_PER_E_ANGSTROM, e.dipole, rtol=1e-15)
    assert abs(e.charges.sum()) < 1e-10 and e.dipole[2] == pytest.approx(-1.4715514, abs=1e-6)
    assert calc.evaluations == 1
    atoms.positions[1, 2] += 0.01
    atoms.get_forces()
    atoms.get_potential_energy()
    assert calc.evaluations == 2


@pytest.mark.parametrize("atoms, error, fault", [
    (Atoms("OHHe", positions=WATER_POSITIONS), InputError, "He"),
    (Atoms("OHCl", positions=WATER_POSITIONS), InputError, "Cl"),
    (Atoms("OHH", positions=[[0, 0, 0], [1, 0, 0], [1, 0, 5e-11]]), InputError, "same position"),
    (Atoms("CC", positions=[[0, 0, 0], [1.3, 0, 0]], cell=[1.3, 9, 9], pbc=[True, False, False]), InputError,
     "coincides with an image"),
    (Atoms(), InputError, "no atoms"),
    # Separations beyond the range of a double: the model has no finite answer.
    (Atoms("H2", positions=[[0, 0, 0], [0, 0, 1e200]]), CalculationFailed, "not a finite number"),
])
def test_faults_are_ase_exceptions(atoms, error, fault):
    atoms.calc = TBRelax()
    with pytest.raises(error, match=fault):
        atoms.get_forces()


@pytest.mark.parametrize("example, optimizer", [("water", BFGS), ("methane", BFGS), ("water", FIRE)])
def test_optimisers_find_the_program_minimum(example, optimizer, tmp_path):
    atoms = relaxed(example, fmax=0.01, optimizer=optimizer)
    assert np.abs(atoms.get_forces()).max() < 0.01
    symbols, positions = run_tbrelax(example, tmp_path)
    assert symbols == atoms.get_chemical_symbols()
    program_energy = tbrelax.evaluate(symbols, positions).energy
    assert atoms.get_potential_energy() / len(atoms) == pytest.approx(program_energy / len(atoms), abs=1e-5)


@pytest.mark.parametrize("example", ["water", "ammonia"])
def test_vibrations_match_the_hessian(example, tmp_path):
    # The program's frequencies assume the model's whole-number masses.
    atoms = relaxed(example, fmax=1e-4, model_masses=True)
    vib = Vibrations(atoms, name=str(tmp_path / "vib"), nfree=4)
    vib.run()
    modes = 3 * len(atoms) - 6
    frequencies = vib.get_frequencies().real[-modes:]
    hessian = tbrelax.hessian(atoms.get_chemical_symbols(), atoms.positions)
    expected = VibrationsData.from_2d(atoms, hessian).get_frequencies().real[-modes:]
    np.testing.assert_allclose(frequencies, expected, atol=0.1)

