"""Builds the compiled core of the Python package with the project's CMake build.

pip install --no-build-isolation .   (TBRELAX_CMAKE_ARGS adds options, e.g. -DTBRELAX_LAPACK=ON)
"""

import os
import re
import shlex
import subprocess
import sys
from pathlib import Path

from setuptools import Extension, setup
from setuptools.command.build_ext import build_ext

ROOT = Path(__file__).resolve().parent


def version() -> str:
    found = re.search(r"project\(tbrelax VERSION ([0-9.]+)", (ROOT / "CMakeLists.txt").read_text())
    return found.group(1)


class CMakeBuild(build_ext):
    """Configures the project with the Python module on and the tests off, builds the module
    and puts it where setuptools packs the extension."""

    def build_extension(self, ext: Extension) -> None:
        build = Path(self.build_temp).resolve() / "cmake"
        configure = ["cmake", "-S", str(ROOT), "-B", str(build), "-DCMAKE_BUILD_TYPE=Release",
                     "-DTBRELAX_PYTHON=ON", "-DTBRELAX_TESTS=OFF", "-DTBRELAX_BENCH=OFF",
                     f"-DPython3_EXECUTABLE={sys.executable}"]
        configure += shlex.split(os.environ.get("TBRELAX_CMAKE_ARGS", ""))
        subprocess.run(configure, check=True)
        jobs = os.environ.get("CMAKE_BUILD_PARALLEL_LEVEL", str(os.cpu_count() or 1))
        subprocess.run(["cmake", "--build", str(build), "--target", "tbrelax_python", "-j", jobs], check=True)
        built = next((build / "python" / "tbrelax").glob("_core*.so"))
        target = Path(self.get_ext_fullpath(ext.name))
        target.parent.mkdir(parents=True, exist_ok=True)
        self.copy_file(str(built), str(target))


setup(
    version=version(),
    packages=["tbrelax"],
    package_dir={"tbrelax": "python/tbrelax"},
    ext_modules=[Extension("tbrelax._core", sources=[])],
    cmdclass={"build_ext": CMakeBuild},
    # Beside the CMake build trees (build*/), never inside the README's build/.
    options={"build": {"build_base": "build-pip"}},
    zip_safe=False,
)
