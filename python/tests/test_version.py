"""One version everywhere: the Python package, both programs, the CMake package and pkg-config
files of their build, and the newest release of the changelog."""

from __future__ import annotations

import re
import subprocess

import pytest

import tbrelax
from conftest import ROOT, program


def test_every_place_names_the_same_version():
    version = tbrelax.__version__
    assert re.fullmatch(r"\d+\.\d+\.\d+", version)
    changelog = (ROOT / "CHANGELOG.md").read_text()
    assert re.search(r"^## \[(\d+\.\d+\.\d+)\]", changelog, re.M).group(1) == version
    exe = program("tbcalc")
    if exe is None or program("tbrelax") is None:
        pytest.skip("the programs are not built")
    for name in ("tbrelax", "tbcalc"):
        done = subprocess.run([str(program(name)), "--version"], capture_output=True, text=True, timeout=30)
        assert (done.returncode, done.stdout) == (0, f"{name} {version}\n")
    build = exe.parent
    assert f'set(PACKAGE_VERSION "{version}")' in (build / "tbrelaxConfigVersion.cmake").read_text()
    assert f"\nVersion: {version}\n" in (build / "tbrelax.pc").read_text()
