#!/usr/bin/env python3
"""Wall times of whole relaxations and of single evaluations, side by side in one run.

On the benchmark's flake nearest a basis size (default 757, C180H36): tbcalc relax by L-BFGS
and by steepest descent, tbrelax.relax from Python, a one-shot tbcalc energy against an
evaluation inside a relaxation plus the start of a process, and tbrelax.evaluate in a loop.

    PYTHONPATH=build/python /usr/bin/python3 bench/relax_timings.py --build build
"""

from __future__ import annotations

import argparse
import json
import os
import statistics
import subprocess
import sys
import tempfile
import time
from pathlib import Path


def timed(command: list[str]) -> tuple[float, str]:
    start = time.perf_counter()
    done = subprocess.run(command, capture_output=True, text=True, check=True)
    return time.perf_counter() - start, done.stdout


def main() -> None:
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--build", default="build", help="the build directory (tbcalc, tbrelax_bench, python/)")
    parser.add_argument("--basis", type=int, default=757, help="basis size of the flake")
    parser.add_argument("--repeats", type=int, default=5)
    parser.add_argument("--no-sd", action="store_true", help="leave out the steepest-descent relaxation")
    o = parser.parse_args()
    build = Path(o.build).resolve()
    sys.path.insert(0, str(build / "python"))
    import tbrelax  # noqa: E402

    tbcalc = str(build / "tbcalc")
    work = Path(tempfile.mkdtemp())
    flake = work / "flake.xyz"
    flake.write_text(subprocess.run([str(build / "tbrelax_bench"), "--write-xyz", f"flake:{o.basis}"],
                                    capture_output=True, text=True, check=True).stdout)
    water = work / "water.xyz"
    water.write_text("3\nwater\nO 0 0 0.117\nH 0 0.757 -0.467\nH 0 -0.757 -0.467\n")
    s = tbrelax.read_xyz(flake)
    print(f"{s.title}: {len(s.symbols)} atoms; load average {os.getloadavg()}")

    relax_cli, relax_py, energy_cli, start_cli, loop = [], [], [], [], []
    evaluations = 0
    for _ in range(o.repeats):
        t, out = timed([tbcalc, "relax", "--json", "-o", str(work / "r.xyz"), str(flake)])
        relax_cli.append(t)
        evaluations = json.loads(out)["files"][0]["evaluations"]
        start = time.perf_counter()
        r = tbrelax.relax(s.symbols, s.positions)
        relax_py.append(time.perf_counter() - start)
        assert r.evaluations == evaluations
        for _ in range(3):
            energy_cli.append(timed([tbcalc, "energy", str(flake)])[0])
            start_cli.append(timed([tbcalc, "energy", str(water)])[0])
        for _ in range(5):
            start = time.perf_counter()
            tbrelax.evaluate(s.symbols, s.positions)
            loop.append(time.perf_counter() - start)

    med = statistics.median
    per_evaluation = (med(relax_cli) - med(start_cli)) / evaluations
    print(f"tbcalc relax (L-BFGS)      {med(relax_cli):7.3f} s, {evaluations} evaluations, "
          f"{per_evaluation:.4f} s each (process start taken off)")
    print(f"tbrelax.relax              {med(relax_py):7.3f} s: {med(relax_py) / med(relax_cli):.3f} of tbcalc's")
    print(f"tbrelax.evaluate in a loop {med(loop):7.4f} s: {med(loop) / per_evaluation:.3f} of one inside tbcalc")
    print(f"tbcalc energy, one shot    {med(energy_cli):7.4f} s: {med(energy_cli) / (per_evaluation + med(start_cli)):.3f} "
          f"of one inside tbcalc + a process start ({med(start_cli):.4f} s)")
    if not o.no_sd:
        t, out = timed([tbcalc, "relax", "--json", "--method", "sd", "-o", str(work / "sd.xyz"), str(flake)])
        sd = json.loads(out)["files"][0]
        print(f"tbcalc relax --method sd   {t:7.3f} s, {sd['evaluations']} evaluations: "
              f"L-BFGS takes {med(relax_cli) / t:.4f} of its time")
    print(f"load average {os.getloadavg()}")


if __name__ == "__main__":
    main()
