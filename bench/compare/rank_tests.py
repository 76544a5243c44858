"""SciPy counterparts of bench/RankTestsBench.cpp on the same data (best of 7)."""
import os

os.environ["OPENBLAS_NUM_THREADS"] = "1"  # the library creates no threads
import time  # noqa: E402

import numpy as np  # noqa: E402
from scipy import stats  # noqa: E402

from benchdata import uniform  # noqa: E402


def best_cpu(fn, repeats=7):
    """Best process CPU time in seconds of fn() over repeats runs (the machine is shared)."""
    best = float("inf")
    for _ in range(repeats):
        t0 = time.process_time()
        fn()
        best = min(best, time.process_time() - t0)
    return best


u = uniform(2_000_000)
x = u[:1_000_000]
y = u[1_000_000:] + 0.5 * x
a = np.round(30.0 * u[:200])
b = np.round(30.0 * u[200:400] + 2.0)

print(f"scipy.stats.kendalltau (1e6 pairs)            {best_cpu(lambda: stats.kendalltau(x, y)) * 1e3:10.2f} ms")
print(f"scipy.stats.mannwhitneyu asymptotic (200+200) {best_cpu(lambda: stats.mannwhitneyu(a, b)) * 1e3:10.3f} ms")
# SciPy has no exact rank-sum test with ties at this size; rank_tests.R times coin.
