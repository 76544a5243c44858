"""SciPy/NumPy counterparts of bench/MultivariateBench.cpp on the same data (best CPU time of 7, ms),
one BLAS thread: scipy.spatial.distance.pdist (Euclidean, 5000 x 20) and Hotelling's T^2 (1e5 x 20)."""
import os
import time

os.environ["OPENBLAS_NUM_THREADS"] = "1"
import numpy as np  # noqa: E402
from scipy.spatial.distance import pdist  # noqa: E402
from scipy import stats  # noqa: E402

from benchdata import uniform  # noqa: E402


def best_cpu(fn, repeats=7):
    best = float("inf")
    for _ in range(repeats):
        t0 = time.process_time()
        fn()
        best = min(best, time.process_time() - t0)
    return best


X = uniform(5000 * 20).reshape(5000, 20)
A = uniform(100_000 * 20).reshape(100_000, 20)
mu = np.full(20, 0.5)


def hotelling():
    n, p = A.shape
    d = A.mean(axis=0) - mu
    S = np.cov(A, rowvar=False)
    t2 = n * d @ np.linalg.solve(S, d)
    f = (n - p) / (p * (n - 1)) * t2
    return t2, stats.f.sf(f, p, n - p)


print(f"pdist euclidean 5000x20   {1e3 * best_cpu(lambda: pdist(X)):10.2f} ms")
print(f"Hotelling T2 1e5x20       {1e3 * best_cpu(hotelling):10.2f} ms")
