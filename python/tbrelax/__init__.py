"""Tight-binding energies, forces, charges, vibrations and thermochemistry of molecules made of
H, C, N and O atoms.

>>> import tbrelax
>>> e = tbrelax.evaluate(["O", "H", "H"], [[0, 0, 0.117], [0, 0.757, -0.467], [0, -0.757, -0.467]])
>>> round(e.energy, 4)
-8.6858

Energies are in eV, positions in angstrom, forces in eV/angstrom, Hessians in eV/angstrom^2,
charges in e, dipoles in debye, wavenumbers in cm^-1, IR intensities in km/mol, stresses in
eV/angstrom^3. Chains, sheets and crystals: ``cell=`` in ``evaluate`` and ``relax``,
``relax(..., relax_cell=True)`` for the cell too, ``phonons`` for their vibrations at Gamma.
The ASE calculator is ``tbrelax.ase.TBRelax``; ``tbrelax.plots`` draws spectra and relaxations.
Every call releases the GIL while it computes. The model's storage is kept between calls (per
molecule size, one per thread that calls at the same time), so a loop of evaluations of one
molecule pays for it once; calls on several threads take separate storage and give exactly the
results they give alone.
"""

from __future__ import annotations

import os
import re
import warnings
from typing import NamedTuple, Sequence

import numpy as np
from numpy.typing import ArrayLike

from .errors import Error, FileError, InputRejected, NumericalError, OutOfMemory, TBRelaxWarning
from . import _core

__all__ = [
    "evaluate", "hessian", "vibrations", "phonons", "thermochemistry", "relax", "read_xyz", "Evaluation", "Vibrations",
    "Thermochemistry", "Phonons", "Relaxation", "Structure", "MASSES", "METHODS", "VOIGT", "DEFAULT_SMAX",
    "DEBYE_PER_E_ANGSTROM",
    "Error", "FileError", "InputRejected", "NumericalError", "OutOfMemory", "TBRelaxWarning",
    "scan", "path", "ts", "irc", "Scan", "Band", "SaddlePoint", "ReactionPath",
]

#: The version of the model and the programs built with this package.
__version__: str = _core.version

#: The masses the model assigns to its elements (whole numbers, atomic mass units). ASE's
#: default masses differ slightly; use these to compare frequencies with the program's own.
MASSES: dict[str, float] = dict(_core.masses)

#: Debye per e angstrom, to turn a dipole in debye into ASE's unit and back.
DEBYE_PER_E_ANGSTROM: float = _core.debye_per_e_angstrom

#: The optimisers of ``relax``.
METHODS = ("plbfgs", "lbfgs", "fire")

#: The Voigt components of a stress or of a cell deformation, in order.
VOIGT = ("xx", "yy", "zz", "yz", "xz", "xy")

#: Default stop criterion of ``relax(..., relax_cell=True)`` on the stress: 0.005 GPa in
#: eV/angstrom^3, as ``tbcalc relax --cell``.
DEFAULT_SMAX: float = 0.005 / 160.21766208

# The sessions of the module's calls and of the ASE calculator.
_SESSIONS = _core.Sessions()


class Evaluation(NamedTuple):
    """One evaluation of the model. The fields after ``dipole`` are set by evaluations with a
    cell or an electronic temperature (see ``evaluate``)."""
    energy: float                   #: binding energy E (eV; per cell for a periodic structure)
    forces: np.ndarray              #: n x 3 (eV/angstrom); -dF/dr with an electronic temperature
    orbital_energies: np.ndarray    #: ascending (eV); k-points x bands with a cell or temperature
    charges: np.ndarray             #: Mulliken charges, n (e); they sum to zero
    dipole: np.ndarray | None       #: dipole moment of those charges, 3 (debye); None for a cell
    free_energy: float | None = None      #: F = E - T S_el (eV)
    energy_zero: float | None = None      #: E0 = (E + F) / 2 (eV)
    fermi_level: float | None = None      #: eV
    band_gap: float | None = None         #: over the k-points, None where there is none (eV)
    electronic_temperature: float = 0.0   #: K
    kpoints: tuple[int, int, int] | None = None  #: the grid used
    degenerate_edge: bool = False   #: T = 0 and a degenerate level at the Fermi edge partly filled
    #: (1/V) dF/d(strain), Voigt xx yy zz yz xz xy (eV/angstrom^3, positive tensile, V the whole
    #: cell with its vacuum, as ASE's get_stress); None for a molecule
    stress: np.ndarray | None = None


