#!/usr/bin/env python3
"""tbcalc relax against xtb's GFN2 optimisation of the same structure.

Writes a structure of tbrelax_bench's table (default: the flake of 756 basis functions,
C180H36), then relaxes it alternately with `tbcalc relax` (its defaults: plbfgs, fmax
0.01 eV/A, the minimum check included) and `xtb FILE --opt --gfn 2` (its default "normal"
criteria), each in a fresh scratch folder, and prints the best wall time of each, the
evaluations tbcalc needed and the ratio. xtb is Debian's package `xtb`.

    nice -n 10 /usr/bin/python3 bench/xtb_comparison.py --build build [--structure flake:757] [--repeats 3]
"""

from __future__ import annotations

import argparse
import json
import shutil
import subprocess
import tempfile
import time
from pathlib import Path


def timed(command: list[str], folder: Path) -> tuple[float, str]:
    start = time.perf_counter()
    done = subprocess.run(command, cwd=folder, capture_output=True, text=True)
    seconds = time.perf_counter() - start
    if done.returncode != 0:
        raise RuntimeError(f"{command[0]}: status {done.returncode}: {done.stderr[-300:]}")
    return seconds, done.stdout


def main() -> None:
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--build", default="build")
    parser.add_argument("--structure", default="flake:757")
    parser.add_argument("--repeats", type=int, default=3)
    o = parser.parse_args()
    build = Path(o.build).resolve()
    xtb = shutil.which("xtb")
    if xtb is None:
        raise SystemExit("xtb is not installed (Debian package xtb)")
    structure = subprocess.run([str(build / "tbrelax_bench"), "--write-xyz", o.structure], capture_output=True,
                               text=True, check=True).stdout
    ours, theirs, evaluations = [], [], None
    for _ in range(o.repeats):
        with tempfile.TemporaryDirectory() as scratch:
            folder = Path(scratch)
            (folder / "in.xyz").write_text(structure)
            seconds, out = timed([str(build / "tbcalc"), "relax", "--json", "in.xyz"], folder)
            result = json.loads(out)["files"][0]
            ours.append(seconds)
            evaluations = (result["evaluations"], result["check_evaluations"], result["minimum_verified"])
        with tempfile.TemporaryDirectory() as scratch:
            folder = Path(scratch)
            (folder / "in.xyz").write_text(structure)
            theirs.append(timed([xtb, "in.xyz", "--opt", "--gfn", "2"], folder)[0])
    print(f"{o.structure}: tbcalc relax {min(ours):.2f} s (best of {o.repeats}; {evaluations[0]} evaluations, "
          f"{evaluations[1]} of them the minimum check, verified: {evaluations[2]}), "
          f"xtb --opt --gfn 2 {min(theirs):.2f} s, ratio {min(theirs) / min(ours):.1f}x")


if __name__ == "__main__":
    main()
