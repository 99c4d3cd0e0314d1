"""ASE's nudged elastic band and dimer through one calculator per image: they reach the saddle
point that tbcalc ts finds from the band's climbing image."""

import pytest

pytest.importorskip("ase")
from ase.dimer import DimerControl, MinModeAtoms, MinModeTranslate  # noqa: E402
from ase.io import read  # noqa: E402
from ase.neb import NEB  # noqa: E402
from ase.optimize import FIRE  # noqa: E402

from conftest import EXAMPLES  # noqa: E402
from tbrelax.ase import TBRelax  # noqa: E402

# tbcalc ts from the climbing image of tbcalc path, vinyl alcohol -> acetaldehyde (eV).
SADDLE_ENERGY = -26.0170017478


@pytest.mark.filterwarnings("ignore:It was not possible to figure out which atoms to displace")
def test_neb_and_dimer_reach_the_saddle_point():
    start = read(EXAMPLES / "reactions" / "vinyl_alcohol.xyz")
    end = read(EXAMPLES / "reactions" / "acetaldehyde.xyz")
    images = [start] + [start.copy() for _ in range(5)] + [end]
    neb = NEB(images, climb=True)
    neb.interpolate("idpp")
    for image in images:
        image.calc = TBRelax()  # a calculator, and so a session, of its own per image
    assert FIRE(neb, logfile=None).run(fmax=0.05, steps=300)
    top = max(images[1:-1], key=lambda image: image.get_potential_energy())
    assert top.get_potential_energy() == pytest.approx(SADDLE_ENERGY, abs=0.01)

    saddle = top.copy()
    saddle.calc = TBRelax()
    dimer = MinModeAtoms(saddle, DimerControl(logfile=None, initial_eigenmode_method="displacement"))
    dimer.displace(displacement_vector=(images[4].positions - images[2].positions) * 0.01, method="vector")
    MinModeTranslate(dimer, logfile=None, trajectory=None).run(fmax=0.01, steps=300)
    assert saddle.get_potential_energy() == pytest.approx(SADDLE_ENERGY, abs=1e-3)