class Thermochemistry(NamedTuple):
    """Ideal-gas thermochemistry: translations, a rigid rotor, harmonic vibrations (with the
    entropy of modes below ``soft_mode_cutoff`` interpolated towards a free rotor's)."""
    temperature: float                #: K
    pressure: float                   #: Pa
    symmetry_number: int
    symmetry_number_detected: bool    #: found from the geometry rather than given
    multiplicity: int                 #: 2 for an odd electron count, else 1
    soft_mode_cutoff: float           #: cm^-1; 0 keeps every mode harmonic
    soft_modes: int                   #: real modes below the cutoff
    imaginary_modes: int              #: left out of every term
    zero_point_energy: float          #: eV
    enthalpy: float                   #: H = E + ZPE + thermal terms + k T (eV)
    entropy: float                    #: eV/K
    gibbs_energy: float               #: G = H - T S (eV)
    contributions: dict[str, tuple[float, float]]  #: name -> (H - E part in eV, S part in eV/K)


class Vibrations(NamedTuple):
    """Harmonic vibrations with the model's masses, as ``tbcalc freq`` reports them."""
    energy: float                 #: at the geometry (eV)
    frequencies: np.ndarray       #: ascending (cm^-1; imaginary ones negative)
    intensities: np.ndarray       #: IR intensity of each mode (km/mol)
    modes: np.ndarray             #: modes x n x 3, Cartesian displacements of unit length
    rigid_frequencies: np.ndarray  #: translations and rotations (cm^-1), near zero at a minimum
    linear: bool
    thermochemistry: Thermochemistry


class Phonons(NamedTuple):
    """Phonons at Gamma of a periodic cell, as ``tbcalc freq`` reports them for a periodic file."""
    free_energy: float            #: F at the geometry (eV per cell)
    frequencies: np.ndarray       #: 3n - 3, ascending (cm^-1; imaginary ones negative)
    modes: np.ndarray             #: modes x n x 3, Cartesian displacements of unit length
    translations: np.ndarray      #: curvature left along the x, y, z translations (cm^-1), near 0
    temperature: float            #: of the thermochemistry (K)
    zero_point_energy: float      #: eV per cell, over the real modes
    vibrational_energy: float     #: U, zero-point energy included (eV per cell)
    vibrational_entropy: float    #: S (eV/K per cell)
    vibrational_free_energy: float  #: U - T S (eV per cell)
    imaginary_modes: int          #: left out of the thermochemistry
    kpoints: tuple[int, int, int]  #: the grid used
    electronic_temperature: float  #: K


class Relaxation(NamedTuple):
    """The end of a relaxation."""
    positions: np.ndarray   #: n x 3 (angstrom)
    energy: float           #: binding energy there (eV), without the pulling potentials
    forces: np.ndarray      #: n x 3 (eV/angstrom), pulling forces included, zero on fixed atoms
    steps: int              #: optimiser steps
    evaluations: int        #: model evaluations, the start included
    converged: bool         #: the largest force on a free atom fell below fmax
    #: no curvature below -50 cm^-1 is left at the end point; None when not checked
    minimum_verified: bool | None = None
    #: found by the check (eV / (angstrom^2 amu)); None when not checked or not estimated
    lowest_curvature: float | None = None
    lowest_wavenumber: float | None = None  #: its wavenumber (cm^-1, negative: imaginary)
    escapes: int = 0                        #: saddle points left along their mode
    check_evaluations: int = 0              #: evaluations of the checks and escapes
    free_energy: float | None = None  #: F, what a relaxation with a cell or temperature minimises
    cell: np.ndarray | None = None    #: the lattice vectors at the end, 3 x 3 rows (angstrom)
    stress: np.ndarray | None = None  #: Voigt stress at the end (eV/angstrom^3, positive tensile)
    volume: float | None = None       #: of the whole cell at the end, vacuum included (angstrom^3)
    enthalpy: float | None = None     #: F + p V at the end (eV), with relax_cell


class Structure(NamedTuple):
    """A molecule read from a structure file."""
    symbols: list[str]      #: "H", "C", "N" or "O"
    positions: np.ndarray   #: n x 3 (angstrom)
    title: str


