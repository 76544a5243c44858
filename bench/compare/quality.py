"""SciPy/NumPy counterparts of bench/QualityBench.cpp on the same data (best of 7, ms)."""
import os

os.environ["OPENBLAS_NUM_THREADS"] = "1"  # the library creates no threads
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


print(f"scipy.stats.probplot(1e6)           {best_of(lambda: stats.probplot(x6)) * 1e3:8.2f} ms")
print(f"probplot(1e6, fit=False)            {best_of(lambda: stats.probplot(x6, fit=False)) * 1e3:8.2f} ms")
print(f"x-bar chart by numpy (1e6 x 5)      {best_of(xbar_chart) * 1e3:8.2f} ms")
print(f"mean, sd, normal tails (1e7)        {best_of(capability) * 1e3:8.2f} ms")
print(f"numpy.sum(1e7)                      {best_of(lambda: np.sum(w)) * 1e3:8.2f} ms")
