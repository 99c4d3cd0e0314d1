"""tbrelax.relax: the same compiled relaxation as tbcalc, its constraints, its bad arguments,
and relaxations on several threads at once."""

import subprocess

import numpy as np
import pytest

import tbrelax
from conftest import EXAMPLES, WATER_POSITIONS, WATER_SYMBOLS, in_threads, program

AMMONIA = tbrelax.read_xyz(EXAMPLES / "ammonia" / "input.xyz")


@pytest.mark.parametrize("method", tbrelax.METHODS)
def test_relax_ends_where_tbcalc_does(method, tmp_path):
    r = tbrelax.relax(AMMONIA.symbols, AMMONIA.positions, method=method)
    assert r.converged and np.linalg.norm(r.forces, axis=1).max() < 0.01
    assert r.evaluations >= r.steps + 1
    assert tbrelax.evaluate(AMMONIA.symbols, r.positions).energy == r.energy
    tbcalc = program("tbcalc")
    if tbcalc is None:
        pytest.skip("the tbcalc program is not built (set TBCALC_PROGRAM)")
    out = tmp_path / "relaxed.xyz"
    done = subprocess.run([str(tbcalc), "relax", "--method", method, "-o", str(out), str(EXAMPLES / "ammonia" / "input.xyz")],
                          capture_output=True, text=True, timeout=120)
    assert done.returncode == 0, done.stderr
    np.testing.assert_array_equal(tbrelax.read_xyz(out).positions, r.positions)


@pytest.mark.parametrize("verify, energy, verified", [(True, -16.9, True), (False, -7.632, None)])
def test_ozone_leaves_its_symmetric_saddle_point_unless_told_not_to(verify, energy, verified):
    r = tbrelax.relax(["O", "O", "O"], [[0, 0, 0], [1.08, 0.66, 0], [-1.08, 0.66, 0]], verify=verify)
    assert r.converged and r.minimum_verified is verified
    assert r.energy < energy if verify else r.energy == pytest.approx(energy, abs=2e-3)
    assert (r.escapes >= 1) == verify and (r.check_evaluations > 0) == verify
    assert r.evaluations > r.steps + r.check_evaluations
    assert (r.lowest_wavenumber > -50) if verify else r.lowest_wavenumber is None


def test_fixed_atoms_stay_and_pulled_atoms_part():
    r = tbrelax.relax(WATER_SYMBOLS, WATER_POSITIONS, fix=[0, 1])
    np.testing.assert_array_equal(r.positions[:2], WATER_POSITIONS[:2])
    assert np.all(r.forces[:2] == 0) and r.converged
    free = tbrelax.relax(WATER_SYMBOLS, WATER_POSITIONS)
    pulled = tbrelax.relax(WATER_SYMBOLS, WATER_POSITIONS, pull=[(0, 1, 1.0), (0, 2, 1.0)])
    bond = lambda x: np.linalg.norm(x[1] - x[0])  # noqa: E731
    assert bond(pulled.positions) > bond(free.positions) + 0.01


@pytest.mark.parametrize("options, fault", [
    (dict(method="sd"), "method must be one of plbfgs, lbfgs, fire"),
    (dict(fmax=0), "fmax must be a number above 0"),
    (dict(fmax=float("nan")), "fmax must be a number above 0"),
    (dict(max_steps=-1), "max_steps"),
    (dict(fix=[3]), "a fixed atom 3 is not an atom of this molecule"),
    (dict(fix=[0, 1, 2]), "every atom is fixed"),
    (dict(fix=[1.0]), "must be an atom index"),
    (dict(pull=[(0, 0, 1.0)]), "two different atoms"),
    (dict(pull=[(0, 1, float("inf"))]), "finite force"),
    (dict(pull=[(0, 1)]), r"\(a, b, F\)"),
])
def test_bad_options_raise_before_any_evaluation(options, fault):
    with pytest.raises(ValueError, match=fault):
        tbrelax.relax(WATER_SYMBOLS, WATER_POSITIONS, **options)


def test_threads_relax_as_they_do_alone():
    jobs = [(WATER_SYMBOLS, WATER_POSITIONS, "fire"), (AMMONIA.symbols, AMMONIA.positions, "fire")] * 2
    for job, got in zip(jobs, in_threads(tbrelax.relax, jobs)):
        alone = tbrelax.relax(*job)
        assert got.energy == alone.energy and got.evaluations == alone.evaluations
        np.testing.assert_array_equal(got.positions, alone.positions)