def _arguments(symbols: Sequence[str], positions: ArrayLike) -> tuple[list[str], np.ndarray]:
    if isinstance(symbols, str):
        raise TypeError("symbols must be a sequence of element symbols, e.g. ['O', 'H', 'H']")
    symbols = list(symbols)
    try:
        r = np.asarray(positions, dtype=np.float64)
    except (TypeError, ValueError) as e:
        raise InputRejected(f"positions must be an n x 3 array of numbers: {e}") from None
    if r.ndim != 2 or r.shape[1] != 3:
        raise InputRejected(f"positions must be an n x 3 array, not of shape {r.shape}")
    return symbols, np.ascontiguousarray(r)


def _warn_model_messages(messages: str) -> None:
    # The model reports a negative overlap eigenvalue on its screen and goes on with its
    # absolute value; here that becomes a warning.
    lines = [line.strip() for line in messages.splitlines() if line.strip()]
    if lines:
        warnings.warn("the model reported: " + "; ".join(dict.fromkeys(lines)), TBRelaxWarning, stacklevel=3)


def _periodic_arguments(cell, pbc, kpoints, kpoint_shift, electronic_temperature):
    """The periodic model's arguments, or None where every one is left out (the molecule)."""
    if cell is None and pbc is None and kpoints is None and kpoint_shift is None and electronic_temperature is None:
        return None
    if cell is not None:
        cell = np.ascontiguousarray(np.asarray(cell, dtype=np.float64))
        if cell.shape != (3, 3):
            raise InputRejected(f"cell must be 3 x 3 lattice vectors (angstrom), not of shape {cell.shape}")
        pbc = (True, True, True) if pbc is None else pbc
    pbc = (False, False, False) if pbc is None else pbc
    pbc = tuple(bool(p) for p in np.broadcast_to(np.asarray(pbc, dtype=bool), (3,)))
    if any(pbc) and cell is None:
        raise InputRejected("pbc needs a cell")
    if kpoints is not None:
        kpoints = tuple(int(k) for k in np.broadcast_to(np.asarray(kpoints), (3,)))
    shift = (0.0, 0.0, 0.0) if kpoint_shift is None else tuple(float(s) for s in kpoint_shift)
    if len(shift) != 3:
        raise InputRejected("kpoint_shift must be three numbers")
    temperature = None if electronic_temperature is None else float(electronic_temperature)
    return cell if any(pbc) else None, pbc, kpoints, shift, temperature


def evaluate(symbols: Sequence[str], positions: ArrayLike, *, cell: ArrayLike | None = None,
             pbc: Sequence[bool] | bool | None = None, kpoints: Sequence[int] | None = None,
             kpoint_shift: Sequence[float] | None = None,
             electronic_temperature: float | None = None) -> Evaluation:
    """Energy, forces and orbital energies of a molecule, or of a periodic structure.

    ``symbols``: one of "H", "C", "N", "O" per atom; ``positions``: n x 3 (angstrom).
    ``cell``: 3 x 3 lattice vectors (rows, angstrom) and ``pbc`` which of them repeat (default
    all three with a cell); ``kpoints``: a Gamma-centred grid (default: 0.2/angstrom spacing),
    ``kpoint_shift`` its shift in grid steps; ``electronic_temperature`` in K (default 300 with
    a periodic cell, 0 for a molecule). With any of these the periodic model answers: E, F,
    E0 and the Fermi level are set, and the forces are -dF/dr.
    Raises InputRejected for anything but those four elements, a wrong shape, a non-finite
    coordinate, no atoms or two atoms closer than 1e-10 angstrom (or than an image), a bad
    cell, grid or temperature, and NumericalError when the result is not finite.
    """
    symbols, r = _arguments(symbols, positions)
    periodic = _periodic_arguments(cell, pbc, kpoints, kpoint_shift, electronic_temperature)
    if periodic is not None:
        d = _SESSIONS.evaluate_periodic(symbols, r, *periodic)
        return Evaluation(d["energy"], d["forces"], d["band_energies"], d["charges"],
                          None if periodic[0] is not None else _dipole(r, d["charges"]),
                          d["free_energy"], d["energy_zero"], d["fermi_level"], d["band_gap"],
                          d["electronic_temperature"], d["kpoint_grid"], d["degenerate_edge"], d["stress"])
    energy, forces, eps, messages, charges, dipole = _SESSIONS.evaluate(symbols, r)
    _warn_model_messages(messages)
    return Evaluation(energy, forces, eps, charges, dipole)


