"""The tbrelax model as an ASE calculator.

>>> from ase.optimize import BFGS
>>> from tbrelax.ase import TBRelax, read_atoms
>>> atoms = read_atoms("examples/water/input.xyz")
>>> atoms.calc = TBRelax()
>>> BFGS(atoms).run(fmax=0.01)
"""

from __future__ import annotations

import os

import numpy as np
from ase import Atoms
from ase.calculators.calculator import (CalculationFailed, Calculator, InputError,
                                        all_changes)

from . import DEBYE_PER_E_ANGSTROM, MASSES, InputRejected, NumericalError, evaluate, read_xyz

__all__ = ["TBRelax", "read_atoms"]


class TBRelax(Calculator):
    """Energy and forces of a molecule, chain, sheet or crystal of H, C, N and O atoms.

    Results are kept for the geometry they belong to: asking for the energy and then the forces
    of the same atoms evaluates the model once. Besides ``energy``, ``free_energy`` and
    ``forces``, the calculator gives the Mulliken ``charges`` (e), for a molecule the ``dipole``
    of those charges (e angstrom, ASE's unit), and ``results`` holds ``orbital_energies`` (eV,
    ascending; k-points x bands with a cell or a temperature). ``evaluations`` counts the model
    evaluations made.

    Atoms with periodic boundary conditions are evaluated in their cell on a k-point grid:
    ``kpts`` (three counts; default 0.2/angstrom spacing) and ``electronic_temperature`` (K;
    default 300 with a cell, 0 for a molecule). As ASE expects, ``free_energy`` is the Mermin
    free energy F = E - T S_el, whose minus gradient the forces are, and ``energy`` is the
    zero-temperature estimate E0 = (E + F) / 2; for a molecule at 0 K all three are E. The
    ``stress`` of periodic Atoms (Voigt, eV/angstrom^3, positive tensile, over the whole cell's
    volume) is the strain derivative of F, so ASE's cell filters relax the cell on the same
    free energy whose gradient the forces are; a molecule has none.

    Raises ``InputError`` for elements other than H, C, N, O, atoms closer than 1e-10
    angstrom (or than an image), a bad cell, grid or temperature, or no atoms, and
    ``CalculationFailed`` when the model gives a non-finite energy or force.
    """

    implemented_properties = ["energy", "free_energy", "forces", "stress", "charges", "dipole"]
    nolabel = True

    default_parameters = {"kpts": None, "electronic_temperature": None}

    def __init__(self, **kwargs) -> None:
        super().__init__(**kwargs)
        self.evaluations = 0

    def calculate(self, atoms: Atoms | None = None, properties=("energy",),
                  system_changes=all_changes) -> None:
        super().calculate(atoms, properties, system_changes)
        symbols = self.atoms.get_chemical_symbols()
        unknown = sorted(set(symbols) - set(MASSES))
        if unknown:
            raise InputError(f"the model knows only H, C, N and O, not {', '.join(unknown)}")
        periodic = bool(self.atoms.pbc.any())
        kpts, temperature = self.parameters.kpts, self.parameters.electronic_temperature
        try:
            if periodic or kpts is not None or temperature is not None:
                result = evaluate(symbols, self.atoms.positions, cell=np.array(self.atoms.cell) if periodic else None,
                                  pbc=self.atoms.pbc if periodic else None, kpoints=kpts,
                                  electronic_temperature=temperature)
            else:
                result = evaluate(symbols, self.atoms.positions)
        except InputRejected as e:
            raise InputError(str(e)) from e
        except NumericalError as e:
            raise CalculationFailed(str(e)) from e
        self.evaluations += 1
        self.results = {
            "energy": result.energy if result.energy_zero is None else result.energy_zero,
            "free_energy": result.energy if result.free_energy is None else result.free_energy,
            "forces": result.forces,
            "orbital_energies": result.orbital_energies,
            "charges": result.charges,
        }
        if result.stress is not None:
            self.results["stress"] = result.stress
        if result.dipole is not None:
            self.results["dipole"] = result.dipole / DEBYE_PER_E_ANGSTROM


def read_atoms(path: str | os.PathLike, model_masses: bool = False, tbrelax_symbols: bool = False) -> Atoms:
    """An ``Atoms`` object from a structure file read as ``tbrelax.read_xyz`` reads it.

    With ``model_masses`` the atoms carry the model's whole-number masses (H 1, C 12, N 14,
    O 16) instead of ASE's, as the program's own frequencies assume. ``tbrelax_symbols``: only
    the first character of a symbol counts, as in the tbrelax program's input.
    """
    s = read_xyz(path, tbrelax_symbols)
    atoms = Atoms(s.symbols, positions=s.positions, info={"title": s.title})
    if model_masses:
        atoms.set_masses(np.array([MASSES[x] for x in s.symbols]))
    return atoms
