"""tbrelax.scan, path, ts and irc: the results of tbcalc's commands, from Python."""

import numpy as np
import pytest

import tbrelax
from conftest import EXAMPLES

REACTIONS = EXAMPLES / "reactions"
SADDLE_ENERGY = -10.084923778383597  # tbcalc ts examples/reactions/hcn_ts_guess.xyz


def read(name):
    return tbrelax.read_xyz(REACTIONS / name)


def test_ts_irc_and_path_of_the_hcn_isomerisation():
    guess = read("hcn_ts_guess.xyz")
    saddle = tbrelax.ts(guess.symbols, guess.positions)
    assert saddle.verified and saddle.energy == pytest.approx(SADDLE_ENERGY, abs=1e-9)
    assert saddle.imaginary[0] == pytest.approx(-1368.8, abs=0.5)

    hcn, hnc = read("hcn.xyz"), read("hnc.xyz")
    down = tbrelax.irc(guess.symbols, saddle.positions)
    assert down.relaxed
    assert np.argmax(down.energies) == np.flatnonzero(down.path_lengths == 0)[0]
    ends = sorted([down.energies[0], down.energies[-1]])
    minima = sorted(tbrelax.evaluate(s.symbols, s.positions).energy for s in (hcn, hnc))
    assert ends == pytest.approx(minima, abs=1e-6)

    band = tbrelax.path(hcn.symbols, hcn.positions, hnc.positions)
    assert band.converged and band.energies[band.climbing] == pytest.approx(SADDLE_ENERGY, abs=0.01)
    assert np.all(np.diff(band.path_lengths) > 0)


def test_scan_holds_the_distance_and_refuses_atoms_out_of_range():
    ethane = read("ethane.xyz")
    s = tbrelax.scan(ethane.symbols, ethane.positions, [("distance", (0, 1), 1.5, 1.7)], 4)
    assert s.converged and s.values[:, 0] == pytest.approx([1.5, 1.55, 1.6, 1.65, 1.7])
    held = np.linalg.norm(s.positions[:, 1] - s.positions[:, 0], axis=1)
    assert held == pytest.approx(s.values[:, 0], abs=1e-10)
    assert np.all(s.constraint_forces > 0)  # a C-C bond stretched beyond its length pulls back
    with pytest.raises(tbrelax.InputRejected, match="atom 8 is not an atom of this molecule"):
        tbrelax.scan(ethane.symbols, ethane.positions, [("distance", (0, 8), 1.5, 1.7)], 2)