def _dipole(r: np.ndarray, charges: np.ndarray) -> np.ndarray:
    return (charges[:, None] * r).sum(axis=0) * DEBYE_PER_E_ANGSTROM


def hessian(symbols: Sequence[str], positions: ArrayLike) -> np.ndarray:
    """The Cartesian Hessian of the energy, 3n x 3n (eV/angstrom^2), coordinate 3 a + axis.

    The electronic part comes from central differences of the forces (step 1e-4 angstrom, 6 n
    evaluations), the repulsive part analytically; the result is symmetrised. Raises as
    ``evaluate`` does.
    """
    symbols, r = _arguments(symbols, positions)
    h, messages = _SESSIONS.hessian(symbols, r)
    _warn_model_messages(messages)
    return h


def vibrations(symbols: Sequence[str], positions: ArrayLike, *, temperature: float = 298.15,
               pressure: float = 101325.0, symmetry_number: int | None = None,
               soft_mode_cutoff: float = 100.0) -> Vibrations:
    """Vibrational frequencies, IR intensities and thermochemistry at the given geometry.

    The Hessian comes from ``hessian``; the dipole derivatives for the intensities from the
    same displaced evaluations. ``symmetry_number`` None finds it from the geometry (atoms
    within 0.01 angstrom of their images). Raises as ``evaluate`` does, and InputRejected for a
    temperature, pressure, symmetry number or cutoff out of range.
    """
    symbols, r = _arguments(symbols, positions)
    energy, nu, intensities, modes, rigid, linear, _, thermo, messages = _SESSIONS.vibrations(
        symbols, r, temperature, pressure, symmetry_number, soft_mode_cutoff)
    _warn_model_messages(messages)
    return Vibrations(energy, nu, intensities, modes.reshape(len(nu), len(symbols), 3), rigid, linear,
                      Thermochemistry(**thermo))


def phonons(symbols: Sequence[str], positions: ArrayLike, *, cell: ArrayLike,
            pbc: Sequence[bool] | bool | None = None, kpoints: Sequence[int] | None = None,
            kpoint_shift: Sequence[float] | None = None, electronic_temperature: float | None = None,
            temperature: float = 298.15) -> Phonons:
    """Phonons at Gamma of a periodic cell (the modes of a supercell include those of the
    wavevectors that fold onto its Gamma point) and their harmonic thermochemistry per cell at
    ``temperature`` (K), with no translation or rotation of a gas.

    The Hessian of F comes from central differences of the forces (1e-4 angstrom, 6 n
    evaluations, every image of an atom moving with it), mass-weighted with the model's masses;
    only the three rigid translations are set apart. ``cell``, ``pbc``, ``kpoints``,
    ``kpoint_shift``, ``electronic_temperature``: as for ``evaluate``. Relax the atoms and the
    cell first (``relax(..., relax_cell=True, fmax=1e-4)``). Raises as ``evaluate`` does, and
    InputRejected for a cell with no periodic axis or a bad temperature.
    """
    symbols, r = _arguments(symbols, positions)
    periodic = _periodic_arguments(cell, pbc, kpoints, kpoint_shift, electronic_temperature)
    if periodic is None or periodic[0] is None:
        raise InputRejected("phonons need a periodic cell; use vibrations for a molecule")
    d = _SESSIONS.phonons(symbols, r, *periodic, float(temperature))
    d["modes"] = d["modes"].reshape(len(d["frequencies"]), len(symbols), 3)
    d["kpoints"] = d.pop("kpoint_grid")
    return Phonons(**d)


def thermochemistry(symbols: Sequence[str], positions: ArrayLike, frequencies: ArrayLike, *,
                    energy: float = 0.0, temperature: float = 298.15, pressure: float = 101325.0,
                    symmetry_number: int | None = None,
                    soft_mode_cutoff: float = 100.0) -> Thermochemistry:
    """Ideal-gas thermochemistry of the molecule at this geometry with these vibrational
    wavenumbers (cm^-1; negative ones are imaginary and left out), the model's masses and the
    potential energy ``energy`` (eV). Linear or not is read off the geometry."""
    symbols, r = _arguments(symbols, positions)
    nu = [float(x) for x in np.asarray(frequencies, dtype=np.float64).ravel()]
    return Thermochemistry(**_core.thermochemistry(symbols, r, nu, energy, temperature, pressure,
                                                    symmetry_number, soft_mode_cutoff))


