#!/usr/bin/env python3
"""Relaxations that end at minima: plain L-BFGS against the default relaxation with its minimum check.

Every molecule of ASE's G2 and S22 collections made of H, C, N and O only, from the
collections' geometries, and the bundled examples: tbcalc relax --method lbfgs --no-verify
("plain") and tbcalc relax (the default method with the check on, or the method given by
--method), then tbcalc freq of both end points. Prints a Markdown table (lowest mode,
energies, evaluations, the check's cost) and a summary: imaginary modes below -50 cm^-1 left,
energies against the plain end point, and the distribution of the check's evaluations.

    nice -n 10 /usr/bin/python3 bench/minimum_check.py --build build [--limit N] [--json OUT]
"""

from __future__ import annotations

import argparse
import json
import statistics
import subprocess
import tempfile
import time
from pathlib import Path

ELEMENTS = set("HCNO")
IMAGINARY = -50.0  # cm^-1: a mode below it marks a saddle point


def molecules(examples: Path) -> list[tuple[str, list[str], list[list[float]]]]:
    from ase.collections import g2, s22
    found = []
    for collection, prefix in ((g2, "g2"), (s22, "s22")):
        for name in collection.names:
            atoms = collection[name]
            symbols = atoms.get_chemical_symbols()
            if set(symbols) <= ELEMENTS and len(symbols) > 1:
                found.append((f"{prefix}/{name}", symbols, atoms.positions.tolist()))
    for path in sorted(examples.glob("*/input.xyz")):
        lines = path.read_text().splitlines()
        n = int(lines[0].split()[0])
        atoms = [line.split() for line in lines[2:2 + n]]
        found.append((f"examples/{path.parent.name}", [a[0] for a in atoms], [[float(v) for v in a[1:4]] for a in atoms]))
    return found


def run_json(command: list[str]) -> tuple[dict, float]:
    start = time.perf_counter()
    done = subprocess.run(command, capture_output=True, text=True)
    seconds = time.perf_counter() - start
    if done.returncode != 0:
        raise RuntimeError(f"{' '.join(command)}: status {done.returncode}: {done.stderr[-400:]}")
    document = json.loads(done.stdout)
    return (document["files"][0] if "files" in document else document), seconds


def measure(tbcalc: str, work: Path, name: str, symbols: list[str], positions: list[list[float]],
            checked: list[str]) -> dict:
    start = work / "start.xyz"
    start.write_text(f"{len(symbols)}\n{name}\n" + "".join(f"{s} {x:.10f} {y:.10f} {z:.10f}\n"
                                                          for s, (x, y, z) in zip(symbols, positions)))
    row = {"name": name, "atoms": len(symbols)}
    for label, extra in (("plain", ["--method", "lbfgs", "--no-verify"]), ("checked", checked)):
        out = work / f"{label}.xyz"
        relaxed, seconds = run_json([tbcalc, "relax", "--json", *extra, "-o", str(out), str(start)])
        modes, _ = run_json([tbcalc, "freq", "--json", str(out)])
        row[label] = {
            "energy": relaxed["energy"], "evaluations": relaxed["evaluations"], "converged": relaxed["converged"],
            "check_evaluations": relaxed["check_evaluations"], "escapes": relaxed["escapes"],
            "check_wavenumber": relaxed["lowest_wavenumber"], "seconds": seconds,
            "lowest_mode": min(modes["frequencies"]) if modes["frequencies"] else None,
        }
    return row


def main() -> None:
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--build", default="build")
    parser.add_argument("--examples", default=str(Path(__file__).resolve().parent.parent / "examples"))
    parser.add_argument("--limit", type=int, default=0, help="only the first N molecules")
    parser.add_argument("--method", help="the checked relaxations' method (default: tbcalc's)")
    parser.add_argument("--json", help="write the rows to this file")
    o = parser.parse_args()
    tbcalc = str(Path(o.build).resolve() / "tbcalc")
    todo = molecules(Path(o.examples))
    if o.limit:
        todo = todo[:o.limit]
    rows = []
    print("| molecule | atoms | lowest mode plain (cm^-1) | lowest mode checked | E plain (eV) | E checked | "
          "check's estimate | evaluations plain | checked | check | escapes |")
    print("|---|---:|---:|---:|---:|---:|---:|---:|---:|---:|---:|")
    with tempfile.TemporaryDirectory() as scratch:
        for name, symbols, positions in todo:
            try:
                r = measure(tbcalc, Path(scratch), name, symbols, positions,
                            ["--method", o.method] if o.method else [])
            except RuntimeError as fault:
                print(f"| {name} | {len(symbols)} | failed: {fault} |||||||")
                continue
            rows.append(r)
            p, c = r["plain"], r["checked"]
            print(f"| {name} | {r['atoms']} | {p['lowest_mode']:.1f} | {c['lowest_mode']:.1f} | {p['energy']:.6f} | "
                  f"{c['energy']:.6f} | {c['check_wavenumber']:.1f} | {p['evaluations']} | {c['evaluations']} | {c['check_evaluations']} | "
                  f"{c['escapes']} |", flush=True)
    if o.json:
        Path(o.json).write_text(json.dumps(rows, indent=1))
    if not rows:
        return
    saddles = lambda label: [r["name"] for r in rows if r[label]["lowest_mode"] < IMAGINARY]  # noqa: E731
    higher = [r["name"] for r in rows if r["checked"]["energy"] > r["plain"]["energy"] + 1e-5 * r["atoms"]]
    costs = sorted(r["checked"]["check_evaluations"] - 2 * r["checked"]["escapes"] for r in rows)
    quartiles = statistics.quantiles(costs, n=4) if len(costs) > 1 else costs * 3
    print(f"\n{len(rows)} molecules")
    print(f"lowest mode below {IMAGINARY:g} cm^-1: plain {len(saddles('plain'))} {saddles('plain')}, "
          f"checked {len(saddles('checked'))} {saddles('checked')}")
    print(f"checked end above the plain one by more than 1e-5 eV/atom: {len(higher)} {higher}")
    print(f"evaluations of the check at the final end point and the earlier ones (the escapes' probes left out): "
          f"median {statistics.median(costs):g}, quartiles {quartiles[0]:g} and {quartiles[2]:g}, "
          f"largest {costs[-1]}")
    total = lambda label, key: sum(r[label][key] for r in rows)  # noqa: E731
    print(f"evaluations in all: plain {total('plain', 'evaluations')}, checked {total('checked', 'evaluations')}; "
          f"seconds: plain {total('plain', 'seconds'):.1f}, checked {total('checked', 'seconds'):.1f}")


if __name__ == "__main__":
    main()
