"""SciPy/NumPy counterparts of bench/QualityBench.cpp on the same data (best of 7, ms).

Each line gives the wall time and the process CPU time: on a shared machine the CPU time is
what compares with Google Benchmark's CPU column."""
import os

os.environ["OPENBLAS_NUM_THREADS"] = "1"  # the library creates no threads
import time  # noqa: E402

import numpy as np  # noqa: E402
from scipy import stats  # noqa: E402

from benchdata import best_of, uniform  # noqa: E402

x6 = uniform(1_000_000)
m = uniform(5_000_000).reshape(1_000_000, 5)
w = uniform(10_000_000, -3.5, 3.5)


def xbar_chart():
    xbar = m.mean(axis=1)
    return xbar.mean(), m.std(axis=1, ddof=1).mean()


def capability():
    mu, s = w.mean(), w.std(ddof=1)
    return stats.norm.cdf(-3.0, mu, s) + stats.norm.sf(3.0, mu, s)


def best_cpu(fn, repeats=7):
    """Best process CPU time in seconds of fn() over repeats runs."""
    best = float("inf")
    for _ in range(repeats):
        t0 = time.process_time()
        fn()
        best = min(best, time.process_time() - t0)
    return best


def line(label, fn):
    print(f"{label:36s}{best_of(fn) * 1e3:9.2f} ms wall {best_cpu(fn) * 1e3:9.2f} ms cpu")


line("scipy.stats.probplot(1e6)", lambda: stats.probplot(x6))
line("probplot(1e6, fit=False)", lambda: stats.probplot(x6, fit=False))
line("x-bar chart by numpy (1e6 x 5)", xbar_chart)
line("mean, sd, normal tails (1e7)", capability)
line("numpy.sum(1e7)", lambda: np.sum(w))
