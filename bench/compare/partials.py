"""Mergeable partials against NumPy/SciPy on the same arrays, measured back to back in one run
(CPU time, best of 5): moments of 1e7 values, co-moments of 1e6 x 8, least squares 1e6 x 16,
each fed as one block and as 64 chunks merged, and the library's in-memory call on the same
data. Run with PYTHONPATH=<build>/python."""
import os
import time

os.environ.setdefault("OPENBLAS_NUM_THREADS", "1")
import numpy as np  # noqa: E402
import scipy.stats as st  # noqa: E402

from kalix import partials, regress, statistics  # noqa: E402

rng = np.random.default_rng(1)
x = rng.normal(size=10_000_000) + 1e3
M = rng.normal(size=(1_000_000, 8))
A = rng.normal(size=(1_000_000, 16))
y = A @ np.arange(16.0) + rng.normal(size=1_000_000)


def cpu(f):
    best = float("inf")
    for _ in range(5):
        t0 = time.process_time()
        f()
        best = min(best, time.process_time() - t0)
    return best


def chunked(make, add, n, k=64):
    tot = make()
    for i in range(k):
        p = make()
        add(p, slice(i * n // k, (i + 1) * n // k))
        tot.merge(p)
    return tot.finish()


def moments_whole():
    p = partials.Moments()
    p.add(x)
    return p.finish()


rows = [
    ("Moments 1e7, one block", lambda: moments_whole(),
     "numpy mean+var, scipy skew+kurtosis", lambda: (x.mean(), x.var(ddof=1), st.skew(x), st.kurtosis(x))),
    ("Moments 1e7, 64 chunks", lambda: chunked(partials.Moments, lambda p, s: p.add(x[s]), len(x)),
     "numpy var(ddof=1)", lambda: x.var(ddof=1)),
    ("in-memory statistics.covariance 1e7", lambda: statistics.covariance(x), "numpy var(ddof=1)",
     lambda: x.var(ddof=1)),
    ("Comoments 1e6 x 8, 64 chunks", lambda: chunked(lambda: partials.Comoments(8), lambda p, s: p.add(M[s]), len(M)),
     "numpy cov", lambda: np.cov(M, rowvar=False)),
    ("in-memory statistics.covariance 1e6 x 8", lambda: statistics.covariance(M), "numpy cov",
     lambda: np.cov(M, rowvar=False)),
    ("LeastSquares 1e6 x 16, 64 chunks",
     lambda: chunked(lambda: partials.LeastSquares(16), lambda p, s: p.add(A[s], y[s]), len(y)),
     "numpy lstsq on [1 | A]", lambda: np.linalg.lstsq(np.hstack([np.ones((len(y), 1)), A]), y, rcond=None)),
    ("in-memory regress.mul_lin_regress 1e6 x 16", lambda: regress.mul_lin_regress(y, A),
     "numpy lstsq on [1 | A]", lambda: np.linalg.lstsq(np.hstack([np.ones((len(y), 1)), A]), y, rcond=None)),
]
for name, f, other, g in rows:
    a, b = cpu(f), cpu(g)
    print(f"{name:45s} {a * 1e3:9.1f} ms   {other:38s} {b * 1e3:9.1f} ms   ratio {a / b:5.2f}")
