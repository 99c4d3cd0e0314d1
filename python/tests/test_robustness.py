"""Ctrl-C during a long call, and a molecule too large for the memory the process may use.
Evaluations beside other threads are checked with the module's own tests."""

import os
import subprocess
import sys
import textwrap

from conftest import alkane


def run_python(script: str) -> subprocess.CompletedProcess:
    return subprocess.run([sys.executable, "-c", textwrap.dedent(script)], capture_output=True, text=True,
                          timeout=120, env=dict(os.environ, PYTHONPATH=os.pathsep.join(sys.path)))


def test_ctrl_c_stops_a_long_hessian_within_about_one_evaluation():
    # The Hessian of C30H62 takes 552 evaluations; SIGINT comes about 10 evaluations into it
    # (timed on a second evaluation: the first one also maps the matrices).
    done = run_python("""
        import os, signal, threading, time
        import tbrelax
        from test_robustness import alkane
        # Python leaves SIGINT ignored when its parent did (a background job of a script).
        signal.signal(signal.SIGINT, signal.default_int_handler)
        molecule = alkane(30)
        tbrelax.evaluate(*molecule)
        start = time.perf_counter()
        tbrelax.evaluate(*molecule)
        evaluation = time.perf_counter() - start
        delay = 10 * evaluation
        threading.Timer(delay, os.kill, (os.getpid(), signal.SIGINT)).start()
        start = time.perf_counter()
        try:
            tbrelax.hessian(*molecule)
            print("finished")
        except KeyboardInterrupt:
            print("KeyboardInterrupt", time.perf_counter() - start - delay, evaluation)
    """)
    assert done.returncode == 0, done.stderr
    words = done.stdout.split()
    assert words[0] == "KeyboardInterrupt", done.stdout
    after, evaluation = float(words[1]), float(words[2])
    assert after < 3 * evaluation + 0.5, done.stdout  # the whole Hessian takes 552 evaluations


def test_too_large_a_molecule_is_refused_before_allocating():
    # 3000 carbon atoms, 12000 basis functions, under an address-space limit 512 MiB above what
    # the interpreter already maps.
    done = run_python("""
        import resource
        import numpy as np
        import tbrelax
        mapped = next(int(l.split()[1]) for l in open("/proc/self/status") if l.startswith("VmSize")) * 1024
        resource.setrlimit(resource.RLIMIT_AS, (mapped + (512 << 20), resource.RLIM_INFINITY))
        k = np.arange(3000)
        grid = 1.5 * np.stack([k % 15, k // 15 % 15, k // 225], axis=1)
        for call in (tbrelax.evaluate, tbrelax.hessian):
            try:
                call(["C"] * 3000, grid)
            except MemoryError as e:
                print(type(e).__name__, e)
    """)
    assert done.returncode == 0, done.stderr
    lines = done.stdout.splitlines()
    assert len(lines) == 2, done.stdout
    assert lines[0].startswith("OutOfMemory needs 10.2 GiB for 12000 basis functions; ")
    assert lines[1].startswith("OutOfMemory needs 15.0 GiB for 12000 basis functions and the Hessian of 3000 atoms; ")
    assert all(line.endswith(" MiB available (address-space limit)") for line in lines), done.stdout
