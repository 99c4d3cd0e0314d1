#!/usr/bin/env python3
"""Reaction paths of the model, measured in one run: the table of docs/paths.md.

For each reaction of examples/reactions (two relaxed minima, atoms in the same order):
tbcalc path with 7 images and a climbing image (force calls of the band), tbcalc ts from the
climbing image (force calls, imaginary modes), tbcalc irc from that saddle point (do its ends
match the two minima, RMSD after alignment), and a dense band of 15 images (its highest
point against the saddle point's energy). Then the wall time of the relaxed C-C scan of
ethane from 1.5 to 3.0 angstrom in 31 points, the median of five runs. With --plot, the
energy profile of the first reaction's band as a PNG (drawn without any plotting library).

    python3 bench/reaction_paths.py --build build [--plot docs/paths-hcn-profile.png]
"""

from __future__ import annotations

import argparse
import json
import statistics
import struct
import subprocess
import tempfile
import time
import zlib
from pathlib import Path

REACTIONS = [
    ("HCN -> HNC", "hcn.xyz", "hnc.xyz"),
    ("vinyl alcohol -> acetaldehyde", "vinyl_alcohol.xyz", "acetaldehyde.xyz"),
    ("cyclobutene -> butadiene", "cyclobutene.xyz", "butadiene.xyz"),
]


def tbcalc(build: Path, *args: str) -> dict:
    done = subprocess.run([str(build / "tbcalc"), *args, "--json"], capture_output=True, text=True, check=True)
    return json.loads(done.stdout)


def frame(trajectory: Path, index: int, out: Path) -> None:
    """Writes frame `index` of a multi-frame XYZ file as a file of its own."""
    lines = trajectory.read_text().splitlines()
    at = 0
    for _ in range(index):
        at += int(lines[at]) + 2
    n = int(lines[at])
    out.write_text("\n".join([lines[at], "climbing image"] + lines[at + 2:at + 2 + n]) + "\n")


def png(path: Path, profile: list[tuple[float, float]], width: int = 640, height: int = 400) -> None:
    """A line plot of (x, y) points with axes and image markers, black on white."""
    pixels = [[255] * width for _ in range(height)]
    left, right, top, bottom = 50, width - 20, 20, height - 40
    xs, ys = [p[0] for p in profile], [p[1] for p in profile]
    x0, x1, y0, y1 = min(xs), max(xs), min(ys), max(ys)

    def to_pixel(x: float, y: float) -> tuple[int, int]:
        return (round(left + (x - x0) / (x1 - x0) * (right - left)), round(bottom - (y - y0) / (y1 - y0) * (bottom - top)))

    def dot(px: int, py: int, r: int = 1) -> None:
        for dy in range(-r, r + 1):
            for dx in range(-r, r + 1):
                if 0 <= py + dy < height and 0 <= px + dx < width:
                    pixels[py + dy][px + dx] = 0

    def line(a: tuple[int, int], b: tuple[int, int], r: int = 1) -> None:
        steps = max(abs(b[0] - a[0]), abs(b[1] - a[1]), 1)
        for k in range(steps + 1):
            dot(round(a[0] + (b[0] - a[0]) * k / steps), round(a[1] + (b[1] - a[1]) * k / steps), r)

    line((left, top), (left, bottom), 0)
    line((left, bottom), (right, bottom), 0)
    for k in range(int(y1) + 1):  # a tick every eV
        _, py = to_pixel(x0, k)
        if top <= py <= bottom:
            line((left - 6, py), (left, py), 0)
    points = [to_pixel(x, y) for x, y in profile]
    for a, b in zip(points, points[1:]):
        line(a, b)
    for p in points:
        dot(*p, 4)
    raw = b"".join(b"\x00" + bytes(row) for row in pixels)
    chunk = lambda kind, data: struct.pack(">I", len(data)) + kind + data + struct.pack(">I", zlib.crc32(kind + data))
    path.write_bytes(b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", struct.pack(">IIBBBBB", width, height, 8, 0, 0, 0, 0))
                     + chunk(b"IDAT", zlib.compress(raw, 9)) + chunk(b"IEND", b""))


def main() -> None:
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--build", default="build", help="the build directory (tbcalc)")
    parser.add_argument("--plot", help="PNG of the first reaction's energy profile")
    o = parser.parse_args()
    build = Path(o.build).resolve()
    examples = Path(__file__).resolve().parent.parent / "examples" / "reactions"
    print("| reaction | band force calls (7 images) | ts force calls | imaginary modes | barrier (ts) eV "
          "| highest point of 15 images eV | difference eV | IRC ends match (RMSD Å) |")
    print("|---|---|---|---|---|---|---|---|")
    with tempfile.TemporaryDirectory() as scratch:
        tmp = Path(scratch)
        for k, (name, start, end) in enumerate(REACTIONS):
            s, e = str(examples / start), str(examples / end)
            band = tbcalc(build, "path", s, e, "-o", str(tmp / "band.xyz"))
            if k == 0 and o.plot:
                png(Path(o.plot), [(p["path_length"], p["energy"] - band["profile"][0]["energy"]) for p in band["profile"]])
            frame(tmp / "band.xyz", band["climbing_image"], tmp / "ci.xyz")
            ts = tbcalc(build, "ts", str(tmp / "ci.xyz"), "-o", str(tmp / "ts.xyz"))
            irc = tbcalc(build, "irc", str(tmp / "ts.xyz"), "--start", s, "--end", e, "-o", str(tmp / "irc.xyz"))
            dense = tbcalc(build, "path", "--images", "15", s, e, "-o", str(tmp / "dense.xyz"))
            ends = sorted(min(m["rmsd"] for m in irc[side]["matches"]) for side in ("backward", "forward"))
            same = all(any(m["same"] for m in irc[side]["matches"]) for side in ("backward", "forward"))
            distinct = {min(irc[side]["matches"], key=lambda m: m["rmsd"])["file"] for side in ("backward", "forward")}
            barrier = ts["energy"] - band["profile"][0]["energy"]
            highest = dense["climbing_energy"] - dense["profile"][0]["energy"]
            print(f"| {name} | {band['band_evaluations']}{'' if band['converged'] else ' (not converged)'} "
                  f"| {ts['evaluations']} | {len(ts['imaginary_wavenumbers'])} ({ts['imaginary_wavenumbers'][0]:.0f} cm^-1) "
                  f"| {barrier:.4f} | {highest:.4f} | {highest - barrier:+.5f} "
                  f"| {'yes' if same and len(distinct) == 2 else 'no'} ({ends[0]:.1e}, {ends[1]:.1e}) |")
        times = []
        for _ in range(5):
            begin = time.perf_counter()
            tbcalc(build, "scan", "--distance", "1,2,1.5,3.0,30", str(examples / "ethane.xyz"), "-o", str(tmp / "scan.xyz"))
            times.append(time.perf_counter() - begin)
        print(f"\nEthane C-C scan, 1.5 to 3.0 angstrom in 31 points: {statistics.median(times):.3f} s "
              f"(median of 5, process start included)")


if __name__ == "__main__":
    main()