def _atom_index(value, count: int, what: str) -> int:
    if isinstance(value, (bool, np.bool_)) or not isinstance(value, (int, np.integer)):
        raise ValueError(f"{what} must be an atom index, not {value!r}")
    if not 0 <= value < count:
        raise ValueError(f"{what} {value} is not an atom of this molecule (0 to {count - 1})")
    return int(value)


def relax(symbols: Sequence[str], positions: ArrayLike, method: str = "plbfgs", fmax: float = 0.01,
          fix: Sequence[int] = (), pull: Sequence[tuple[int, int, float]] = (),
          max_steps: int = 1000, *, cell: ArrayLike | None = None, pbc: Sequence[bool] | bool | None = None,
          kpoints: Sequence[int] | None = None, kpoint_shift: Sequence[float] | None = None,
          electronic_temperature: float | None = None, relax_cell: bool = False, smax: float = DEFAULT_SMAX,
          pressure: float = 0.0, cell_mask: Sequence[str] | None = None, isotropic: bool = False,
          verify: bool = True) -> Relaxation:
    """Relaxes a molecule to a minimum of its energy, entirely in compiled code.

    ``method``: "plbfgs" (L-BFGS grown from a model Hessian of the geometry: bond stretches,
    bends and torsions), "lbfgs" (limited-memory BFGS with a line search that never lets the
    energy rise) or "fire" (damped dynamics). The relaxation stops when no free atom feels more than
    ``fmax`` eV/angstrom, or after ``max_steps`` optimiser steps (``converged`` tells which).
    ``fix``: indices (from 0) of atoms that never move. ``pull``: pairs ``(a, b, F)`` (indices
    from 0) pushed apart by a constant force F eV/angstrom along their axis (negative pulls
    them together); the optimiser minimises the energy less F times each pair's distance.
    ``verify``: once converged, estimate the lowest curvature at the end point from
    Hessian-vector products and leave a saddle point (a mode more imaginary than -50 cm^-1)
    along its mode, relaxing again (at most 5 times); ``minimum_verified`` and the fields after
    it report the check, and ``evaluations`` includes its cost.
    ``cell``, ``pbc``, ``kpoints``, ``kpoint_shift``, ``electronic_temperature``: as for
    ``evaluate``; the atoms then relax in the fixed cell minimising F, and pulling pairs act
    between the nearest images.
    ``relax_cell``: the periodic lattice vectors relax too, until besides the forces no free
    component of stress + ``pressure`` exceeds ``smax`` (both eV/angstrom^3; the pressure acts
    on the whole cell's volume and the optimiser lowers F + p V). ``cell_mask``: the Voigt
    components that may change (names from ``VOIGT``; default every one between periodic
    axes: all six for a crystal, the in-plane ones of a sheet, the axial one of a chain);
    ``isotropic``: the free lengths scale together, without shear. ``pull`` is refused with it.
    The result then holds the final ``cell``, ``stress``, ``volume`` and ``enthalpy``.
    Raises ValueError for a bad option, and as ``evaluate`` does; NumericalError when the cell
    collapses below a tenth of its starting size.
    """
    symbols, r = _arguments(symbols, positions)
    periodic = _periodic_arguments(cell, pbc, kpoints, kpoint_shift, electronic_temperature)
    if method not in METHODS:
        raise ValueError(f"method must be one of {', '.join(METHODS)}, not {method!r}")
    fmax = float(fmax)
    if not (np.isfinite(fmax) and fmax > 0):
        raise ValueError(f"fmax must be a number above 0 (eV/angstrom), not {fmax}")
    if isinstance(max_steps, bool) or not isinstance(max_steps, (int, np.integer)) or max_steps < 0:
        raise ValueError(f"max_steps must be a whole number of at least 0, not {max_steps!r}")
    n = len(symbols)
    fixed = [_atom_index(a, n, "a fixed atom") for a in fix]
    if n and len(set(fixed)) == n:
        raise ValueError("every atom is fixed: nothing can move")
    pairs = []
    for p in pull:
        if len(p) != 3:
            raise ValueError(f"a pulling pair is (a, b, F), not {p!r}")
        a, b = (_atom_index(x, n, "a pulled atom") for x in p[:2])
        force = float(p[2])
        if a == b or not np.isfinite(force):
            raise ValueError(f"a pulling pair needs two different atoms and a finite force, not {p!r}")
        pairs.append((a, b, force))
    if relax_cell:
        if periodic is None or periodic[0] is None:
            raise ValueError("relax_cell needs a periodic cell (cell= and pbc=)")
        if pairs:
            raise ValueError("pull cannot be combined with relax_cell: the nearest images change with the cell")
        d = _SESSIONS.relax_cell(symbols, r, *periodic, method, fmax, int(max_steps), fixed,
                                 _positive(smax, "smax"), _finite(pressure, "pressure"), _mask(cell_mask),
                                 bool(isotropic))
        return Relaxation(d["positions"], d["energy"], d["forces"], d["steps"], d["evaluations"], d["converged"],
                          free_energy=d["free_energy"], cell=d["cell"], stress=d["stress"], volume=d["volume"],
                          enthalpy=d["enthalpy"])
    if periodic is not None:
        d = _SESSIONS.relax_periodic(symbols, r, *periodic, method, fmax, int(max_steps), fixed, pairs)
        return Relaxation(d["positions"], d["energy"], d["forces"], d["steps"], d["evaluations"], d["converged"],
                          free_energy=d["free_energy"], stress=d["stress"])
    x, energy, forces, steps, evaluations, converged, messages, check = _SESSIONS.relax(
        symbols, r, method, fmax, int(max_steps), fixed, pairs, bool(verify))
    _warn_model_messages(messages)
    return Relaxation(x, energy, forces, steps, evaluations, converged, *check)


