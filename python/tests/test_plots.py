"""Pictures: the IR spectrum and a relaxation render to PNG and SVG files."""

import subprocess

import numpy as np
import pytest

pytest.importorskip("matplotlib")
import tbrelax  # noqa: E402
from tbrelax import plots  # noqa: E402
from conftest import EXAMPLES, WATER_POSITIONS, WATER_SYMBOLS, program  # noqa: E402

SIGNATURES = {".png": b"\x89PNG\r\n\x1a\n", ".svg": b"<?xml"}


def assert_picture(path):
    assert path.stat().st_size > 5000
    assert path.read_bytes().startswith(SIGNATURES[path.suffix])


@pytest.mark.parametrize("suffix", [".png", ".svg"])
def test_ir_spectrum_and_relaxation_render(tmp_path, suffix):
    v = tbrelax.vibrations(WATER_SYMBOLS, WATER_POSITIONS)
    assert_picture(plots.ir_spectrum(v.frequencies, v.intensities, tmp_path / f"ir{suffix}", title="water"))
    energies = -8.75 + 0.2 * np.exp(-np.arange(12) / 3)
    assert_picture(plots.relaxation(energies, 2.0 * np.exp(-np.arange(12) / 2), tmp_path / f"relax{suffix}"))
    strain = np.linspace(0, 0.2, 11)
    assert_picture(plots.stress_strain(strain, 40 * np.sin(8 * strain), tmp_path / f"curve{suffix}", unit="N/m"))


def test_broadened_band_meets_its_stick_and_bad_arguments_are_refused(tmp_path):
    curve = plots.broadened([1000.0, 3000.0], [50.0, 10.0], [1000.0, 1010.0, 3000.0], fwhm=20.0)
    np.testing.assert_allclose(curve, [50.0, 25.0, 10.0], rtol=1e-3)  # half height at half width
    with pytest.raises(ValueError, match="PNG or SVG"):
        plots.ir_spectrum([1000.0], [1.0], tmp_path / "ir.pdf")
    with pytest.raises(ValueError, match="same length"):
        plots.relaxation([1.0, 2.0], [1.0], tmp_path / "r.png")


def test_relaxation_from_a_tbcalc_trajectory(tmp_path):
    tbcalc = program("tbcalc")
    if tbcalc is None:
        pytest.skip("the tbcalc program is not built (set TBCALC_PROGRAM)")
    trajectory = tmp_path / "water.traj.xyz"
    done = subprocess.run([str(tbcalc), "relax", "--trajectory", str(trajectory), "-o", str(tmp_path / "out.xyz"),
                           str(EXAMPLES / "water" / "input.xyz")], capture_output=True, text=True, timeout=120)
    assert done.returncode == 0, done.stderr
    r = plots.read_trajectory(trajectory)
    # L-BFGS, tbcalc's default: frames from the input (step 0) to the relaxed geometry.
    assert r.step_label == "step" and list(r.steps) == list(range(len(r.steps)))
    # The frames' energies fall, and the first frame's forces are the input's.
    assert np.all(np.diff(r.energies) < 0)
    first = tbrelax.evaluate(*tbrelax.read_xyz(EXAMPLES / "water" / "input.xyz")[:2])
    assert r.largest_forces[0] == pytest.approx(np.linalg.norm(first.forces, axis=1).max(), rel=1e-9)
    assert_picture(plots.relaxation_from_trajectory(trajectory, tmp_path / "relax.png"))
