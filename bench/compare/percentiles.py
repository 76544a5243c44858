"""NumPy/SciPy counterparts of bench/PercentilesBench.cpp on the same data (best of 7, ms)."""
import os

os.environ.setdefault("OPENBLAS_NUM_THREADS", "1")
import numpy as np  # noqa: E402
from scipy import stats  # noqa: E402

from benchdata import best_of, uniform  # noqa: E402

x = uniform(10_000_000, -500.0, 500.0)
r = np.round(uniform(1_000_000, 0.0, 100.0) * 1000.0) / 1000.0

print(f"numpy.percentile(1e7, 30, weibull)  {best_of(lambda: np.percentile(x, 30, method='weibull')) * 1e3:8.2f} ms")
print(f"numpy.percentile(1e7, 30, linear)   {best_of(lambda: np.percentile(x, 30)) * 1e3:8.2f} ms")
print(f"scipy.stats.rankdata(1e6)           {best_of(lambda: stats.rankdata(r)) * 1e3:8.2f} ms")
print(f"numpy.sum(1e7)                      {best_of(lambda: np.sum(x)) * 1e3:8.2f} ms")
