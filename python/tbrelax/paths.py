"""Reaction paths: relaxed scans, nudged elastic bands, saddle points and reaction coordinates,
computed as tbcalc scan, path, ts and irc compute them (see docs/paths.md)."""

from __future__ import annotations

from typing import NamedTuple, Sequence

import numpy as np
from numpy.typing import ArrayLike

from . import _SESSIONS, _arguments


class Scan(NamedTuple):
    """A relaxed scan: one row per point."""
    values: np.ndarray             #: points x coordinates (angstrom, degrees)
    energies: np.ndarray           #: eV
    largest_forces: np.ndarray     #: largest residual force on an atom (eV/angstrom)
    constraint_forces: np.ndarray  #: dE/dq per point and coordinate (eV/angstrom, eV/radian)
    positions: np.ndarray          #: points x n x 3 (angstrom)
    converged: bool                #: every point relaxed below fmax


class SaddlePoint(NamedTuple):
    """A saddle-point search and the vibrational check of its end."""
    positions: np.ndarray     #: n x 3 (angstrom)
    energy: float             #: eV
    forces: np.ndarray        #: n x 3 (eV/angstrom)
    steps: int
    evaluations: int          #: the search's, the first Hessian's included
    converged: bool
    imaginary: np.ndarray     #: wavenumbers of the modes more imaginary than -50 cm^-1
    mode: np.ndarray | None   #: n x 3 Cartesian displacement of the most imaginary mode

    @property
    def verified(self) -> bool:
        """Converged with exactly one imaginary mode: a transition state."""
        return self.converged and len(self.imaginary) == 1


class Band(NamedTuple):
    """A nudged elastic band, ends included."""
    positions: np.ndarray     #: images x n x 3 (angstrom), from start to end
    energies: np.ndarray      #: eV
    path_lengths: np.ndarray  #: angstrom along the band from the start
    climbing: int | None      #: index of the climbing image
    iterations: int
    evaluations: int          #: of the moving images
    converged: bool


class ReactionPath(NamedTuple):
    """The reaction coordinate: one minimum, up to the saddle point and down to the other."""
    positions: np.ndarray     #: points x n x 3 (angstrom)
    energies: np.ndarray      #: eV
    path_lengths: np.ndarray  #: signed mass-weighted length from the saddle point (amu^1/2 angstrom)
    evaluations: int
    relaxed: bool             #: both ends relaxed to their minima


def scan(symbols: Sequence[str], positions: ArrayLike, coordinates: Sequence[tuple], steps: int,
         fmax: float = 0.01) -> Scan:
    """A relaxed scan: ``coordinates`` are ``(kind, atoms, from, to)`` with kind "distance",
    "angle" or "dihedral", atoms from 0 and values in angstrom or degrees; each is held exactly
    at ``steps + 1`` values from ``from`` to ``to`` (all stepped together) while the rest
    relaxes, each point starting from the one before."""
    symbols, r = _arguments(symbols, positions)
    values = [(str(kind), [int(a) for a in atoms], float(a), float(b)) for kind, atoms, a, b in coordinates]
    return Scan(*_SESSIONS.scan(symbols, r, values, int(steps), float(fmax)))


def ts(symbols: Sequence[str], positions: ArrayLike, fmax: float = 0.001, max_steps: int = 100) -> SaddlePoint:
    """A first-order saddle point from a guess by P-RFO, checked by its vibrations."""
    symbols, r = _arguments(symbols, positions)
    return SaddlePoint(*_SESSIONS.ts(symbols, r, float(fmax), int(max_steps)))


def path(symbols: Sequence[str], start: ArrayLike, end: ArrayLike, images: int = 7, spring: float = 5.0,
         fmax: float = 0.05, climb: bool = True, threads: int = 0) -> Band:
    """The minimum-energy path between two structures of the same atoms in the same order by a
    nudged elastic band with a climbing image (``threads`` 0: one per image)."""
    symbols, a = _arguments(symbols, start)
    _, b = _arguments(symbols, end)
    return Band(*_SESSIONS.path(symbols, a, b, int(images), float(spring), float(fmax), bool(climb), int(threads)))


def irc(symbols: Sequence[str], positions: ArrayLike, step: float = 0.1) -> ReactionPath:
    """The intrinsic reaction coordinate from a transition state down to both minima."""
    symbols, r = _arguments(symbols, positions)
    return ReactionPath(*_SESSIONS.irc(symbols, r, float(step)))
