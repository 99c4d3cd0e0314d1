"""Pictures of results: an infrared spectrum and the course of a relaxation, as PNG or SVG.

The functions take plain arrays, so they draw the output of ``tbrelax.vibrations``, of
``tbcalc freq --json`` or of any optimiser alike; ``read_trajectory`` turns a multi-frame
extended-XYZ file (``tbcalc relax --trajectory``) into those arrays.

>>> import tbrelax, tbrelax.plots
>>> v = tbrelax.vibrations(["O", "H", "H"], [[0, 0, 0.117], [0, 0.757, -0.467], [0, -0.757, -0.467]])
>>> tbrelax.plots.ir_spectrum(v.frequencies, v.intensities, "water-ir.png")

Matplotlib draws off-screen (no display needed) and no global pyplot state is touched.
"""

from __future__ import annotations

import os
import re
from pathlib import Path
from typing import NamedTuple, Sequence

import numpy as np
from numpy.typing import ArrayLike

__all__ = ["ir_spectrum", "relaxation", "relaxation_from_trajectory", "read_trajectory", "broadened", "Relaxation",
           "stress_strain"]

_FORMATS = {".png": "png", ".svg": "svg"}


def _new_figure(height: float):
    # A bare Figure renders through the Agg (PNG) and SVG back ends without pyplot.
    from matplotlib.figure import Figure
    return Figure(figsize=(6.4, height), dpi=100, layout="constrained")


def _save(figure, path: str | os.PathLike) -> Path:
    path = Path(path)
    fmt = _FORMATS.get(path.suffix.lower())
    if fmt is None:
        raise ValueError(f"{path}: the picture is written as PNG or SVG: name it .png or .svg")
    figure.savefig(path, format=fmt)
    return path


def broadened(frequencies: ArrayLike, intensities: ArrayLike, grid: ArrayLike, fwhm: float) -> np.ndarray:
    """The spectrum on ``grid``: each band a Lorentzian of full width ``fwhm`` at half height
    whose peak height is the band's intensity, so that an isolated band's curve meets its
    stick."""
    nu = np.asarray(frequencies, dtype=float)[:, None]
    half = 0.5 * fwhm
    shape = half**2 / ((np.asarray(grid, dtype=float)[None, :] - nu) ** 2 + half**2)
    return (np.asarray(intensities, dtype=float)[:, None] * shape).sum(axis=0)


def ir_spectrum(frequencies: ArrayLike, intensities: ArrayLike, path: str | os.PathLike, *,
                fwhm: float = 20.0, title: str | None = None) -> Path:
    """Draws the infrared spectrum: a stick per mode (cm^-1, km/mol) and the curve they make
    when each is broadened to a Lorentzian of full width ``fwhm`` (cm^-1). Imaginary modes
    (negative wavenumbers) are left out. Wavenumbers fall from left to right, as spectra are
    printed. Returns the path written."""
    nu = np.asarray(frequencies, dtype=float)
    strength = np.asarray(intensities, dtype=float)
    if nu.shape != strength.shape or nu.ndim != 1:
        raise ValueError("frequencies and intensities must be two lists of the same length")
    if not fwhm > 0:
        raise ValueError("fwhm must be a positive width in cm^-1")
    real = nu > 0
    nu, strength = nu[real], strength[real]
    top = max(4000.0, nu.max() + 5 * fwhm) if nu.size else 4000.0
    grid = np.linspace(0.0, top, 4000)
    figure = _new_figure(3.6)
    ax = figure.add_subplot()
    ax.plot(grid, broadened(nu, strength, grid, fwhm), color="tab:blue", lw=1.2,
            label=f"Lorentzian, FWHM {fwhm:g} cm$^{{-1}}$")
    ax.vlines(nu, 0.0, strength, color="black", lw=1.0, label="modes")
    ax.set_xlim(top, 0.0)
    ax.set_ylim(bottom=0.0)
    ax.set_xlabel("wavenumber (cm$^{-1}$)")
    ax.set_ylabel("IR intensity (km/mol)")
    if title:
        ax.set_title(title)
    ax.legend(loc="upper left", frameon=False)
    return _save(figure, path)


def relaxation(energies: ArrayLike, largest_forces: ArrayLike, path: str | os.PathLike, *,
               steps: ArrayLike | None = None, title: str | None = None,
               step_label: str = "step") -> Path:
    """Draws a relaxation: the energy (eV) and the largest force on an atom (eV/angstrom, on
    a logarithmic axis) against the step (``steps``, default 0, 1, 2, ...). Returns the path
    written."""
    energy = np.asarray(energies, dtype=float)
    force = np.asarray(largest_forces, dtype=float)
    if energy.shape != force.shape or energy.ndim != 1 or energy.size == 0:
        raise ValueError("energies and largest_forces must be two non-empty lists of the same length")
    x = np.arange(energy.size) if steps is None else np.asarray(steps)
    figure = _new_figure(4.4)
    top, bottom = figure.subplots(2, 1, sharex=True)
    top.plot(x, energy, marker="o", ms=3, color="tab:blue")
    top.set_ylabel("energy (eV)")
    bottom.semilogy(x, force, marker="o", ms=3, color="tab:red")
    bottom.set_ylabel("largest force (eV/Å)")
    bottom.set_xlabel(step_label)
    if title:
        top.set_title(title)
    return _save(figure, path)


