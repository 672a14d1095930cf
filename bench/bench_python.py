"""Points per second of the Python package: 10^5 random interior compositions
of Cr-Fe-Nb BCC_A2, G + gradient + Hessian (order 2) and the molar quantities,
at one temperature and with a temperature per point.  The same work as
bench_capi (the C call the package makes) and bench_phase (the evaluator
point by point).

    PYTHONPATH=build-rel/python /usr/bin/python3 bench/bench_python.py [--repeat N]
"""
import argparse
import os
import time

import numpy as np

import thermkernel as tk

POINTS = 100000


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--repeat", type=int, default=5)
    args = parser.parse_args()
    here = os.path.dirname(os.path.abspath(__file__))
    bcc = tk.Database(os.path.join(here, "..", "data", "CrFeNb_Jacob2016.tdb")).phase("BCC_A2")
    rng = np.random.default_rng(7)
    y = rng.uniform(0.05, 1.0, size=(POINTS, 4))
    y[:, :3] /= y[:, :3].sum(axis=1, keepdims=True)
    y[:, 3] = 1.0
    T_per_point = 900.0 + 0.008 * np.arange(POINTS)
    for label, T, order in [("order 0, one T", 1200.0, 0), ("order 2, one T", 1200.0, 2),
                            ("order 2, T per point", T_per_point, 2)]:
        # CPU time, as Google Benchmark's rates count it (a shared machine
        # stretches the wall time), and the wall time
        best_cpu = best_wall = float("inf")
        for _ in range(args.repeat):
            cpu, wall = time.process_time(), time.perf_counter()
            bcc.evaluate(T=T, y=y, order=order)
            best_cpu = min(best_cpu, time.process_time() - cpu)
            best_wall = min(best_wall, time.perf_counter() - wall)
        print("%-22s CPU %7.1f ms per 10^5 points, %6.3f M points/s (wall %7.1f ms)"
              % (label, best_cpu * 1e3, POINTS / best_cpu / 1e6, best_wall * 1e3))


if __name__ == "__main__":
    main()
