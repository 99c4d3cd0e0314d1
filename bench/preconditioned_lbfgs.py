#!/usr/bin/env python3
"""L-BFGS against preconditioned L-BFGS (plbfgs) on the relaxation table.

The bundled examples, the eight complexes of tbrelax_bench's table and its flakes, each
relaxed by tbcalc relax --no-verify --method lbfgs and --method plbfgs to fmax 0.01 eV/A:
evaluations, wall time and energy per atom, and the ratios plbfgs / lbfgs.

    nice -n 10 /usr/bin/python3 bench/preconditioned_lbfgs.py --build build [--flakes 400,757,1600]
"""

from __future__ import annotations

import argparse
import json
import statistics
import subprocess
import tempfile
import time
from pathlib import Path

COMPLEXES = ["formic-acid-dimer", "water-dimer", "benzene-water", "ammonia-water", "formaldehyde-water",
             "methane-water", "ammonia-dimer", "hcn-dimer"]


def relax(tbcalc: str, path: Path, method: str) -> dict:
    start = time.perf_counter()
    done = subprocess.run([tbcalc, "relax", "--json", "--no-verify", "--method", method, "-o",
                           str(path.with_suffix(f".{method}.xyz")), str(path)], capture_output=True, text=True)
    seconds = time.perf_counter() - start
    if done.returncode != 0:
        raise RuntimeError(f"{path.name} {method}: status {done.returncode}: {done.stderr[-300:]}")
    r = json.loads(done.stdout)["files"][0]
    return {"evaluations": r["evaluations"], "seconds": seconds, "energy": r["energy"], "atoms": len(r["elements"]),
            "converged": r["converged"]}


def main() -> None:
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--build", default="build")
    parser.add_argument("--flakes", default="400,757,1600", help="basis sizes of the flakes")
    o = parser.parse_args()
    build = Path(o.build).resolve()
    examples = Path(__file__).resolve().parent.parent / "examples"
    rows = []
    print("| molecule | atoms | lbfgs evaluations | plbfgs | ratio | lbfgs s | plbfgs s | ratio | dE/atom (eV) |")
    print("|---|---:|---:|---:|---:|---:|---:|---:|---:|")
    with tempfile.TemporaryDirectory() as scratch:
        work = Path(scratch)
        files = [(f"examples/{p.parent.name}", p) for p in sorted(examples.glob("*/input.xyz"))]
        names = COMPLEXES + [f"flake:{n}" for n in o.flakes.split(",") if n]
        for name in names:
            path = work / (name.replace(":", "_") + ".xyz")
            path.write_text(subprocess.run([str(build / "tbrelax_bench"), "--write-xyz", name], capture_output=True,
                                           text=True, check=True).stdout)
            files.append((name, path))
        for name, source in files:
            path = work / (name.replace("/", "_").replace(":", "_") + ".in.xyz")
            path.write_text(source.read_text())
            a, b = (relax(str(build / "tbcalc"), path, m) for m in ("lbfgs", "plbfgs"))
            ratio, time_ratio = b["evaluations"] / a["evaluations"], b["seconds"] / a["seconds"]
            rows.append((name, ratio, time_ratio))
            print(f"| {name} | {a['atoms']} | {a['evaluations']} | {b['evaluations']} | {ratio:.2f} | "
                  f"{a['seconds']:.2f} | {b['seconds']:.2f} | {time_ratio:.2f} | "
                  f"{(b['energy'] - a['energy']) / a['atoms']:.1e} |", flush=True)
    ratios = [r[1] for r in rows]
    print(f"\nevaluations plbfgs / lbfgs: median {statistics.median(ratios):.2f}, largest {max(ratios):.2f} "
          f"({max(rows, key=lambda r: r[1])[0]}), smallest {min(ratios):.2f}")


if __name__ == "__main__":
    main()