class Relaxation(NamedTuple):
    """The course of a relaxation, one entry per frame."""
    steps: np.ndarray           #: the frames' ``block`` (or ``step``) values, else 0, 1, 2, ...
    energies: np.ndarray        #: eV
    largest_forces: np.ndarray  #: eV/angstrom
    step_label: str             #: "block", "step" or "frame"


_PAIR = re.compile(r'(\w+)=("[^"]*"|\S+)')


def _frames(path: Path):
    lines = path.read_text().splitlines()
    k = 0
    while k < len(lines):
        if not lines[k].strip():
            k += 1
            continue
        n = int(lines[k].split()[0])
        info = {key: value.strip('"') for key, value in _PAIR.findall(lines[k + 1])}
        rows = [line.split() for line in lines[k + 2:k + 2 + n]]
        if len(rows) != n:
            raise ValueError(f"{path}: the frame at line {k + 1} ends early")
        yield info, rows
        k += 2 + n


def _columns(properties: str) -> dict[str, slice]:
    """Where each per-atom property lies in an atom line, from ``Properties=name:type:count...``."""
    fields = properties.split(":")
    out, start = {}, 0
    for name, count in zip(fields[0::3], fields[2::3]):
        out[name] = slice(start, start + int(count))
        start += int(count)
    return out


def read_trajectory(path: str | os.PathLike) -> Relaxation:
    """Energies and largest forces of the frames of a multi-frame extended-XYZ file.

    The energy is each frame's ``energy=`` value (or the model's, when it has none). The
    forces come from a ``forces`` column where the frames carry one; otherwise the model
    evaluates each frame (tbcalc's trajectories record positions and energies only).
    """
    from . import evaluate

    path = Path(path)
    steps, energies, forces = [], [], []
    label = "frame"
    for number, (info, rows) in enumerate(_frames(path)):
        columns = _columns(info.get("Properties", "species:S:1:pos:R:3"))
        symbols = [r[columns["species"]][0] for r in rows]
        positions = np.array([[float(v) for v in r[columns["pos"]]] for r in rows])
        result = None
        if "forces" in columns:
            f = np.array([[float(v) for v in r[columns["forces"]]] for r in rows])
        else:
            result = evaluate(symbols, positions)
            f = result.forces
        if "energy" in info:
            energy = float(info["energy"])
        else:
            result = result or evaluate(symbols, positions)
            energy = result.energy
        for key in ("block", "step"):
            if key in info:
                label = key
                steps.append(int(info[key]))
                break
        else:
            steps.append(number)
        energies.append(energy)
        forces.append(float(np.sqrt((f ** 2).sum(axis=1)).max()))
    if not energies:
        raise ValueError(f"{path}: no frames")
    return Relaxation(np.array(steps), np.array(energies), np.array(forces), label)


def relaxation_from_trajectory(trajectory: str | os.PathLike, path: str | os.PathLike, *,
                               title: str | None = None) -> Path:
    """``relaxation`` of the frames of an extended-XYZ trajectory (``read_trajectory``)."""
    r = read_trajectory(trajectory)
    return relaxation(r.energies, r.largest_forces, path, steps=r.steps, title=title, step_label=r.step_label)


def stress_strain(strains: ArrayLike, stresses: ArrayLike, path: str | os.PathLike, *,
                  unit: str = "GPa", title: str | None = None) -> Path:
    """Draws a stress-strain curve (``tbcalc relax --cell --strain``): the stress (in ``unit``,
    say N/m for a sheet's 2D stress) against the strain, its largest value marked as the
    strength. Returns the path written."""
    strain = np.asarray(strains, dtype=float)
    stress = np.asarray(stresses, dtype=float)
    if strain.shape != stress.shape or strain.ndim != 1 or strain.size == 0:
        raise ValueError("strains and stresses must be two non-empty lists of the same length")
    figure = _new_figure(3.6)
    axes = figure.subplots()
    axes.plot(strain, stress, marker="o", ms=3, color="tab:blue")
    peak = int(np.argmax(stress))
    axes.plot(strain[peak], stress[peak], marker="*", ms=12, color="tab:red",
              label=f"strength {stress[peak]:.3g} {unit} at strain {strain[peak]:.3g}")
    axes.set_xlabel("strain")
    axes.set_ylabel(f"stress ({unit})")
    axes.legend(loc="lower right")
    if title:
        axes.set_title(title)
    return _save(figure, path)
