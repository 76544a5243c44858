"""Cost of one call through the Python package: a 20-value percentile, against NumPy's
percentile on the same array and against a Python call of a trivial builtin, measured back to
back in one run (CPU time per call, best of 7 rounds). Run with PYTHONPATH=<build>/python."""
import os
import time

os.environ.setdefault("OPENBLAS_NUM_THREADS", "1")
import numpy as np  # noqa: E402

import kalix  # noqa: E402
from kalix import statistics  # noqa: E402

x = np.random.default_rng(1).uniform(-5.0, 5.0, 20)
N = 200_000


def per_call(f):
    best = float("inf")
    for _ in range(7):
        t0 = time.process_time()
        for _ in range(N):
            f()
        best = min(best, (time.process_time() - t0) / N)
    return best


p = statistics.percentile
empty = per_call(lambda: None)
kal = per_call(lambda: p(x, 0.3)) - empty
npy = per_call(lambda: np.percentile(x, 30.0, method="weibull")) - empty
print(f"empty Python call (subtracted below)     {empty * 1e6:6.3f} us per call")
print(f"kalix.statistics.percentile(20 values)  {kal * 1e6:6.3f} us per call")
print(f"numpy.percentile(20 values, weibull)    {npy * 1e6:6.3f} us per call")
print(f"numpy / kalix                           {npy / kal:6.1f}x")
assert kalix.KalixError  # the package imported is the one measured
