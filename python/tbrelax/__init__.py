"""Tight-binding energies, forces and Hessians of molecules made of H, C, N and O atoms.

>>> import tbrelax
>>> e = tbrelax.evaluate(["O", "H", "H"], [[0, 0, 0.117], [0, 0.757, -0.467], [0, -0.757, -0.467]])
>>> round(e.energy, 4)
-8.6858

Energies are in eV, positions in angstrom, forces in eV/angstrom, Hessians in eV/angstrom^2.
The ASE calculator is ``tbrelax.ase.TBRelax``. Every call releases the GIL while it computes.
The model's storage is kept between calls (per molecule size, one per thread that calls at the
same time), so a loop of evaluations of one molecule pays for it once; calls on several threads
take separate storage and give exactly the results they give alone.
"""

from __future__ import annotations

import os
import re
import warnings
from typing import NamedTuple, Sequence

import numpy as np
from numpy.typing import ArrayLike

from .errors import Error, FileError, InputRejected, NumericalError, TBRelaxWarning
from . import _core

__all__ = [
    "evaluate", "hessian", "relax", "read_xyz", "Evaluation", "Relaxation", "Structure", "MASSES", "METHODS",
    "Error", "FileError", "InputRejected", "NumericalError", "TBRelaxWarning",
]

#: The masses the model assigns to its elements (whole numbers, atomic mass units). ASE's
#: default masses differ slightly; use these to compare frequencies with the program's own.
MASSES: dict[str, float] = dict(_core.masses)

#: The optimisers of ``relax``.
METHODS = ("lbfgs", "fire")

# The sessions of the module's calls and of the ASE calculator.
_SESSIONS = _core.Sessions()


class Evaluation(NamedTuple):
    """One evaluation of the model."""
    energy: float                   #: binding energy (eV)
    forces: np.ndarray              #: n x 3 (eV/angstrom)
    orbital_energies: np.ndarray    #: ascending (eV)


class Relaxation(NamedTuple):
    """The end of a relaxation."""
    positions: np.ndarray   #: n x 3 (angstrom)
    energy: float           #: binding energy there (eV), without the pulling potentials
    forces: np.ndarray      #: n x 3 (eV/angstrom), pulling forces included, zero on fixed atoms
    steps: int              #: optimiser steps
    evaluations: int        #: model evaluations, the start included
    converged: bool         #: the largest force on a free atom fell below fmax


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


def evaluate(symbols: Sequence[str], positions: ArrayLike) -> Evaluation:
    """Energy, forces and orbital energies of a molecule.

    ``symbols``: one of "H", "C", "N", "O" per atom; ``positions``: n x 3 (angstrom).
    Raises InputRejected for anything but those four elements, a wrong shape, a non-finite
    coordinate, no atoms or two atoms closer than 1e-10 angstrom, and NumericalError when the
    result is not finite.
    """
    symbols, r = _arguments(symbols, positions)
    energy, forces, eps, messages = _SESSIONS.evaluate(symbols, r)
    _warn_model_messages(messages)
    return Evaluation(energy, forces, eps)


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


def _atom_index(value, count: int, what: str) -> int:
    if isinstance(value, (bool, np.bool_)) or not isinstance(value, (int, np.integer)):
        raise ValueError(f"{what} must be an atom index, not {value!r}")
    if not 0 <= value < count:
        raise ValueError(f"{what} {value} is not an atom of this molecule (0 to {count - 1})")
    return int(value)


def relax(symbols: Sequence[str], positions: ArrayLike, method: str = "lbfgs", fmax: float = 0.01,
          fix: Sequence[int] = (), pull: Sequence[tuple[int, int, float]] = (),
          max_steps: int = 1000) -> Relaxation:
    """Relaxes a molecule to a minimum of its energy, entirely in compiled code.

    ``method``: "lbfgs" (limited-memory BFGS with a line search that never lets the energy
    rise) or "fire" (damped dynamics). The relaxation stops when no free atom feels more than
    ``fmax`` eV/angstrom, or after ``max_steps`` optimiser steps (``converged`` tells which).
    ``fix``: indices (from 0) of atoms that never move. ``pull``: pairs ``(a, b, F)`` (indices
    from 0) pushed apart by a constant force F eV/angstrom along their axis (negative pulls
    them together); the optimiser minimises the energy less F times each pair's distance.
    Raises ValueError for a bad option, and as ``evaluate`` does.
    """
    symbols, r = _arguments(symbols, positions)
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
    x, energy, forces, steps, evaluations, converged, messages = _SESSIONS.relax(
        symbols, r, method, fmax, int(max_steps), fixed, pairs)
    _warn_model_messages(messages)
    return Relaxation(x, energy, forces, steps, evaluations, converged)


_SKIPPED_LINE = re.compile(r"WARNING: Inadmissible chemical element: (\S)$")


def read_xyz(path: str | os.PathLike) -> Structure:
    """Reads a structure file with the rules of the tbrelax program.

    Line 1 the atom count, line 2 the title, then an element symbol and x, y, z per atom (only
    the first character of the symbol counts: "He" is H). Never waits for a key. Raises
    FileError (with file, line and column) for a file that cannot be opened, a malformed number
    or an early end, and InputRejected when the atom count is wrong. Atom lines with an unknown
    element before the first valid one are skipped with a TBRelaxWarning.
    """
    path = os.fspath(path)
    symbols, positions, title, report = _core.read_xyz(path)
    # The reader reports each skipped line in both of its passes; the second pass's line ends
    # with the symbol.
    skipped = [m.group(1) for line in report.splitlines() if (m := _SKIPPED_LINE.search(line.rstrip()))]
    if skipped:
        warnings.warn(f"{path}: skipped {len(skipped)} atom line(s) with an element other than "
                      f"H, C, N, O: {', '.join(skipped)}", TBRelaxWarning, stacklevel=2)
    return Structure(symbols, positions, title)
