"""Vibrations, IR intensities and thermochemistry through the module: the ideal-gas terms agree
with ASE's IdealGasThermo on the same frequencies, masses and geometry."""

import numpy as np
import pytest

pytest.importorskip("ase")
from ase import Atoms  # noqa: E402
from ase.thermochemistry import IdealGasThermo  # noqa: E402

import tbrelax  # noqa: E402
from conftest import EXAMPLES  # noqa: E402

HC = 1.239841984332e-4  # eV cm: the energy of a 1 cm^-1 quantum


def relaxed(example):
    """The geometry of an example's reference report (its first N + 2 lines)."""
    lines = (EXAMPLES / example / "expected_output.xyz").read_text().splitlines()
    rows = [line.split() for line in lines[2:2 + int(lines[0])]]
    return [r[0] for r in rows], np.array([[float(v) for v in r[1:4]] for r in rows])


MOLECULES = {
    "water": (*relaxed("water"), "nonlinear", 0.0),
    "benzene": (*relaxed("benzene"), "nonlinear", 0.0),
    "HCN": (["H", "C", "N"], [[0, 0, -1.07], [0, 0, 0], [0, 0, 1.16]], "linear", 0.0),
    "NO radical": (["N", "O"], [[0, 0, 0], [0, 0, 1.15]], "linear", 0.5),
}


@pytest.mark.parametrize("name, temperature, pressure", [
    ("water", 298.15, 101325.0), ("water", 600.0, 1e5), ("benzene", 298.15, 101325.0),
    ("HCN", 400.0, 2e5), ("NO radical", 298.15, 101325.0),
])
def test_harmonic_thermochemistry_matches_ase(name, temperature, pressure):
    symbols, positions, geometry, spin = MOLECULES[name]
    v = tbrelax.vibrations(symbols, positions, temperature=temperature, pressure=pressure, soft_mode_cutoff=0.0)
    t = v.thermochemistry
    assert np.all(v.frequencies > 0) and v.linear == (geometry == "linear")
    atoms = Atoms(symbols, positions=positions, masses=[tbrelax.MASSES[s] for s in symbols])
    ase = IdealGasThermo(vib_energies=v.frequencies * HC, geometry=geometry, potentialenergy=v.energy,
                         atoms=atoms, symmetrynumber=t.symmetry_number, spin=spin)
    assert t.enthalpy == pytest.approx(ase.get_enthalpy(temperature, verbose=False), abs=1e-6)
    assert t.entropy == pytest.approx(ase.get_entropy(temperature, pressure, verbose=False), abs=1e-6)
    assert t.gibbs_energy == pytest.approx(ase.get_gibbs_energy(temperature, pressure, verbose=False), abs=1e-6)
    assert t.zero_point_energy == pytest.approx(ase.get_ZPE_correction(), abs=1e-9)
    # The same terms from the wavenumbers alone.
    again = tbrelax.thermochemistry(symbols, positions, v.frequencies, energy=v.energy, temperature=temperature,
                                    pressure=pressure, soft_mode_cutoff=0.0)
    assert again == t


def test_vibrations_carry_intensities_and_find_the_symmetry_number():
    symbols, positions, _, _ = MOLECULES["benzene"]
    v = tbrelax.vibrations(symbols, positions)
    assert v.modes.shape == (30, 12, 3) and v.intensities.shape == (30,)
    assert v.thermochemistry.symmetry_number == 12 and v.thermochemistry.symmetry_number_detected
    # D6h: only the out-of-plane A2u mode and three degenerate E1u pairs absorb.
    assert np.count_nonzero(v.intensities > 1.0) == 7
    given = tbrelax.vibrations(symbols, positions, symmetry_number=1).thermochemistry
    assert given.entropy - v.thermochemistry.entropy == pytest.approx(8.617333262e-5 * np.log(12), abs=1e-12)
    with pytest.raises(tbrelax.InputRejected, match="temperature"):
        tbrelax.thermochemistry(symbols, positions, v.frequencies, temperature=-1.0)