def _positive(value, name: str) -> float:
    value = float(value)
    if not (np.isfinite(value) and value > 0):
        raise ValueError(f"{name} must be a number above 0 (eV/angstrom^3), not {value}")
    return value


def _finite(value, name: str) -> float:
    value = float(value)
    if not np.isfinite(value):
        raise ValueError(f"{name} must be a finite number (eV/angstrom^3), not {value}")
    return value


def _mask(components: Sequence[str] | None) -> tuple[bool, ...] | None:
    if components is None:
        return None
    if isinstance(components, str):
        components = [components]
    unknown = [c for c in components if c not in VOIGT]
    if unknown or not components:
        raise ValueError(f"cell_mask takes components among {', '.join(VOIGT)}, not {list(components)!r}")
    return tuple(v in components for v in VOIGT)


_SKIPPED_LINE = re.compile(r"WARNING: Inadmissible chemical element: (\S)$")


def read_xyz(path: str | os.PathLike, tbrelax_symbols: bool = False) -> Structure:
    """Reads a structure file with the free-format rules of the tbrelax program.

    Line 1 the atom count, line 2 the title, then an element symbol and x, y, z per atom.
    Symbols count whole, in any letter case, with an optional numeric label ("O", "h", "C12");
    any element other than H, C, N, O raises InputRejected naming the file, line and column.
    With ``tbrelax_symbols`` only the first character counts, as the tbrelax program reads its
    input ("Cl" is C), and atom lines with an unknown element before the first valid one are
    skipped with a TBRelaxWarning. Never waits for a key. Raises FileError (with file, line and
    column) for a file that cannot be opened, a malformed number or an early end, and
    InputRejected when the atom count is wrong.
    """
    path = os.fspath(path)
    symbols, positions, title, report = _core.read_xyz(path, tbrelax_symbols)
    # The reader reports each skipped line in both of its passes; the second pass's line ends
    # with the symbol.
    skipped = [m.group(1) for line in report.splitlines() if (m := _SKIPPED_LINE.search(line.rstrip()))]
    if skipped:
        warnings.warn(f"{path}: skipped {len(skipped)} atom line(s) with an element other than "
                      f"H, C, N, O: {', '.join(skipped)}", TBRelaxWarning, stacklevel=2)
    return Structure(symbols, positions, title)


from .paths import Band, ReactionPath, SaddlePoint, Scan, irc, path, scan, ts  # noqa: E402
